"""One connection to the daemon: packets, their sequence numbers, and deadlines.

The daemon answers the requests of a connection in their order. What is under way is therefore a
queue: an answer belongs to the oldest request, or to one after it where those before were given up
when their time was over. Answers to requests that were given up are dropped.
"""

from __future__ import annotations

import collections
import dataclasses
import errno
import os
import select
import socket
import struct
import time
from typing import Deque, Optional

from .errors import BadAnswer, Error, Gone, NotUnderstood, ShuttingDown, TimedOut

SOCKET_PATH = "/var/run/zv_acl_rm.sock"

# magic, version, kind, command, sequence, status, transport, body length, attachment length,
# reserved
_HEADER = struct.Struct("<4sHHIIIIIIQ")
_MAGIC = b"ZVRP"
_VERSION = 1
_REQUEST = 1
_REPLY = 2
_LONGEST_PATH = 107  # what a socket's address holds beside its NUL
_ROOM = 65536  # for a packet; the daemon's are shorter

_TRANSPORT_ERRORS = {
    1: (NotUnderstood, "the daemon found the request malformed"),
    2: (NotUnderstood, "the daemon has no such command"),
    3: (NotUnderstood, "the daemon found the request too long"),
    4: (ShuttingDown, "the daemon is shutting down and did not carry the command out"),
}


class Deadline:
    """A moment after which nothing is waited for; `None` seconds: never."""

    def __init__(self, seconds: Optional[float]) -> None:
        self._end = None if seconds is None else time.monotonic() + seconds

    def left_ms(self) -> Optional[float]:
        if self._end is None:
            return None
        return max(0.0, (self._end - time.monotonic()) * 1000)


@dataclasses.dataclass(frozen=True)
class Reply:
    """An answer's header and body. `error` is the transport's; without it `status` counts."""

    sequence: int
    status: int
    body: bytes
    error: Optional[Error]


@dataclasses.dataclass
class _UnderWay:
    sequence: int
    command: int
    wanted: bool = True


def _rooted(path: str) -> str:
    rooted = os.environ.get("ZV_PLATFORM_ROOT", "") + path
    if len(os.fsencode(rooted)) > _LONGEST_PATH:
        raise OSError(errno.ENAMETOOLONG, os.strerror(errno.ENAMETOOLONG), rooted)
    return rooted


class Connection:
    """Sends requests and takes replies; knows nothing of what is in them."""

    def __init__(self, path: str) -> None:
        path = _rooted(path)
        self._socket = socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET)
        self._next = 1
        self._under_way: Deque[_UnderWay] = collections.deque()
        try:
            self._socket.setblocking(False)
            self._socket.connect(path)
        except OSError as error:
            self._socket.close()
            raise OSError(error.errno, error.strerror, path) from None

    def close(self) -> None:
        self._socket.close()

    def fileno(self) -> int:
        """The socket's descriptor, -1 once it is closed."""
        return self._socket.fileno()

    def require_open(self) -> None:
        if self._socket.fileno() < 0:
            raise Gone("the client is closed")

    def give_up(self) -> None:
        """Replies to what is under way are not wanted any more."""
        for request in self._under_way:
            request.wanted = False

    def send(self, command: int, body: bytes, attachment: bytes, deadline: Deadline) -> int:
        """Sends a request and returns its number. After TimedOut nothing was sent."""
        sequence = self._next
        header = _HEADER.pack(
            _MAGIC, _VERSION, _REQUEST, command, sequence, 0, 0, len(body), len(attachment), 0
        )
        packet = header + body + attachment
        while not self._try_send(packet):
            self._wait(select.POLLOUT, deadline, "the daemon did not take the request in time")
        self._under_way.append(_UnderWay(sequence, command))
        self._next = (sequence + 1) & 0xFFFFFFFF
        return sequence

    def receive(self, deadline: Deadline) -> Reply:
        """Takes the oldest wanted reply. After TimedOut it is still to come."""
        while True:
            packet = self._try_receive()
            if packet is None:
                self._wait(select.POLLIN, deadline, "the daemon did not answer in time")
                continue
            reply = self._understood(packet)
            if reply is not None:
                return reply

    def _try_send(self, packet: bytes) -> bool:
        self.require_open()
        try:
            self._socket.send(packet, socket.MSG_NOSIGNAL)
        except BlockingIOError:
            return False
        except ConnectionError as error:
            raise Gone("the daemon closed the connection") from error
        return True

    def _try_receive(self) -> Optional[bytes]:
        """A packet, or None when there is none yet."""
        self.require_open()
        # A daemon that went away with requests unread is reported once, before the replies that it
        # has sent; those are still to be had.
        for last_try in (False, True):
            try:
                packet = self._socket.recv(_ROOM)
            except BlockingIOError:
                return None
            except ConnectionError as error:
                if last_try:
                    raise Gone("the daemon closed the connection") from error
                continue
            if packet:
                return packet
            break
        raise Gone("the daemon closed the connection")

    def _wait(self, event: int, deadline: Deadline, too_late: str) -> None:
        poll = select.poll()
        poll.register(self._socket, event)
        if not poll.poll(deadline.left_ms()):
            raise TimedOut(too_late)

    def _understood(self, packet: bytes) -> Optional[Reply]:
        """The reply in a packet, None for one that is not wanted any more."""
        if len(packet) < _HEADER.size:
            raise self._bad_answer(f"a packet of {len(packet)} bytes")
        (magic, version, kind, command, sequence, status, transport,
         body_len, attachment_len, reserved) = _HEADER.unpack_from(packet)  # fmt: skip
        if (magic, version, kind) != (_MAGIC, _VERSION, _REPLY) or reserved or attachment_len:
            raise self._bad_answer("a packet that is no reply")
        if len(packet) != _HEADER.size + body_len:
            raise self._bad_answer(f"{len(packet)} bytes that name {body_len} of body")
        request = self._answered(sequence)
        if request is None or request.command != command:
            raise self._bad_answer(f"a reply to request {sequence}, command {command}")
        if not request.wanted:
            return None
        return Reply(sequence, status, packet[_HEADER.size :], self._transport_error(transport))

    def _answered(self, sequence: int) -> Optional[_UnderWay]:
        """Takes the request from the queue that a reply answers."""
        while self._under_way:
            request = self._under_way.popleft()
            if request.sequence == sequence:
                return request
            if request.wanted:
                return None
        return None

    def _transport_error(self, transport: int) -> Optional[Error]:
        if transport == 0:
            return None
        if transport not in _TRANSPORT_ERRORS:
            raise self._bad_answer(f"transport result {transport}")
        kind, text = _TRANSPORT_ERRORS[transport]
        return kind(text)

    def _bad_answer(self, what: str) -> BadAnswer:
        """Nothing that follows on this connection could be trusted."""
        self.close()
        return BadAnswer(f"the daemon sent {what}")
