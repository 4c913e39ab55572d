"""A client of the daemon: a connection, and a method for every use of the sixteen commands."""

from __future__ import annotations

import dataclasses
import os
import types
from typing import Any, Dict, Generic, List, Optional, Sequence, Type, TypeVar, Union

from . import requests
from .connection import SOCKET_PATH, Connection, Deadline, Reply
from .errors import BadAnswer, Busy, Error, Gone, NothingToCollect, Refused, TimedOut
from .requests import Request
from .rules import Acl, CounterValue, Rule, StoredRule
from .words import Activity, CounterKind, Direction, Status, status_of

DEFAULT_TIMEOUT = 5.0  # seconds, of every call
MAX_UNDER_WAY = 32  # requests submitted whose answers are not collected

Result = TypeVar("Result")


@dataclasses.dataclass(frozen=True)
class Answer(Generic[Result]):
    """The answer to a submitted request, which `sequence` names."""

    sequence: int
    request: Request[Result]
    value: Optional[Result]  # what the request's method returns; None after a failure
    error: Optional[Error]  # Refused, or another that says why there is no value

    @property
    def status(self) -> Optional[int]:
        """The daemon's status; None where the request did not reach its handler."""
        if isinstance(self.error, Refused):
            return self.error.status
        return Status.SUCCESS if self.error is None else None

    def result(self) -> Result:
        """The value, or the error raised."""
        if self.error is not None:
            raise self.error
        return self.value  # type: ignore[return-value]


class Client:
    """One connection to the daemon, and the number that the client chose for itself.

        with Client(0x51) as client:
            client.open(Owner.OPEN_FLOW)
            client.init(1)
            acl = client.create_acl(size=64)
            client.write_rules(acl.acl_id, [Rule(offset=0, verdict=Verdict.DROP)])

    The daemon knows a client by that number, not by its connection: open() registers it for an
    owner, and every command on any connection that carries it acts as that owner. Closing gives up
    nothing, and a later Client of the same number goes on.

    Each method waits for the daemon's answer and raises what the module `errors` lists: Refused
    with the daemon's status, TimedOut, Gone, BadAnswer; ValueError, and nothing sent, for arguments
    that cannot travel. Where the system has no memory for a message, its OSError comes through.

    The statuses named with a method are the likely ones. All of them, and what each failure leaves
    behind, stand with the C function of the command, in zv_acl_rm_client.h and its manual page.
    Beside those named the daemon gives Status.ERROR before the first open() or init() and where the
    switch refuses. "no such ACL" stands for an unknown ACL and for a handle that is no owner's: one
    that never opened, or whose owner another client has opened since; both have one status. So it
    is with "no such group". Where a command of several steps fails half-way, the steps done stay
    done.

    There is no global state. A client is for one thread at a time; any number of clients may be
    used at once.
    """

    def __init__(
        self,
        handle: int,
        path: str = SOCKET_PATH,
        timeout: Optional[float] = DEFAULT_TIMEOUT,
    ) -> None:
        """Connects; nothing is sent yet.

        handle    any number of 64 bits but 0, which the daemon takes for every owner that was
                  never opened
        path      the daemon's socket; the environment's ZV_PLATFORM_ROOT is put before it
        timeout   seconds for a call from its first byte to the whole answer; None for no limit
        Raises OSError of the connection, with the path (FileNotFoundError: no socket there;
        ConnectionRefusedError: no daemon behind it; BlockingIOError: as many connections wait for
        the daemon as may).
        """
        if not 0 <= handle < 1 << 64:
            raise ValueError("the handle is a number of 64 bits")
        self.timeout = timeout
        self._handle = handle
        self._submitted: Dict[int, Request[Any]] = {}
        self._connection = Connection(path)

    @property
    def handle(self) -> int:
        """The number the daemon knows this client by."""
        return self._handle

    def close(self) -> None:
        """Closes the connection. A request under way is still carried out."""
        self._connection.close()

    def fileno(self) -> int:
        """The connection's descriptor, for select and poll; -1 once the client is closed."""
        return self._connection.fileno()

    def __enter__(self) -> "Client":
        return self

    def __exit__(
        self,
        kind: Optional[Type[BaseException]],
        error: Optional[BaseException],
        trace: Optional[types.TracebackType],
    ) -> None:
        self.close()

    # ---- beginning

    def open(self, owner: int) -> None:
        """Registers the handle as the present client of `owner`, and opens the switch.

        Whoever held that owner before loses access to its objects, which stay as they are.
        ERROR: the switch could not be opened; the handle is registered all the same."""
        self.call(requests.open(owner))

    def init(self, chip_type: int) -> None:
        """Opens the switch if need be and loads the limits of a chip type."""
        self.call(requests.init(chip_type))

    # ---- ACLs

    def create_acl(
        self,
        size: int,
        direction: int = Direction.INGRESS,
        key_type: int = 0,
        action_type: int = 0,
        acl_type: int = 0,
    ) -> Acl:
        """Creates an ACL with room for `size` rules. The types are the switch's own numbers.

        ENTRY_NOT_FOUND: the handle was never opened. NO_RESOURCES: the daemon holds as many ACLs
        as the chip allows. PARAM_NULL: the daemon's memory ran out. ERROR: the daemon holds 648
        ACLs, on a chip without limits."""
        return self.call(requests.create_acl(size, direction, key_type, action_type, acl_type))

    def destroy_acl(
        self, acl_id: int, direction: int = Direction.INGRESS, acl_type: int = 0
    ) -> None:
        """Destroys an ACL with its rules and takes it off its ports. Direction and type go to the
        switch as given here.

        ENTRY_NOT_FOUND: the handle is no owner's; rules from before an edit; or a rule that
        forwards to logical port 0: that one is gone, and a second call goes on behind it.
        PARAM_EXCEEDS_RANGE: an unknown ACL, or one with rules on a chip that allows none.
        NO_BUFFER_SPACE: the daemon's memory ran out. ERROR: another owner's."""
        self.call(requests.destroy_acl(acl_id, direction, acl_type))

    def edit_acl(self, acl_id: int, direction: int) -> int:
        """Gives an ACL another direction and returns the id it has from then on. What named the
        former id keeps it, so edit an ACL before it has rules and ports.

        ENTRY_NOT_FOUND: the handle is no owner's. PARAM_EXCEEDS_RANGE: an unknown ACL. ERROR:
        another owner's, or bound; the daemon has forgotten a bound one by then."""
        return self.call(requests.edit_acl(acl_id, direction))

    def resize_acl(self, acl_id: int, new_size: int) -> None:
        """Gives an ACL that was created with size 0 room for `new_size` rules.

        PARAM_EXCEEDS_RANGE: no such ACL, one of a fixed size, or a rule past the new end.
        NO_HW_RESOURCES: no room in the switch. PARAM_NULL: the daemon's memory ran out after the
        switch was resized. ERROR: another owner's ACL."""
        self.call(requests.resize_acl(acl_id, new_size))

    # ---- rules

    def write_rules(self, acl_id: int, rules: Sequence[Rule]) -> None:
        """Writes up to 20 rules at their offsets.

        PARAM_EXCEEDS_RANGE: no such ACL, more rules than the chip allows, or a key type above 3.
        NO_RESOURCES: the daemon holds 6400 rules. NO_HW_RESOURCES: no room for a forwarding entry.
        ENTRY_NOT_FOUND: an unknown MC group or counter. ERROR: an offset that holds a rule
        already or stands twice, rules that go past the 6400th, more than 100 forwarding ports, or
        another owner's ACL. What was written before a failure stays, some of it only in the
        switch."""
        self.call(requests.write_rules(acl_id, rules))

    def delete_rules(self, acl_id: int, offsets: Sequence[int]) -> None:
        """Deletes the rules at up to 20 offsets.

        ENTRY_NOT_FOUND: no rule at one of them, and nothing was deleted; or one stands twice, or
        a rule forwards to logical port 0, and they are gone from the switch. PARAM_EXCEEDS_RANGE:
        no such ACL, more rules than the chip allows, or an offset that the ACL has lost its record
        of. NO_BUFFER_SPACE: the daemon's memory ran out. ERROR: another owner's ACL."""
        self.call(requests.delete_rules(acl_id, offsets))

    def read_rules(
        self, acl_id: int, offsets: Sequence[int], activity: int = Activity.IGNORE
    ) -> List[StoredRule]:
        """Reads the rules at up to 20 offsets from the switch, in that order, and whether packets
        hit them where `activity` asks. Any client may read any ACL; Activity.READ_AND_CLEAR is the
        owner's.

        ENTRY_NOT_FOUND: an unknown ACL, or no rule at an offset. PARAM_EXCEEDS_RANGE: more rules
        than the chip allows; or, with READ_AND_CLEAR, no such ACL. ERROR: an offset past the ACL's
        end; or, with READ_AND_CLEAR, another owner's ACL."""
        return self.call(requests.read_rules(acl_id, offsets, activity))

    def move_rules(self, acl_id: int, start: int, count: int, new_start: int) -> None:
        """Moves `count` rules from offset `start` to `new_start`, as memory is moved: what lies
        there is overwritten, what is left behind is empty.

        PARAM_EXCEEDS_RANGE: no such ACL. ERROR: another owner's, a block outside the ACL, or the
        daemon holds 6400 rules and the new place is empty. Over rules also the statuses of
        delete_rules; where the daemon's record could not follow, the switch stays moved."""
        self.call(requests.move_rules(acl_id, start, count, new_start))

    # ---- binding

    def bind_ports(self, acl_id: int, log_ports: Sequence[int]) -> None:
        """Binds an ACL to up to 100 logical ports, in their order; those done before a failure
        stay done. Binding what is bound is no failure. Where the switch refused a port, the daemon
        may count it as done all the same: a later success proves nothing for it.

        PARAM_EXCEEDS_RANGE: no port, no such ACL, or its list of what it is bound to is full (648
        ports and router interfaces; those that an unbind took off before it failed stay listed):
        the port is bound all the same, and not listed. NO_RESOURCES: the daemon's groups are used
        up, or a port has 16 ACLs. NO_HW_RESOURCES: the switch's room ran out. ENTRY_NOT_FOUND: a
        port has an ACL that was edited since. ERROR: another owner's ACL, a port whose ACLs have
        the other direction, or the switch refused."""
        self.call(requests.bind_ports(acl_id, log_ports))

    def unbind_ports(self, acl_id: int, log_ports: Sequence[int]) -> None:
        """Unbinds an ACL from up to 100 logical ports. Statuses as with bind_ports."""
        self.call(requests.unbind_ports(acl_id, log_ports))

    def bind_rifs(self, acl_id: int, rifs: Sequence[int]) -> None:
        """Binds an ACL to up to 100 router interfaces, numbers of 16 bits. Statuses as with
        bind_ports."""
        self.call(requests.bind_rifs(acl_id, rifs))

    def unbind_rifs(self, acl_id: int, rifs: Sequence[int]) -> None:
        """Unbinds an ACL from up to 100 router interfaces. Statuses as with bind_ports."""
        self.call(requests.unbind_rifs(acl_id, rifs))

    def bind_system(self, acl_id: int) -> None:
        """Binds an ACL to every front-panel port, and to those that add_ports() will name. After a
        failure it stays on the ports done before, but is not bound to the system: they are unbound
        one by one.

        PARAM_EXCEEDS_RANGE: no such ACL, or its list is full as with bind_ports, as are
        NO_RESOURCES, NO_HW_RESOURCES and ENTRY_NOT_FOUND. ERROR: another owner's ACL, one that is
        bound so already, a port whose ACLs have the other direction, or the switch refused."""
        self.call(requests.bind_system(acl_id))

    def unbind_system(self, acl_id: int) -> None:
        """Takes a system-bound ACL off every port, also off those it was bound to one by one. After
        a failure it still counts as bound to the system, and this may be called again.

        PARAM_EXCEEDS_RANGE: no such ACL. ERROR: another owner's ACL, one not bound so, or the
        switch refused."""
        self.call(requests.unbind_system(acl_id))

    def add_ports(self, log_ports: Sequence[int]) -> None:
        """Tells the daemon of up to 100 ports that came: every owner's system-bound ACLs are bound
        to them. Statuses as with bind_ports, but that no port is no failure."""
        self.call(requests.add_ports(log_ports))

    def remove_ports(self, log_ports: Sequence[int]) -> None:
        """Tells the daemon of up to 100 ports that went. Statuses as with add_ports."""
        self.call(requests.remove_ports(log_ports))

    # ---- counters

    def create_counter(self, kind: CounterKind) -> int:
        """Creates a flow counter and returns its id. NO_RESOURCES: the daemon holds 255."""
        return self.call(requests.create_counter(kind))

    def destroy_counter(self, counter_id: int) -> None:
        """Destroys a flow counter; one that rules use goes with the last of them.
        ENTRY_NOT_FOUND: no such counter."""
        self.call(requests.destroy_counter(counter_id))

    def read_counter(self, counter_id: int) -> CounterValue:
        """Reads what a flow counter counted. ENTRY_NOT_FOUND: no such counter."""
        return self.call(requests.read_counter(counter_id))

    def clear_counter(self, counter_id: int) -> None:
        """Sets a flow counter to 0. ENTRY_NOT_FOUND: no such counter."""
        self.call(requests.clear_counter(counter_id))

    # ---- MC groups

    def create_mc_group(self, log_ports: Sequence[int] = ()) -> int:
        """Creates an MC group of up to 100 ports and returns its id.

        ENTRY_NOT_FOUND: the handle was never opened. NO_RESOURCES: no room in the switch. ERROR:
        the switch refused, or the daemon holds 6400 groups: the new one is then in the switch, and
        nobody can name it."""
        return self.call(requests.create_mc_group(log_ports))

    def add_mc_group_ports(self, mc_group_id: int, log_ports: Sequence[int]) -> None:
        """Adds up to 100 ports to an MC group.

        PARAM_EXCEEDS_RANGE: no such group, or a client that opened as OF13. ERROR: another owner's
        group, or the switch refused, for want of room too."""
        self.call(requests.add_mc_group_ports(mc_group_id, log_ports))

    def remove_mc_group_ports(self, mc_group_id: int, log_ports: Sequence[int]) -> None:
        """Removes up to 100 ports from an MC group. Statuses as with add_mc_group_ports."""
        self.call(requests.remove_mc_group_ports(mc_group_id, log_ports))

    def delete_mc_group(self, mc_group_id: int) -> None:
        """Deletes an MC group. Statuses as with add_mc_group_ports."""
        self.call(requests.delete_mc_group(mc_group_id))

    def mc_group_ports(
        self, mc_group_id: int, room: int = requests.PORTS_PER_REQUEST
    ) -> List[int]:
        """Reads the ports of an MC group, the first `room` of them. Statuses as with
        add_mc_group_ports."""
        return self.call(requests.mc_group_ports(mc_group_id, room))

    # ---- looking

    def dump(self, path: Union[str, bytes, "os.PathLike[str]"]) -> None:
        """Has the daemon write its cache as text to a file on its own host, by its absolute path.

        A file that cannot be opened, or takes only a part, is no failure: the text then goes to
        the daemon's log. NO_RESOURCES: the daemon's memory ran out."""
        self.call(requests.dump(path))

    # ---- several requests under way

    def call(self, request: Request[Result]) -> Result:
        """Sends a request and waits for its answer, as the methods above do.

        Busy: answers to submitted requests are outstanding."""
        self._connection.require_open()
        if self._submitted:
            raise Busy(f"{len(self._submitted)} answers are outstanding; collect them first")
        deadline = Deadline(self.timeout)
        self._send(request, deadline)
        try:
            reply = self._connection.receive(deadline)
        except TimedOut:
            raise TimedOut(
                f"no answer to {request.command.name} in {self.timeout} seconds; "
                "whether it was carried out is unknown"
            ) from None
        finally:
            # Whatever ended the wait, a key of the terminal included: a later call has no use for
            # this answer.
            self._connection.give_up()
        return self._answer(request, reply).result()

    def submit(self, request: Request[Any]) -> int:
        """Sends a request without waiting for its answer and returns its sequence number.

        Busy: MAX_UNDER_WAY answers are outstanding. TimedOut: the daemon did not take the request
        (it stops reading from a client that takes no answers); nothing was sent then, and with a
        timeout of 0 this is how to send what can be sent at once."""
        self._connection.require_open()
        if len(self._submitted) >= MAX_UNDER_WAY:
            raise Busy(f"{MAX_UNDER_WAY} answers are outstanding; collect one first")
        sequence = self._send(request, Deadline(self.timeout))
        self._submitted[sequence] = request
        return sequence

    def collect(self) -> Answer[Any]:
        """Waits for the oldest outstanding answer; answers come in the order of the requests.

        A refusal is not raised here but by Answer.result(). After TimedOut the answer is still
        outstanding; after Gone none is, and its `unanswered` has the sequence numbers of those of
        which nobody knows whether they were carried out. NothingToCollect: nothing was
        submitted."""
        self._connection.require_open()
        if not self._submitted:
            raise NothingToCollect("nothing was submitted")
        try:
            reply = self._connection.receive(Deadline(self.timeout))
        except Gone as gone:
            gone.unanswered = tuple(self._submitted)
            self._submitted.clear()  # no answer will come
            raise
        return self._answer(self._submitted.pop(reply.sequence), reply)

    @property
    def under_way(self) -> int:
        """How many submitted requests have answers to collect."""
        return len(self._submitted)

    def _send(self, request: Request[Any], deadline: Deadline) -> int:
        body = self._handle.to_bytes(8, "little") + request.record
        return self._connection.send(request.command, body, request.attachment, deadline)

    def _answer(self, request: Request[Result], reply: Reply) -> Answer[Result]:
        if reply.error is not None:
            return Answer(reply.sequence, request, None, reply.error)
        if status_of(reply.status) != Status.SUCCESS:
            refused = Refused(reply.status, request.command)
            return Answer(reply.sequence, request, None, refused)
        if len(reply.body) != request.answer_bytes:
            self.close()
            raise BadAnswer(
                f"the daemon answered {request.command.name} with {len(reply.body)} bytes "
                f"in place of {request.answer_bytes}"
            )
        return Answer(reply.sequence, request, request.read(reply.body), None)
