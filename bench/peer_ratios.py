#!/usr/bin/env python3
"""The speed table of bench/README.md from one run of the peers harness.

Reads summary.csv and env.json of a results folder (CRV_BEFORE=REV run_all.sh writes them to
/tmp/crv-peers/src/results) and prints, per row, CRV's median beside the figure it is compared
with from the same run, the ratio and the target; with --svg FILE it also draws one bar per row.

    python3 bench/peer_ratios.py /tmp/crv-peers/src/results --svg bench/peer_ratios.svg
"""
import argparse
import csv
import json
import os
import sys

# (row, op, CRV's variant, reference anchor, reference variant, target ratio)
ROWS = [
    ("point, scalar path", "eval", "CRV_EvaluatePoint(scalar)", "kurbo", "CubicBez::eval", 1.0),
    ("point, paired path", "eval", "CRV_EvaluatePoint(pairwise)", "crv",
     "CRV_EvaluatePoint(scalar)", 1.0),
    ("100 even points", "sample100", "CRV_EvaluatePoints", "crv_before", None, 0.8),
    ("tight bounds", "bounds", "CRV_EvaluateBounds", "crv_before", None, 0.75),
    ("split, plain", "split", "CRV_SubdivideCurve(plain)", "crv_before", None, 0.6),
    ("split, typed", "split", "CRV_SubdivideCurve(typed)", "crv_before", None, 0.9),
    ("nearest point", "nearest", "CRV_NearestPointOnCurve", "crv_before", None, 0.7),
    ("128-sample arc table, reused list", "arclen", "CRV_BuildArcTable(n=128)", "crv_before",
     None, 0.6),
    ("t at arc length, cached table", "invarclen", "CRV_TFromS(table128,cached)", "crv_before",
     None, 0.8),
    ("t at arc length, cached spline", "invarclen", "CRV_TFromSSpline(bound1e-6,cached)",
     "crv_before", None, 0.8),
    ("easing y(x)", "easing", "CRV_EvaluateYFromX", "bezier-easing", "eval_prebuilt", 1.0),
    ("fit 1000 noisy points", "fit", "CRV_FitMultipleCurves", "crv_before", None, 0.75),
    ("flatten, user's hull callback", "flatten", "CRV_EvaluateAdaptively(hull)", "crv_before",
     None, 0.4),
]


def load(results):
    medians = {}
    with open(os.path.join(results, "summary.csv"), newline="") as f:
        for r in csv.DictReader(f):
            medians[(r["op"], r["anchor"], r["variant"])] = float(r["ns_median"])
    with open(os.path.join(results, "env.json")) as f:
        env = json.load(f)
    return medians, env


def table(medians):
    out = []
    for name, op, variant, ref_anchor, ref_variant, target in ROWS:
        crv = medians.get((op, "crv", variant))
        ref = medians.get((op, ref_anchor, ref_variant or variant))
        if crv is None or ref is None:
            sys.exit(f"peer_ratios: no figure for {name} in this run")
        label = ref_anchor if ref_variant is None else f"{ref_anchor} {ref_variant}"
        out.append((name, crv, label, ref, crv / ref, target))
    return out


def markdown(rows, env):
    lines = [f"Run of {env['date']} on {env['cpu']}, {env['cores']} cores, {env['gxx']}.", "",
             "| op | CRV, ns | compared with | its ns | ratio | target | met |",
             "|---|---:|---|---:|---:|---:|---|"]
    for name, crv, label, ref, ratio, target in rows:
        met = "yes" if ratio <= target else "no"
        lines.append(f"| {name} | {crv:,.4g} | {label} | {ref:,.4g} | {ratio:.2f} | "
                     f"≤ {target:g} | {met} |")
    return "\n".join(lines)


def svg(rows):
    bar_h, gap, left, width = 18, 8, 230, 360
    scale = width / 1.6  # ratios up to 1.6 fit; longer bars are cut at the edge
    height = 40 + len(rows) * (bar_h + gap) + 30
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{left + width + 60}" '
             f'height="{height}" font-family="sans-serif" font-size="12">',
             f'<text x="{left}" y="18" font-weight="bold">CRV time / compared time '
             f'(bar), target (tick)</text>']
    for i, (name, _, label, _, ratio, target) in enumerate(rows):
        y = 32 + i * (bar_h + gap)
        colour = "#4c9a2a" if ratio <= target else "#c0504d"
        w = min(ratio, 1.6) * scale
        parts.append(f'<text x="{left - 6}" y="{y + 13}" text-anchor="end">{name}</text>')
        parts.append(f'<rect x="{left}" y="{y}" width="{w:.1f}" height="{bar_h}" '
                     f'fill="{colour}"/>')
        tx = left + target * scale
        parts.append(f'<line x1="{tx:.1f}" y1="{y - 3}" x2="{tx:.1f}" y2="{y + bar_h + 3}" '
                     f'stroke="black" stroke-width="2"/>')
        parts.append(f'<text x="{left + w + 4:.1f}" y="{y + 13}">{ratio:.2f}</text>')
    axis_y = 32 + len(rows) * (bar_h + gap)
    for r in (0.0, 0.5, 1.0, 1.5):
        x = left + r * scale
        parts.append(f'<line x1="{x:.1f}" y1="28" x2="{x:.1f}" y2="{axis_y}" stroke="#bbb" '
                     f'stroke-dasharray="2,3"/>')
        parts.append(f'<text x="{x:.1f}" y="{axis_y + 14}" text-anchor="middle">{r:g}</text>')
    parts.append(f'<text x="{left}" y="{axis_y + 28}">green: target met; red: not met</text>')
    parts.append("</svg>")
    return "\n".join(parts) + "\n"


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("results", help="the harness's results folder")
    parser.add_argument("--svg", help="also draw the ratios into this file")
    args = parser.parse_args()
    medians, env = load(args.results)
    rows = table(medians)
    print(markdown(rows, env))
    if args.svg:
        with open(args.svg, "w") as f:
            f.write(svg(rows))


if __name__ == "__main__":
    main()
