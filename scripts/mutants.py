#!/usr/bin/env python3
"""Mutation check: applies each one-line mutation of tests/mutants.txt, rebuilds the family's test program in
BUILD_DIR, runs it and restores the file. A mutation is killed when the tests fail; one that builds and passes
survives. Prints each result and the score; exits 1 when any mutation survives or cannot be applied.

usage: mutants.py BUILD_DIR [FILTER]   (FILTER: only mutations whose line contains it)
"""
import os
import signal
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))


def load(path):
    rows = []
    with open(path, encoding="utf-8") as f:
        for n, line in enumerate(f, 1):
            if not line.strip() or line.lstrip().startswith("#"):
                continue
            cells = [c.strip() for c in line.rstrip("\n").split(" | ")]
            if len(cells) != 4:
                sys.exit(f"{path}:{n}: expected 'file | text | mutated text | test program'")
            rows.append((n, *cells))
    return rows


def run_one(build, n, rel, old, new, program):
    path = os.path.join(ROOT, rel)
    original = open(path, encoding="utf-8").read()
    if original.count(old) != 1:
        return "unusable", f"the text stands {original.count(old)} times in {rel}"
    restore = lambda *_: open(path, "w", encoding="utf-8").write(original)
    old_int = signal.signal(signal.SIGINT, lambda *a: (restore(), sys.exit(130)))
    old_term = signal.signal(signal.SIGTERM, lambda *a: (restore(), sys.exit(143)))
    try:
        open(path, "w", encoding="utf-8").write(original.replace(old, new))
        b = subprocess.run(["cmake", "--build", build, "--target", program], capture_output=True, text=True)
        if b.returncode != 0:
            return "unusable", "the mutated source does not build"
        exe = os.path.join(build, "tests", program)
        try:
            t = subprocess.run([exe, "--gtest_brief=1"], capture_output=True, text=True, timeout=900)
        except subprocess.TimeoutExpired:
            return "killed", "timed out"
        return ("killed", "") if t.returncode != 0 else ("survived", "")
    finally:
        restore()
        signal.signal(signal.SIGINT, old_int)
        signal.signal(signal.SIGTERM, old_term)


def main():
    if len(sys.argv) not in (2, 3):
        print(__doc__.strip().splitlines()[-1], file=sys.stderr)
        return 2
    build = sys.argv[1]
    rows = [r for r in load(os.path.join(ROOT, "tests", "mutants.txt"))
            if len(sys.argv) < 3 or sys.argv[2] in " ".join(r[1:])]
    tally = {"killed": 0, "survived": 0, "unusable": 0}
    for n, rel, old, new, program in rows:
        verdict, why = run_one(build, n, rel, old, new, program)
        tally[verdict] += 1
        print(f"{verdict:9} line {n}: {rel}: {old!r} -> {new!r}" + (f" ({why})" if why else ""), flush=True)
    # Leave the build matching the restored sources.
    subprocess.run(["cmake", "--build", build], capture_output=True)
    print(f"mutants: {tally['killed']} of {len(rows)} killed, {tally['survived']} survived, "
          f"{tally['unusable']} unusable")
    return 0 if tally["killed"] == len(rows) else 1


if __name__ == "__main__":
    sys.exit(main())
