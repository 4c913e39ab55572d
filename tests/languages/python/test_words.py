"""The module's numbers and words against the C headers, where every one of them stands once.

ZV_INCLUDE_DIR in the environment names the directory of the headers.
"""

import os
import pathlib
import re
import unittest

import zv_acl_rm
from zv_acl_rm import words

HEADERS = pathlib.Path(os.environ["ZV_INCLUDE_DIR"]) / "zv_acl_rm"
RECORDS = (HEADERS / "zv_acl_rm_records.h").read_text()
STATUSES = (HEADERS / "zv_acl_rm_status.h").read_text()
CLIENT = (HEADERS / "zv_acl_rm_client.h").read_text()


def enumerators(prefix):
    pairs = re.findall(rf"\b{prefix}(\w+) = (\d+)", RECORDS)
    return {name: int(number) for name, number in pairs}


def members(enumeration):
    return {member.name: member.value for member in enumeration}


def defined(text, name):
    return re.search(rf"#define {name} (\S+)", text).group(1).rstrip("u").strip('"')


class Words(unittest.TestCase):
    def test_commands_are_the_headers(self):
        listed = dict((n, int(v)) for v, n in re.findall(r"X\((\d+), ([A-Z_]+)\)", RECORDS))
        self.assertEqual(members(words.Command), listed)

    def test_owners_are_the_headers(self):
        owners = enumerators("ZV_ACL_RM_OWNER_")
        self.assertEqual(owners.pop("NUM"), len(words.Owner))
        self.assertEqual(members(words.Owner), owners)

    def test_access_commands_are_the_headers(self):
        self.assertEqual(members(words.Access), enumerators("ZV_ACL_RM_ACCESS_CMD_"))

    def test_statuses_and_their_meanings_are_the_headers(self):
        joined = re.sub(r'"\s*\\\n\s*"', "", STATUSES)
        joined = re.sub(r"\\\n\s*", "", joined)
        rows = re.findall(r'X\((\d+), ZV_ACL_RM_STATUS_(\w+),\s*"([^"]*)"\)', joined)
        self.assertEqual(rows.pop()[1], "LAST")
        self.assertEqual(
            [(status.value, status.name, status.meaning) for status in words.Status],
            [(int(value), name, meaning) for value, name, meaning in rows],
        )

    def test_bounds_are_the_headers(self):
        for text, name, value in [
            (RECORDS, "ZV_ACL_RM_SOCKET_PATH", zv_acl_rm.SOCKET_PATH),
            (RECORDS, "ZV_ACL_RM_RULES_PER_RECORD", zv_acl_rm.RULES_PER_REQUEST),
            (RECORDS, "ZV_ACL_RM_PORTS_PER_RECORD", zv_acl_rm.PORTS_PER_REQUEST),
            (RECORDS, "ZV_ACL_RM_KEY_BYTES", zv_acl_rm.KEY_BYTES),
            (RECORDS, "ZV_ACL_RM_ACTION_BYTES", zv_acl_rm.ACTION_BYTES),
            (CLIENT, "ZV_ACL_RM_MAX_IN_FLIGHT", zv_acl_rm.MAX_UNDER_WAY),
            (CLIENT, "ZV_ACL_RM_DEFAULT_TIMEOUT_MS", int(zv_acl_rm.DEFAULT_TIMEOUT * 1000)),
        ]:
            with self.subTest(name):
                self.assertEqual(defined(text, name), str(value))

    def test_texts_of_unknown_statuses_say_so(self):
        self.assertEqual(words.status_text(99), "unknown status 99")


if __name__ == "__main__":
    unittest.main()
