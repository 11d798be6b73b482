"""A tour of the crv Python module, drawn with matplotlib into one PNG:
an easing curve with y(x) lookups, a path reparametrised by arc length, and a fit of a noisy
stroke.

    PYTHONPATH=build/python/python /usr/bin/python3 examples/python_tour.py tour.png
"""
import sys

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402  (the backend is chosen first)
import numpy as np  # noqa: E402

import crv  # noqa: E402


def easing(ax):
    ease = np.array([[0, 0], [0.42, 0], [0.58, 1], [1, 1]])
    curve = crv.evaluate(ease, np.linspace(0, 1, 200))
    x = np.linspace(0, 1, 11)
    ax.plot(*curve.T, label="ease-in-out")
    ax.plot(ease[:, 0], ease[:, 1], "o--", color="grey", lw=0.8, label="control points")
    ax.plot(x, crv.y_from_x(ease, x), "rs", label="y_from_x at even times")
    ax.set(title="Easing: value at time", xlabel="time x", ylabel="value y")
    ax.legend(loc="upper left", fontsize=8)


def arc_length(ax):
    path = np.array([[0, 0], [0.2, 2.0], [3.0, -1.0], [3.0, 1.0]])
    table = crv.ArcTable(path, samples=2048)
    s = np.linspace(0, table.length, 16)
    ax.plot(*crv.evaluate(path, np.linspace(0, 1, 300)).T, color="lightgrey")
    ax.plot(*crv.evaluate(path, np.linspace(0, 1, 16)).T, "o", mfc="none", label="even t")
    ax.plot(*table.point_from_s(s).T, "k.", label="even arc length")
    ax.set(title=f"Arc length: L = {table.length:.3f}", aspect="equal")
    ax.legend(loc="lower right", fontsize=8)


def fitting(ax):
    rng = np.random.default_rng(7)
    u = np.linspace(0, 2 * np.pi, 300)
    stroke = np.column_stack([u, np.sin(u) * (1 + u / 4)]) + rng.normal(0, 0.03, (300, 2))
    chain = crv.fit(stroke, tolerance=0.15)
    ax.plot(*stroke.T, ".", ms=2, color="grey", label="noisy stroke")
    ax.plot(*crv.evaluate(chain[:, None], np.linspace(0, 1, 50)).reshape(-1, 2).T, "b",
            label=f"fit: {len(chain)} cubics")
    ax.plot(*chain[:, 0].T, "b|", ms=10)
    ax.set(title="Fit within 0.15")
    ax.legend(loc="lower left", fontsize=8)


def main(argv):
    if len(argv) != 2:
        print(__doc__.strip().splitlines()[-1].strip(), file=sys.stderr)
        return 2
    fig, axes = plt.subplots(1, 3, figsize=(15, 4.5))
    easing(axes[0])
    arc_length(axes[1])
    fitting(axes[2])
    fig.suptitle(f"crv {crv.__version__} from Python")
    fig.tight_layout()
    fig.savefig(argv[1], dpi=100)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
