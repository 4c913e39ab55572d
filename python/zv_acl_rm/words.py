"""The numbers of the protocol under their names.

Every enumeration is an IntEnum: its members are the numbers that travel. The daemon may answer with
a number that has no name here (another version's); such a number stays a plain int.
"""

from __future__ import annotations

import enum


class Owner(enum.IntEnum):
    """The fixed roles a client can open as."""

    OPEN_FLOW = 0
    TARN_OS = 1
    PRA = 2
    OF13 = 3


class Command(enum.IntEnum):
    """The sixteen commands."""

    OPEN = 2
    INIT = 3
    ACL_SET = 4
    ACL_RESIZE = 5
    ACL_RULE_SET = 6
    ACL_RULE_GET = 7
    ACL_RULE_MOVE_BLOCK = 8
    ACL_BIND_PORT_SET = 9
    ACL_BIND_RIF_SET = 10
    COUNTER_SET = 11
    COUNTER_GET = 12
    MC_GRP_SET = 13
    MC_GRP_GET = 14
    ACL_BIND_SYSTEM_SET = 15
    PORT_SET = 16
    DUMP = 17


class Access(enum.IntEnum):
    """What a command of several uses is to do; the methods of Client choose it."""

    ADD = 1
    EDIT = 2
    DELETE = 3
    CREATE = 4
    DESTROY = 5
    WRITE = 6
    BIND = 7
    UNBIND = 8
    ADD_PORTS = 9
    DELETE_PORTS = 10
    READ = 13
    READ_CLEAR = 14  # refused for every counter
    CLEAR = 15


class Direction(enum.IntEnum):
    """Which packets an ACL looks at, as the switch numbers it."""

    INGRESS = 0
    EGRESS = 1


class Verdict(enum.IntEnum):
    """What becomes of a packet that a rule matches."""

    PERMIT = 0
    DROP = 1
    TRAP = 2


class Activity(enum.IntEnum):
    """What reading a rule does about its activity: whether a packet hit it."""

    IGNORE = 0
    READ = 1
    READ_AND_CLEAR = 2


class CounterKind(enum.Enum):
    """What a flow counter counts. The values are its two flags in a record."""

    BYTES = (1, 0)
    PACKETS = (0, 1)


_STATUS_MEANINGS = {
    0: "the command was carried out",
    1: "the command failed: the switch refused it, its cache disagrees, the object is another "
    "owner's, or the daemon is not initialised (send OPEN or INIT first)",
    2: "this command or access command is not supported",
    3: "a parameter is missing, or memory for it ran out",
    4: "a parameter is out of range: a count, size, key type or offset too large, or a handle or "
    "ACL the daemon does not know",
    5: "the daemon does not know that object, or the handle was never opened",
    6: "a table of the daemon is full, or its memory ran out",
    7: "the switch hardware has no room left",
    8: "a work buffer of the daemon is full",
}


class Status(enum.IntEnum):
    """The daemon's answer to a command."""

    SUCCESS = 0
    ERROR = 1
    CMD_UNSUPPORTED = 2
    PARAM_NULL = 3
    PARAM_EXCEEDS_RANGE = 4
    ENTRY_NOT_FOUND = 5
    NO_RESOURCES = 6
    NO_HW_RESOURCES = 7
    NO_BUFFER_SPACE = 8

    @property
    def meaning(self) -> str:
        """What the status tells the client, in words."""
        return _STATUS_MEANINGS[int(self)]


def status_of(number: int) -> int:
    """The Status of that number, or the number itself where it has no name."""
    return Status(number) if number in _STATUS_MEANINGS else number


def status_text(number: int) -> str:
    """Name and meaning of a status, also of one that has none."""
    if number in _STATUS_MEANINGS:
        status = Status(number)
        return f"{status.name}: {status.meaning}"
    return f"unknown status {number}"
