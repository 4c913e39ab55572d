"""What zv_acl_rm_client.h declares: functions with their comments, by group, and its constants."""
import dataclasses
import pathlib
import re

import comments

TOKEN = re.compile(
    r"(?P<comment>/\*.*?\*/)|(?P<define>#define (?P<name>ZV_ACL_RM_[A-Z_]+) (?P<value>\S+)"
    r"(?: +/\* (?P<meaning>.*?) \*/)?)|ZV_ACL_RM_EXPORT (?P<declaration>[^;#]+?\([^;]*?\));", re.S)
DECLARATION = re.compile(r"(?P<type>.+?[ *])(?P<name>\w+)\((?P<arguments>.*)\)", re.S)


@dataclasses.dataclass
class Function:
    name: str
    returns: str
    arguments: list[str]
    group: str
    blocks: list[comments.Block]
    page: str  # whose page it stands on: its own, or that of the function before it

    @property
    def is_command(self) -> bool:
        return self.name.startswith("zv_acl_rm_api_") and self.name != "zv_acl_rm_api_raw"

    @property
    def record(self) -> str:
        """The type of the command's record, or nothing."""
        match = re.search(r"zv_acl_rm_\w+_params_t", " ".join(self.arguments))
        return match[0] if match else ""


@dataclasses.dataclass
class Constant:
    name: str
    value: str
    meaning: str


@dataclasses.dataclass
class Header:
    overview: list[comments.Block]
    functions: list[Function]
    constants: list[Constant]


def function_of(declaration: str, group: str, comment: str, former: str) -> Function:
    match = DECLARATION.fullmatch(re.sub(r"\s+", " ", declaration))
    if match is None:
        raise ValueError(f"not a declaration: {declaration}")
    arguments = [argument.strip() for argument in match["arguments"].split(",")]
    blocks = comments.blocks_of(comments.stripped(comment)) if comment else []
    return Function(match["name"], match["type"].strip(), arguments, group, blocks,
                    match["name"] if comment else former)


def read(path: pathlib.Path) -> Header:
    text = path.read_text()
    overview: list[comments.Block] = []
    functions: list[Function] = []
    constants: list[Constant] = []
    group = comment = ""
    for match in TOKEN.finditer(text):
        if match["comment"] and not overview:
            overview = comments.blocks_of(comments.stripped(match["comment"]))
        elif match["comment"]:
            heading = re.fullmatch(r"/\* ---- (.*) ---- \*/", match["comment"])
            group, comment = (heading[1], "") if heading else (group, match["comment"])
        elif match["define"]:
            if match["meaning"]:
                constants.append(Constant(match["name"], match["value"],
                                          re.sub(r"\s+", " ", match["meaning"])))
        else:
            former = functions[-1].page if functions else ""
            functions.append(function_of(match["declaration"], group, comment, former))
            comment = ""
    return Header(overview, functions, constants)
