"""All manual pages: the linter, and that they are there under the names they give themselves."""
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

import pages


def all_pages() -> list[pathlib.Path]:
    return sorted([*pages.WRITTEN.glob("*.[1-8]"), *pages.MADE.glob("man?/*.[1-8]")])


def lint(page: pathlib.Path) -> str:
    """What the linter finds on a page; empty where it ends with success."""
    result = subprocess.run([sys.executable, pages.ROOT / "scripts/lint-man", page], check=False,
                            capture_output=True, text=True)
    return "" if result.returncode == 0 else result.stdout


class EveryPage(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        pages.need_mandoc()

    def test_passes_the_linter(self):
        result = subprocess.run([sys.executable, pages.ROOT / "scripts/lint-man", *all_pages()],
                                check=False, capture_output=True, text=True)
        self.assertEqual(0, result.returncode, result.stdout + result.stderr)

    def test_is_named_as_its_title_says(self):
        for page in all_pages():
            title = re.search(r"^\.Dt (\S+) (\d)$", page.read_text(), re.M)
            names = re.findall(r"^\.Nm (\S+)", page.read_text(), re.M)
            self.assertIn(page.stem, names, page)
            self.assertEqual(page.suffix[1:], title[2], page)
            self.assertIn(title[1].lower(), names, page)

    def test_of_the_documented_set_is_there(self):
        written = {page.name for page in all_pages() if page.suffix != ".3"}
        self.assertEqual({"aclrmctl.1", "aclrm.policy.5", "aclrm.rules.5", "zv_acl_rm.7",
                          "zv_acl_rm.8"}, written)


class Linter(unittest.TestCase):
    """The linter itself: each kind of offence is found."""

    @classmethod
    def setUpClass(cls):
        pages.need_mandoc()

    def offence_of(self, change) -> str:
        with tempfile.TemporaryDirectory() as directory:
            page = pathlib.Path(directory) / "zv_acl_rm.8"
            shutil.copy(pages.WRITTEN / "zv_acl_rm.8", page)
            page.write_text(change(page.read_text()))
            return lint(page)

    def test_finds_nothing_wrong_with_a_page_as_it_is(self):
        self.assertEqual("", self.offence_of(lambda text: text))

    def test_finds_a_macro_that_is_none(self):
        self.assertIn("unknown macro", self.offence_of(lambda text: text + ".Zz\n"))

    def test_finds_a_line_that_leaves_the_terminal(self):
        wide = ".Bd -literal\n" + "x" * 75 + "\n.Ed\n"
        self.assertIn("80 columns wide", self.offence_of(lambda text: text + wide))

    def test_finds_a_reference_to_a_page_that_is_not_there(self):
        found = self.offence_of(lambda text: text.replace("Xr aclrmctl 1", "Xr aclrmctl 2"))
        self.assertIn("there is no page aclrmctl(2)", found)


if __name__ == "__main__":
    unittest.main()
