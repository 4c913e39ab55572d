"""What `aclrmctl ... --help` says, taken apart: commands, their arguments, options and notes."""
import dataclasses
import re
import subprocess

# Where the meaning of an option begins; a longer option has it on the next line.
MEANING_AT = 30
HEADINGS = re.compile(r"(Positionals|Options|Subcommands|Example|Exit status|Environment)s?:")
OPTION = re.compile(r"(?P<names>(?:-\w,)?--[\w-]+|[A-Z]+)(?: (?P<value>[A-Z/]+))?(?P<many> \.\.\.)?"
                    r"(?:=(?P<default>\S+))?(?P<required> REQUIRED)?"
                    r"(?: Excludes: (?P<excludes>(?:--[\w-]+ ?)+))?")
# What the command line's library calls a value, in the words of a page.
VALUES = {"UINT": "number", "INT": "number", "TEXT": "text"}


@dataclasses.dataclass
class Option:
    names: list[str]  # "-j", "--json"; a positional argument's own name
    value: str  # "" for a switch
    many: bool
    default: str
    required: bool
    excludes: list[str]
    meaning: str

    @property
    def is_positional(self) -> bool:
        return not self.names[0].startswith("-")


@dataclasses.dataclass
class Command:
    words: list[str]  # without the tool's name
    summary: str
    usage: str
    options: list[Option]
    subcommands: list[str]
    notes: list[str]  # paragraphs
    sections: dict[str, list[str]]  # lines by heading, for those that are not options

    @property
    def path(self) -> str:
        return " ".join(self.words)


def option_of(left: str, meaning: str) -> Option:
    match = OPTION.fullmatch(left.strip())
    if match is None:
        raise ValueError(f"cannot read the option {left!r}")
    names = match["names"].split(",")
    value = match["value"] or ""
    if not names[0].startswith("-"):
        value = ""  # a positional argument's name tells enough
    return Option(names, VALUES.get(value, value.lower()), bool(match["many"]),
                  match["default"] or "", bool(match["required"]),
                  (match["excludes"] or "").split(), meaning)


def options_of(lines: list[str]) -> list[Option]:
    """Entries of a list, whose meanings may go on behind the same column."""
    entries: list[list[str]] = []
    for line in lines:
        left = line[:MEANING_AT].rstrip()
        if line.startswith(" " * MEANING_AT):
            entries[-1][1] += " " + line.strip()
        elif OPTION.fullmatch(line.strip()):
            entries.append([line, ""])
        elif OPTION.fullmatch(left.strip()):
            entries.append([left, line[MEANING_AT:].strip()])
        else:
            match = OPTION.match(line.strip())
            if match is None:
                raise ValueError(f"cannot read the help's line {line!r}")
            entries.append([match[0], line.strip()[match.end():].strip()])
    return [option_of(left, meaning.strip()) for left, meaning in entries]


def parse(words: list[str], text: str) -> Command:
    paragraphs = [paragraph.splitlines() for paragraph in re.split(r"\n\n+", text.rstrip("\n"))]
    usage = next(line for line in text.splitlines() if line.startswith("Usage: "))
    command = Command(words, paragraphs[0][0], usage.removeprefix("Usage: "), [], [], [], {})
    for lines in paragraphs[1:]:  # the first is the summary
        heading = HEADINGS.fullmatch(lines[0])
        if lines[0].startswith("Usage: "):
            continue
        if heading is None:
            add_note(command, lines)
        elif heading[1] in ("Options", "Positionals"):
            command.options += options_of(lines[1:])
        elif heading[1] == "Subcommands":
            command.subcommands = [line.split()[0] for line in lines[1:]
                                   if not line.startswith(" " * 4)]
        else:
            command.sections[heading[1]] = lines[1:]
    return command


def add_note(command: Command, lines: list[str]) -> None:
    note = " ".join(line.strip() for line in lines)
    # Each group says where its commands are explained; the page is that place.
    if "COMMAND --help'" not in note:
        command.notes.append(note)


def ask(tool: str, words: list[str]) -> str:
    result = subprocess.run([tool, *words, "--help"], check=True, capture_output=True, text=True)
    return result.stdout


def read_all(tool: str, words: list[str] | None = None) -> list[Command]:
    """The tool itself first, then every command, each before its own commands."""
    words = words or []
    command = parse(words, ask(tool, words))
    found = [command]
    for name in command.subcommands:
        found += read_all(tool, [*words, name])
    return found
