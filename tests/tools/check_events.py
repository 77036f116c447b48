#!/usr/bin/env python3
"""Validates files of vorn events (one JSON object per line) against the shipped JSON Schema.

Usage: check_events.py SCHEMA FILE...  Prints the first bad line of each file and exits 1 when any is bad."""
import json
import sys

import jsonschema


def main():
    schema = json.load(open(sys.argv[1], encoding="utf-8"))
    jsonschema.Draft7Validator.check_schema(schema)
    validator = jsonschema.Draft7Validator(schema)
    bad = 0
    lines = 0
    for path in sys.argv[2:]:
        with open(path, encoding="utf-8") as f:
            for number, line in enumerate(f, 1):
                lines += 1
                errors = sorted(validator.iter_errors(json.loads(line)), key=str)
                if errors:
                    print(f"{path}:{number}: {errors[0].message}")
                    bad += 1
                    break
    print(f"{lines} events checked")
    return 1 if bad else 0


if __name__ == "__main__":
    sys.exit(main())
