"""Requests: one function for each use of a command, with its arguments.

    client.call(requests.bind_ports(acl_id, [65537, 65538]))

is what client.bind_ports(acl_id, [65537, 65538]) does; the functions are for Client.submit, which
does not wait for the answer. What a request does, and why the daemon refuses it, is told with the
method of Client that has its name.
"""

from __future__ import annotations

import dataclasses
import os
import struct
from typing import Callable, Generic, List, Sequence, Tuple, TypeVar, Union

from .rules import RULE_BYTES, Acl, CounterValue, Rule, StoredRule, pack_fields, pack_place
from .words import Access, Activity, Command, CounterKind, Direction, Owner

RULES_PER_REQUEST = 20
PORTS_PER_REQUEST = 100  # or router interfaces
PATH_BYTES = 4096  # of a dump's path, with its NUL

# The records, but for the client handle that each begins with.
_OPEN = struct.Struct("<I4x")
_INIT = struct.Struct("<I4x")
_ACL = struct.Struct("<8I")
_ACL_SET = struct.Struct("<I32s4x")
_RESIZE = struct.Struct("<II")
_RULE_SET = struct.Struct(f"<II{20 * RULE_BYTES}sI4x")
_RULE_GET = struct.Struct(f"<I4x{20 * RULE_BYTES}sI4x")
_MOVE_BLOCK = struct.Struct("<IIII")
_PORT_BIND = struct.Struct("<II400sI4x")
_RIF_BIND = struct.Struct("<II200sI4x")
_COUNTER_SET = struct.Struct("<IIII")
_COUNTER_GET = struct.Struct("<IIIIQQ")
_MC_GROUP_SET = struct.Struct("<II400sI4x")
_MC_GROUP_GET = struct.Struct("<I400sI")
_SYSTEM_BIND = struct.Struct("<II")
_PORT_SET = struct.Struct("<I400sI")
_DUMP = struct.Struct("<8x")

_HANDLE_BYTES = 8

Result = TypeVar("Result")


@dataclasses.dataclass(frozen=True)
class Request(Generic[Result]):
    """A request, and what to make of its answer."""

    command: Command
    record: bytes  # without the client handle before it
    answer_bytes: int  # of a success; any other size is a BadAnswer
    read: Callable[[bytes], Result]  # turns the answer into a result
    attachment: bytes = b""


def _nothing(_: bytes) -> None:
    return None


def _echoed(command: Command, record: bytes, attachment: bytes = b"") -> Request[None]:
    """A request whose record comes back whole and says nothing new."""
    return Request(command, record, _HANDLE_BYTES + len(record), _nothing, attachment)


def _numbers(values: Sequence[int], room: int, width: str, what: str) -> bytes:
    """A record's array, which has its full length whatever is used of it."""
    if len(values) > room:
        raise ValueError(f"{len(values)} {what} in a request, which holds {room}")
    unused = [0] * (room - len(values))
    return pack_fields(struct.Struct(f"<{room}{width}"), *values, *unused)


def _ports(log_ports: Sequence[int]) -> bytes:
    return _numbers(log_ports, PORTS_PER_REQUEST, "I", "ports")


def _rules(packed: Sequence[bytes]) -> bytes:
    if len(packed) > RULES_PER_REQUEST:
        raise ValueError(f"{len(packed)} rules in a request, which holds {RULES_PER_REQUEST}")
    return b"".join(packed).ljust(RULES_PER_REQUEST * RULE_BYTES, b"\0")


# ---- beginning


def open(owner: int) -> Request[None]:
    record = pack_fields(_OPEN, Owner(owner))
    return Request(Command.OPEN, record, 0, _nothing)


def init(chip_type: int) -> Request[None]:
    return Request(Command.INIT, pack_fields(_INIT, chip_type), 0, _nothing)


# ---- ACLs


def _acl_set(
    access: Access, acl_id: int, key_type: int, action_type: int, acl_type: int, direction: int,
    size: int,
) -> Request[Acl]:  # fmt: skip
    def read(answer: bytes) -> Acl:
        words = _ACL.unpack(answer)
        return Acl(acl_id=words[0], region_id=words[7])

    acl = pack_fields(_ACL, acl_id, key_type, action_type, acl_type, direction, size, size, 0)
    return Request(Command.ACL_SET, pack_fields(_ACL_SET, access, acl), _ACL.size, read)


def create_acl(
    size: int,
    direction: int = Direction.INGRESS,
    key_type: int = 0,
    action_type: int = 0,
    acl_type: int = 0,
) -> Request[Acl]:
    return _acl_set(Access.CREATE, 0, key_type, action_type, acl_type, direction, size)


def destroy_acl(
    acl_id: int, direction: int = Direction.INGRESS, acl_type: int = 0
) -> Request[None]:
    request = _acl_set(Access.DESTROY, acl_id, 0, 0, acl_type, direction, 0)
    return Request(request.command, request.record, request.answer_bytes, _nothing)


def edit_acl(acl_id: int, direction: int) -> Request[int]:
    request = _acl_set(Access.EDIT, acl_id, 0, 0, 0, direction, 0)
    return Request(
        request.command, request.record, request.answer_bytes,
        lambda answer: request.read(answer).acl_id,
    )  # fmt: skip


def resize_acl(acl_id: int, new_size: int) -> Request[None]:
    return _echoed(Command.ACL_RESIZE, pack_fields(_RESIZE, acl_id, new_size))


# ---- rules


def _rule_set(access: Access, acl_id: int, packed: Sequence[bytes]) -> Request[None]:
    record = pack_fields(_RULE_SET, access, acl_id, _rules(packed), len(packed))
    return _echoed(Command.ACL_RULE_SET, record)


def write_rules(acl_id: int, rules: Sequence[Rule]) -> Request[None]:
    return _rule_set(Access.WRITE, acl_id, [rule.pack() for rule in rules])


def delete_rules(acl_id: int, offsets: Sequence[int]) -> Request[None]:
    return _rule_set(Access.DELETE, acl_id, [pack_place(offset) for offset in offsets])


def read_rules(
    acl_id: int, offsets: Sequence[int], activity: int = Activity.IGNORE
) -> Request[List[StoredRule]]:
    places = [pack_place(offset, activity) for offset in offsets]

    def read(answer: bytes) -> List[StoredRule]:
        packed = _RULE_GET.unpack_from(answer, _HANDLE_BYTES)[1]
        starts = range(0, len(places) * RULE_BYTES, RULE_BYTES)
        return [StoredRule.unpack(packed[start : start + RULE_BYTES]) for start in starts]

    record = pack_fields(_RULE_GET, acl_id, _rules(places), len(places))
    return Request(Command.ACL_RULE_GET, record, _HANDLE_BYTES + len(record), read)


def move_rules(acl_id: int, start: int, count: int, new_start: int) -> Request[None]:
    record = pack_fields(_MOVE_BLOCK, acl_id, start, count, new_start)
    return Request(Command.ACL_RULE_MOVE_BLOCK, record, 0, _nothing)


# ---- binding


def _port_bind(access: Access, acl_id: int, log_ports: Sequence[int]) -> Request[None]:
    record = pack_fields(_PORT_BIND, access, acl_id, _ports(log_ports), len(log_ports))
    return _echoed(Command.ACL_BIND_PORT_SET, record)


def bind_ports(acl_id: int, log_ports: Sequence[int]) -> Request[None]:
    return _port_bind(Access.BIND, acl_id, log_ports)


def unbind_ports(acl_id: int, log_ports: Sequence[int]) -> Request[None]:
    return _port_bind(Access.UNBIND, acl_id, log_ports)


def _rif_bind(access: Access, acl_id: int, rifs: Sequence[int]) -> Request[None]:
    packed = _numbers(rifs, PORTS_PER_REQUEST, "H", "router interfaces")
    record = pack_fields(_RIF_BIND, access, acl_id, packed, len(rifs))
    return _echoed(Command.ACL_BIND_RIF_SET, record)


def bind_rifs(acl_id: int, rifs: Sequence[int]) -> Request[None]:
    return _rif_bind(Access.BIND, acl_id, rifs)


def unbind_rifs(acl_id: int, rifs: Sequence[int]) -> Request[None]:
    return _rif_bind(Access.UNBIND, acl_id, rifs)


def _system_bind(access: Access, acl_id: int) -> Request[None]:
    return _echoed(Command.ACL_BIND_SYSTEM_SET, pack_fields(_SYSTEM_BIND, access, acl_id))


def bind_system(acl_id: int) -> Request[None]:
    return _system_bind(Access.BIND, acl_id)


def unbind_system(acl_id: int) -> Request[None]:
    return _system_bind(Access.UNBIND, acl_id)


def _port_set(access: Access, log_ports: Sequence[int]) -> Request[None]:
    record = pack_fields(_PORT_SET, access, _ports(log_ports), len(log_ports))
    return _echoed(Command.PORT_SET, record)


def add_ports(log_ports: Sequence[int]) -> Request[None]:
    return _port_set(Access.ADD_PORTS, log_ports)


def remove_ports(log_ports: Sequence[int]) -> Request[None]:
    return _port_set(Access.DELETE_PORTS, log_ports)


# ---- counters


def _counter_set(access: Access, flags: Tuple[int, int], counter_id: int) -> Request[int]:
    record = pack_fields(_COUNTER_SET, access, *flags, counter_id)
    answer_bytes = _HANDLE_BYTES + len(record)
    return Request(
        Command.COUNTER_SET, record, answer_bytes,
        lambda answer: int(_COUNTER_SET.unpack_from(answer, _HANDLE_BYTES)[3]),
    )  # fmt: skip


def create_counter(kind: CounterKind) -> Request[int]:
    return _counter_set(Access.CREATE, CounterKind(kind).value, 0)


def destroy_counter(counter_id: int) -> Request[None]:
    return _echoed(Command.COUNTER_SET, _counter_set(Access.DESTROY, (0, 0), counter_id).record)


def read_counter(counter_id: int) -> Request[CounterValue]:
    def read(answer: bytes) -> CounterValue:
        _, _, counts_bytes, _, first, second = _COUNTER_GET.unpack_from(answer, _HANDLE_BYTES)
        if counts_bytes:
            return CounterValue(CounterKind.BYTES, first)
        return CounterValue(CounterKind.PACKETS, second)

    record = pack_fields(_COUNTER_GET, Access.READ, counter_id, 0, 0, 0, 0)
    return Request(Command.COUNTER_GET, record, _HANDLE_BYTES + len(record), read)


def clear_counter(counter_id: int) -> Request[None]:
    record = pack_fields(_COUNTER_GET, Access.CLEAR, counter_id, 0, 0, 0, 0)
    return _echoed(Command.COUNTER_GET, record)


# ---- MC groups


def _mc_group_set(access: Access, mc_group_id: int, log_ports: Sequence[int]) -> Request[int]:
    record = pack_fields(_MC_GROUP_SET, access, mc_group_id, _ports(log_ports), len(log_ports))
    answer_bytes = _HANDLE_BYTES + len(record)
    return Request(
        Command.MC_GRP_SET, record, answer_bytes,
        lambda answer: int(_MC_GROUP_SET.unpack_from(answer, _HANDLE_BYTES)[1]),
    )  # fmt: skip


def _mc_group_change(
    access: Access, mc_group_id: int, log_ports: Sequence[int]
) -> Request[None]:
    return _echoed(Command.MC_GRP_SET, _mc_group_set(access, mc_group_id, log_ports).record)


def create_mc_group(log_ports: Sequence[int] = ()) -> Request[int]:
    return _mc_group_set(Access.ADD, 0, log_ports)


def add_mc_group_ports(mc_group_id: int, log_ports: Sequence[int]) -> Request[None]:
    return _mc_group_change(Access.ADD_PORTS, mc_group_id, log_ports)


def remove_mc_group_ports(mc_group_id: int, log_ports: Sequence[int]) -> Request[None]:
    return _mc_group_change(Access.DELETE_PORTS, mc_group_id, log_ports)


def delete_mc_group(mc_group_id: int) -> Request[None]:
    return _mc_group_change(Access.DELETE, mc_group_id, ())


def mc_group_ports(mc_group_id: int, room: int = PORTS_PER_REQUEST) -> Request[List[int]]:
    if room > PORTS_PER_REQUEST:
        raise ValueError(f"room for {room} ports in a request, which holds {PORTS_PER_REQUEST}")

    def read(answer: bytes) -> List[int]:
        _, packed, count = _MC_GROUP_GET.unpack_from(answer, _HANDLE_BYTES)
        ports = struct.unpack(f"<{PORTS_PER_REQUEST}I", packed)
        return list(ports[: min(count, room)])

    record = pack_fields(_MC_GROUP_GET, mc_group_id, _ports(()), room)
    return Request(Command.MC_GRP_GET, record, _HANDLE_BYTES + len(record), read)


# ---- looking


def dump(path: Union[str, bytes, "os.PathLike[str]"]) -> Request[None]:
    name = os.fsencode(path)
    if not name or b"\0" in name or len(name) >= PATH_BYTES:
        raise ValueError(f"a path of 1 to {PATH_BYTES - 1} bytes without a NUL is wanted")
    return _echoed(Command.DUMP, pack_fields(_DUMP), name + b"\0")
