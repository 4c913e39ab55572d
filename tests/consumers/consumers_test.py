#!/usr/bin/env python3
"""Installs the build into a tree of its own, builds the consumers from that tree and runs them
against the installed daemon: each with the shared library and with the static one.

Usage: consumers_test.py BUILD_DIR WORK_DIR
"""
import os
import pathlib
import re
import select
import shutil
import socket
import subprocess
import sys
import tempfile
import unittest

HERE = pathlib.Path(__file__).resolve().parent
BUILD = pathlib.Path(sys.argv[1])
WORK = pathlib.Path(sys.argv[2])
MOVED = WORK / "moved" / "here"  # nothing may depend on where the tree was when it was installed
SAMPLES = HERE.parents[1] / "samples"
LANGUAGES = HERE.parents[1] / "docs" / "languages.md"
ACL_SAYS = "lies past the end of ACL 1 (tarn-os's), which has room for 8 rules"


def run(*command, **options) -> str:
    done = subprocess.run([str(word) for word in command], capture_output=True, text=True, timeout=300, **options)
    if done.returncode != 0:
        raise AssertionError(f"{command} ended with {done.returncode}\n{done.stdout}{done.stderr}")
    return done.stdout


def find_one(pattern: str) -> pathlib.Path:
    found = sorted(MOVED.rglob(pattern))
    if len(found) != 1:
        raise AssertionError(f"{pattern}: {found}")
    return found[0]


def clean_environment(**added) -> dict[str, str]:
    """Without what would show the build tree or another installation to a compiler or loader."""
    hidden = ("LD_LIBRARY_PATH", "PKG_CONFIG_PATH", "CMAKE_PREFIX_PATH", "PYTHONPATH", "ZV_PLATFORM_ROOT")
    return {name: value for name, value in os.environ.items() if name not in hidden} | added


def loaded_from(program: pathlib.Path) -> str:
    return run("ldd", program, env=clean_environment())


class Daemon:
    """The installed daemon under a root of its own; serves when the object is made."""

    def __init__(self) -> None:
        self.root = tempfile.TemporaryDirectory(prefix="zv-consumers-")
        path = pathlib.Path(self.root.name, "var/run/zv_acl_rm.sock")
        path.parent.mkdir(parents=True)
        self.environment = clean_environment(ZV_PLATFORM_ROOT=self.root.name)
        self.log = open(pathlib.Path(self.root.name, "log"), "w+")
        self.process = subprocess.Popen([find_one("sbin/zv_acl_rm")], env=self.environment,
                                        stdout=self.log, stderr=subprocess.STDOUT)
        self.wait_until_serving(path)

    def wait_until_serving(self, path: pathlib.Path) -> None:
        while True:
            if self.process.poll() is not None:
                self.log.seek(0)
                raise AssertionError(f"the daemon ended: {self.log.read()}")
            probe = socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET)
            try:
                probe.connect(str(path))
                return
            except OSError:
                select.select([], [], [], 0.01)  # nothing announces a socket's appearance
            finally:
                probe.close()

    def stop(self) -> int:
        self.process.terminate()
        status = self.process.wait(60)
        self.log.close()
        self.root.cleanup()
        return status


class Consumers(unittest.TestCase):
    @classmethod
    def setUpClass(cls) -> None:
        shutil.rmtree(WORK, ignore_errors=True)
        MOVED.parent.mkdir(parents=True)
        run("cmake", "--install", BUILD, "--prefix", WORK / "installed")
        (WORK / "installed").rename(MOVED)
        cls.libraries = find_one("libzv_acl_rm.a").parent
        cls.environment = clean_environment(PKG_CONFIG_PATH=str(cls.libraries / "pkgconfig"))

    def check_runs(self, directory: pathlib.Path, expected: str) -> None:
        for kind in ("shared", "static"):
            program = directory / f"consumer_{kind}"
            libraries = loaded_from(program)
            self.assertNotIn("not found", libraries)
            self.assertNotIn(str(BUILD / "lib"), libraries)
            self.assertEqual("libzv_acl_rm.so.4" in libraries, kind == "shared", libraries)
            daemon = Daemon()
            out = run(program, env=daemon.environment)
            self.assertIn(expected, out)
            self.assertEqual(daemon.stop(), 0)

    def test_c11_finds_the_cmake_package(self) -> None:
        build = WORK / "c11"
        run("cmake", "-G", "Ninja", "-S", HERE / "c11", "-B", build, f"-DCMAKE_PREFIX_PATH={MOVED}",
            env=clean_environment())
        run("cmake", "--build", build)
        self.check_runs(build, ACL_SAYS)

    def test_cxx17_finds_the_pkg_config_file(self) -> None:
        build = WORK / "cxx17"
        build.mkdir()
        run("make", "-C", HERE / "cxx17", f"BUILD={build}", env=self.environment)
        self.check_runs(build, "ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND")

    def test_the_program_of_the_page_prints_what_the_page_says(self) -> None:
        page = (HERE.parents[1] / "docs" / "client-library.md").read_text()
        program, printed = re.search(r"```c\n(.*?)```\n\nIt prints\n\n```\n(.*?)```", page, re.S).groups()
        source = WORK / "page.c"
        source.write_text(program)
        flags = run("pkg-config", "--cflags", "--libs", "zv_acl_rm", env=self.environment).split()
        run("gcc", "-std=c11", "-Wall", "-Wextra", "-Werror", source, *flags, f"-Wl,-rpath,{self.libraries}",
            "-o", WORK / "page")
        daemon = Daemon()
        self.assertEqual(run(WORK / "page", env=daemon.environment), printed)
        self.assertEqual(daemon.stop(), 0)

    def check_prints(self, command: list, expected: str, **environment) -> None:
        daemon = Daemon()
        self.assertEqual(run(*command, env=daemon.environment | environment), expected)
        self.assertEqual(daemon.stop(), 0)

    def build_cxx(self, name: str, source: pathlib.Path) -> pathlib.Path:
        flags = run("pkg-config", "--cflags", "--libs", "zv_acl_rm", env=self.environment).split()
        run("g++", "-std=c++17", "-fno-exceptions", "-fno-rtti", "-Wall", "-Wextra", "-Wpedantic", "-Werror", source,
            *flags, f"-Wl,-rpath,{self.libraries}", "-o", WORK / name)
        return WORK / name

    def sample_text(self) -> str:
        return re.search(r"```\n(ACL 1 created.*?)```", LANGUAGES.read_text(), re.S)[1]

    def test_the_cxx_sample_is_built_from_the_installed_headers(self) -> None:
        self.check_prints([self.build_cxx("first_acl", SAMPLES / "first_acl.cpp")], self.sample_text())

    def test_the_python_sample_runs_on_the_installed_module(self) -> None:
        path = find_one("py.typed").parents[1]
        self.assertEqual(path.relative_to(MOVED), pathlib.Path("lib/python3/dist-packages"))
        # Nothing is to be added to the tree, nor found elsewhere.
        alone = {"PYTHONPATH": str(path), "PYTHONDONTWRITEBYTECODE": "1"}
        self.check_prints([sys.executable, "-W", "error", SAMPLES / "first_acl.py"], self.sample_text(), **alone)
        place = run(sys.executable, "-c", "import zv_acl_rm; print(zv_acl_rm.__file__)", env=clean_environment(**alone))
        self.assertTrue(place.startswith(str(MOVED)), place)

    def test_the_cxx_of_the_page_is_a_program(self) -> None:
        blocks = re.findall(r"```cpp\n(.*?)```", LANGUAGES.read_text(), re.S)
        self.assertEqual(len(blocks), 2)
        source = WORK / "languages.cpp"
        source.write_text("\n".join(blocks))
        self.check_prints([self.build_cxx("languages", source)], "")

    def test_the_example_of_the_cxx_header_is_a_program(self) -> None:
        header = find_one("zv_acl_rm.hpp").read_text()
        lines = re.findall(r"^ \*   (.*)$", header.split("#ifndef")[0], re.M)
        source = WORK / "example.cpp"
        source.write_text("#include <cstdio>\n#include <zv_acl_rm/zv_acl_rm.hpp>\nint main() {\n" + "\n".join(lines)
                          + "\n}\n")
        self.check_prints([self.build_cxx("example", source)], "")

    def test_the_installed_tool_finds_its_libraries(self) -> None:
        tool = find_one("bin/aclrmctl")
        self.assertNotIn("not found", loaded_from(tool))
        self.assertIn("Usage", run(tool, "--help", env=clean_environment()))

    def test_a_package_of_another_major_version_is_refused(self) -> None:
        for wanted, is_found in (("4.4", True), ("4.0", True), ("3.9", False), ("5.0", False)):
            project = WORK / f"wants-{wanted}"
            project.mkdir()
            (project / "CMakeLists.txt").write_text(
                "cmake_minimum_required(VERSION 3.16)\nproject(wants C)\n"
                f"find_package(zv_acl_rm {wanted} REQUIRED CONFIG)\n")
            done = subprocess.run(["cmake", "-G", "Ninja", "-S", project, "-B", project / "build",
                                   f"-DCMAKE_PREFIX_PATH={MOVED}"], capture_output=True, timeout=300)
            self.assertEqual(done.returncode == 0, is_found, wanted)

    def test_components_hold_what_they_are_named_for(self) -> None:
        listed = {}
        for component in ("runtime", "development"):
            prefix = WORK / component
            run("cmake", "--install", BUILD, "--prefix", prefix, "--component", component)
            listed[component] = {path.name for path in prefix.rglob("*") if not path.is_dir()}
        self.assertFalse(listed["runtime"] & listed["development"])
        runtime = {"zv_acl_rm", "aclrmctl", "libzv_acl_rm.so.4", "libzv_rpc.so", "libzv_sim.so",
                   "zv_acl_rm.8"}
        self.assertLessEqual(runtime, listed["runtime"])
        development = {"libzv_acl_rm.so", "libzv_acl_rm.a", "zv_acl_rm.pc", "zv_acl_rmConfig.cmake",
                       "zv_acl_rmConfigVersion.cmake", "zv_acl_rm_client.h", "zv_acl_rm_records.h",
                       "zv_acl_rm_status.h", "zv_acl_rm_client_submit.3", "zv_acl_rm.hpp", "client.hpp",
                       "requests.hpp", "client.py", "py.typed"}
        self.assertLessEqual(development, listed["development"])
        whole = {path.name for path in MOVED.rglob("*") if not path.is_dir()}
        self.assertEqual(whole, listed["runtime"] | listed["development"])

    def test_no_installed_text_names_the_place_of_the_build(self) -> None:
        for text in [find_one("zv_acl_rm.pc"), *MOVED.rglob("*.cmake"), *MOVED.rglob("*.h")]:
            for place in (BUILD, HERE.parents[1], WORK / "installed"):
                self.assertNotIn(str(place), text.read_text(), text)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
