"""aclrmctl(1): commands, options and exit statuses, held against the tool's own help; and the two
pages of rule files, whose examples the tool must take."""
import os
import re
import subprocess
import sys
import unittest

import pages

TOOL = os.environ["ZV_TOOL"]
PAGE = pages.own_page("aclrmctl", 1)


def help_of(words: list[str]) -> str:
    return subprocess.run([TOOL, *words, "--help"], check=True, capture_output=True,
                          text=True).stdout


def subcommands(text: str) -> list[str]:
    """The words at the left of a help's list of commands."""
    found = re.search(r"^Subcommands:\n((?:  .*\n)+)", text, re.M)
    return re.findall(r"^  (\S+)", found[1], re.M) if found else []


def commands(words: list[str]) -> list[list[str]]:
    """The command and those below it."""
    below = [command for name in subcommands(help_of(words)) for command in commands([*words, name])]
    return [words, *below]


def listed_options(words: list[str]) -> set[str]:
    """Those with an entry in the help, not those that its text mentions."""
    options = re.findall(r"^  (?:-\w,)?(--[\w-]+)", help_of(words), re.M)
    return set(options) - {"--help"}


def blocks() -> dict[str, str]:
    """The page's text on each command, by its words."""
    source = PAGE.read_text().split(".Sh COMMANDS")[1].split("\n.Sh ")[0]
    return {part.split("\n")[0]: part for part in source.split("\n.Ss ")[1:]}


def options_in(block: str) -> set[str]:
    """Those with an entry of their own, or, in a list of commands, named beside one."""
    return {"--" + name for line in re.findall(r"^\.It (?!Nm).*$", block, re.M)
            for name in re.findall(r"Fl Fl ([\w-]+)", line)}


class ToolPage(unittest.TestCase):
    def test_is_what_the_tool_says_of_itself(self):
        result = subprocess.run([sys.executable, pages.ROOT / "scripts/man-tool", "--check", TOOL],
                                check=False, capture_output=True, text=True)
        self.assertEqual(0, result.returncode, result.stdout + result.stderr)

    def test_explains_every_command_and_no_other(self):
        wanted = {" ".join(words) for words in commands([]) if not subcommands(help_of(words))}
        explained = set()
        for title, block in blocks().items():
            explained |= set(re.findall(r"^\.It Cm ([a-z ]+?)(?: Op.*| Ar.*)?$", block, re.M)) or {title}
        self.assertEqual(wanted, explained)
        self.assertGreater(len(wanted), 40)

    def test_has_every_option_of_every_command_and_no_other(self):
        for title, block in blocks().items():
            wanted = set()
            for words in commands(title.split()):
                wanted |= listed_options(words)
            self.assertEqual(wanted, options_in(block), title)

    def test_has_the_options_of_every_command(self):
        source = PAGE.read_text().split(".Ss Options")[1].split("\n.Ss ")[0]
        self.assertEqual(listed_options([]) | {"--help"}, options_in(source))

    def test_has_the_exit_statuses_of_the_help_and_of_the_source(self):
        listed = re.findall(r"^  (\d)  ", help_of([]), re.M)
        source = (pages.ROOT / "tools/aclrmctl/exit_codes.h").read_text()
        self.assertEqual(sorted(re.findall(r"kExit\w+ = (\d+)", source)), listed)
        pages.need_mandoc()
        shown = pages.section(pages.shown(PAGE), "EXIT STATUS")
        self.assertEqual(listed, re.findall(r"^     (\d)   \S", shown, re.M))

    def test_names_every_state_of_a_rule_after_a_load_that_failed(self):
        source = (pages.ROOT / "tools/aclrmctl/rule_outcome.cpp").read_text()
        states = set(re.findall(r'"((?:[a-z]+_)+[a-z]+)"', source))
        part = PAGE.read_text().split(".Sh LOADING RULES")[1].split("\n.Sh ")[0]
        self.assertEqual(states, set(re.findall(r"^\.It Va (\w+)$", part, re.M)))
        self.assertEqual(10, len(states))

    def test_has_the_environment_that_the_tool_reads_and_no_more(self):
        read = set()
        sources = [pages.ROOT / "client/dump_place.cpp", *(pages.ROOT / "tools/aclrmctl").glob("*.cpp")]
        for source in sources:
            read |= set(re.findall(r'getenv\("(\w+)"\)', source.read_text()))
        part = PAGE.read_text().split(".Sh ENVIRONMENT")[1].split("\n.Sh ")[0]
        self.assertEqual(read, set(re.findall(r"^\.It Ev (\w+)", part, re.M)))


class RuleFilePages(unittest.TestCase):
    def test_have_examples_that_the_tool_takes(self):
        taken = []
        for name in ("aclrm.policy", "aclrm.rules"):
            for example in pages.literal_blocks(pages.own_page(name, 5), "rules"):
                result = subprocess.run([TOOL, "--json", "rule", "check", "-"], input=example,
                                        check=False, capture_output=True, text=True)
                self.assertEqual(0, result.returncode, example + result.stdout)
                taken.append(re.search(r'"format":"(\w+)"', result.stdout)[1])
        self.assertEqual(["policy", "json", "classic"], taken)

    def test_name_every_word_of_the_policy_format(self):
        source = (pages.ROOT / "tools/aclrmctl/rule_policy.cpp").read_text()
        words = set(re.findall(r'(?:at_word|at_option|next_number)\("(\w+)"', source))
        words |= set(re.findall(r'(?:first|word) == "(\w+)"', source))
        words |= {"permit", "drop", "trap", "from", "to"}
        protocols = (pages.ROOT / "tools/aclrmctl/protocols.h").read_text()
        words |= set(re.findall(r'\{"(\w+)", \d+, AddressFamily', protocols))
        text = re.sub(r"^\.\\\".*$", "", pages.own_page("aclrm.policy", 5).read_text(), flags=re.M)
        documented = set(re.findall(r"\b\w+\b", " ".join(
            re.findall(r"^\.(?:It|Op|Cm|Ar).*$", text, re.M))))
        self.assertEqual(set(), words - documented)
        self.assertGreater(len(words), 18)

    def test_name_every_member_of_the_json_format(self):
        source = (pages.ROOT / "tools/aclrmctl/rule_json.cpp").read_text()
        members = set(re.findall(r'\{"(\w+)", &JsonRule::take', source))
        text = pages.own_page("aclrm.policy", 5).read_text().split(".Sh JSON")[1]
        documented = set(re.findall(r"^\.(?:It )?Va (.*)$", text, re.M))
        self.assertEqual(set(), members - {word for line in documented
                                           for word in re.findall(r"\w+", line)})
        self.assertGreater(len(members), 15)


if __name__ == "__main__":
    unittest.main()
