"""Client of zv_acl_rm, the ACL resource manager of a switch. Standard library only.

    from zv_acl_rm import Client, Owner, Rule, Verdict

    with Client(0x51) as client:
        client.open(Owner.OPEN_FLOW)
        client.init(1)
        acl = client.create_acl(size=64)
        client.write_rules(acl.acl_id, [Rule(offset=0, verdict=Verdict.DROP)])
        client.bind_ports(acl.acl_id, [65537, 65538])

Client has a method for every use of the daemon's sixteen commands; requests makes the same requests
for Client.submit, which does not wait; errors tells what can go wrong; words has the enumerations.
"""

from . import errors, requests
from .client import DEFAULT_TIMEOUT, MAX_UNDER_WAY, Answer, Client
from .connection import SOCKET_PATH
from .errors import (
    BadAnswer,
    Busy,
    Error,
    Gone,
    NothingToCollect,
    NotUnderstood,
    Refused,
    ShuttingDown,
    TimedOut,
)
from .requests import PORTS_PER_REQUEST, RULES_PER_REQUEST, Request
from .rules import ACTION_BYTES, KEY_BYTES, Acl, CounterValue, Rule, StoredRule
from .words import (
    Access,
    Activity,
    Command,
    CounterKind,
    Direction,
    Owner,
    Status,
    Verdict,
    status_text,
)

__all__ = [
    "ACTION_BYTES",
    "Access",
    "Acl",
    "Activity",
    "Answer",
    "BadAnswer",
    "Busy",
    "Client",
    "Command",
    "CounterKind",
    "CounterValue",
    "DEFAULT_TIMEOUT",
    "Direction",
    "Error",
    "Gone",
    "KEY_BYTES",
    "MAX_UNDER_WAY",
    "NotUnderstood",
    "NothingToCollect",
    "Owner",
    "PORTS_PER_REQUEST",
    "RULES_PER_REQUEST",
    "Refused",
    "Request",
    "Rule",
    "SOCKET_PATH",
    "ShuttingDown",
    "Status",
    "StoredRule",
    "TimedOut",
    "Verdict",
    "errors",
    "requests",
    "status_text",
]
