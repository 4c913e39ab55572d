"""What can go wrong between a client and the daemon.

    Error
      Refused          the daemon answered, and refused
      TimedOut         no answer in time; whether the command was carried out is unknown
      Gone             the daemon went away, or the client is closed
        ShuttingDown   the daemon is stopping and did not carry the command out
      BadAnswer        what came is no answer of this protocol
        NotUnderstood  the daemon did not understand the request: it is of another version
      Busy             answers to submitted requests are to be collected first
      NothingToCollect nothing was submitted

An argument that cannot travel (a key too long, too many ports, a number of more than its bits) is a
ValueError and nothing is sent. A connection that cannot be made is the OSError of the system, such
as FileNotFoundError, ConnectionRefusedError, or BlockingIOError where as many connections wait for
the daemon as may.
"""

from __future__ import annotations

from typing import Tuple

from .words import Command, status_of, status_text


class Error(Exception):
    """Every error below."""


class Refused(Error):
    """The daemon's refusal of a command; `status` says why, `command` which."""

    def __init__(self, status: int, command: Command) -> None:
        super().__init__(status, command)
        self.status = status_of(status)
        self.command = command

    def __str__(self) -> str:
        return f"{self.command.name} was refused, {status_text(self.status)}"


class TimedOut(Error, TimeoutError):
    """No answer within the time limit. A late one is never taken for that of a later request."""


class Gone(Error, ConnectionError):
    """No daemon is at the other end any more. Make a new Client to go on.

    `unanswered`, of one that collect() raised: the sequence numbers of the requests that were left
    without an answer, of which nobody knows whether they were carried out."""

    unanswered: Tuple[int, ...] = ()


class ShuttingDown(Gone):
    """The daemon is stopping. It has not carried the command out."""


class BadAnswer(Error):
    """The answer was none of this protocol, or had the wrong size. The client is closed then."""


class NotUnderstood(BadAnswer):
    """The daemon has no such command, or found the message malformed or too long. The client
    stays open."""


class Busy(Error):
    """Answers are outstanding: collect() them first."""


class NothingToCollect(Error):
    """collect() without a submitted request."""
