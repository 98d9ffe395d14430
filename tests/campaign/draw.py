"""Random histories. The same number and seed always draw the same one."""

import random

from history import OPTIONS, SCRIPT_SHAPES, THINGS, Event, History, parse
from sequences import OVERRIDE_SCRIPT, RECOVERY_SCRIPT, SCRIPTS

# How often in a hundred a thing is not as on a healthy instrument at the start.
UNUSUAL = {
    "stick": 85,
    "update": 85,
    "override": 35,
    "partition": 25,
    "marker": 8,
    "overridemarker": 5,
    "version": 20,
    "null": 5,
    "console": 3,
}
HEALTHY_STICK = {"stick": ("directory", "link"), "update": ("directory", "link")}  # in four of five that are there

WIDGETS = (
    "USBbtn",
    "USBbtn",
    "USBbtn",
    "pbuttonBackupSettings",
    "pbuttonUtils",
    "pbuttonVersions",
    "pbuttonBackToMain",
    "pbuttonBackToUtils",
    "ETHbtn",
    "update_title",
    "progressBar",
    "usbLabel",
    "lblUSBBackup",
    "messages",
    "version_number",
)
CODES = (0, 1, 1, 2, 2, 3, 98, 99, 126, 127, 255)
SIGNALS = (1, 2, 6, 9, 11, 13, 15)
AMOUNTS = (1, 5000, 70000, 1000000)
FLOOD = 100000000  # bytes; what 100 MB of output come to

# What seldom comes about by itself; most histories go without.
PLUGGED = "stick=directory update=directory"
OVERRIDDEN = f"{PLUGGED} override=filled"
PLOTS = (
    *[""] * 12,
    f"{OVERRIDDEN} {OVERRIDE_SCRIPT}:exit=1",
    f"{OVERRIDDEN} {OVERRIDE_SCRIPT}:exit=2",
    f"{OVERRIDDEN} {OVERRIDE_SCRIPT}:exit=98",
    f"{OVERRIDDEN} {OVERRIDE_SCRIPT}:signal=9 {OVERRIDE_SCRIPT}#2:exit=1",
    f"{OVERRIDDEN} {OVERRIDE_SCRIPT}:touch=USBbtn {OVERRIDE_SCRIPT}:exit=1",
    f"{OVERRIDDEN} {OVERRIDE_SCRIPT}:touch=pbuttonBackupSettings {OVERRIDE_SCRIPT}:touch=USBbtn "
    f"{OVERRIDE_SCRIPT}:exit=2",
    f"{OVERRIDDEN} {OVERRIDE_SCRIPT}:marker=lines",
    f"--rebootusbupdate {PLUGGED} tick6:update=absent",
    f"--rebootusbupdate {PLUGGED}",
    "--autoupdate partition=absent",
    f"partition=absent {PLUGGED} tick6:update=absent",
    f"{PLUGGED} rest1:touch=pbuttonBackupSettings rest2:touch=USBbtn",
    f"{PLUGGED} rest1:touch=pbuttonBackupSettings rest2:touch=pbuttonBackupSettings rest3:touch=USBbtn",
    f"{PLUGGED} rest1:update=absent rest1:touch=USBbtn",
    "update=directory rest1:touch=pbuttonBackupSettings rest2:touch=USBbtn rest3:touch=pbuttonBackupSettings",
    "rest1:touch=USBbtn rest2:touch=USBbtn",
)

# Where something that happens counts: around the ticks that decide, and in the scripts whose result is used.
TICKS = (*range(1, 15), 5, 5, 6, 6, 6, 6, 7, 7, 12, 13, *range(1, 40, 3))
JUDGED = (OVERRIDE_SCRIPT, RECOVERY_SCRIPT, "99-USB-ubootDtbVersionCompatibilityCheck.sh", "2-USB-checkupdatefiles.sh")

# What can happen at which kind of moment, and how often in comparison.
ACTS = {
    "tick": (("thing", 12), ("touch", 6), ("clock", 2), ("hangup", 1), ("kill", 1)),
    "script": (
        ("exit", 6),
        ("signal", 4),
        ("marker", 6),
        ("thing", 5),
        ("touch", 5),
        ("say", 2),
        ("child", 2),
        ("stop", 2),
        ("clock", 2),
        ("hangup", 1),
        ("kill", 1),
    ),
}


def history(seed: int, number: int) -> History:
    dice = random.Random(f"{seed} {number}")
    start = _start(dice)
    events = [_event(dice) for _ in range(dice.choice((0, 1, 2, 3, 4, 6, 9)))]
    plot = parse(dice.choice(PLOTS))
    start = tuple((dict(start) | dict(plot.start)).items())
    events += plot.events
    for rest in range(1, dice.choice((1, 2, 3, 4, 6, 9))):
        events += _touch_at_rest(dice, f"rest{rest}")
    return History((*plot.options, *_options(dice)), start, tuple(events))


def _options(dice: random.Random) -> tuple[str, ...]:
    if dice.random() < 0.8:
        return dice.choice(((), (), (), *((option,) for option in OPTIONS)))
    return tuple(option for option in OPTIONS if dice.random() < 0.4)


def _start(dice: random.Random) -> tuple[tuple[str, str], ...]:
    start = []
    for thing, percent in UNUSUAL.items():
        if dice.random() * 100 < percent:
            shapes = THINGS[thing][1:]
            if thing in HEALTHY_STICK and dice.random() < 0.8:
                shapes = HEALTHY_STICK[thing]
            start.append((thing, "filled" if thing == "override" and dice.random() < 0.5 else dice.choice(shapes)))
    if dice.random() < 0.3:
        broken = dice.sample(SCRIPTS, dice.choice((1, 1, 2, 5)))
        start += [(script, dice.choice(SCRIPT_SHAPES[1:])) for script in broken]
    return tuple(start)


def _event(dice: random.Random) -> Event:
    """Something at a tick, in the pause or while a script runs."""
    kind = dice.choice(("tick", "script"))
    if kind == "tick":
        moment = "pause" if dice.random() < 0.1 else f"tick{dice.choice(TICKS)}"
    else:
        moment = dice.choice(JUDGED) if dice.random() < 0.4 else dice.choice(SCRIPTS)
        if moment == OVERRIDE_SCRIPT and dice.random() < 0.3:
            moment += dice.choice(("#2", "#3", "#7"))
    acts, weights = zip(*ACTS[kind])
    return Event(moment, *_act(dice, dice.choices(acts, weights)[0], moment))


def _act(dice: random.Random, act: str, moment: str) -> tuple[str, str]:
    if act == "thing":
        return _change(dice)
    if act == "marker":
        return "marker", dice.choice(THINGS["marker"])
    if act == "say":
        flood = dice.random() < 0.1 and not moment.startswith(OVERRIDE_SCRIPT)
        return "say", str(FLOOD if flood else dice.choice(AMOUNTS))
    values = {"touch": WIDGETS, "exit": CODES, "signal": SIGNALS, "clock": (-4000000, -3600, 1, 86400, 1000000000)}
    words = {"child": "left", "stop": "awhile", "hangup": "console", "kill": "updater"}
    return act, str(dice.choice(values[act]) if act in values else words[act])


def _change(dice: random.Random) -> tuple[str, str]:
    if dice.random() < 0.2:
        return dice.choice(SCRIPTS), dice.choice(SCRIPT_SHAPES)
    if dice.random() < 0.3:
        return "update", "absent"
    thing = dice.choice(("stick", "stick", "update", "update", "override", "partition", "marker"))
    return thing, dice.choice(THINGS[thing])


def _touch_at_rest(dice: random.Random, moment: str) -> list[Event]:
    """Perhaps something changes, then a touch; the touch comes last, so that its consequences are waited for."""
    changes = [Event(moment, *_change(dice))] if dice.random() < 0.2 else []
    return [*changes, Event(moment, "touch", dice.choice(WIDGETS))]
