"""Sections of the tool's page, made from its help: options, commands, exit status."""
import re
import textwrap

import mdoc
import tool_help


COLUMNS = 73  # of an example
# Words that begin a list of what may be typed.
AS_TYPED = {"any", "classic", "ingress", "permit", "tcp"}


def value_of(option: tool_help.Option) -> str:
    return f" Ar {mdoc.quoted(option.value)}" if option.value else ""


def entry(option: tool_help.Option) -> list[str]:
    """An item of a list of options."""
    if option.is_positional:
        title = f".It Ar {option.names[0]}" + (" ..." if option.many else "")
    else:
        names = " , ".join("Fl " + ("Fl " + name[2:] if name.startswith("--") else name[1:])
                           for name in option.names)
        title = f".It {names}{value_of(option)}"
    return [title, *mdoc.prose(sentence(option.meaning)), *remarks(option)]


def remarks(option: tool_help.Option) -> list[str]:
    lines = []
    if option.required and not option.is_positional:
        lines.append("It must be given.")
    if option.default:
        lines.append(f"The default is {mdoc.escaped(option.default)}.")
    if option.excludes:
        lines.append("Not together with")
        excluded = [f".Fl Fl {name[2:]}" for name in option.excludes]
        lines += [line + " or" if number < len(excluded) - 2 else line
                  for number, line in enumerate(excluded[:-1])]
        lines += ["or", excluded[-1] + " ."] if len(excluded) > 1 else [excluded[-1] + " ."]
    return lines


def sentence(text: str) -> str:
    if text.split()[0].strip(",:") not in AS_TYPED:
        text = mdoc.capitalised(text)
    return text if text.endswith((".", "!", "?")) else text + "."


def option_list(options: list[tool_help.Option]) -> list[str]:
    if not options:
        return []
    return [".Bl -tag -width Ds", *(line for option in options for line in entry(option)), ".El"]


def own_options(command: tool_help.Command) -> list[tool_help.Option]:
    """Without --help, which every command has."""
    return [option for option in command.options if "--help" not in option.names]


def synopsis(command: tool_help.Command) -> list[str]:
    """The command with its options behind it, which hang beside it where they need more lines."""
    lines = [f'.Bl -tag -width "aclrmctl {command.path}" -compact',
             f".It Nm aclrmctl Cm {command.path}", ".Bk -words", *usage(command), ".Ek", ".El"]
    return lines if usage(command) else [".Nm aclrmctl", f".Cm {command.path}"]


def usage(command: tool_help.Command) -> list[str]:
    lines = []
    for option in own_options(command):
        if not option.is_positional:
            shown = f"Fl Fl {option.names[-1][2:]}{value_of(option)}"
            lines.append(f".{shown}" if option.required else f".Op {shown}")
    for option in own_options(command):
        if option.is_positional:
            shown = f"Ar {option.names[0]}" + (" ..." if option.many else "")
            lines.append(f".{shown}" if option.required else f".Op {shown}")
    return lines


def has_section(command: tool_help.Command, commands: list[tool_help.Command]) -> bool:
    """Not groups that only hold other commands, nor the commands of a group that explains them."""
    if not command.words:
        return False
    if command.subcommands:
        return bool(command.notes)
    return not any(group.words == command.words[:-1] and group.words and group.notes
                   for group in commands)


def block(command: tool_help.Command, commands: list[tool_help.Command]) -> list[str]:
    lines = [f".Ss {command.path}", *synopsis(command), ".Pp",
             *mdoc.prose(sentence(command.summary)), *option_list(own_options(command))]
    if command.subcommands:
        lines += parts_of(command, commands)
    for note in command.notes:
        lines += [".Pp", *mdoc.prose(note)]
    example = command.sections.get("Example")
    if example:
        lines += [".Pp", "For example:",
                  *mdoc.literal("\n".join(wrapped(example)))]
    return lines


def wrapped(example: list[str]) -> list[str]:
    """The example's commands, broken where a page of 80 columns wants it."""
    commands = re.sub(r" *\\\n *", " ", "\n".join(line.strip() for line in example)).split("\n")
    lines: list[str] = []
    for command in commands:
        kept = re.sub(r"( --[\w-]+) (?=[^-])", "\\1\0", command)  # an option and its value
        parts = textwrap.wrap(kept, COLUMNS - len(" \\"), subsequent_indent="    ",
                              break_long_words=False, break_on_hyphens=False)
        parts = [part.replace("\0", " ") for part in parts]
        lines += [part + " \\" for part in parts[:-1]] + [parts[-1]]
    return lines


def parts_of(group: tool_help.Command, commands: list[tool_help.Command]) -> list[str]:
    lines = [".Bl -tag -width Ds"]
    for command in commands:
        if command.words[:-1] == group.words and command.words:
            arguments = " ".join(line.removeprefix(".") for line in usage(command))
            lines += [f".It Cm {command.path} {arguments}".rstrip(),
                      *mdoc.prose(sentence(command.summary)), *command.notes,
                      *(line for option in own_options(command)
                        for line in [".Fl Fl " + option.names[-1][2:] + " :",
                                     *mdoc.prose(sentence(option.meaning))])]
    return [*lines, ".El"]


def overview(commands: list[tool_help.Command]) -> list[str]:
    lines = [".Bl -column \"switch packet\" \"what it does\""]
    for command in commands:
        if has_section(command, commands):
            lines.append(f".It Cm {command.path} Ta {mdoc.quoted(command.summary)}")
    return [*lines, ".El"]


def sections(commands: list[tool_help.Command]) -> dict[str, list[str]]:
    top = commands[0]
    statuses = [line.split(None, 1) for line in top.sections["Exit status"]]
    exits = [line for value, meaning in statuses
             for line in (f".It {value}", *mdoc.prose(sentence(meaning)))]
    return {
        "options": option_list(top.options),
        "overview": overview(commands),
        "commands": [line for command in commands if has_section(command, commands)
                     for line in block(command, commands)],
        "exit status": [".Bl -tag -width 2n -compact", *exits, ".El"],
    }
