#!/usr/bin/env python3
"""Runs the crv tool as a user would and checks what it prints, writes and exits with.

Usage: tool_test.py CRV GROUP[:K/M] WORKDIR, GROUP one of the keys of GROUPS; K/M runs part K of
M (counted from 0) of the group's cases.
Golden values are worked by hand from the Bernstein form on small curves (shown beside each).
"""
import json
import math
import os
import re
import shutil
import stat
import subprocess
import sys
import xml.dom.minidom

CRV, GROUP, WORK = sys.argv[1], sys.argv[2], sys.argv[3]
ARCH = "0,0 0,1 1,1 1,0"  # B(t) = (3t^2 - 2t^3, 3t - 3t^2)
HOP = "0,0,-1 1,0,3 2,0,3 3,0,-1"  # z(t) = -1 + 12t - 12t^2, x = 3t
failures = []


def run(args, stdin=""):
    """Runs the tool; a string is a shell command line in which "crv" names the tool."""
    cmd = ["bash", "-c", args.replace("crv ", CRV + " ")] if isinstance(args, str) else [CRV] + args
    p = subprocess.run(cmd, input=stdin, capture_output=True, text=True, timeout=60,
                       errors="replace")
    return p.returncode, p.stdout, p.stderr


def snapshot():
    """Every file below WORK with its size, mode and modification time."""
    return {os.path.join(d, f): os.lstat(os.path.join(d, f))[6:9] + (os.lstat(os.path.join(d, f)).st_mode,)
            for d, _, files in os.walk(WORK) for f in files}


def check(ok, what):
    if not ok:
        failures.append(what)
        print("FAIL:", what)


def near(a, b, eps=1e-9):
    return abs(a - b) <= eps * max(1.0, abs(b))


def good(args, stdin=""):
    rc, out, err = run(args + ["--json"], stdin)
    check(rc == 0, f"{args}: exit {rc}, stderr {err!r}")
    try:
        return json.loads(out)
    except ValueError:
        check(False, f"{args}: output is not JSON: {out[:200]!r}")
        return {}


def bad(args, fragment, stdin="", status=2):
    """Bad input or output that cannot be written: the expected exit status, one short line on
    stderr naming the subcommand and the problem, and no file changed (no picture, not even a
    temporary one)."""
    if isinstance(args, list) and "--svg" not in args and args[:1] != ["demo"]:
        args = args + ["--svg", "refused.svg"]
    before = snapshot()
    rc, out, err = run(args, stdin)
    lines = err.strip().splitlines()
    check(rc == status, f"{args}: exit {rc}, expected {status} (stderr {err[:300]!r})")
    check(len(lines) == 1 and len(err) < 300, f"{args}: not one short line on stderr: {err[:300]!r}")
    check(lines and re.match(r"crv( [a-z-]+)?: ", lines[0]), f"{args}: message without the tool's name: {err!r}")
    check(fragment in err, f"{args}: {fragment!r} not in {err[:300]!r}")
    check(snapshot() == before, f"{args}: files changed: {sorted(set(snapshot()) ^ set(before))}")


def svg_ok(path):
    doc = xml.dom.minidom.parse(path)
    check(doc.documentElement.tagName == "svg", f"{path}: root is not <svg>")
    folder, name = os.path.split(path)
    check(not [f for f in os.listdir(folder) if f.startswith("." + name)],
          f"{path}: temporary file left behind")
    for p in doc.getElementsByTagName("polyline"):
        coords = [float(v) for pair in p.getAttribute("points").split() for v in pair.split(",")]
        check(all(map(math.isfinite, coords)), f"{path}: non-finite polyline point")


# Bad input, one class per block. Each case: arguments, a fragment the message must contain, and
# what goes to standard input.
BAD = [
    # The curve itself.
    (["eval", "--curve", "0,0 1,1 2,2"], "4 points", ""),
    (["eval", "--curve", "0,0 1,1 2,2 3,3 4,4"], "4 points", ""),
    (["eval", "--curve", "  "], "4 points", ""),
    (["bounds", "--curve", "0,0 1,1,1 2,2 3,3"], "P1 has 3 coordinates", ""),
    (["split", "--curve", "0,0 a,1 2,2 3,3"], "not a number", ""),
    (["split", "--curve", "0,0 1,,1 2,2 3,3"], "not a number", ""),
    (["drag", "--curve", "0,0 nan,1 2,2 3,3"], "not a finite number", ""),
    (["eval", "--curve", "0,0 1e999,1 2,2 3,3"], "not a finite number", ""),
    (["eval", "--curve", " ".join([",".join(["1"] * 17)] * 4)], "at most 16", ""),
    # Numbers and counts.
    (["eval", "--t", "0.5,x"], "--t", ""),
    (["eval", "--t", "nan"], "not a finite number", ""),
    (["eval", "--t", "0.5", "--n", "3"], "not both", ""),
    (["eval", "--n", "0"], "out of range", ""),
    (["eval", "--n", "100001"], "out of range", ""),
    (["eval", "--n", "2.5"], "not a whole number", ""),
    (["ease", "--n", "40000"], "out of range", ""),
    (["length", "--samples", "1"], "out of range", ""),
    (["flatten", "--max-depth", "21"], "out of range", ""),
    (["fit", "--iterations", "-1"], "out of range", ""),
    (["fit", "--one", "--tangents", "0"], "out of range", ""),
    (["split", "--t", "1.5"], "outside [0, 1]", ""),
    (["drag", "--by", "1,2,3"], "--by", ""),
    (["by-distance", "--distance", "0"], "positive", ""),
    (["by-distance", "--distance", "nan"], "not a finite number", ""),
    (["length", "--bound", "-1", "--method", "spline"], "positive", ""),
    (["length", "--method", "chord"], "neither table nor spline", ""),
    (["length", "--method", "spline", "--t", "0.5"], "table only", ""),
    (["project", "--tolerance", "-1"], "negative", ""),
    (["project", "--matrix", "1,0,0,0"], "16", ""),
    (["plane", "--plane", "0,0,0,1"], "no plane", ""),
    (["plane", "--plane", "1,2,3"], "4", ""),
    (["ease", "--css", "1.5,0,0.5,1"], "[0, 1]", ""),
    (["ease", "--css", "0.2,0,0.5,1", "--curve", ARCH], "not both", ""),
    (["ease", "--average", "0"], "2", ""),
    (["flatten", "--from", "50", "--to", "10"], "after --to", ""),
    # Dimension counts a subcommand cannot use.
    (["nearest", "--curve", "0,0,0 1,1,1 2,2,2 3,3,3"], "2 coordinates", ""),
    (["plane", "--curve", ARCH], "3 coordinates", ""),
    (["project", "--curve", ARCH], "3 coordinates", ""),
    (["length", "--curve", "0,0,0,0 1,1,1,1 2,2,2,2 3,3,3,3"], "2 to 3", ""),
    (["ease", "--curve", "0 1 2 3"], "function curve", ""),
    (["eval", "--curve", "0 1 2 3"], "--svg", ""),
    (["nearest", "--point", "1,2,3"], "--point", ""),
    # A transform the host refuses: the eye sits inside the curve's z range.
    (["project", "--perspective", "400,-10"], "host code", ""),
    # Files and samples.
    (["fit", "missing.csv"], "cannot open", ""),
    (["fit", "-"], "no samples", ""),
    (["fit", "-"], "no samples", "x,y\n# nothing else\n\n"),
    (["fit", "-"], "at least 2 samples", "1,2\n"),
    (["fit", "-"], "line 3", "x,y\n0,0\n1,1,1\n"),
    (["fit", "-"], "line 2", "0,0\n1,oops\n"),
    (["fit", "-"], "2 or 3 coordinates", "0,0,0,0\n1,1,1,1\n"),
    (["fit", "--bound", "0"], "positive", ""),
    (["fit", "-"], "no samples", "\0\0\0\n"),
    # Endless or huge input ends with a message, which never echoes more than a bit of a token.
    (["fit", "/dev/zero"], "longer than 1000 characters", ""),
    (["fit", "-"], "more than 100000 samples", "0,0\n" * 100001),
    (["fit", "-"], "not a number", "0,0\n" + "1" * 900 + "x,0\n"),
    (["eval", "--" + "x" * 100000], "not expected", ""),
    (["bogus"], "unknown subcommand 'bogus'; the subcommands are eval, bounds", ""),
    # Numbers outside the range where the answers hold.
    (["length", "--curve", "0,0 1e160,0 2e160,0 3e160,1"], "[-1e100, 1e100]", ""),
    (["fit", "-"], "[-1e100, 1e100]", "0,0\n1e308,1\n2,2\n"),
    (["bounds", "--curve", "0,0 0,1e-9 1e-9,1e-9 1e-9,0"], "at least 1e-4", ""),
    (["eval", "--t", "1e7"], "[-1e6, 1e6]", ""),
    (["project", "--matrix", "1e99,0,0,0,0,1e99,0,0,0,0,1,0,0,0,0,1"], "on the screen", ""),
    # Empty values, and options that the rest of the command line would ignore.
    *[([sub, opt, ""], "an empty value", "") for sub, opt in (
        ("eval", "--t"), ("ease", "--x"), ("ease", "--css"), ("drag", "--by"),
        ("project", "--matrix"), ("flatten", "--from"), ("nearest", "--point"), ("fit", "--bound"),
        ("plane", "--plane"), ("eval", "--svg"), ("demo", "--out"))],
    (["fit", ""], "an empty value", ""),
    (["length", "--bound", "0.1"], "spline only", ""),
    (["length", "--method", "spline", "--samples", "64"], "table only", ""),
    (["fit", "--tangents", "5"], "--one only", ""),
    (["bounds", "--json", "--svg", "-"], "in place of the report", ""),
    # --svg targets that are no regular file are refused; a write that fails is status 3.
    (["bounds", "--svg", "fifo"], "'fifo' exists and is not a regular file", ""),
    (["bounds", "--svg", "."], "not a regular file", ""),
    (["bounds", "--svg", "no-such-dir/x.svg"], "cannot write 'no-such-dir/x.svg': No such file", "", 3),
    # Standard output that cannot take the report.
    ("crv eval --n 1000 --json >/dev/full", "No space left on device", "", 3),
    ("crv eval >&-", "cannot write standard output", "", 3),
    ("crv bounds --svg - >/dev/full", "No space left on device", "", 3),
]


def bad_cases(k, m):
    os.mkfifo("fifo")
    for case in BAD[k::m]:
        bad(*case)


def bad_command_line():
    # A gallery directory that cannot be made: refused before anything is printed.
    blocker = os.path.join(WORK, "a-file")
    open(blocker, "w").close()
    rc, out, err = run(["demo", "--out", blocker])
    check(rc == 2 and not out and err.startswith("crv demo: cannot create"),
          f"demo --out FILE: exit {rc}, {out[:80]!r} {err!r}")
    rc, _, err = run([])
    check(rc == 2 and len(err.strip().splitlines()) == 1, f"no subcommand: exit {rc}, {err!r}")
    rc, _, err = run(["eval", "--frobnicate"])
    check(rc == 2 and err.startswith("crv eval: "), f"unknown option: exit {rc}, {err!r}")


def svg_targets():
    """--svg writes through a link, keeps a read-only file's mode (and, as root, its owner),
    writes to standard output for '-' and leaves no other file behind."""
    with open("real.svg", "w") as f:
        f.write("old")
    os.chmod("real.svg", 0o444)
    os.symlink("real.svg", "link.svg")
    root = os.geteuid() == 0
    if root:
        os.chown("real.svg", 12345, 12345)
    rc, _, err = run(["bounds", "--svg", "link.svg"])
    st = os.stat("real.svg")
    with open("real.svg") as f:
        check(rc == 0 and f.read().startswith("<?xml"), f"--svg through a link: {rc} {err!r}")
    check(os.path.islink("link.svg"), "--svg replaced the link by a file")
    check(stat.S_IMODE(st.st_mode) == 0o444, f"--svg changed the mode to {st.st_mode:o}")
    check(not root or (st.st_uid, st.st_gid) == (12345, 12345), "--svg changed the owner")
    check(sorted(os.listdir(WORK)) == ["link.svg", "real.svg"], f"left: {os.listdir(WORK)}")
    rc, out, _ = run(["bounds", "--svg", "-"])
    check(rc == 0 and out.startswith("<?xml") and out.rstrip().endswith("</svg>"),
          f"--svg -: {rc} {out[:80]!r}")


def limits():
    """Results beyond what the library computes are said, not printed as numbers."""
    # A vertical tangent: the slope is undefined, in words, as null and by the exit status.
    rc, out, _ = run(["ease", "--curve", "0,0 0,1 1,0 1,1", "--x", "0,0.5", "--json"])
    r = json.loads(out) if rc == 1 else {}
    check(rc == 1 and r["samples"][0]["slope"] is None and "/samples/0/slope" in r["undefined"]
          and r["samples"][1]["slope"] == 0, f"undefined slope: exit {rc} {out[-300:]!r}")
    rc, out, _ = run(["ease", "--curve", "0,0 0,1 1,0 1,1", "--x", "0"])
    check(rc == 1 and "dy/dx undefined" in out and "nan" not in out, f"undefined in text: {out!r}")
    # A distance below what 2^20 halvings reach: the cap is reported and the picture thinned.
    rc, out, err = run(["by-distance", "--distance", "1e-300", "--svg", "cap.svg"])
    check(rc == 0 and "halving cap" in out and "cap was reached" in err, f"by-distance cap: {err!r}")
    check(os.path.getsize("cap.svg") < 1_000_000, f"cap.svg has {os.path.getsize('cap.svg')} bytes")
    rc, out, _ = run(["fit", "-", "--one"], stdin="0,0\n1,1\n")
    check(rc == 0 and "1 curve\n" in out, f"fit --one grammar: {out!r}")


def core_eval():
    r = good(["eval", "--curve", ARCH, "--t", "0.5"])
    s = r["samples"][0]
    # B(0.5) = (0.5, 0.75); B'(t) = (6t - 6t^2, 3 - 6t) = (1.5, 0); B''(t) = (6 - 12t, -6).
    check(s["point"] == [0.5, 0.75] and s["d1"] == [1.5, 0] and s["d2"] == [0, -6], f"eval {s}")
    # Even samples through forward differencing agree with single evaluations, in any dimension.
    for curve in ("0 1 3 2", "0,1,2,3,4 1,1,1,1,1 2,0,2,0,2 3,3,3,3,3"):
        even = good(["eval", "--curve", curve, "--n", "9"])["samples"]
        single = good(["eval", "--curve", curve, "--t", ",".join(str(i / 8) for i in range(9))])
        for a, b in zip(even, single["samples"]):
            check(all(near(x, y) for x, y in zip(a["point"] + a["d1"], b["point"] + b["d1"])),
                  f"eval --n against --t on {curve}: {a} {b}")


def core_bounds_split():
    r = good(["bounds", "--curve", ARCH])
    check(r["min"] == [0, 0] and near(r["max"][1], 0.75) and r["max"][0] == 1, f"bounds {r}")
    # Plain text is the default.
    rc, out, _ = run(["bounds", "--curve", ARCH])
    check(rc == 0 and "min (0, 0)" in out and "max (1, 0.75)" in out, f"bounds text {out!r}")
    r = good(["split", "--curve", ARCH, "--t", "0.25"])
    p = good(["eval", "--curve", ARCH, "--t", "0.25"])["samples"][0]["point"]
    check(r["left"][3] == r["right"][0] and all(near(a, b) for a, b in zip(r["left"][3], p)),
          f"split join {r['left'][3]} against B(0.25) {p}")
    check(r["left"][0] == [0, 0] and r["right"][3] == [1, 0], "split keeps the end points")


def core_drag():
    r = good(["drag", "--curve", ARCH, "--t", "0.3", "--by", "0.2,-0.1"])
    moved = [a + d for a, d in zip(r["point_before"], [0.2, -0.1])]
    check(all(near(a, b) for a, b in zip(r["point_after"], moved)), f"drag moves B(t): {r}")
    check(r["after"][0] == r["before"][0] and r["after"][3] == r["before"][3], "drag keeps ends")
    r = good(["drag", "--curve", ARCH, "--t", "0", "--by", "1,1"])
    check(r["end_point"] and r["after"] == r["before"], f"drag at t = 0 changes nothing: {r}")


def pictures(cases):
    for i, args in enumerate(cases):
        svg = os.path.join(WORK, f"picture{i}.svg")
        rc, out, err = run(args + ["--svg", svg])
        check(rc == 0 and out, f"{args} --svg: exit {rc} {err!r}")
        svg_ok(svg)


def core_pictures():
    # Including a 3-D curve, drawn in x and y.
    pictures((["eval"], ["bounds", "--curve", "0,0,0 1,2,0 2,-1,1 3,0,0"], ["split", "--t", "0.7"],
              ["drag"]))


def cap_ease():
    # The symmetric ease-in-out passes (0.5, 0.5) and averages to 0.5 over [0, 1].
    r = good(["ease", "--css", "0.42,0,0.58,1", "--x", "0.5", "--average", "0,1"])
    check(near(r["samples"][0]["y"], 0.5) and near(r["samples"][0]["t"], 0.5), f"ease {r}")
    check(near(r["average"]["y"], 0.5), f"ease average {r['average']}")
    r = good(["ease", "--curve", "0,0 1,1 2,2 3,3", "--n", "4"])  # y = x
    check(all(near(s["y"], s["x"]) and near(s["slope"], 1) for s in r["samples"]),
          f"ease on y = x {r}")


def cap_length():
    # A straight line run evenly has its chord as length; the middle is at t = 0.5.
    for method in ("table", "spline"):
        r = good(["length", "--curve", "0,0 1,0 2,0 3,0", "--method", method, "--s", "1.5"])
        check(near(r["length"], 3, 1e-12), f"length ({method}) {r['length']}")
        check(near(r["t_at_s"][0]["t"], 0.5, 1e-6), f"t at s ({method}) {r['t_at_s']}")
    r = good(["length", "--curve", ARCH, "--t", "0,1", "--samples", "64"])
    check(r["s_at_t"][0]["s"] == 0 and near(r["s_at_t"][1]["s"], r["length"]), f"s at t {r}")
    # by-distance: from P0 to P3 in steps below the distance.
    r = good(["by-distance", "--curve", ARCH, "--distance", "0.1"])
    pts = r["points"]
    check(pts[0] == [0, 0] and near(pts[-1][0], 1) and abs(pts[-1][1]) < 1e-12, "by-distance ends")
    check(all(math.dist(a, b) < 0.1 for a, b in zip(pts, pts[1:])), "by-distance steps")


def write_spiral():
    csv = os.path.join(WORK, "samples.csv")
    with open(csv, "w") as f:
        f.write("# a spiral\n" + "".join(
            f"{math.cos(a):.17g},{math.sin(a):.17g},{a / 10:.17g}\n"
            for a in [i * 0.2 for i in range(60)]))
    return csv


def cap_fit():
    # Samples of one cubic (x = 3t, y = 3t(1 - t)) are matched closely by one curve, though not
    # exactly: the end tangents are estimated from the samples and the parameters by chord
    # length. The index list spans the samples.
    cubic = "".join(f"{3*t:.17g},{3*t*(1-t):.17g}\n" for t in [i / 20 for i in range(21)])
    r = good(["fit", "-", "--one", "--bound", "1e-3"], stdin="x,y\n" + cubic)
    check(r["max_error"] is not None and r["max_error"] < 1e-3, f"fit --one error {r}")
    check(r["curves"][0][0] == [0, 0] and r["curves"][0][3] == [3, 0], "fit keeps the ends")
    r = good(["fit", write_spiral(), "--bound", "1e-4"])
    check(r["dims"] == 3 and r["indices"][0] == 0 and r["indices"][-1] == 59, f"fit chain {r}")
    check(len(r["curves"]) == len(r["indices"]) - 1, "one curve per index gap")


def cap_geometry():
    # flatten: the clipped polyline starts and ends at the clip times, rising in x.
    r = good(["flatten", "--from", "10", "--to", "90"])
    xs = [p[0] for p in r["points"]]
    check(near(xs[0], 10) and near(xs[-1], 90) and xs == sorted(xs), f"flatten clip {xs[:3]}")
    # project: an affine transform gives exactly one screen cubic, the x-y of the curve.
    ident = "1,0,0,0,0,1,0,0,0,0,1,0,0,0,0,1"
    r = good(["project", "--curve", HOP, "--matrix", ident])
    check(r["screen_curves"] == [[[0, 0], [1, 0], [2, 0], [3, 0]]], f"affine projection {r}")
    sc = good(["project"])["screen_curves"]
    check(len(sc) > 1 and all(a[3] == b[0] for a, b in zip(sc, sc[1:])), "perspective pieces join")
    # nearest: the apex of the symmetric arch is nearest to a point above it.
    r = good(["nearest", "--curve", ARCH, "--point", "0.5,2 -1,0"])
    check(near(r["queries"][0]["t"], 0.5, 1e-9) and r["queries"][1]["t"] == 0, f"nearest {r}")
    # plane: z = 0 is crossed where 12t^2 - 12t + 1 = 0, t = (3 -+ sqrt 6) / 6.
    r = good(["plane", "--curve", HOP, "--plane", "0,0,1,0"])
    ts = [c["t"] for c in r["crossings"]]
    check(len(ts) == 2 and near(ts[0], (3 - math.sqrt(6)) / 6)
          and near(ts[1], (3 + math.sqrt(6)) / 6), f"plane {ts}")


def cap_pictures_a():
    pictures((["ease", "--css", "0.1,0.7,0.2,1"], ["length", "--method", "spline"],
              ["by-distance"], ["fit", write_spiral()]))


def cap_pictures_b():
    pictures((["flatten"], ["project"], ["nearest"], ["plane"]))


SUBCOMMANDS = ["eval", "bounds", "split", "drag", "ease", "length", "by-distance", "fit",
               "flatten", "project", "nearest", "plane", "demo"]


def help_top():
    rc, out, _ = run(["--help"])
    check(rc == 0 and "Example" in out, "crv --help")
    for sub in SUBCOMMANDS:
        check(sub in out, f"crv --help does not list {sub}")


def help_subcommands(k, m):
    """Each subcommand's help says what it does with an example, and the example runs as
    printed (the demo's aside)."""
    for sub in SUBCOMMANDS[k::m]:
        rc, text, _ = run([sub, "--help"])
        check(rc == 0 and "Example:" in text and f"crv {sub}" in text, f"crv {sub} --help: {text!r}")
        if sub == "demo" or "Example:" not in text:
            continue
        line = text.split("Example:")[1].strip().splitlines()[0]
        rc = subprocess.run(["bash", "-c", line.replace("crv ", CRV + " ")],
                            capture_output=True, timeout=60, cwd=WORK).returncode
        check(rc == 0, f"example of {sub} fails: {line}")


# Each group runs a few invocations of the tool, so that every one stays short under the
# sanitizers, where starting the tool alone takes a large part of a second.
GROUPS = {
    "bad_input": lambda k, m: bad_cases(k, m),
    "bad_command_line": lambda k, m: [bad_command_line, svg_targets, limits][k](),
    "core": lambda k, m: [core_eval, core_bounds_split, core_drag, core_pictures][k](),
    "capabilities": lambda k, m: [cap_ease, cap_length, cap_fit, cap_geometry, cap_pictures_a,
                                  cap_pictures_b][k](),
    "help": lambda k, m: help_top() if k == m - 1 else help_subcommands(k, m - 1),
}


if __name__ == "__main__":
    # GROUP may carry a shard: "core:2/4" runs the third of four parts.
    name, _, shard = GROUP.partition(":")
    k, m = (int(v) for v in shard.split("/")) if shard else (0, 1)
    shutil.rmtree(WORK, ignore_errors=True)
    os.makedirs(WORK)
    os.chdir(WORK)
    GROUPS[name](k, m)
    os.chdir("/")
    shutil.rmtree(WORK, ignore_errors=True)
    print(f"{GROUP}: {len(failures)} failure(s)")
    sys.exit(1 if failures else 0)
