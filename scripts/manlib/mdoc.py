"""Prose of a header's comment as mdoc: the words that are names get the macro of their kind."""
import re
import textwrap

OPENING = "(["
CLOSING = ".,;:)]?!"
# The first that fits decides: (what a word looks like, its macro). A group is what is printed.
KINDS = (
    (re.compile(r"(\w+)\((\d)\)"), lambda m: ["Xr", m[1], m[2]]),
    (re.compile(r"`(.+)`"), lambda m: ["Fa", m[1]]),
    (re.compile(r"(zv_acl_rm_(?:api|client|status)_\w+)\(\)"), lambda m: ["Fn", m[1]]),
    (re.compile(r"(zv_acl_rm_(?:api|client|status)_\w+)"),
     lambda m: ["Vt" if m[1].endswith("_t") else "Fn", m[1]]),
    (re.compile(r"(zv_acl_rm_\w+\.h)"), lambda m: ["In", "zv_acl_rm/" + m[1]]),
    (re.compile(r"(E[A-Z]{3,})"), lambda m: ["Er", m[1]] if m[1] not in NOT_AN_ERRNO else None),
    (re.compile(r"(ZV_PLATFORM_ROOT|\$TMPDIR)"), lambda m: ["Ev", m[1].lstrip("$")]),
    (re.compile(r"(ZV_ACL_RM_\w+)"), lambda m: ["Dv", m[1]]),
    (re.compile(r"(NULL)"), lambda m: ["Dv", m[1]]),
    (re.compile(r"(/[\w./]+)"), lambda m: ["Pa", m[1]]),
    (re.compile(r"\*?([a-z]+(?:_[a-z0-9]+)+|rules\[i\]\.offset)"), lambda m: ["Fa", m[0]]),
    (re.compile(r"(\*[a-z]\w*)"), lambda m: ["Fa", m[1]]),
)
NOT_AN_ERRNO = {"EDIT", "ERROR", "EVERY", "EXCEEDS"}


def escaped(text: str) -> str:
    """A word that stands in text or as an argument of a macro."""
    text = text.replace("\\", "\\e")
    return re.sub(r"^(?=[.'])", r"\\&", text)


def quoted(text: str) -> str:
    """One argument, also if it has blanks or is the name of a macro."""
    text = text.replace("\\", "\\e").replace('"', '\\(dq')
    if " " in text:
        return f'"{text}"'
    return "\\&" + text if re.fullmatch(r"[A-Z][a-z]|[.,;:()?!|\[\]]", text) else text


def macro_line(word: str):
    """The line of macros for a word that is a name, or None."""
    start = len(word) - len(word.lstrip(OPENING))
    end = len(word.rstrip(CLOSING))
    core = word[start:end]
    # A bracket that belongs to the name was taken for punctuation.
    if core.count("(") > core.count(")") and word[end:end + 1] == ")":
        core, end = word[start:end + 1], end + 1
    for pattern, macro in KINDS:
        match = pattern.fullmatch(core)
        names = macro(match) if match else None
        if names:
            arguments = names[1:] if names[0] in ("Xr",) else [quoted(names[1])]
            return "." + " ".join([names[0], *word[:start], *arguments, *word[end:]])
    return None


def capitalised(text: str) -> str:
    """A text that begins a sentence; names stay as they are."""
    first = text.split()[0]
    return text[0].upper() + text[1:] if re.fullmatch(r"[a-z][a-z']*[,:;]?", first) else text


def prose(text: str) -> list[str]:
    """Lines of mdoc for one paragraph, each sentence on a line of its own."""
    lines: list[str] = []
    running: list[str] = []

    def flush() -> None:
        if running:
            lines.extend(textwrap.wrap(escaped(" ".join(running)), 90, break_long_words=False,
                                       break_on_hyphens=False))
            running.clear()

    for word in re.findall(r"`[^`]+`\S*|\S+", text):
        line = macro_line(word)
        if line:
            flush()
            lines.append(line)
        else:
            running.append(word)
            if re.search(r"[.!?]\)?$", word) and not word.endswith("..."):
                flush()
    flush()
    return [safe_start(line) for line in lines]


def safe_start(line: str) -> str:
    """A text line must not begin with what starts a request."""
    is_macro = re.match(r"\.[A-Z][a-z] ", line)
    return line if is_macro or line[:1] not in ".'" else "\\&" + line


def literal(text: str) -> list[str]:
    """Lines as they are."""
    body = [safe_start(line.replace("\\", "\\e")) for line in text.splitlines()]
    return [".Bd -literal", *body, ".Ed"]
