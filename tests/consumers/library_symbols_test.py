#!/usr/bin/env python3
"""What the built library shows, keeps and calls: the functions of its header and nothing else, no
memory that outlives a call, no call that prints or ends the program.

Usage: library_symbols_test.py SHARED_LIBRARY STATIC_LIBRARY INCLUDE_DIR
"""
import pathlib
import re
import subprocess
import sys
import unittest

SHARED, STATIC, HEADERS = (pathlib.Path(argument) for argument in sys.argv[1:4])
VERSION = "ZV_ACL_RM_1"
# Tables of constants with addresses in them are in .data.rel.ro, which is read-only once loaded.
WRITABLE = re.compile(r"^\.(data(?!\.rel\.ro)|bss|tdata|tbss)(\.|$)")
# Of every shared library, made by the compiler's own start and end files.
TOOLCHAIN = re.compile(r"^(completed\.\d+|__dso_handle|__TMC_END__|DW\.ref\.\w+"
                       r"|_edata|__bss_start|_end|__data_start|data_start)$")
FORBIDDEN = re.compile(
    r"^_*(v?[fsd]?n?w?printf(_chk)?|v?asprintf(_chk)?|puts|fputs|putchar|fputc|putc|fwrite|perror|psignal|err|errx|warn|warnx"
    r"|v?syslog(_chk)?|exit|_exit|_Exit|quick_exit|abort|raise|signal|sigaction|setenv|putenv|strerror|strtok|atexit)$")
STREAMS = re.compile(r"^_ZSt4(cout|cerr|clog)$|basic_ostream|^std(out|err)$")


def output(*command) -> list[str]:
    done = subprocess.run([str(word) for word in command], check=True, capture_output=True, text=True)
    return done.stdout.splitlines()


def symbols(library: pathlib.Path, option: str = "-s") -> list[tuple[str, str, str, str]]:
    """(type, binding, section, name) of each symbol of a library or archive; sections by number."""
    found = []
    for line in output("readelf", "-W", option, library):
        words = line.split()
        if len(words) >= 8 and words[0].rstrip(":").isdigit():
            found.append((words[3], words[4], words[6], words[7]))
    return found


def section_names(library: pathlib.Path) -> dict[str, str]:
    names = {}
    for line in output("readelf", "-W", "-S", library):
        match = re.match(r"\s*\[\s*(\d+)\]\s+(\S+)", line)
        if match:
            names[match.group(1)] = match.group(2)
    return names


def declared_functions() -> set[str]:
    text = "".join(path.read_text() for path in HEADERS.glob("*.h"))
    return set(re.findall(r"ZV_ACL_RM_EXPORT[^;]*?\b(zv_acl_rm_\w+)\(", text))


class Library(unittest.TestCase):
    def test_shows_the_functions_of_its_header_under_one_version_and_nothing_else(self) -> None:
        shown = {name for kind, binding, section, name in symbols(SHARED, "--dyn-syms")
                 if section not in ("UND", "ABS") and binding in ("GLOBAL", "WEAK")}
        expected = {f"{name}@@{VERSION}" for name in declared_functions()}
        self.assertGreater(len(expected), 25)
        self.assertEqual(shown, expected)

    def test_has_the_name_of_its_major_version(self) -> None:
        names = [line for line in output("readelf", "-d", SHARED) if "SONAME" in line]
        self.assertEqual(len(names), 1)
        self.assertIn("[libzv_acl_rm.so.4]", names[0])

    def test_keeps_nothing_between_calls(self) -> None:
        sections = section_names(SHARED)
        kept = [name for kind, binding, section, name in symbols(SHARED)
                if kind in ("OBJECT", "TLS", "COMMON") and WRITABLE.match(sections.get(section, ""))
                and not TOOLCHAIN.match(name)]
        self.assertEqual(kept, [])

    def test_calls_nothing_that_prints_or_ends_the_program(self) -> None:
        for library in (SHARED, STATIC):
            called = {name.split("@")[0] for kind, binding, section, name in symbols(library) if section == "UND"}
            self.assertGreater(len(called), 10)
            self.assertEqual([name for name in sorted(called) if FORBIDDEN.match(name) or STREAMS.search(name)], [])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
