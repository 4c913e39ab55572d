"""The structure of a header's comment: paragraphs, lists of terms, lists of points.

A comment is written for readers of the header: a paragraph ends where a line is shorter than it had
to be, an indented line begins a term ("  name   what it is") or a point ("  - text").
"""
import dataclasses
import re

COLUMNS = 100  # at which the headers' comments are wrapped
STATUSES = ("ERROR", "CMD_UNSUPPORTED", "PARAM_NULL", "PARAM_EXCEEDS_RANGE", "ENTRY_NOT_FOUND",
            "NO_RESOURCES", "NO_HW_RESOURCES", "NO_BUFFER_SPACE")


@dataclasses.dataclass
class Block:
    kind: str  # "text", "term" or "point"
    text: str
    term: str = ""
    indented: bool = False  # a text that goes on inside a list


def stripped(comment: str) -> list[str]:
    """The lines of a comment without its stars, indented as after ' * '."""
    lines = comment.strip().removeprefix("/*").removesuffix("*/").split("\n")
    lines = [re.sub(r"^\s*\* ?", "", line) if number else line.lstrip()
             for number, line in enumerate(lines)]
    return [line.rstrip() for line in lines]


def depth(line: str) -> int:
    return len(line) - len(line.lstrip())


def ends_paragraph(line: str, following: str) -> bool:
    """The next word would still have fitted, so somebody ended the line on purpose."""
    words = following.split()
    room = COLUMNS - len(" * ") - len(line) - 1
    return line.endswith((".", ":")) and bool(words) and len(words[0]) <= room


def blocks_of(lines: list[str]) -> list[Block]:
    blocks: list[Block] = []
    previous = ""
    hanging = 0  # where the text of the running term or point begins; 0: there is none
    for number, line in enumerate(lines):
        if not line:
            previous = ""
            continue
        following = lines[number + 1] if number + 1 < len(lines) else ""
        indentation = depth(line)
        term = re.fullmatch(r"  (\S.*?)   *(\S.*)", line) if indentation == 2 else None
        if indentation == 2 and line.startswith("  - "):
            blocks.append(Block("point", line[4:]))
            hanging = 4
        elif term and previous != "" and not line.startswith("  -"):
            blocks.append(Block("term", term[2], term[1]))
            hanging = line.index(term[2], 2 + len(term[1]))
        elif indentation == 2 and depth(following) > 4:
            blocks.append(Block("term", "", line.strip()))
            hanging = depth(following)
        elif indentation > 2 and hanging > 0:
            blocks[-1].text = (blocks[-1].text + " " + line.strip()).strip()
        elif indentation and previous and depth(previous) == indentation and blocks[-1].indented:
            blocks[-1].text += " " + line.strip()
        elif indentation:
            blocks.append(Block("text", line.strip(), indented=True))
            hanging = indentation
        elif blocks and previous and blocks[-1].kind == "text" and not blocks[-1].indented \
                and not ends_paragraph(previous, line):
            blocks[-1].text += " " + line
        else:
            blocks.append(Block("text", line))
            hanging = 0
        previous = line
    for block, following in zip(blocks, [*blocks[1:], None]):
        check(block, following)
    return blocks


def check(block: Block, following: Block | None) -> None:
    """Refuses what a formatter leaves of a list with a line that was too long for it."""
    torn = block.kind == "point" and following is not None and following.text[:1].islower()
    if torn or re.search(r"\S {3,}\S", block.text):
        raise ValueError(f"a list has lost its shape: {block.text[-60:]}")


NAMES = "|".join((*STATUSES, "E[A-Z]{4,}"))
SENTENCE_END = re.compile(r"(?<=\.) (?=[A-Z0-9*`])")
REASON = re.compile(rf"((?:{NAMES})(?:(?:, | and | or )(?:{NAMES}))*)(?: also)?"
                    rf"(?:: | (?=as for ))(.*)\.")


@dataclasses.dataclass
class Reason:
    """Why a function answers with a status or an errno value."""
    names: list[str]
    why: str


def reasons_in(text: str) -> tuple[str, list[Reason]]:
    """A paragraph without its sentences "NAME: why.", and what those say."""
    reasons: list[Reason] = []
    rest: list[str] = []
    for sentence in SENTENCE_END.split(text):
        match = REASON.fullmatch(sentence)
        if match:
            reasons.append(Reason(re.findall(rf"\b(?:{NAMES})\b", match[1]), match[2]))
        else:
            rest.append(sentence)
    return " ".join(rest), reasons
