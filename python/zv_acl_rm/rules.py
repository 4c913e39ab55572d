"""Rules and the other things that commands take and return, as plain data."""

from __future__ import annotations

import dataclasses
import struct
from typing import Optional, Tuple

from .words import CounterKind, Verdict

KEY_BYTES = 128  # data bytes of a rule's key, and of its mask
ACTION_BYTES = 56  # the switch's action block
_VERDICT_AT = 12  # in the action block

# priority, offset, valid, key (type, data), mask (type, data), action block, the last six words
_RULE = struct.Struct("<IIB3xI128sI128s4x56s6I")
_WORD = struct.Struct("<I")
RULE_BYTES = _RULE.size
assert RULE_BYTES == 360

_TO_PORT = 1
_TO_MC_GROUP = 2


def pack_fields(layout: struct.Struct, *values: object) -> bytes:
    """Packs, with a ValueError for a number of more bits than its field or of another type."""
    try:
        return layout.pack(*values)
    except struct.error as error:
        raise ValueError(f"a value does not fit its field: {error}") from None


def _padded(value: bytes, room: int, name: str) -> bytes:
    if len(value) > room:
        raise ValueError(f"{name} has {len(value)} bytes, a rule has room for {room}")
    return bytes(value).ljust(room, b"\0")


@dataclasses.dataclass
class Rule:
    """A rule to write.

    offset            its place in the ACL; lower ones match first
    key, mask         up to 128 bytes each, the rest is 0; a packet matches where its key equals
                      `key` in every bit that is set in `mask`
    key_type          0 to 3
    verdict           what becomes of the packet; it is bytes 12 to 15 of the action block
    counter_id        flow counter that counts the packets, 0 for none; it must exist
    forward_port      logical port to forward to
    forward_mc_group  MC group to forward to; not together with a port
    valid             a rule that is not takes its place and matches nothing
    action            the rest of the switch's action block, 56 bytes
    """

    offset: int
    key: bytes = b""
    mask: bytes = b""
    key_type: int = 0
    verdict: int = Verdict.PERMIT
    counter_id: int = 0
    forward_port: Optional[int] = None
    forward_mc_group: Optional[int] = None
    valid: bool = True
    action: bytes = b""

    def pack(self) -> bytes:
        """The rule as it travels."""
        forwarding, port, group = self._forwarding()
        action = bytearray(_padded(self.action, ACTION_BYTES, "action"))
        action[_VERDICT_AT : _VERDICT_AT + 4] = pack_fields(_WORD, self.verdict)
        return pack_fields(
            _RULE, self.offset, self.offset, bool(self.valid),
            self.key_type, _padded(self.key, KEY_BYTES, "key"),
            self.key_type, _padded(self.mask, KEY_BYTES, "mask"),
            bytes(action), forwarding, port, group, 0, 0, self.counter_id,
        )  # fmt: skip

    def _forwarding(self) -> Tuple[int, int, int]:
        if self.forward_port is not None and self.forward_mc_group is not None:
            raise ValueError("a rule forwards to a port or to an MC group, not to both")
        if self.forward_port is not None:
            return _TO_PORT, self.forward_port, 0
        if self.forward_mc_group is not None:
            return _TO_MC_GROUP, 0, self.forward_mc_group
        return 0, 0, 0


def pack_place(offset: int, activity: int = 0) -> bytes:
    """A rule of which only the place is said, for deleting and reading."""
    nothing = bytes(KEY_BYTES)
    return pack_fields(
        _RULE, offset, offset, 0, 0, nothing, 0, nothing, bytes(ACTION_BYTES),
        activity, 0, 0, 0, 0, 0,
    )  # fmt: skip


@dataclasses.dataclass
class StoredRule:
    """A rule as the switch holds it. The fields are those of Rule, and

    active            whether a packet hit the rule; None where that was not asked for
    forward_port      logical port the rule forwards to, None for another or none
    forward_mc_pbs    the switch's number for the MC group the rule forwards to, else None
    """

    offset: int
    valid: bool
    key_type: int
    key: bytes
    mask: bytes
    verdict: int
    counter_id: int
    active: Optional[bool]
    forward_port: Optional[int]
    forward_mc_pbs: Optional[int]
    action: bytes

    @classmethod
    def unpack(cls, record: bytes) -> "StoredRule":
        """Reads a rule of an answer, which repeats the activity that was asked for."""
        (_, offset, valid, key_type, key, _, mask, action,
         asked, activity, forwarding, port, pbs, counter_id) = _RULE.unpack(record)  # fmt: skip
        (verdict,) = _WORD.unpack_from(action, _VERDICT_AT)
        return cls(
            offset=offset,
            valid=bool(valid),
            key_type=key_type,
            key=key,
            mask=mask,
            verdict=Verdict(verdict) if verdict in tuple(Verdict) else verdict,
            counter_id=counter_id,
            active=bool(activity & 0xFF) if asked else None,
            forward_port=port if forwarding == _TO_PORT else None,
            forward_mc_pbs=pbs if forwarding == _TO_MC_GROUP else None,
            action=action,
        )


@dataclasses.dataclass(frozen=True)
class Acl:
    """An ACL that was created: its id and the switch's region that holds its rules."""

    acl_id: int
    region_id: int


@dataclasses.dataclass(frozen=True)
class CounterValue:
    """What a flow counter counted, and of what kind: bytes or packets."""

    kind: CounterKind
    value: int
