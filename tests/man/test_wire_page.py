"""zv_acl_rm(7): the tables, held against what a compiler makes of the header."""
import os
import pathlib
import re
import subprocess
import tempfile
import unittest

import pages

PAGE = pages.own_page("zv_acl_rm", 7)
# The records of commands, by the words of their sub-sections.
RECORD_OF = {
    "2 OPEN": "zv_acl_rm_open_params_t", "3 INIT": "zv_acl_rm_init_params_t",
    "4 ACL_SET": "zv_acl_rm_acl_set_params_t", "5 ACL_RESIZE": "zv_acl_rm_acl_resize_params_t",
    "6 ACL_RULE_SET": "zv_acl_rm_acl_rule_set_params_t",
    "7 ACL_RULE_GET": "zv_acl_rm_acl_rule_get_params_t",
    "8 ACL_RULE_MOVE_BLOCK": "zv_acl_rm_acl_rule_move_block_params_t",
    "9 ACL_BIND_PORT_SET": "zv_acl_rm_acl_port_bind_params_t",
    "10 ACL_BIND_RIF_SET": "zv_acl_rm_acl_rif_bind_params_t",
    "11 COUNTER_SET": "zv_acl_rm_counter_set_params_t",
    "12 COUNTER_GET": "zv_acl_rm_counter_get_params_t",
    "13 MC_GRP_SET": "zv_acl_rm_mc_group_set_params_t",
    "14 MC_GRP_GET": "zv_acl_rm_mc_group_get_params_t",
    "15 ACL_BIND_SYSTEM_SET": "zv_acl_rm_acl_system_bind_params_t",
    "16 PORT_SET": "zv_acl_rm_port_set_params_t", "17 DUMP": "zv_acl_rm_dump_params_t",
}


def compiled(expressions: list[str]) -> list[int]:
    """The values that the compiler gives to expressions over the header."""
    lines = "".join(f'    printf("%zu\\n", (size_t)({one}));\n' for one in expressions)
    program = ("#include <stdio.h>\n#include <zv_acl_rm/zv_acl_rm_client.h>\n"
               f"int main(void) {{\n{lines}    return 0;\n}}\n")
    with tempfile.TemporaryDirectory() as directory:
        source = pathlib.Path(directory) / "values.c"
        source.write_text(program)
        binary = pathlib.Path(directory) / "values"
        subprocess.run([os.environ.get("CC", "cc"), "-std=c11", "-I", pages.ROOT / "include",
                        source, "-o", binary], check=True)
        output = subprocess.run([binary], check=True, capture_output=True, text=True).stdout
    return [int(line) for line in output.split()]


def cells(line: str) -> list[str]:
    return [cell.strip().strip('"').replace("\\&", "")
            for cell in line.removeprefix(".It ").split(" Ta ")]


def tables() -> dict[str, tuple[str, list[list[str]]]]:
    """Text and rows of each record's sub-section, by record."""
    source = PAGE.read_text().split(".Sh RECORDS")[1].split(".Sh NUMBERS")[0]
    found = {}
    for part in source.split(".Ss ")[1:]:
        title, text = part.split("\n", 1)
        rows = [cells(line) for line in re.findall(r"^\.It (?!Em)(.*)$", text, re.M)]
        found[RECORD_OF.get(title, title)] = (text, rows)
    return found


class Tables(unittest.TestCase):
    def test_have_each_field_where_the_compiler_puts_it(self):
        expressions, expected = [], []
        for record, (_, rows) in tables().items():
            for offset, width, field, _ in rows:
                number, _, size = width.partition(" x ")
                expressions += [f"offsetof({record}, {field})", f"sizeof((({record} *)0)->{field})"]
                expected += [int(offset), int(number) * int(size or 1)]
        self.assertGreater(len(expected), 150)
        for expression, wanted, value in zip(expressions, expected, compiled(expressions)):
            self.assertEqual(value, wanted, expression)

    def test_leave_no_byte_of_a_record_out(self):
        names = list(tables())
        for name, size in zip(names, compiled([f"sizeof({name})" for name in names])):
            covered = 0
            for offset, width, _, _ in tables()[name][1]:
                number, _, each = width.partition(" x ")
                self.assertLessEqual(int(offset), covered, name)
                covered = max(covered, int(offset) + int(number) * int(each or 1))
            self.assertEqual(size, covered, name)

    def test_tell_the_size_of_each_record(self):
        for name, (text, _) in tables().items():
            said = int(re.search(r"(\d+) bytes", text)[1])
            if name not in ("acl_rm_rule_forwarding", "acl_rm_rule_readout", "acl_rm_acl"):
                self.assertEqual(compiled([f"sizeof({name})"])[0], said, name)

    def test_are_there_for_every_command_and_every_part(self):
        header = (pages.ROOT / "include/zv_acl_rm/zv_acl_rm_records.h").read_text()
        self.assertEqual(set(re.findall(r"^\} (\w+);", header, re.M)), set(tables()))

    def test_have_the_numbers_of_commands_and_the_sizes_of_requests(self):
        rows = [cells(line) for line in
                re.findall(r"^\.It (\d+ Ta [A-Z_]+ Ta \d+ Ta .*)$", PAGE.read_text(), re.M)]
        self.assertEqual(16, len(rows))
        numbers = compiled([f"ZV_ACL_RM_API_INT_CMD_{row[1]}" for row in rows])
        sizes = compiled([f"sizeof({RECORD_OF[row[0] + ' ' + row[1]]})" for row in rows])
        self.assertEqual([int(row[0]) for row in rows], numbers)
        self.assertEqual([int(row[2]) for row in rows], sizes)

    def test_have_the_values_of_all_enumerators(self):
        source = PAGE.read_text()
        rows = re.findall(r"^\.It (\d+) (?:Ta|Dv) (ZV_ACL_RM_\w+)", source, re.M)
        self.assertEqual(compiled([name for _, name in rows]), [int(value) for value, _ in rows])
        self.assertEqual(13 + 4 + 9, len(rows))


class Example(unittest.TestCase):
    def test_has_a_header_and_a_record_of_the_right_sizes(self):
        block = PAGE.read_text().split(".Sh EXAMPLES")[1].split(".Bd -literal\n")[1].split(".Ed")[0]
        request, reply = (bytes.fromhex(part) for part in block.strip().split("\n\n"))
        self.assertEqual((40 + 16, 40), (len(request), len(reply)))
        self.assertEqual((16, 0xac1, 2), (request[24], int.from_bytes(request[40:48], "little"),
                                          request[48]))


class Header(unittest.TestCase):
    def test_is_the_one_of_the_other_document(self):
        part = PAGE.read_text().split(".Ss Header")[1].split(".Ss ")[0]
        page = re.findall(r"^\.It (\d+) Ta (\d+) Ta ([a-z ]+) Ta", part, re.M)
        text = (pages.ROOT / "docs/wire-format.md").read_text()
        rows = re.findall(r"^\| (\d+) \| (\d+) \| ([a-z ]+) \|", text.split("## Header")[1], re.M)
        self.assertEqual(10, len(page))
        self.assertEqual(rows[:10], page)


if __name__ == "__main__":
    unittest.main()
