"""What the tests of the manual pages share: the pages, as source and as shown."""
import os
import pathlib
import re
import shutil
import subprocess
import unittest

ROOT = pathlib.Path(os.environ["ZV_SOURCE_DIR"])
MADE = pathlib.Path(os.environ["ZV_MADE_PAGES"])  # what scripts/make-man wrote
WRITTEN = ROOT / "packaging" / "man"


def need_mandoc() -> None:
    """In setUpClass: without mandoc a test says that it proved nothing."""
    if shutil.which("mandoc") is None:
        raise unittest.SkipTest("mandoc is missing")


def own_page(name: str, section: int) -> pathlib.Path:
    made = MADE / f"man{section}" / f"{name}.{section}"
    return made if made.exists() else WRITTEN / f"{name}.{section}"


def shown(page: pathlib.Path) -> str:
    """The page as a terminal of 80 columns shows it, without bold and underlining."""
    text = subprocess.run(["mandoc", "-T", "ascii", "-O", "width=78", page], check=True,
                          capture_output=True, text=True).stdout
    return re.sub(".\b", "", text)


def section(text: str, title: str) -> str:
    """A section of a page as shown."""
    found = re.search(rf"^{title}\n(.*?)(?=^\S|\Z)", text, re.M | re.S)
    if found is None:
        raise AssertionError(f"there is no section {title}")
    return found[1]


def long_options(text: str) -> set[str]:
    return set(re.findall(r"(?<![\w-])--[a-z][\w-]*", text))


def literal_blocks(page: pathlib.Path, marker: str) -> list[str]:
    """The text of each literal block behind a comment line, as it is typed."""
    blocks = re.findall(rf'^\.\\" {re.escape(marker)}\n\.Bd -literal\n(.*?)^\.Ed$', page.read_text(),
                        re.M | re.S)
    return [block.replace("\\e", "\\").replace("\\-", "-").replace("\\&", "") for block in blocks]
