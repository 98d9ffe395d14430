"""What an update can be rehearsed on."""

from collections.abc import Callable

from rehearsal.sandbox.stage import SandboxStage
from rehearsal.stage import Setting, Stage

STAGES: dict[str, Callable[[Setting], Stage]] = {
    "sandbox": SandboxStage,
}
