"""Checks each object of a golden file against the tool's schema.

    check_schema.py SCHEMA FILE

FILE holds a list of {"line": ..., "object": ...}. Ends with 1 and names each object that does not
satisfy the schema, and where.
"""

import json
import sys

import jsonschema


def main() -> int:
    with open(sys.argv[1], encoding="utf-8") as file:
        schema = json.load(file)
    with open(sys.argv[2], encoding="utf-8") as file:
        entries = json.load(file)
    validator = jsonschema.Draft202012Validator(schema)
    wrong = 0
    for entry in entries:
        for error in validator.iter_errors(entry["object"]):
            wrong += 1
            print(f"{entry['line']}: {list(error.absolute_path)}: {error.message[:400]}")
    if not entries:
        print(f"{sys.argv[2]}: no object")
        return 1
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
