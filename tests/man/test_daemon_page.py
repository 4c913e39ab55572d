"""zv_acl_rm(8): options, environment, signals and exit statuses, held against the daemon."""
import os
import re
import subprocess
import unittest

import pages

DAEMON = os.environ["ZV_DAEMON"]
PAGE = pages.own_page("zv_acl_rm", 8)
# Named in examples or as another program's.
NOT_THE_DAEMONS = {"--owner"}


def run(*arguments: str) -> subprocess.CompletedProcess:
    return subprocess.run([DAEMON, *arguments], check=False, capture_output=True, text=True)


class DaemonPage(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        pages.need_mandoc()
        cls.text = pages.shown(PAGE)

    def test_has_the_options_of_the_help_and_no_others(self):
        usage = run("--help").stdout
        self.assertEqual(pages.long_options(usage), pages.long_options(self.text) - NOT_THE_DAEMONS)
        self.assertEqual({"--verbose", "--version", "--logger", "--connector", "--help"},
                         pages.long_options(usage))

    def test_explains_each_option_in_a_list(self):
        options = re.findall(r"^\.It Fl .*$", PAGE.read_text(), re.M)
        self.assertEqual(pages.long_options(run("--help").stdout),
                         {"--" + name for line in options for name in re.findall(r"Fl Fl (\w+)", line)})

    def test_has_the_levels_of_the_help(self):
        levels = re.findall(r"^\s+(\d) = ", run("--help").stdout, re.M)
        listed = pages.section(self.text, "OPTIONS")
        for level in levels:
            self.assertRegex(listed, rf"(?m)^ +{level}  ")
        self.assertEqual(6, len(levels))

    def test_has_the_environment_that_the_programs_read_and_no_more(self):
        read = set()
        for folder in ("daemon", "platform", "plugins"):
            for source in (pages.ROOT / folder).rglob("*.c*"):
                read |= set(re.findall(r'(?:getenv|from_environment)\(\s*"(ZV_\w+)"',
                                       source.read_text()))
        self.assertGreaterEqual(len(read), 9)
        named = set(re.findall(r"\bZV_(?!ACL_RM_STATUS|ACL_RM\b|ACL_RM_DB)[A-Z_]+", self.text))
        self.assertEqual(read, named)

    def test_has_the_signals_that_the_daemon_catches(self):
        source = (pages.ROOT / "daemon/terminator.cpp").read_text()
        self.assertEqual(set(re.findall(r"\bSIG[A-Z1]{3,}\b", source)) - {"SIG_IGN"},
                         set(re.findall(r"\bSIG[A-Z1]{3,}\b", pages.section(self.text, "SIGNALS"))))

    def test_has_the_exit_status_of_help_version_and_mistakes(self):
        statuses = pages.section(self.text, "EXIT STATUS")
        self.assertRegex(statuses, r"(?m)^     0  ")
        self.assertRegex(statuses, r"(?m)^     1  ")
        for arguments in (["--help"], ["--version"]):
            self.assertEqual(0, run(*arguments).returncode)
        for arguments in (["--bogus"], ["word"], ["-vx"], ["--logger=/nowhere"]):
            self.assertEqual(1, run(*arguments).returncode)

    def test_has_an_exit_status_for_each_status_of_a_start_that_failed(self):
        header = (pages.ROOT / "include/zv_acl_rm/zv_acl_rm_status.h").read_text()
        largest = max(int(value) for value in re.findall(r"X\((\d+), ", header)) - 1
        self.assertRegex(pages.section(self.text, "EXIT STATUS"), rf"(?m)^     2 to {largest} ")

    def test_names_the_socket_of_the_header(self):
        header = (pages.ROOT / "include/zv_acl_rm/zv_acl_rm_records.h").read_text()
        path = re.search(r'SOCKET_PATH "([^"]+)"', header)[1]
        self.assertIn(f"     {path}\n", pages.section(self.text, "FILES"))


if __name__ == "__main__":
    unittest.main()
