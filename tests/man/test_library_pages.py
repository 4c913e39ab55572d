"""Pages of section 3: one for each function that the library exports, with what its header says."""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

import pages

LIBRARY = os.environ["ZV_CLIENT_LIBRARY"]
HEADER = pages.ROOT / "include/zv_acl_rm/zv_acl_rm_client.h"
STATUSES = ("CMD_UNSUPPORTED", "PARAM_NULL", "PARAM_EXCEEDS_RANGE", "ENTRY_NOT_FOUND",
            "NO_RESOURCES", "NO_HW_RESOURCES", "NO_BUFFER_SPACE")


def exported_functions() -> set[str]:
    symbols = subprocess.run(["nm", "-D", "--defined-only", LIBRARY], check=True,
                             capture_output=True, text=True).stdout
    return set(re.findall(r" T (\w+)(?:@@\w+)?$", symbols, re.M))


def documented_functions() -> set[str]:
    return {page.stem for page in (pages.MADE / "man3").glob("*.3")} - {"zv_acl_rm"}


def page_of(function: str) -> str:
    return pages.shown(pages.own_page(function, 3))


def comment_of(function: str) -> str:
    """The comment that stands before the function, on one line."""
    before = HEADER.read_text().split(f"{function}(zv_acl_rm_client_t")[0]
    return re.sub(r"\s*\n \*\s*", " ", before[before.rindex("/* "):])


class FunctionPages(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        pages.need_mandoc()

    def test_are_there_for_what_the_library_exports_and_for_nothing_else(self):
        self.assertEqual(exported_functions(), documented_functions())
        self.assertEqual(27, len(documented_functions()))

    def test_show_the_functions_name_and_its_declaration(self):
        for function in documented_functions():
            text = page_of(function)
            self.assertIn(function, pages.section(text, "NAME").split(" - ")[0], function)
            self.assertIn(function + "(", pages.section(text, "SYNOPSIS"), function)
            self.assertGreater(len(pages.section(text, "DESCRIPTION").strip()), 20, function)

    def test_list_every_status_that_the_comment_names(self):
        listed = 0
        for function in documented_functions():
            if not function.startswith("zv_acl_rm_api_") or function.endswith("_raw"):
                continue
            wanted = [status for status in STATUSES
                      if re.search(rf"[.*] {status}: ", comment_of(function))]
            values = pages.section(page_of(function), "RETURN VALUES")
            for status in wanted:
                self.assertIn(f"     ZV_ACL_RM_STATUS_{status}\n", values, function)
            listed += len(wanted)
        self.assertGreater(listed, 30)

    def test_of_the_commands_tell_what_every_call_may_return(self):
        text = pages.section(page_of("zv_acl_rm_api_acl_set"), "ERRORS")
        for name in ("EINVAL", "ETIMEDOUT", "ECONNRESET", "ESHUTDOWN", "EBUSY", "EPROTO"):
            self.assertIn(f"     {name}", text)

    def test_show_the_record_of_a_command_with_its_parts(self):
        text = pages.section(page_of("zv_acl_rm_api_acl_rule_set"), "RECORD")
        for name in ("zv_acl_rm_acl_rule_set_params_t", "acl_rm_rule", "acl_rm_key"):
            self.assertIn(f"}} {name};", text)

    def test_are_named_by_the_overview(self):
        text = page_of("zv_acl_rm")
        for function in documented_functions():
            self.assertIn(f"{function}(3)", text)


class Overview(unittest.TestCase):
    def test_has_a_program_that_compiles(self):
        page = pages.own_page("zv_acl_rm", 3).read_text()
        program = re.search(r"\.Bd -literal\n(#include.*?)^\.Ed$", page, re.M | re.S)[1]
        with tempfile.TemporaryDirectory() as directory:
            source = pathlib.Path(directory) / "program.c"
            source.write_text(program.replace("\\e", "\\"))
            subprocess.run([os.environ.get("CC", "cc"), "-std=c11", "-Wall", "-Wextra", "-Wpedantic",
                            "-Werror", "-fsyntax-only", "-I", pages.ROOT / "include", source],
                           check=True)


class Maker(unittest.TestCase):
    """scripts/make-man refuses headers that it would make wrong pages of."""

    def failure_of(self, name: str, old: str, new: str) -> str:
        with tempfile.TemporaryDirectory() as directory:
            tree = pathlib.Path(directory)
            for part in ("include", "packaging/man", "scripts/manlib"):
                shutil.copytree(pages.ROOT / part, tree / part)
            shutil.copy(pages.ROOT / "scripts/make-man", tree / "scripts")
            file = tree / name
            self.assertIn(old, file.read_text())
            file.write_text(file.read_text().replace(old, new))
            result = subprocess.run([sys.executable, tree / "scripts/make-man", tree / "out"],
                                    check=False, capture_output=True, text=True)
            return result.stderr if result.returncode else ""

    def test_refuses_a_function_without_a_title(self):
        self.assertIn("zv_acl_rm_api_new has no title", self.failure_of(
            "include/zv_acl_rm/zv_acl_rm_client.h", "int zv_acl_rm_api_open(",
            "int zv_acl_rm_api_new(int x);\nZV_ACL_RM_EXPORT int zv_acl_rm_api_open("))

    def test_refuses_a_title_without_a_function(self):
        self.assertIn("zv_acl_rm_api_old is not in the header", self.failure_of(
            "packaging/man/functions.txt", "zv_acl_rm_api_open: ",
            "zv_acl_rm_api_old: x\nzv_acl_rm_api_open: "))

    def test_refuses_a_record_that_is_not_laid_out_as_asserted(self):
        self.assertIn("zv_acl_rm_init_params_t has 24 bytes, the header says 16", self.failure_of(
            "include/zv_acl_rm/zv_acl_rm_records.h", "uint32_t chip_type;", "uint64_t chip_type;"))

    def test_refuses_a_field_that_is_not_where_it_is_asserted(self):
        self.assertIn("zv_acl_rm_acl_resize_params_t.acl_id is at [12]", self.failure_of(
            "include/zv_acl_rm/zv_acl_rm_records.h",
            "    uint32_t acl_id;\n    uint32_t new_size; /* rules */",
            "    uint32_t new_size; /* rules */\n    uint32_t acl_id;"))

    def test_refuses_a_list_that_a_formatter_tore(self):
        self.assertIn("a list has lost its shape", self.failure_of(
            "include/zv_acl_rm/zv_acl_rm_client.h", " *   record_len   null where",
            " * record_len     null where"))

    def test_accepts_what_is_there(self):
        name = "packaging/man/functions.txt"
        self.assertEqual("", self.failure_of(name, "zv_acl_rm_api_open: ", "zv_acl_rm_api_open: "))


if __name__ == "__main__":
    unittest.main()
