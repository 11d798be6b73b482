"""Times crv.evaluate and crv.y_from_x on 10^6 parameters against the same loop in C++
(crv_loop_baseline, built beside the module) and evaluate against hand-written NumPy Bernstein
evaluation. Prints a Markdown table. Not a test: the numbers depend on the machine and its load.

    PYTHONPATH=build/python/python /usr/bin/python3 bench/python/bench_python.py
"""
import os
import pathlib
import subprocess
import sys
import time

import numpy as np

import crv

N = 1_000_000
RUNS = 9
EASE = np.array([[0.0, 0.0], [0.42, 0.0], [0.58, 1.0], [1.0, 1.0]])


def best_ns(f):
    best = float("inf")
    for _ in range(RUNS):
        start = time.perf_counter()
        f()
        best = min(best, time.perf_counter() - start)
    return best / N * 1e9


def numpy_bernstein(curve, t):
    """The best plain-NumPy form found: Horner in the power basis, broadcast over t."""
    p0, p1, p2, p3 = curve
    a = p3 - p0 + 3 * (p1 - p2)
    b = 3 * (p0 - 2 * p1 + p2)
    c = 3 * (p1 - p0)
    t = t[:, None]
    return ((a * t + b) * t + c) * t + p0


def numpy_bernstein_weights(curve, t):
    """The textbook form: the four Bernstein weights times the control points."""
    s = 1 - t
    w = np.stack([s * s * s, 3 * s * s * t, 3 * s * t * t, t * t * t], axis=-1)
    return w @ curve


def main():
    baseline = pathlib.Path(os.environ.get("CRV_LOOP_BASELINE", pathlib.Path(
        crv.__file__).resolve().parent / "crv_loop_baseline"))
    t = (np.arange(N) + 0.5) / N  # the C++ program's parameters
    out = subprocess.run([str(baseline), str(N), str(RUNS)], check=True, capture_output=True,
                         text=True).stdout
    cpp = {name: float(v) for name, v in (line.split() for line in out.splitlines())}
    rows = [("crv.evaluate", best_ns(lambda: crv.evaluate(EASE, t)), cpp["evaluate"]),
            ("crv.y_from_x", best_ns(lambda: crv.y_from_x(EASE, t)), cpp["y_from_x"])]
    horner = best_ns(lambda: numpy_bernstein(EASE, t))
    weights = best_ns(lambda: numpy_bernstein_weights(EASE, t))
    print(f"{N} parameters, one curve, best of {RUNS}; ns per element\n")
    print("| operation | Python | C++ loop | ratio |")
    print("|---|---:|---:|---:|")
    for name, py, c in rows:
        print(f"| {name} | {py:.2f} | {c:.2f} | {py / c:.2f}x |")
    print(f"| NumPy Horner, broadcast | {horner:.2f} | | "
          f"crv.evaluate is {horner / rows[0][1]:.1f}x faster |")
    print(f"| NumPy Bernstein weights @ points | {weights:.2f} | | "
          f"crv.evaluate is {weights / rows[0][1]:.1f}x faster |")
    return 0


if __name__ == "__main__":
    sys.exit(main())
