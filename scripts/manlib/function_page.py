"""The manual page of a function of the client library, made from the header's comment on it."""
import re
import textwrap

import client_header
import comments
import mdoc
import records_header

COLUMNS = 73  # of code on a page
# The command that others are compared with.
PORT_BIND = "zv_acl_rm_api_acl_port_bind"
ALSO = ("aclrmctl 1", "zv_acl_rm 3", "zv_acl_rm 7", "zv_acl_rm 8")


def paragraphs(blocks: list[comments.Block]) -> list[str]:
    """Blocks as paragraphs and lists; a text that goes on inside a list stays in it."""
    lines: list[str] = []
    open_list = ""
    for number, block in enumerate(blocks):
        if open_list and block.kind != open_list and not block.indented:
            lines.append(".El")
            open_list = ""
        if block.kind == "text":
            if number:
                lines.append(".Pp")
            lines += mdoc.prose(block.text)
            continue
        if not open_list:
            lines.append(".Bl -tag -width Ds" if block.kind == "term" else ".Bl -bullet")
            open_list = block.kind
        lines += [".It " + term_of(block.term) if block.kind == "term" else ".It",
                  *mdoc.prose(block.text)]
    return [*lines, ".El"] if open_list else lines


def term_of(term: str) -> str:
    """What stands behind .It: names, with the commas between them."""
    words = []
    for word in term.split():
        words.append(mdoc.macro_line(word) or "Fa " + re.sub(r"([.,;:])$", r" \1", word))
    return " ".join(word.removeprefix(".") for word in words)


def split_up(function: client_header.Function):
    """(description, return values, reasons): a comment's blocks by the section they belong to."""
    description: list[comments.Block] = []
    returned: list[comments.Block] = []
    reasons: list[comments.Reason] = []
    for block in function.blocks:
        if block.kind != "text":
            description.append(block)
            continue
        text, found = comments.reasons_in(block.text)
        reasons += found
        if text.startswith(("0: ", "Returns 0")):
            said = re.sub(r"^0: ", "Upon success 0 is returned, and ", text)
            returned.append(comments.Block("text", said))
        elif text:
            description.append(comments.Block("text", text, indented=block.indented))
    return description, returned, reasons


def synopsis(functions: list[client_header.Function]) -> list[str]:
    lines = [".Sh LIBRARY", "Client library of the ACL resource manager",
             ".Pq libzv_acl_rm , -lzv_acl_rm", ".Sh SYNOPSIS",
             ".In zv_acl_rm/zv_acl_rm_client.h"]
    for function in functions:
        lines += [f".Ft {mdoc.quoted(function.returns)}", f".Fo {function.name}",
                  *(f".Fa {mdoc.quoted(argument)}" for argument in function.arguments), ".Fc"]
    return lines


def reason_list(reasons: list[comments.Reason], prefix: str, macro: str) -> list[str]:
    lines = [".Bl -tag -width Ds"]
    for reason in reasons:
        names = f" , {macro} ".join(prefix + name for name in reason.names)
        lines += [f".It {macro} {names}", *mdoc.prose(mdoc.capitalised(reason.why) + ".")]
    return [*lines, ".El"]


def command_results(function: client_header.Function, reasons: list[comments.Reason],
                    overview: list[comments.Block]) -> list[str]:
    """Return values and errors of a function that sends a command."""
    statuses = [reason for reason in reasons if reason.names[0] in comments.STATUSES]
    own_errno = [reason for reason in reasons if reason not in statuses]
    if function.record:
        statuses = joined([*statuses, comments.Reason(["ERROR"], of_every_call(overview, "ERROR"))])
    lines = [".Sh RETURN VALUES", "When an answer came, 0 is returned and the daemon's status is",
             "stored in", ".Fa *status ;", "a status other than", ".Dv ZV_ACL_RM_STATUS_SUCCESS",
             "is a refusal, and the caller's record keeps what was sent."]
    if statuses:
        lines += ["The refusals of this command:", *reason_list(statuses, "ZV_ACL_RM_STATUS_", "Dv")]
    return [*lines, ".Sh ERRORS", "Without an answer an", ".Xr errno 3", "value is returned, and",
            ".Fa *status", "and the record are left as they were:",
            *reason_list(errno_values(own_errno, overview), "", "Er")]


def of_every_call(overview: list[comments.Block], status: str) -> str:
    found = [block.text for block in overview
             if block.kind == "term" and block.term == "ZV_ACL_RM_STATUS_" + status]
    if len(found) != 1:
        raise ValueError(f"the header's first comment has {len(found)} entries for {status}")
    return "also " + found[0]


def errno_values(own: list[comments.Reason],
                 overview: list[comments.Block]) -> list[comments.Reason]:
    """Those of every call, but for what the function says of them itself, and its own."""
    shared = [comments.Reason(block.term.split(", "), block.text) for block in overview
              if block.kind == "term" and block.term.startswith("E")]
    told = {name for reason in own for name in reason.names} - {"EINVAL"}
    return joined([*own, *(reason for reason in shared if not told & set(reason.names))])


def joined(reasons: list[comments.Reason]) -> list[comments.Reason]:
    """Several reasons for one value become one of several sentences."""
    by_names: dict[str, comments.Reason] = {}
    for reason in reasons:
        former = by_names.get(" ".join(reason.names))
        if former:
            former.why += ". " + mdoc.capitalised(reason.why)
        else:
            by_names[" ".join(reason.names)] = comments.Reason(reason.names, reason.why)
    return list(by_names.values())


def other_results(function, returned, reasons) -> list[str]:
    lines: list[str] = []
    if returned:
        lines += [".Sh RETURN VALUES", *paragraphs(returned)]
    elif reasons:
        lines += [".Sh RETURN VALUES", "Upon success 0 is returned, otherwise an",
                  ".Xr errno 3", "value."]
    if reasons:
        lines += [".Sh ERRORS", *reason_list(reasons, "", "Er")]
    return lines


def record_section(name: str, records: records_header.Header) -> list[str]:
    if not name:
        return []
    wanted: list[str] = []

    def add(record: str) -> None:
        for field in records.records[record].fields:
            if field.type in records.records:
                add(field.type)
        if record not in wanted:
            wanted.append(record)

    add(name)
    lines = [".Sh RECORD", "All numbers are unsigned and little-endian;", ".Xr zv_acl_rm 7",
             "has the offsets."]
    for record in wanted:
        lines += mdoc.literal("\n".join(narrowed(records.records[record].source)))
    return lines


def narrowed(source: str) -> list[str]:
    """A declaration for a page: a comment that does not fit behind its line stands before it."""
    lines: list[str] = []
    for line in source.splitlines():
        line = re.sub(r" +/\*", " /*", line)
        code, _, comment = line.partition(" /* ")
        if len(line) <= COLUMNS or not comment:
            lines.append(line)
            continue
        margin = code[:len(code) - len(code.lstrip())]
        lines += textwrap.wrap("/* " + comment, COLUMNS, initial_indent=margin,
                               subsequent_indent=margin + "   ")
        lines.append(code)
    return lines


def page(functions: list[client_header.Function], header: client_header.Header,
         records: records_header.Header, titles: dict[str, str], date: str) -> str:
    """The page of a function, or of several that share a comment."""
    first = functions[0]
    description, returned, reasons = split_up(first)
    if description[0].text.startswith("The same for "):
        model = next(one for one in header.functions if one.name == PORT_BIND)
        description[0].text = description[0].text.replace("The same", f"The same as {PORT_BIND}(3)", 1)
        reasons = [*split_up(model)[2], *reasons]
    names = " ,\n.Nm ".join(function.name for function in functions)
    title = titles[first.name] if len(functions) == 1 else shared_title(functions, titles)
    lines = [f".Dd {date}", f".Dt {first.name.upper()} 3", ".Os zv_acl_rm", ".Sh NAME",
             f".Nm {names}", f".Nd {title}", *synopsis(functions), ".Sh DESCRIPTION",
             *paragraphs(description)]
    asks = first.is_command or first.name in ("zv_acl_rm_api_raw", "zv_acl_rm_client_collect")
    if asks and not returned:
        lines += command_results(first, reasons, header.overview)
    else:
        lines += other_results(first, returned, reasons)
    lines += record_section(first.record, records)
    relatives = {one.page for one in header.functions if one.group == first.group}
    if len(relatives) > 8:  # all commands: the overview lists them
        text = " ".join(block.text for block in first.blocks)
        relatives = {PORT_BIND} if re.search(r"\ba port bind\b|^The same\b", text) else set()
    relatives.discard(first.name)
    also = sorted([*(f"{name} 3" for name in relatives), *ALSO],
                  key=lambda entry: (entry.split()[1], entry.split()[0]))
    lines += [".Sh SEE ALSO", *(f".Xr {entry} ," for entry in also[:-1]), f".Xr {also[-1]}"]
    return "\n".join(lines) + "\n"


def shared_title(functions: list[client_header.Function], titles: dict[str, str]) -> str:
    return ", ".join(titles[function.name] for function in functions)
