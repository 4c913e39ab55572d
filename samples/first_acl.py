#!/usr/bin/env python3
"""A first client: an ACL of three rules on two ports, read back, and taken away again.

    PYTHONPATH=python samples/first_acl.py

first_acl.c and first_acl.cpp do the same in C and C++, and print the same text.
"""

import sys

import zv_acl_rm
from zv_acl_rm import Client, Owner, Rule, Verdict

HANDLE = 0xF125  # any number; what the daemon knows this client by
CHIP_TYPE = 1
PORTS = [65537, 65538]
PROTOCOL_AT = 8  # in a key of type 0; numbers are in network byte order

TELNET = bytes([0, 0, 0, 0, 0, 0, 0, 0, 6, 0, 0, 0, 0, 23])
TELNET_MASK = bytes([0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0, 0, 0, 0xFF, 0xFF])
OSPF = bytes([0, 0, 0, 0, 0, 0, 0, 0, 89])
OSPF_MASK = bytes([0, 0, 0, 0, 0, 0, 0, 0, 0xFF])


def use_acl(client: Client, acl_id: int) -> None:
    rules = [
        Rule(0, TELNET, TELNET_MASK, verdict=Verdict.DROP),
        Rule(1, OSPF, OSPF_MASK, verdict=Verdict.TRAP),
        Rule(2, verdict=Verdict.PERMIT),
    ]
    client.write_rules(acl_id, rules)
    print(f"{len(rules)} rules written")
    client.bind_ports(acl_id, PORTS)
    print(f"bound to ports {PORTS[0]} and {PORTS[1]}")
    for rule in client.read_rules(acl_id, [0, 1, 2]):
        protocol = f"{rule.key[PROTOCOL_AT]}/{rule.mask[PROTOCOL_AT]}"
        print(f"offset {rule.offset}: protocol {protocol}, {Verdict(rule.verdict).name.lower()}")
    client.unbind_ports(acl_id, PORTS)
    print(f"unbound from ports {PORTS[0]} and {PORTS[1]}")


def main() -> int:
    try:
        connected = Client(HANDLE)
    except OSError as error:
        print(f"no daemon at {error.filename}: {error.strerror}", file=sys.stderr)
        return 1
    try:
        with connected as client:
            client.open(Owner.OPEN_FLOW)
            client.init(CHIP_TYPE)
            acl = client.create_acl(size=16)
            print(f"ACL {acl.acl_id} created in region {acl.region_id}")
            try:
                use_acl(client, acl.acl_id)
            finally:  # also when something failed: it is ours
                client.destroy_acl(acl.acl_id)
                print(f"ACL {acl.acl_id} destroyed")
    except (zv_acl_rm.Error, OSError) as error:
        print(error, file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
