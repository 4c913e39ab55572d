#!/usr/bin/env python3
"""How long aclrmctl takes for a file of 6,400 rules: to check it, and to load it into a fresh daemon.

Usage: bench/tool_load.py [--bin DIR] [--rounds N] [--json]

6,400 rules are what the daemon holds. The times are those of the whole process, from its start to its
end, in milliseconds: what a person waits. Each round has a daemon of its own.
"""
import argparse
import json
import os
import pathlib
import statistics
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
RULES_NUM = 6400
FORMATS = ("classic", "policy", "json")


def rule(number: int, form: str) -> str:
    source = f"10.{number >> 16 & 255}.{number >> 8 & 255}.{number & 255}"
    if form == "classic":
        return f"@{source}/32\t198.51.100.0/24\t0 : 65535\t443 : 443\t0x06/0xFF\t0x0000/0x0000\tdrop"
    if form == "policy":
        return f"drop tcp from {source} to 198.51.100.0/24 port 443"
    return json.dumps({"action": "drop", "match": {"protocol": "tcp", "src": source, "dst": "198.51.100.0/24",
                                                   "dst_port": 443}})


def text(form: str) -> str:
    rules = [rule(number, form) for number in range(RULES_NUM)]
    return '{"rules": [\n' + ",\n".join(rules) + "\n]}\n" if form == "json" else "\n".join(rules) + "\n"


def milliseconds(command: list, environment: dict) -> float:
    start = time.monotonic()
    run = subprocess.run(command, env=environment, capture_output=True, text=True, check=False)
    if run.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))}: status {run.returncode}\n{run.stderr}")
    return (time.monotonic() - start) * 1000


def round_of(programs: pathlib.Path, form: str) -> dict:
    with tempfile.TemporaryDirectory(prefix="tool-load-") as root:
        file = pathlib.Path(root) / f"rules.{form}"
        file.write_text(text(form))
        environment = {**os.environ, "ZV_PLATFORM_ROOT": root}
        tool = str(programs / "aclrmctl")
        with subprocess.Popen([programs / "zv_acl_rm"], env=environment, stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL) as daemon:
            try:
                socket_path = pathlib.Path(root) / "var/run/zv_acl_rm.sock"
                while not socket_path.exists() and daemon.poll() is None:
                    time.sleep(0.01)
                for words in (["open", "--owner", "open-flow"], ["init"],
                              ["acl", "create", "--size", str(RULES_NUM)]):
                    milliseconds([tool, *words], environment)
                return {"check": milliseconds([tool, "rule", "check", file], environment),
                        "load": milliseconds([tool, "rule", "load", file, "--acl", "1"], environment)}
            finally:
                daemon.terminate()


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--bin", type=pathlib.Path, default=ROOT / "build/release/bin",
                        help="where aclrmctl and zv_acl_rm are (build/release/bin)")
    parser.add_argument("--rounds", type=int, default=7, help="fresh daemons a format (7)")
    parser.add_argument("--json", action="store_true", help="an object instead of a table")
    arguments = parser.parse_args()
    result = {}
    for form in FORMATS:
        rounds = [round_of(arguments.bin, form) for _ in range(arguments.rounds)]
        result[form] = {name: {"median": statistics.median(each[name] for each in rounds),
                               "slowest": max(each[name] for each in rounds)} for name in ("check", "load")}
    if arguments.json:
        print(json.dumps(result, indent=1))
        return
    print(f"{RULES_NUM} rules, milliseconds, median and slowest of {arguments.rounds}")
    print(f"{'format':10}{'check':>8}{'slowest':>9}{'load':>8}{'slowest':>9}")
    for form, times in result.items():
        print(f"{form:10}" + "".join(f"{times[name]['median']:8.1f}{times[name]['slowest']:9.1f}"
                                     for name in ("check", "load")))


main()
