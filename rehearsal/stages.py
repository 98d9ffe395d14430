"""What an update can be rehearsed on."""

from board.stage import BoardStage
from rehearsal.sandbox.stage import SandboxStage

STAGES: dict[str, type[SandboxStage] | type[BoardStage]] = {
    "sandbox": SandboxStage,
    "board": BoardStage,
}
