#!/usr/bin/env python3
"""An owner at work beside two others; busy_owner.c and busy_owner.cpp are the others.

    busy_owner.py ARRIVED GO ROUNDS

Tells the FIFO ARRIVED with a byte that it is ready, begins when there is one in GO, tells ARRIVED
again when it has done its rounds, and goes on until all have: then GO has one more. So each round
that counts has the others beside it. Ends with 0 if every answer was right.
"""

import os
import select
import sys

from zv_acl_rm import Client, CounterKind, CounterValue, Owner, Rule, requests

HANDLE = 0xB3
TAG = 0xB3  # the first byte of every key, so that no rule can be taken for another owner's
CHIP_TYPE = 3
BATCHES = 3
BATCH = 20
PORTS = [65537, 65538]  # the others' too


def make_rule(offset: int, round_number: int) -> Rule:
    key = bytes([TAG, round_number & 0xFF, offset])
    return Rule(offset, key, b"\xff\xff\xff", verdict=offset % 3)


def write(client: Client, acl_id: int, round_number: int) -> None:
    sent = []
    for first in range(0, BATCHES * BATCH, BATCH):
        rules = [make_rule(offset, round_number) for offset in range(first, first + BATCH)]
        sent.append(client.submit(requests.write_rules(acl_id, rules)))
    for sequence in sent:
        answer = client.collect()
        answer.result()
        assert answer.sequence == sequence


def check(client: Client, acl_id: int, round_number: int) -> None:
    for first in range(0, BATCHES * BATCH, BATCH):
        offsets = list(range(first, first + BATCH))
        for offset, rule in zip(offsets, client.read_rules(acl_id, offsets)):
            assert rule.offset == offset and rule.verdict == offset % 3, rule
            assert rule.key[:3] == bytes([TAG, round_number & 0xFF, offset]), rule
            assert rule.mask[:4] == b"\xff\xff\xff\0", rule


def work(client: Client, round_number: int) -> None:
    acl = client.create_acl(BATCHES * BATCH)
    write(client, acl.acl_id, round_number)
    client.bind_ports(acl.acl_id, PORTS)
    counter_id = client.create_counter(CounterKind.PACKETS)
    assert client.read_counter(counter_id) == CounterValue(CounterKind.PACKETS, 0)
    client.destroy_counter(counter_id)
    group_id = client.create_mc_group(PORTS)
    assert sorted(client.mc_group_ports(group_id)) == PORTS
    client.delete_mc_group(group_id)
    check(client, acl.acl_id, round_number)
    client.unbind_ports(acl.acl_id, PORTS)
    client.delete_rules(acl.acl_id, list(range(BATCH)))
    client.destroy_acl(acl.acl_id)


def main() -> None:
    arrived = os.open(sys.argv[1], os.O_WRONLY)
    go = os.open(sys.argv[2], os.O_RDONLY)
    rounds = int(sys.argv[3])
    done = 0
    with Client(HANDLE, timeout=60) as client:
        client.open(Owner.PRA)
        client.init(CHIP_TYPE)
        os.write(arrived, b"x")
        os.read(go, 1)
        others_done = False
        while not others_done:
            work(client, done)
            done += 1
            if done == rounds:
                os.write(arrived, b"x")
            others_done = done >= rounds and bool(select.select([go], [], [], 0)[0])
    print(f"{done} rounds")


if __name__ == "__main__":
    main()
