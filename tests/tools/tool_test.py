#!/usr/bin/env python3
"""Runs the crv tool as a user would. tool_test.py CRV GROUP:K/M WORKDIR runs cases K, K + M, ...
of GROUP: errors (bad input, unwritable output, --svg targets), commands (each subcommand once on
a curve whose answers are worked by hand) or help."""
import json, math, os, re, shutil, stat, subprocess, sys

CRV, GROUP, WORK = sys.argv[1], sys.argv[2], sys.argv[3]
ARCH = "0,0 0,1 1,1 1,0"  # B(t) = (3t^2 - 2t^3, 3t - 3t^2)
HOP = "0,0,-1 1,0,3 2,0,3 3,0,-1"  # x = 3t, z = -1 + 12t - 12t^2
failures = []


def run(args, stdin=""):
    """A list runs the tool with those arguments; a string is a shell line where "crv" is it."""
    cmd = ["bash", "-c", args.replace("crv ", CRV + " ")] if isinstance(args, str) else [CRV] + args
    p = subprocess.run(cmd, input=stdin, capture_output=True, text=True, timeout=60, errors="replace")
    return p.returncode, p.stdout, p.stderr


def check(ok, what):
    if not ok:
        failures.append(what)
        print("FAIL:", what)


near = lambda a, b, eps=1e-9: abs(a - b) <= eps * max(1.0, abs(b))


def bad(args, fragment, stdin="", status=2, svg=True):
    """The exit status, one short printable line on stderr naming the tool and the problem, no
    file changed (no picture, not even a temporary one)."""
    if svg and isinstance(args, list) and args and "--svg" not in args:
        args = args + ["--svg", "refused.svg"]
    files = lambda: {f: os.lstat(f)[6:9] for f in os.listdir(".")}
    before = files()
    rc, _, err = run(args, stdin)
    check(rc == status and len(err.strip().splitlines()) == 1 and re.match(r"crv( [a-z-]+)?: ", err) and fragment in err
          and err.isascii() and err.strip().isprintable(),
          f"{args}: exit {rc}, expected {status} and {fragment!r}; stderr {err[:300]!r}")
    check(files() == before, f"{args}: files changed: {sorted(set(files()) ^ set(before))}")


def good(args, stdin=""):
    rc, out, err = run(args + ["--json"], stdin)
    check(rc == 0, f"{args}: exit {rc}, stderr {err!r}")
    return json.loads(out)  # a report that does not parse fails the test


def svg_replaced_atomically():
    """Through a link to a read-only file: the link stays, the mode too, no temporary is left."""
    os.mkdir("svg")
    os.chdir("svg")
    open("real.svg", "w").close()
    os.chmod("real.svg", 0o444)
    os.symlink("real.svg", "link.svg")
    rc, _, err = run(["bounds", "--svg", "link.svg"])
    with open("real.svg") as f:
        check(rc == 0 and f.read().startswith("<?xml"), f"--svg through a link: {rc} {err!r}")
    check(os.path.islink("link.svg") and stat.S_IMODE(os.stat("real.svg").st_mode) == 0o444,
          "--svg replaced the link or changed the mode")
    check(sorted(os.listdir(".")) == ["link.svg", "real.svg"], f"left: {os.listdir('.')}")
    rc, out, _ = run(["bounds", "--svg", "-"])
    check(rc == 0 and out.startswith("<?xml") and out.rstrip().endswith("</svg>"), f"--svg -: {out[:80]!r}")


ERRORS = [
    lambda: bad([], "crv"),
    lambda: bad(["bogus"], "unknown subcommand 'bogus'; the subcommands are eval, bounds"),
    lambda: bad(["eval", "--frobnicate"], "crv eval: "),
    lambda: bad(["eval", "--t", ""], "an empty value"),
    lambda: bad(["eval", "--curve", "0,0 1,1 2,2"], "4 points"),
    lambda: bad(["split", "--curve", "0,0 a,1 2,2 3,3"], "not a number"),
    lambda: bad(["eval", "--n", "100001"], "is outside [1, 100000]"),
    lambda: bad(["plane", "--curve", ARCH], "3 coordinates"),
    lambda: bad(["fit", "-"], "line 3", "x,y\n0,0\n1,1,1\n"),
    lambda: bad(["project", "--perspective", "400,-10"], "host code"),
    # Input limits: endless lines, too many samples, numbers beyond where the answers hold.
    lambda: bad(["fit", "/dev/zero"], "longer than 1000 characters"),
    lambda: bad(["fit", "-"], "more than 100000 samples", "0,0\n" * 100001),
    lambda: bad(["length", "--curve", "0,0 1e160,0 2e160,0 3e160,1"], "[-1e100, 1e100]"),
    # Output that cannot be written is status 3; --svg refuses targets that are no regular file.
    lambda: bad("crv eval --n 1000 --json >/dev/full", "No space left on device", status=3),
    lambda: bad("crv eval >&-", "cannot write standard output", status=3),
    lambda: bad(["bounds", "--svg", "no-dir/x.svg"], "cannot write 'no-dir/x.svg'", status=3),
    lambda: os.mkfifo("fifo") or bad(["bounds", "--svg", "fifo"], "'fifo' exists and is not a regular file", status=3),
    svg_replaced_atomically,
]

# (arguments, exit status, message fragment): each status means one thing in every subcommand,
# 1 a check that failed, 2 bad usage or input, 3 an output not written; numbers out of range
# are refused with the range.
STATUSES = [
    (["selftest", "--reference", "/dev/zero"], 2, "'/dev/zero' is not a reference file"),
    (["selftest", "--reference", "/dev/null"], 2, "not a reference file"),
    (["selftest", "--reference", "."], 2, "not a reference file but a directory"),
    (["selftest", "--reference", os.path.abspath(sys.argv[0])], 2, "its first line is not"),
    (["selftest", "--full"], 2, "--full: applies to --print only"),
    (["fit", "/dev/urandom"], 2, "'/dev/urandom' line "),
    (["fit", "."], 2, "'.' is a directory"),
    (["fit", "--one", "--tangents", "999"], 2, "'999' is outside [1, 40]"),
    (["fit", "--bound", "0"], 2, "outside (0, 1e100]"),
    (["ease", "--curve", "0,0 2,1 -1,0 1,1"], 2, "runs backwards"),
    (["ease", "--average", "2,3"], 2, "'2' is outside [0, 1]"),
    (["length", "--t", "1.5"], 2, "'1.5' is outside [0, 1]"),
    (["flatten", "--angle-tol", "3"], 2, "'3' is outside [0, 1]"),
    (["project", "--tolerance", "-1"], 2, "outside [0, 1e100]"),
    (["eval", "--t", "2e6"], 2, "outside [-1e6, 1e6]"),
    (["bounds", "--svg", "."], 3, "'.' exists and is not a regular file"),
    (["demo", "--out", "/dev/null/gallery"], 3, "--out: cannot create"),
    (["project", "--tolerance", "0"], 1, "not within 0: the halving stopped at its cap of 11 levels, within "),
]
ERRORS += [lambda c=c: bad(c[0], c[2], status=c[1], svg=False) for c in STATUSES]


def cmd_eval_bounds_split():
    s = good(["eval", "--curve", ARCH, "--t", "0.5"])["samples"][0]  # B' = (1.5, 0), B'' = (0, -6)
    check(s["point"] == [0.5, 0.75] and s["d1"] == [1.5, 0] and s["d2"] == [0, -6], f"eval {s}")
    r = good(["bounds", "--curve", ARCH])
    check(r["min"] == [0, 0] and r["max"][0] == 1 and near(r["max"][1], 0.75), f"bounds {r}")
    r = good(["split", "--curve", ARCH, "--t", "0.5"])
    check(r["left"][3] == r["right"][0] and all(map(near, r["left"][3], [0.5, 0.75])), f"split {r}")


def cmd_drag_ease_length():
    r = good(["drag", "--curve", ARCH, "--t", "0.3", "--by", "0.2,-0.1"])
    check(all(near(a, b + d) for a, b, d in zip(r["point_after"], r["point_before"], [0.2, -0.1]))
          and r["after"][0] == r["before"][0], f"drag moves B(t) by the delta: {r}")
    r = good(["ease", "--css", "0.42,0,0.58,1", "--x", "0.5", "--average", "0,1"])
    check(near(r["samples"][0]["y"], 0.5) and near(r["average"]["y"], 0.5), f"symmetric ease {r}")
    r = good(["length", "--curve", "0,0 1,0 2,0 3,0", "--method", "spline", "--s", "1.5"])
    check(near(r["length"], 3, 1e-12) and near(r["t_at_s"][0]["t"], 0.5, 1e-6), f"length {r}")
    pts = good(["by-distance", "--curve", ARCH, "--distance", "0.1"])["points"]
    check(pts[0] == [0, 0] and near(pts[-1][0], 1) and all(math.dist(a, b) < 0.1 for a, b in zip(pts, pts[1:])),
          "by-distance: from P0 to P3 in steps below the distance")


def cmd_fit_flatten():
    cubic = "".join(f"{3*t:.17g},{3*t*(1-t):.17g}\n" for t in [i / 20 for i in range(21)])
    r = good(["fit", "-", "--one", "--bound", "1e-3"], stdin="x,y\n" + cubic)
    check(r["max_error"] < 1e-3 and r["curves"][0][0] == [0, 0] and r["curves"][0][3] == [3, 0], f"fit {r}")
    xs = [p[0] for p in good(["flatten", "--from", "10", "--to", "90"])["points"]]
    check(near(xs[0], 10) and near(xs[-1], 90) and xs == sorted(xs), f"flatten clip {xs[:3]}")


def cmd_geometry():
    r = good(["project", "--curve", HOP, "--matrix", "1,0,0,0,0,1,0,0,0,0,1,0,0,0,0,1"])
    check(r["screen_curves"] == [[[0, 0], [1, 0], [2, 0], [3, 0]]], f"affine projection {r}")
    r = good(["nearest", "--curve", ARCH, "--point", "0.5,2 -1,0"])
    check(near(r["queries"][0]["t"], 0.5) and r["queries"][1]["t"] == 0, f"nearest {r}")
    ts = [c["t"] for c in good(["plane", "--curve", HOP, "--plane", "0,0,1,0"])["crossings"]]
    check(len(ts) == 2 and near(ts[0], (3 - math.sqrt(6)) / 6) and near(ts[1], (3 + math.sqrt(6)) / 6), f"plane {ts}")


# (command, exit status, fragment of its output). The loop at sides 1e3 and 1e7, whose least
# distance to (0, 0) is 0.1197938995 of the side: the library finds it at 1e3 and misses it at
# 1e7 (7167820.5), where the tool searches in the unit box and says so.
SIZES = [
    ('crv nearest --curve "-1e3,-1e3 3e3,2e3 -1e3,2e3 2e3,-1e3" --point 0,0', 0, "distance 119.7938995"),
    ('crv nearest --curve "-1e7,-1e7 3e7,2e7 -1e7,2e7 2e7,-1e7" --point 0,0', 0, "searched in its unit box"),
    ('crv nearest --curve "-1e7,-1e7 3e7,2e7 -1e7,2e7 2e7,-1e7" --point 0,0', 0, "t 0.1147718906  nearest (837982.4266, -856062.6655)  distance 1197938.995"),
    ("crv nearest --curve '-1e7,-1e7 3e7,2e7 -1e7,2e7 2e7,-1e7' --point 0,0 --json", 0, '"scaled_to_unit_box": true'),
    ("crv accuracy --help", 0, "--out DIR=crv-accuracy"),
]


def cmd_sizes():
    for args, status, fragment in SIZES:
        rc, out, err = run(args)
        check(rc == status and fragment in out, f"{args}: exit {rc}, expected {status} and {fragment!r}: {out + err!r}")


def cmd_selftest():
    """Run where the build made it, selftest finds the source tree's reference."""
    rc, out, err = run(["selftest"])
    check(rc == 0 and out.startswith("54/54 exports reproduce"), f"selftest: {rc} {out[:80]!r} {err!r}")


COMMANDS = [cmd_eval_bounds_split, cmd_drag_ease_length, cmd_fit_flatten, cmd_geometry, cmd_sizes,
            cmd_selftest]
SUBCOMMANDS = ["eval", "bounds", "split", "drag", "ease", "length", "by-distance", "fit",
               "flatten", "project", "nearest", "plane", "demo"]


def help_of(sub):
    """crv --help names every subcommand and the exit statuses; each one's help has an example,
    which runs as printed."""
    rc, text, _ = run([sub, "--help"] if sub else ["--help"])
    if not sub:
        statuses = ["0 success", "1 done, but a check failed", "2 bad usage", "3 an output could not"]
        return check(rc == 0 and "Example" in text and all(s in " ".join(text.split()) for s in SUBCOMMANDS + statuses),
                     "crv --help")
    check(rc == 0 and "Example:" in text and f"crv {sub}" in text, f"crv {sub} --help: {text!r}")
    if sub != "demo" and "Example:" in text:
        line = text.split("Example:")[1].strip().splitlines()[0]
        check(run(line)[0] == 0, f"example of {sub} fails: {line}")


HELP = [lambda s=s: help_of(s) for s in [None] + SUBCOMMANDS]
GROUPS = {"errors": ERRORS, "commands": COMMANDS, "help": HELP}

if __name__ == "__main__":
    name, _, shard = GROUP.partition(":")
    k, m = (int(v) for v in shard.split("/")) if shard else (0, 1)
    shutil.rmtree(WORK, ignore_errors=True)
    os.makedirs(WORK)
    os.chdir(WORK)
    for case in GROUPS[name][k::m]:
        case()
    os.chdir("/")
    shutil.rmtree(WORK, ignore_errors=True)
    print(f"{GROUP}: {len(failures)} failure(s)")
    sys.exit(1 if failures else 0)
