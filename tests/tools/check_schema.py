"""Checks each object of a golden file against the tool's schema.

    check_schema.py SCHEMA FILE

FILE holds a list of {"line": ..., "object": ...}. Ends with 1 and names each object that does not
satisfy the schema, and where.

The schema is open to further members; here one that it does not name is an error all the same, so
that whatever the tool prints is described.
"""

import json
import sys

import jsonschema

# Keywords whose schemas are of the same place, of a place below, and of tables of either.
SAME_PLACE = ("if", "then", "else", "not")
SAME_PLACE_LISTS = ("allOf", "anyOf", "oneOf")
PLACE_BELOW = ("items", "additionalProperties")


def close(schema: object, is_place: bool) -> None:
    """Lets no object have a member that no schema of its place names."""
    if not isinstance(schema, dict):
        return
    if is_place and "additionalProperties" not in schema:
        schema["unevaluatedProperties"] = False
    for keyword in SAME_PLACE:
        close(schema.get(keyword), False)
    for keyword in SAME_PLACE_LISTS:
        for each in schema.get(keyword, []):
            close(each, False)
    for keyword in PLACE_BELOW:
        close(schema.get(keyword), True)
    for each in schema.get("properties", {}).values():
        close(each, True)
    for each in schema.get("$defs", {}).values():
        close(each, False)


def main() -> int:
    with open(sys.argv[1], encoding="utf-8") as file:
        schema = json.load(file)
    jsonschema.Draft202012Validator.check_schema(schema)
    close(schema, True)
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
