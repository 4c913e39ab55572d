"""What zv_acl_rm_records.h declares: records with the place of every field, numbers with names.

The places are worked out as a compiler does it and compared with the header's own assertions.
"""
import dataclasses
import pathlib
import re

WIDTHS = {"uint8_t": 1, "uint16_t": 2, "uint32_t": 4, "uint64_t": 8}
RECORD = re.compile(r"(?:/\* (?P<comment>(?:[^*]|\*(?!/))*?) \*/\n)?"
                    r"typedef struct (?P<tag>\w+) \{\n(?P<body>.*?)\n\} (?P<name>\w+);", re.S)
FIELD = re.compile(r"\s*(?:(?P<open>union \{)|(?P<close>\};)|"
                   r"(?P<type>\w+) (?P<name>\w+)(?:\[(?P<count>\w+)\])?;"
                   r"[ \t]*(?:/\* (?P<comment>.*?) \*/)?)", re.S)
NUMBERS = re.compile(r"^enum (?P<tag>\w+) \{\n(?P<body>.*?)\n\};", re.M | re.S)
NUMBER = re.compile(r"(\w+) = (\d+),?[ \t]*(?:/\* (.*?) \*/)?")


@dataclasses.dataclass
class Field:
    name: str
    type: str
    count: int  # 0: not an array
    offset: int
    width: int
    meaning: str
    is_choice: bool  # one of several at the same place


@dataclasses.dataclass
class Record:
    name: str
    comment: str
    source: str  # as it stands in the header
    fields: list[Field]
    size: int
    alignment: int


@dataclasses.dataclass
class Number:
    name: str
    value: int
    meaning: str


@dataclasses.dataclass
class Header:
    records: dict[str, Record]
    enumerations: dict[str, list[Number]]
    commands: list[Number]


def on_one_line(text: str | None) -> str:
    return re.sub(r"\s*\n\s*\*?\s*", " ", text or "").strip()


def rounded(offset: int, alignment: int) -> int:
    return -(-offset // alignment) * alignment


class Layout:
    """Places one field behind the other."""

    def __init__(self, known: dict[str, Record], constants: dict[str, int]):
        self.known, self.constants = known, constants
        self.fields: list[Field] = []
        self.offset, self.alignment = 0, 1
        self.choice_at = self.choice_end = 0
        self.in_choice = False

    def shape(self, kind: str) -> tuple[int, int]:
        if kind in WIDTHS:
            return WIDTHS[kind], WIDTHS[kind]
        return self.known[kind].size, self.known[kind].alignment

    def begin_choice(self) -> None:
        self.in_choice, self.choice_at, self.choice_end = True, self.offset, self.offset

    def end_choice(self) -> None:
        self.in_choice, self.offset = False, self.choice_end

    def add(self, kind: str, name: str, count: str | None, meaning: str) -> None:
        size, alignment = self.shape(kind)
        number = 0 if count is None else int(self.constants.get(count, count))
        at = rounded(self.choice_at if self.in_choice else self.offset, alignment)
        width = size * (number or 1)
        self.fields.append(Field(name, kind, number, at, width, meaning, self.in_choice))
        self.offset = at + width
        self.choice_end = max(self.choice_end, self.offset)
        self.alignment = max(self.alignment, alignment)

    @property
    def size(self) -> int:
        return rounded(self.offset, self.alignment)


def record_of(match: re.Match, known: dict[str, Record], constants: dict[str, int]) -> Record:
    layout = Layout(known, constants)
    end = 0
    for field in FIELD.finditer(match["body"] + "\n"):
        if match["body"][end:field.start()].strip():
            raise ValueError(f"{match['name']}: cannot read {match['body'][end:field.start()]!r}")
        end = field.end()
        if field["open"]:
            layout.begin_choice()
        elif field["close"]:
            layout.end_choice()
        else:
            layout.add(field["type"], field["name"], field["count"], on_one_line(field["comment"]))
    source = match[0][match[0].index("typedef"):]
    return Record(match["name"], on_one_line(match["comment"]), source, layout.fields, layout.size,
                  layout.alignment)


def check_assertions(text: str, records: dict[str, Record]) -> None:
    sizes = re.findall(r"^ZV_ACL_RM_SIZE\((\w+), (\d+)\);", text, re.M)
    for name, size in sizes:
        if records[name].size != int(size):
            raise ValueError(f"{name} has {records[name].size} bytes, the header says {size}")
    if {name for name, _ in sizes} != set(records):
        raise ValueError(f"no size is asserted of {set(records) - {name for name, _ in sizes}}")
    for name, field, offset in re.findall(r"^ZV_ACL_RM_AT\((\w+), (\w+), (\d+)\);", text, re.M):
        found = [one.offset for one in records[name].fields if one.name == field]
        if found != [int(offset)]:
            raise ValueError(f"{name}.{field} is at {found}, the header says {offset}")


def read(path: pathlib.Path) -> Header:
    text = path.read_text()
    constants = {name: int(value) for name, value in
                 re.findall(r"^#define (ZV_ACL_RM_\w+) (\d+)u\b", text, re.M)}
    records: dict[str, Record] = {}
    for match in RECORD.finditer(text):
        record = record_of(match, records, constants)
        records[record.name] = record
    check_assertions(text, records)
    enumerations = {
        match["tag"]: [Number(name, int(value), on_one_line(meaning))
                       for name, value, meaning in NUMBER.findall(match["body"])]
        for match in NUMBERS.finditer(text)}
    commands = [Number(name, int(value), "")
                for value, name in re.findall(r"^    X\((\d+), (\w+)\)", text, re.M)]
    return Header(records, enumerations, commands)


def statuses(path: pathlib.Path) -> list[Number]:
    """The statuses of zv_acl_rm_status.h, without the one that only counts them."""
    text = re.sub(r"\s*\\\n\s*", " ", path.read_text())
    rows = re.findall(r'X\((\d+), (\w+), ((?:"[^"]*"\s*)+)\)', text)
    found = [Number(name, int(value), "".join(re.findall(r'"([^"]*)"', meaning)))
             for value, name, meaning in rows]
    return [status for status in found if not status.name.endswith("_LAST")]
