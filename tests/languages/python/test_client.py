"""The Python module against a stub: what each method sends, and what it makes of each answer."""

import os
import select
import socket
import struct
import tempfile
import unittest

import stub
import zv_acl_rm
from zv_acl_rm import Activity, Client, Command, CounterKind, Direction, Owner, Rule, Status
from zv_acl_rm import Verdict, requests

HANDLE = 0x1122334455667788
SHORT = 0.05  # a time-out that is to run out

# name, arguments, command, what an echo of the request is worth
METHODS = [
    ("open", (Owner.PRA,), Command.OPEN, None),
    ("init", (9,), Command.INIT, None),
    ("create_acl", (64, Direction.EGRESS), Command.ACL_SET, zv_acl_rm.Acl(0, 0)),
    ("destroy_acl", (7,), Command.ACL_SET, None),
    ("edit_acl", (7, Direction.EGRESS), Command.ACL_SET, 7),
    ("resize_acl", (7, 128), Command.ACL_RESIZE, None),
    ("write_rules", (7, [Rule(3)]), Command.ACL_RULE_SET, None),
    ("delete_rules", (7, [3, 4]), Command.ACL_RULE_SET, None),
    ("move_rules", (7, 1, 2, 5), Command.ACL_RULE_MOVE_BLOCK, None),
    ("bind_ports", (7, [65537]), Command.ACL_BIND_PORT_SET, None),
    ("unbind_ports", (7, [65537]), Command.ACL_BIND_PORT_SET, None),
    ("bind_rifs", (7, [5, 6]), Command.ACL_BIND_RIF_SET, None),
    ("unbind_rifs", (7, [5, 6]), Command.ACL_BIND_RIF_SET, None),
    ("bind_system", (7,), Command.ACL_BIND_SYSTEM_SET, None),
    ("unbind_system", (7,), Command.ACL_BIND_SYSTEM_SET, None),
    ("add_ports", ([65537],), Command.PORT_SET, None),
    ("remove_ports", ([65537],), Command.PORT_SET, None),
    ("create_counter", (CounterKind.PACKETS,), Command.COUNTER_SET, 0),
    ("destroy_counter", (3,), Command.COUNTER_SET, None),
    ("clear_counter", (3,), Command.COUNTER_GET, None),
    ("create_mc_group", ([65537],), Command.MC_GRP_SET, 0),
    ("add_mc_group_ports", (4, [65537]), Command.MC_GRP_SET, None),
    ("remove_mc_group_ports", (4, [65537]), Command.MC_GRP_SET, None),
    ("delete_mc_group", (4,), Command.MC_GRP_SET, None),
    ("mc_group_ports", (4, 2), Command.MC_GRP_GET, [0, 0]),
    ("dump", ("/tmp/d",), Command.DUMP, None),
]  # fmt: skip
READERS = [
    ("read_rules", (7, [3]), Command.ACL_RULE_GET),
    ("read_counter", (3,), Command.COUNTER_GET),
]


def every_method():
    """name, arguments, command: all of Client's methods that are commands."""
    return [method[:3] for method in METHODS] + READERS


class WithStub(unittest.TestCase):
    def start(self, answer=stub.echo, timeout=60.0):
        """A stub and a client of it."""
        daemon = self.enterContext(stub.Stub(answer))
        client = Client(HANDLE, daemon.path, timeout)
        self.addCleanup(client.close)
        return daemon, client

    def enterContext(self, manager):  # the standard one is younger than the module's Python
        self.addCleanup(manager.__exit__, None, None, None)
        return manager.__enter__()

    def call(self, client, name, arguments):
        return getattr(client, name)(*arguments)


class EveryMethod(WithStub):
    def test_is_listed_here(self):
        public = {name for name in vars(Client) if not name.startswith("_")}
        others = {"handle", "close", "fileno", "call", "submit", "collect", "under_way"}
        self.assertEqual(public - others, {name for name, _, _ in every_method()})

    def test_has_a_request_of_its_name(self):
        for name, arguments, command in every_method():
            with self.subTest(name):
                self.assertEqual(getattr(requests, name)(*arguments).command, command)

    def test_sends_its_command_with_the_handle_and_returns_what_the_answer_says(self):
        for name, arguments, command, expected in METHODS:
            with self.subTest(name):
                daemon, client = self.start()
                self.assertEqual(self.call(client, name, arguments), expected)
                (packet,) = daemon.packets
                sent, sequence, body, attachment = stub.request_fields(packet)
                self.assertEqual((sent, sequence), (command, 1))
                self.assertEqual(body[:8], struct.pack("<Q", HANDLE))
                self.assertEqual(attachment, b"/tmp/d\0" if name == "dump" else b"")

    def test_raises_a_refusal_with_its_status(self):
        for name, arguments, command in every_method():
            with self.subTest(name):
                _, client = self.start(lambda packet: stub.reply(packet, status=5))
                with self.assertRaises(zv_acl_rm.Refused) as caught:
                    self.call(client, name, arguments)
                self.assertEqual(caught.exception.status, Status.ENTRY_NOT_FOUND)
                self.assertEqual(caught.exception.command, command)
                self.assertIn("ENTRY_NOT_FOUND: the daemon does not", str(caught.exception))

    def test_raises_gone_when_the_daemon_hangs_up(self):
        for name, arguments, _ in every_method():
            with self.subTest(name):
                _, client = self.start(lambda packet: stub.HANG_UP)
                with self.assertRaises(zv_acl_rm.Gone):
                    self.call(client, name, arguments)

    def test_raises_when_the_time_is_over(self):
        for name, arguments, command in every_method():
            with self.subTest(name):
                _, client = self.start(lambda packet: None, timeout=0.001)
                with self.assertRaisesRegex(zv_acl_rm.TimedOut, f"no answer to {command.name}"):
                    self.call(client, name, arguments)

    def test_calls_an_answer_of_another_size_bad_and_closes(self):
        for name, arguments, _ in every_method():
            with self.subTest(name):
                _, client = self.start(lambda packet: stub.reply(packet, body=bytes(7)))
                with self.assertRaises(zv_acl_rm.BadAnswer):
                    self.call(client, name, arguments)
                with self.assertRaisesRegex(zv_acl_rm.Gone, "the client is closed"):
                    client.init(1)


class Answers(WithStub):
    def with_body(self, *parts):
        """A stub that answers with the handle and these parts of a record."""
        body = struct.pack("<Q", HANDLE) + b"".join(parts)
        return self.start(lambda packet: stub.reply(packet, body=body))[1]

    def stored(self, activity=0, active=0, forwarding=(0, 0, 0)):
        action = bytes(12) + struct.pack("<I", 2) + bytes(40)
        rule = struct.pack(
            "<IIB3xI128sI128s4x56s6I", 9, 9, 1, 2, b"\x11" * 128, 2, b"\x22" * 128, action,
            activity, active, *forwarding, 77,
        )  # fmt: skip
        client = self.with_body(bytes(8), rule.ljust(7200, b"\0"), bytes(8))
        return client.read_rules(1, [9])

    def test_of_a_rule_are_its_fields(self):
        (rule,) = self.stored()
        self.assertEqual((rule.offset, rule.valid, rule.key_type), (9, True, 2))
        self.assertEqual((rule.key, rule.mask), (b"\x11" * 128, b"\x22" * 128))
        self.assertEqual((rule.verdict, rule.counter_id), (Verdict.TRAP, 77))
        self.assertEqual((rule.active, rule.forward_port, rule.forward_mc_pbs), (None,) * 3)

    def test_of_a_rule_tell_activity_only_where_it_was_asked_for(self):
        self.assertEqual(self.stored(activity=1, active=1)[0].active, True)
        self.assertEqual(self.stored(activity=2, active=0)[0].active, False)
        self.assertIsNone(self.stored(activity=0, active=1)[0].active)

    def test_of_a_rule_tell_where_it_forwards(self):
        self.assertEqual(self.stored(forwarding=(1, 65537, 0))[0].forward_port, 65537)
        self.assertEqual(self.stored(forwarding=(2, 0, 6))[0].forward_mc_pbs, 6)
        self.assertIsNone(self.stored(forwarding=(2, 0, 6))[0].forward_port)

    def test_of_a_counter_are_the_value_that_its_kind_selects(self):
        packets = self.with_body(struct.pack("<IIIIQQ", 13, 5, 0, 1, 111, 222)).read_counter(5)
        self.assertEqual(packets, zv_acl_rm.CounterValue(CounterKind.PACKETS, 222))
        counted = self.with_body(struct.pack("<IIIIQQ", 13, 5, 1, 0, 111, 222)).read_counter(5)
        self.assertEqual(counted, zv_acl_rm.CounterValue(CounterKind.BYTES, 111))

    def test_of_a_group_are_the_ports_that_came_and_no_more_than_there_was_room_for(self):
        ports = struct.pack("<100I", *range(1, 101))
        client = self.with_body(bytes(4), ports, struct.pack("<I", 3))
        self.assertEqual(client.mc_group_ports(1), [1, 2, 3])
        client = self.with_body(bytes(4), ports, struct.pack("<I", 3))
        self.assertEqual(client.mc_group_ports(1, room=2), [1, 2])

    def test_of_creations_are_the_new_ids(self):
        acl = struct.pack("<8I", 41, 0, 0, 0, 0, 0, 0, 42)
        _, client = self.start(lambda packet: stub.reply(packet, body=acl))
        self.assertEqual(client.create_acl(1), zv_acl_rm.Acl(41, 42))
        self.assertEqual(client.edit_acl(1, Direction.EGRESS), 41)
        client = self.with_body(struct.pack("<IIII", 4, 0, 1, 43))
        self.assertEqual(client.create_counter(CounterKind.PACKETS), 43)
        client = self.with_body(struct.pack("<II", 1, 44), bytes(408))
        self.assertEqual(client.create_mc_group(), 44)


class Arguments(WithStub):
    def test_that_cannot_travel_are_refused_and_nothing_is_sent(self):
        bad = [
            ("open", (4,)),
            ("init", (1 << 32,)),
            ("create_acl", (-1,)),
            ("write_rules", (1, [Rule(0)] * 21)),
            ("write_rules", (1, [Rule(0, key=bytes(129))])),
            ("write_rules", (1, [Rule(0, mask=bytes(129))])),
            ("write_rules", (1, [Rule(0, action=bytes(57))])),
            ("write_rules", (1, [Rule(1 << 32)])),
            ("write_rules", (1, [Rule(0, verdict=-1)])),
            ("write_rules", (1, [Rule(0, forward_port=1, forward_mc_group=1)])),
            ("delete_rules", (1, range(21))),
            ("read_rules", (1, range(21))),
            ("bind_ports", (1, range(101))),
            ("bind_rifs", (1, range(101))),
            ("bind_rifs", (1, [1 << 16])),
            ("add_ports", (range(101),)),
            ("create_mc_group", (range(101),)),
            ("mc_group_ports", (1, 101)),
            ("create_counter", ("packets",)),
            ("dump", ("",)),
            ("dump", ("/" * 4096,)),
            ("dump", ("/a\0b",)),
        ]
        daemon, client = self.start()
        for name, arguments in bad:
            with self.subTest(name), self.assertRaises(ValueError):
                self.call(client, name, arguments)
        self.assertEqual(daemon.packets, [])

    def test_at_their_limits_are_sent(self):
        daemon, client = self.start()
        client.write_rules(1, [Rule(i, key=bytes(128)) for i in range(20)])
        client.bind_ports(1, range(100))
        client.dump("/" * 4095)
        self.assertEqual(daemon.commands(), [6, 9, 17])

    def test_of_a_client_are_checked(self):
        for handle in (-1, 1 << 64):
            with self.assertRaises(ValueError):
                Client(handle, "/nowhere")


class Connecting(WithStub):
    def test_without_a_socket_names_the_path(self):
        with self.assertRaises(FileNotFoundError) as caught:
            Client(HANDLE, "/no/such/socket")
        self.assertEqual(caught.exception.filename, "/no/such/socket")

    def test_without_a_daemon_is_refused(self):
        path = self.enterContext(tempfile.TemporaryDirectory()) + "/s"
        with socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET) as forsaken:
            forsaken.bind(path)
        with self.assertRaises(ConnectionRefusedError):
            Client(HANDLE, path)

    def test_puts_the_root_before_the_path(self):
        daemon, _ = self.start()
        os.environ["ZV_PLATFORM_ROOT"] = daemon.directory
        self.addCleanup(os.environ.pop, "ZV_PLATFORM_ROOT")
        with Client(HANDLE, "/s") as client:
            client.init(1)
        self.assertEqual(daemon.commands(), [3])

    def test_takes_paths_as_long_as_an_address(self):
        with self.assertRaises(FileNotFoundError):
            Client(HANDLE, "/" * 106 + "x")
        with self.assertRaisesRegex(OSError, "too long"):
            Client(HANDLE, "/" * 107 + "x")

    def test_ends_with_the_block(self):
        daemon = self.enterContext(stub.Stub())
        with Client(HANDLE, daemon.path) as client:
            self.assertGreaterEqual(client.fileno(), 0)
            self.assertEqual(client.handle, HANDLE)
        self.assertEqual(client.fileno(), -1)
        for use in (client.collect, lambda: client.init(1)):
            with self.assertRaisesRegex(zv_acl_rm.Gone, "the client is closed"):
                use()


class Failures(WithStub):
    def test_of_the_transport_have_errors_of_their_own(self):
        for transport, kind, text in [
            (1, zv_acl_rm.NotUnderstood, "malformed"),
            (2, zv_acl_rm.NotUnderstood, "no such command"),
            (3, zv_acl_rm.NotUnderstood, "too long"),
            (4, zv_acl_rm.ShuttingDown, "did not carry"),
        ]:
            with self.subTest(transport):
                transports = [transport, 0]
                _, client = self.start(
                    lambda packet: stub.reply(packet, transport=transports.pop(0))
                )
                with self.assertRaisesRegex(kind, text):
                    client.init(1)
                client.init(1)  # the connection is as good as before

    def test_of_the_protocol_close_the_client(self):
        falsified = [
            {"magic": b"ZZZZ"}, {"version": 2}, {"kind": 1}, {"reserved": 1}, {"command": 2},
            {"sequence": 9}, {"body_len": 1}, {"attachment_len": 1}, {"transport": 5},
        ]  # fmt: skip
        for changed in falsified:
            with self.subTest(changed):
                _, client = self.start(lambda packet: stub.reply(packet, **changed))
                with self.assertRaises(zv_acl_rm.BadAnswer):
                    client.init(1)
                self.assertEqual(client.fileno(), -1)

    def test_of_a_packet_shorter_than_a_header_too(self):
        _, client = self.start(lambda packet: b"ZVRP")
        with self.assertRaises(zv_acl_rm.BadAnswer):
            client.init(1)

    def test_with_an_unknown_status_keep_its_number(self):
        _, client = self.start(lambda packet: stub.reply(packet, status=4711))
        with self.assertRaisesRegex(zv_acl_rm.Refused, "unknown status 4711") as caught:
            client.init(1)
        self.assertEqual(caught.exception.status, 4711)

    def test_are_of_the_languages_own_kinds(self):
        self.assertTrue(issubclass(zv_acl_rm.TimedOut, TimeoutError))
        self.assertTrue(issubclass(zv_acl_rm.Gone, ConnectionError))
        self.assertTrue(issubclass(zv_acl_rm.ShuttingDown, zv_acl_rm.Gone))

    def test_of_a_daemon_that_is_gone_repeat(self):
        _, client = self.start(lambda packet: stub.HANG_UP)
        for _ in range(3):
            with self.assertRaises(zv_acl_rm.Gone):
                client.init(1)


class LateAnswers(WithStub):
    def test_are_never_taken_for_those_of_a_later_call(self):
        held = []

        def late(packet):
            held.append(packet)
            if len(held) < 3:
                return None
            return [stub.reply(held[0], status=1), stub.reply(held[1], status=2), stub.echo(packet)]

        _, client = self.start(late, timeout=SHORT)
        for _ in range(2):
            with self.assertRaises(zv_acl_rm.TimedOut):
                client.init(1)
        client.timeout = 60
        self.assertEqual(client.create_acl(1), zv_acl_rm.Acl(0, 0))

    def test_may_never_come_at_all(self):
        answers = [None, "echo"]
        _, client = self.start(lambda packet: answers.pop(0) and stub.echo(packet), timeout=SHORT)
        with self.assertRaises(zv_acl_rm.TimedOut):
            client.init(1)
        client.timeout = 60
        client.init(1)

    def test_of_a_submitted_request_are_collected(self):
        held = []

        def on_second(packet):
            held.append(packet)
            return [stub.echo(each) for each in held] if len(held) == 2 else None

        _, client = self.start(on_second, timeout=SHORT)
        first = client.submit(requests.init(1))
        with self.assertRaises(zv_acl_rm.TimedOut):
            client.collect()
        second = client.submit(requests.init(2))
        client.timeout = 60
        self.assertEqual([client.collect().sequence for _ in range(2)], [first, second])


class SubmittedRequests(WithStub):
    def test_are_answered_in_their_order_with_what_each_is_worth(self):
        def answer(packet):
            refused = stub.request_fields(packet)[0] == Command.ACL_RULE_SET
            return stub.reply(packet, status=6) if refused else stub.echo(packet)

        _, client = self.start(answer)
        sent = [
            client.submit(requests.edit_acl(7, Direction.EGRESS)),
            client.submit(requests.write_rules(7, [Rule(0)])),
            client.submit(requests.mc_group_ports(1, 1)),
        ]
        self.assertEqual(client.under_way, 3)
        answers = [client.collect() for _ in sent]
        self.assertEqual([answer.sequence for answer in answers], sent)
        self.assertEqual([answer.status for answer in answers], [0, 6, 0])
        self.assertEqual([answer.value for answer in answers], [7, None, [0]])
        self.assertEqual(answers[0].result(), 7)
        with self.assertRaises(zv_acl_rm.Refused):
            answers[1].result()
        self.assertEqual(client.under_way, 0)

    def test_that_did_not_reach_a_handler_say_so(self):
        _, client = self.start(lambda packet: stub.reply(packet, transport=4))
        sequence = client.submit(requests.init(1))
        answer = client.collect()
        self.assertEqual((answer.sequence, answer.status), (sequence, None))
        self.assertIsInstance(answer.error, zv_acl_rm.ShuttingDown)

    def test_are_at_most_32(self):
        daemon, client = self.start()
        for _ in range(zv_acl_rm.MAX_UNDER_WAY):
            client.submit(requests.init(1))
        with self.assertRaises(zv_acl_rm.Busy):
            client.submit(requests.init(1))
        client.collect()
        client.submit(requests.init(1))
        self.assertEqual(client.under_way, 32)

    def test_keep_other_calls_off_until_they_are_collected(self):
        daemon, client = self.start()
        client.submit(requests.init(1))
        with self.assertRaises(zv_acl_rm.Busy):
            client.init(2)
        client.collect()
        client.init(2)
        self.assertEqual(len(daemon.packets), 2)

    def test_are_not_there_to_collect_before(self):
        _, client = self.start()
        with self.assertRaises(zv_acl_rm.NothingToCollect):
            client.collect()

    def test_fill_a_socket_that_nobody_reads_and_then_nothing_is_sent(self):
        daemon, client = self.start()
        client.init(1)
        daemon.be_deaf()
        client.timeout = 0
        sent = 0
        with self.assertRaisesRegex(zv_acl_rm.TimedOut, "did not take the request"):
            while True:
                client.submit(requests.write_rules(1, [Rule(0)]))
                sent += 1
        daemon.hear()
        client.timeout = 60
        for _ in range(sent):
            client.collect().result()
        self.assertEqual(len(daemon.packets), 1 + sent)

    def test_that_were_answered_before_the_daemon_went_are_had(self):
        answers = [stub.echo, lambda packet: stub.HANG_UP]
        _, client = self.start(lambda packet: answers.pop(0)(packet))
        client.submit(requests.init(1))
        client.submit(requests.init(2))
        client.collect().result()
        with self.assertRaises(zv_acl_rm.Gone):
            client.collect()
        self.assertEqual(client.under_way, 0)
        with self.assertRaises(zv_acl_rm.Gone):
            client.init(1)

    def test_that_were_answered_are_had_though_the_daemon_left_others_unread(self):
        daemon, client = self.start(lambda packet: [stub.echo(packet), stub.HANG_UP])
        daemon.be_deaf()
        first = client.submit(requests.init(1))
        client.submit(requests.init(2))
        daemon.hear()
        closed = select.poll()
        closed.register(client, 0)
        self.assertTrue(closed.poll(60000))
        self.assertEqual(client.collect().sequence, first)
        with self.assertRaises(zv_acl_rm.Gone):
            client.collect()
        self.assertEqual(len(daemon.packets), 1)

    def test_that_a_daemon_left_unanswered_are_named(self):
        answers = [stub.echo, lambda packet: stub.HANG_UP]
        daemon, client = self.start(lambda packet: answers.pop(0)(packet))
        sequences = [client.submit(requests.init(1))]
        client.collect().result()
        daemon.be_deaf()
        sequences += [client.submit(requests.init(2)) for _ in range(2)]
        daemon.hear()
        with self.assertRaises(zv_acl_rm.Gone) as raised:
            client.collect()
        self.assertEqual(raised.exception.unanswered, tuple(sequences[1:]))
        with self.assertRaises(zv_acl_rm.Gone) as raised:
            client.init(1)
        self.assertEqual(raised.exception.unanswered, ())

    def test_are_not_skipped_by_an_answer_to_a_later_one(self):
        answers = [None, "echo"]
        _, client = self.start(lambda packet: answers.pop(0) and stub.echo(packet))
        client.submit(requests.init(1))
        client.submit(requests.init(2))
        with self.assertRaisesRegex(zv_acl_rm.BadAnswer, "reply to request 2"):
            client.collect()


class Rules(unittest.TestCase):
    def test_have_their_fields_where_the_wire_has_them(self):
        packed = Rule(
            5, key=b"\xaa", mask=b"\xbb", key_type=3, verdict=Verdict.DROP, counter_id=9,
            forward_port=65537,
        ).pack()  # fmt: skip
        self.assertEqual(len(packed), 360)
        words = {0: 5, 4: 5, 12: 3, 144: 3, 292: 1, 336: 1, 340: 65537, 344: 0, 356: 9}
        for place, expected in words.items():
            with self.subTest(place):
                self.assertEqual(struct.unpack_from("<I", packed, place)[0], expected)
        self.assertEqual((packed[8], packed[16], packed[148]), (1, 0xAA, 0xBB))

    def test_for_an_mc_group_name_it(self):
        packed = Rule(5, forward_mc_group=4).pack()
        self.assertEqual(struct.unpack_from("<III", packed, 336), (2, 0, 4))

    def test_keep_the_action_block_but_for_the_verdict(self):
        packed = Rule(5, action=b"\xee" * 56, verdict=2).pack()
        self.assertEqual(packed[280:336], b"\xee" * 12 + b"\2\0\0\0" + b"\xee" * 40)


if __name__ == "__main__":
    unittest.main()
