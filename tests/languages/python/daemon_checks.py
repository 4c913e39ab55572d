#!/usr/bin/env python3
"""Every method of the Python module against the real daemon that ZV_PLATFORM_ROOT leads to.

Each method succeeds once with what it ought to do, and is refused once. Everything is taken away
again, so that the caller can look whether the daemon is empty. Run by a test that starts a daemon.
"""

import os
import tempfile
import unittest

from zv_acl_rm import Acl, Activity, Client, CounterKind, CounterValue, Direction, Owner, Refused
from zv_acl_rm import Rule, Status, Verdict, requests

HANDLE = 0x51
STRANGER = 0x52  # a handle that is never opened
CHIP_TYPE = 3
PORTS = [65537, 65538]
NO_ACL = 4000


class AgainstTheDaemon(unittest.TestCase):
    def setUp(self):
        self.client = self.connect(HANDLE)
        self.client.open(Owner.OPEN_FLOW)
        self.client.init(CHIP_TYPE)

    def connect(self, handle):
        client = Client(handle, timeout=60)
        self.addCleanup(client.close)
        return client

    def make_acl(self, size=16, **options):
        acl = self.client.create_acl(size, **options)
        self.addCleanup(self.client.destroy_acl, acl.acl_id)
        return acl.acl_id

    def assertRefused(self, status, method, *arguments):
        with self.assertRaises(Refused) as caught:
            method(*arguments)
        self.assertEqual(caught.exception.status, status)

    def test_init_refuses_an_unknown_chip(self):
        self.assertRefused(Status.ERROR, self.client.init, 4711)

    def test_open_takes_an_owner_over(self):
        acl_id = self.make_acl()
        other = self.connect(0x53)
        other.open(Owner.OPEN_FLOW)
        self.assertRefused(Status.PARAM_EXCEEDS_RANGE, self.client.resize_acl, acl_id, 16)
        self.client.open(Owner.OPEN_FLOW)
        self.client.resize_acl(acl_id, 16)

    def test_create_and_destroy(self):
        acl = self.client.create_acl(8, Direction.EGRESS, key_type=1)
        self.assertIsInstance(acl, Acl)
        self.assertGreater(acl.acl_id, 0)
        self.client.destroy_acl(acl.acl_id, Direction.EGRESS)
        self.assertRefused(Status.PARAM_EXCEEDS_RANGE, self.client.destroy_acl, acl.acl_id)
        stranger = self.connect(STRANGER)
        self.assertRefused(Status.ENTRY_NOT_FOUND, stranger.create_acl, 8)

    def test_edit(self):
        acl = self.client.create_acl(8)
        edited = self.client.edit_acl(acl.acl_id, Direction.EGRESS)
        self.client.destroy_acl(edited, Direction.EGRESS)
        self.assertRefused(
            Status.PARAM_EXCEEDS_RANGE, self.client.edit_acl, NO_ACL, Direction.EGRESS
        )

    def test_resize(self):
        acl_id = self.make_acl(size=0)
        self.client.resize_acl(acl_id, 32)
        self.client.write_rules(acl_id, [Rule(31)])
        self.assertRefused(Status.PARAM_EXCEEDS_RANGE, self.client.resize_acl, acl_id, 16)

    def test_rules(self):
        acl_id = self.make_acl()
        rules = [Rule(i, bytes([i]), b"\xff", verdict=Verdict.DROP) for i in range(3)]
        rules[1].forward_port = PORTS[0]
        self.client.write_rules(acl_id, rules)
        first, second, _ = self.client.read_rules(acl_id, [0, 1, 2], Activity.READ)
        self.assertEqual((first.key[:2], first.mask[:2]), (b"\0\0", b"\xff\0"))
        self.assertEqual((first.verdict, first.active), (Verdict.DROP, False))
        self.assertEqual((second.key[0], second.forward_port), (1, PORTS[0]))
        self.client.move_rules(acl_id, 0, 1, 9)
        (moved,) = self.client.read_rules(acl_id, [9], Activity.READ_AND_CLEAR)
        self.assertEqual((moved.mask, moved.verdict), (first.mask, Verdict.DROP))
        self.client.delete_rules(acl_id, [9, 1])
        self.assertRefused(Status.ENTRY_NOT_FOUND, self.client.read_rules, acl_id, [9])
        self.assertRefused(Status.ENTRY_NOT_FOUND, self.client.delete_rules, acl_id, [9])
        self.assertRefused(Status.ERROR, self.client.write_rules, acl_id, [Rule(2)])
        self.assertRefused(Status.PARAM_EXCEEDS_RANGE, self.client.move_rules, NO_ACL, 0, 1, 2)

    def test_ports(self):
        acl_id = self.make_acl()
        self.client.bind_ports(acl_id, PORTS)
        self.client.unbind_ports(acl_id, PORTS)
        for method in (self.client.bind_ports, self.client.unbind_ports):
            self.assertRefused(Status.PARAM_EXCEEDS_RANGE, method, NO_ACL, PORTS)

    def test_router_interfaces(self):
        acl_id = self.make_acl()
        self.client.bind_rifs(acl_id, [3, 4])
        self.client.unbind_rifs(acl_id, [3, 4])
        for method in (self.client.bind_rifs, self.client.unbind_rifs):
            self.assertRefused(Status.PARAM_EXCEEDS_RANGE, method, NO_ACL, [3])

    def test_system(self):  # nothing but a fault of the switch has a removal of ports refused
        acl_id = self.make_acl()
        self.client.bind_system(acl_id)
        self.assertRefused(Status.ERROR, self.client.bind_system, acl_id)
        self.client.remove_ports(PORTS)
        self.client.add_ports(PORTS)
        # A port whose ACLs have the other direction takes no system-bound one.
        self.client.remove_ports(PORTS[:1])
        other = self.make_acl(direction=Direction.EGRESS)
        self.client.bind_ports(other, PORTS[:1])
        self.assertRefused(Status.ERROR, self.client.add_ports, PORTS[:1])
        self.client.unbind_ports(other, PORTS[:1])
        self.client.unbind_system(acl_id)
        self.assertRefused(Status.ERROR, self.client.unbind_system, acl_id)

    def test_counters(self):
        for kind in CounterKind:
            counter_id = self.client.create_counter(kind)
            self.assertEqual(self.client.read_counter(counter_id), CounterValue(kind, 0))
            self.client.clear_counter(counter_id)
            self.client.destroy_counter(counter_id)
            client = self.client
            for method in (client.read_counter, client.clear_counter, client.destroy_counter):
                self.assertRefused(Status.ENTRY_NOT_FOUND, method, counter_id)

    def test_mc_groups(self):
        group_id = self.client.create_mc_group(PORTS[:1])
        self.client.add_mc_group_ports(group_id, [65540, 65541])
        self.client.remove_mc_group_ports(group_id, PORTS[:1])
        self.assertEqual(self.client.mc_group_ports(group_id), [65540, 65541])
        self.assertEqual(len(self.client.mc_group_ports(group_id, room=1)), 1)
        self.client.delete_mc_group(group_id)
        stranger = self.connect(STRANGER)
        self.assertRefused(Status.ENTRY_NOT_FOUND, stranger.create_mc_group, PORTS)
        for method, arguments in [
            (self.client.add_mc_group_ports, (group_id, PORTS)),
            (self.client.remove_mc_group_ports, (group_id, PORTS)),
            (self.client.delete_mc_group, (group_id,)),
            (self.client.mc_group_ports, (group_id,)),
        ]:
            self.assertRefused(Status.PARAM_EXCEEDS_RANGE, method, *arguments)

    def test_rules_that_forward_to_a_group(self):
        acl_id = self.make_acl()
        group_id = self.client.create_mc_group(PORTS)
        self.client.write_rules(acl_id, [Rule(0, forward_mc_group=group_id)])
        (rule,) = self.client.read_rules(acl_id, [0])
        self.assertIsNotNone(rule.forward_mc_pbs)
        self.assertIsNone(rule.forward_port)
        self.client.delete_rules(acl_id, [0])
        self.client.delete_mc_group(group_id)

    def test_dump(self):
        with tempfile.TemporaryDirectory() as directory:
            path = os.path.join(directory, "dump")
            self.client.dump(path)
            with open(path, encoding="ascii") as dump:
                self.assertIn("g_acl_table_cnt=[0]", dump.read())

    def test_submitted_requests(self):
        acl_id = self.make_acl(size=640)
        for batch in range(32):
            rules = [Rule(batch * 20 + i) for i in range(20)]
            self.client.submit(requests.write_rules(acl_id, rules))
        answers = [self.client.collect() for _ in range(32)]
        self.assertEqual({answer.status for answer in answers}, {Status.SUCCESS})
        sequence = self.client.submit(requests.write_rules(acl_id, [Rule(5)]))
        refused = self.client.collect()
        self.assertEqual((refused.sequence, refused.status), (sequence, Status.ERROR))


if __name__ == "__main__":
    unittest.main()
