"""Tables of the wire's page: commands, records, numbers, made from the headers."""
import re

import mdoc
import records_header

# Replies that are not the whole record.
PART = {"ACL_SET": "32: the ACL"}
NO_REPLY = re.compile(r"\bno reply record\b")


def row(*cells: str) -> str:
    return ".It " + " Ta ".join(mdoc.quoted(cell) if cell else "\\&" for cell in cells)


def width_of(field: records_header.Field) -> str:
    if not field.count:
        return str(field.width)
    return f"{field.count} x {field.width // field.count}"


def meaning_of(field: records_header.Field, header: records_header.Header) -> str:
    parts = [field.meaning] if field.meaning else []
    if field.type in header.records:
        parts.insert(0, f"{field.type}")
    return "; ".join(parts)


def commands(header: records_header.Header) -> list[str]:
    lines = ['.Bl -column "Number" "ACL_RULE_MOVE_BLOCK" "Request" "Reply"',
             ".It Em Number Ta Em Command Ta Em Request Ta Em Reply"]
    for command in header.commands:
        record = record_of(command.name, header)
        reply = PART.get(command.name) or \
            ("none" if NO_REPLY.search(record.comment) else str(record.size))
        lines.append(row(str(command.value), command.name, str(record.size), reply))
    return [*lines, ".El"]


def record_of(command: str, header: records_header.Header) -> records_header.Record:
    """The record whose comment begins with the command's name."""
    found = [record for record in header.records.values()
             if re.match(rf"{command}, \d+ bytes", record.comment)]
    if len(found) != 1:
        raise ValueError(f"{len(found)} records call themselves {command}'s")
    return found[0]


def records(header: records_header.Header) -> list[str]:
    """A sub-section for each record, those of commands in the commands' order, then their parts."""
    ordered = [(record_of(command.name, header), f"{command.value} {command.name}")
               for command in header.commands]
    parts = [record for record in header.records.values()
             if all(record is not one for one, _ in ordered)]
    lines: list[str] = []
    for record, title in [*ordered, *((part, part.name) for part in parts)]:
        lines += [f".Ss {title}", *mdoc.prose(comment_of(record)),
                  '.Bl -column "Offset" "20 x 360" "activity_request" "what it is"',
                  ".It Em Offset Ta Em Width Ta Em Field Ta Em Meaning"]
        for field in record.fields:
            lines.append(row(str(field.offset), width_of(field), field.name,
                             meaning_of(field, header)))
        lines.append(".El")
    return lines


def comment_of(record: records_header.Record) -> str:
    text = re.sub(r"^[A-Z_]+, ", "", record.comment)
    text = text.replace("echoed", "returned whole")
    text = text if re.search(r"\d+ bytes", text) else f"{record.size} bytes. {text}"
    return mdoc.capitalised(text)


def numbers(rows: list[records_header.Number]) -> list[str]:
    longest = max((one.name for one in rows), key=len)
    lines = [f'.Bl -column "99" "{longest}" "meaning"']
    lines += [row(str(one.value), one.name, one.meaning) for one in rows]
    return [*lines, ".El"]
