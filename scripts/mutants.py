#!/usr/bin/env python3
"""Draws a random sample of one-operator and one-constant changes in src/ and reports which of
them the test suite lets through.

Every candidate is one token on one code line (comments, strings and preprocessor lines are
left alone): an arithmetic operator swapped for its partner (+ -, * /), a comparison moved by
its boundary or inverted (< <=, > >=, == !=), a logical operator swapped (&& ||), or a numeric
constant changed (a float doubled, an integer plus one). A seeded draw picks N of them; each is
applied alone, the build in build/mutants is brought up to date, the suite runs, and the file is
restored. A change is killed when a test fails or times out, "invalid" when it does not compile,
and a survivor otherwise. Survivors are what a reviewer reads: each is either equivalent (no
input can tell it apart) or a gap in the tests (docs/fault-sample.md classifies the last run).

    /usr/bin/python3 scripts/mutants.py                # 100 changes, seed 1
    /usr/bin/python3 scripts/mutants.py -n 20 -s 7     # another sample
    /usr/bin/python3 scripts/mutants.py --list         # every candidate, nothing built
    /usr/bin/python3 scripts/mutants.py --only 12 40   # these candidates by number

About 25 seconds a change on the 2-core machine (the build relinks every test program).
"""
import argparse
import os
import random
import re
import subprocess
import sys
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
BUILD = os.path.join(ROOT, "build", "mutants")
# The documentation and benchmark smoke runs call nothing the other tests miss.
EXCLUDED_TESTS = "crv_docs|_smoke$|crv_package"

OPERATORS = {
    " + ": " - ", " - ": " + ", " * ": " / ", " / ": " * ",
    " < ": " <= ", " <= ": " < ", " > ": " >= ", " >= ": " > ",
    " == ": " != ", " != ": " == ", " && ": " || ", " || ": " && ",
}
OPERATOR_RE = re.compile("|".join(re.escape(op) for op in sorted(OPERATORS, key=len, reverse=True)))
# A literal that is a whole token: not part of a name (x2, kDegree3) or of a longer number.
NUMBER_RE = re.compile(r"(?<![\w.])(\d+\.\d*(?:[eE][-+]?\d+)?|\d+[eE][-+]?\d+|\d+)(?![\w.])")


def code_part(line):
    """The line without its comment and with string and character literals blanked, or None for
    a line that carries no code worth changing."""
    stripped = line.strip()
    if not stripped or stripped.startswith(("#", "//", "*", "/*")) or "static_assert" in line:
        return None
    out, quote, i = [], None, 0
    while i < len(line):
        c = line[i]
        if quote:
            if c == "\\":
                out.append("  ")
                i += 2
                continue
            out.append(" " if c != quote else c)
            quote = None if c == quote else quote
        elif c in "\"'":
            quote = c
            out.append(c)
        elif line.startswith("//", i):
            break
        else:
            out.append(c)
        i += 1
    return "".join(out)


def mutated_number(text):
    if re.fullmatch(r"\d+", text):
        return str(int(text) + 1)
    value = float(text)
    return repr(value * 2) if value != 0 else "1.0"


def candidates():
    """Every (path, line number, column, old token, new token) in src/, in a fixed order."""
    found = []
    for folder, _, files in sorted(os.walk(os.path.join(ROOT, "src"))):
        for name in sorted(files):
            if not name.endswith((".cpp", ".h")):
                continue
            path = os.path.relpath(os.path.join(folder, name), ROOT)
            with open(os.path.join(ROOT, path)) as f:
                for number, line in enumerate(f, 1):
                    code = code_part(line.rstrip("\n"))
                    if code is None:
                        continue
                    for m in OPERATOR_RE.finditer(code):
                        found.append((path, number, m.start(), m.group(), OPERATORS[m.group()]))
                    for m in NUMBER_RE.finditer(code):
                        found.append((path, number, m.start(), m.group(), mutated_number(m.group())))
    return found


def run(cmd, timeout):
    try:
        return subprocess.run(cmd, cwd=ROOT, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                              timeout=timeout).returncode
    except subprocess.TimeoutExpired:
        return "timeout"


def build():
    return run(["cmake", "--build", BUILD, "-j2"], 1800) == 0


def suite():
    return run(["ctest", "--test-dir", BUILD, "-j2", "--timeout", "120", "-E", EXCLUDED_TESTS], 900)


def describe(c):
    path, number, column, old, new = c
    with open(os.path.join(ROOT, path)) as f:
        line = f.read().split("\n")[number - 1]
    return f"{path}:{number}: '{old.strip()}' -> '{new.strip()}' in: {line.strip()[:90]}"


def try_one(c):
    path, number, column, old, new = c
    full = os.path.join(ROOT, path)
    with open(full) as f:
        source = f.read()
    lines = source.split("\n")
    line = lines[number - 1]
    assert line[column:column + len(old)] == old, describe(c)
    lines[number - 1] = line[:column] + new + line[column + len(old):]
    try:
        with open(full, "w") as f:
            f.write("\n".join(lines))
        if not build():
            return "invalid"
        result = suite()
        return "killed" if result != 0 else "SURVIVED"
    finally:
        with open(full, "w") as f:
            f.write(source)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("-n", type=int, default=100, help="how many changes to draw")
    parser.add_argument("-s", "--seed", type=int, default=1)
    parser.add_argument("--list", action="store_true", help="print the candidates and stop")
    parser.add_argument("--only", type=int, nargs="*", help="candidate numbers to try")
    args = parser.parse_args()

    every = candidates()
    if args.list:
        for i, c in enumerate(every):
            print(i, describe(c))
        return
    picked = args.only if args.only else sorted(random.Random(args.seed).sample(range(len(every)),
                                                                                 min(args.n, len(every))))
    print(f"{len(every)} candidates in src/; trying {len(picked)}", flush=True)

    subprocess.run(["cmake", "-S", ROOT, "-B", BUILD, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=RelWithDebInfo",
                    "-DCRV_BUILD_BENCH=OFF", "-DCRV_BUILD_DOCS=OFF"], check=True, stdout=subprocess.DEVNULL)
    if not build() or suite() != 0:
        sys.exit("mutants: the suite must build and pass before anything is changed")
    counts = {"killed": 0, "SURVIVED": 0, "invalid": 0}
    survivors = []
    start = time.time()
    try:
        for i in picked:
            verdict = try_one(every[i])
            counts[verdict] += 1
            if verdict == "SURVIVED":
                survivors.append(i)
            print(f"{i:5d} {verdict:8s} {describe(every[i])}", flush=True)
    finally:
        build()  # back to the unchanged sources
    print(f"{counts['killed']} killed, {counts['SURVIVED']} survived, {counts['invalid']} invalid "
          f"in {time.time() - start:.0f} s")
    for i in survivors:
        print(f"survivor {i}: {describe(every[i])}")


if __name__ == "__main__":
    main()
