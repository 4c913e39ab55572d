"""The three languages on the wire: the same requests are the same bytes.

The programs to run stand in the environment: ZV_EVERY_REQUEST_C, _CPP and _PY.
"""

import os
import subprocess
import sys
import unittest

import stub
from zv_acl_rm import Command

PROGRAMS = {
    "C": [os.environ["ZV_EVERY_REQUEST_C"]],
    "C++": [os.environ["ZV_EVERY_REQUEST_CPP"]],
    "Python": [sys.executable, os.environ["ZV_EVERY_REQUEST_PY"]],
}


def packets_of(program):
    environment = {k: v for k, v in os.environ.items() if k != "ZV_PLATFORM_ROOT"}
    with stub.Stub() as daemon:
        subprocess.run(PROGRAMS[program] + [daemon.path], check=True, env=environment, timeout=120)
        return daemon.packets


class Wire(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.packets = {program: packets_of(program) for program in PROGRAMS}

    def test_every_command_is_among_the_requests(self):
        sent = {stub.request_fields(packet)[0] for packet in self.packets["C"]}
        self.assertEqual(sent, set(Command))
        self.assertEqual(len(self.packets["C"]), 34)

    def test_every_request_is_the_same_bytes_in_all_three(self):
        for program in ("C++", "Python"):
            self.assertEqual(len(self.packets[program]), len(self.packets["C"]), program)
            for number, (mine, of_c) in enumerate(zip(self.packets[program], self.packets["C"])):
                command = Command(stub.request_fields(of_c)[0])
                with self.subTest(program, number=number, command=command.name):
                    self.assertEqual(mine.hex(), of_c.hex())

    def test_requests_are_numbered_from_1(self):
        numbers = [stub.request_fields(packet)[1] for packet in self.packets["C"]]
        self.assertEqual(numbers, list(range(1, len(numbers) + 1)))


if __name__ == "__main__":
    unittest.main()
