#!/usr/bin/env python3
"""Sends every request once, as every_request.c and every_request.cpp do: a test compares bytes.

    every_request.py SOCKET
"""

import sys

from zv_acl_rm import Activity, Client, CounterKind, Direction, Owner, Rule, Verdict, requests

HANDLE = 0x1122334455667788
KEY = bytes(range(128))
MASK = bytes(255 - i for i in range(128))


def main() -> None:
    rules = [
        Rule(3, KEY, MASK, key_type=2, verdict=Verdict.TRAP, counter_id=77, forward_port=65537),
        Rule(4, KEY[:5], MASK[:5], forward_mc_group=6),
        Rule(5, verdict=Verdict.DROP, valid=False),
    ]
    with Client(HANDLE, sys.argv[1]) as client:
        client.open(Owner.PRA)
        client.init(9)
        client.create_acl(64, Direction.EGRESS, key_type=1, action_type=2, acl_type=3)
        client.destroy_acl(7, Direction.EGRESS, acl_type=3)
        client.edit_acl(7, Direction.EGRESS)
        client.resize_acl(7, 128)
        client.write_rules(7, rules)
        client.write_rules(7, [Rule(offset) for offset in range(20)])
        client.delete_rules(7, [1, 5])
        client.read_rules(7, [0, 3])
        client.read_rules(7, [0, 3], Activity.READ_AND_CLEAR)
        client.move_rules(7, 1, 2, 5)
        client.bind_ports(7, range(65537, 65637))
        client.unbind_ports(7, [65537])
        client.bind_rifs(7, [1, 65535])
        client.unbind_rifs(7, [])
        client.bind_system(7)
        client.unbind_system(7)
        client.add_ports([65537, 65538])
        client.remove_ports([65538])
        client.create_counter(CounterKind.PACKETS)
        client.create_counter(CounterKind.BYTES)
        client.destroy_counter(5)
        client.read_counter(5)
        client.clear_counter(5)
        client.create_mc_group([65537, 65538])
        client.add_mc_group_ports(4, [65539])
        client.remove_mc_group_ports(4, [65539])
        client.delete_mc_group(4)
        client.mc_group_ports(4, 10)
        client.dump("/tmp/some file")
        client.submit(requests.create_acl(64))
        client.submit(requests.write_rules(7, rules))
        client.submit(requests.dump("/tmp/d"))
        for _ in range(3):
            client.collect().result()


if __name__ == "__main__":
    main()
