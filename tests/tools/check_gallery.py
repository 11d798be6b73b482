#!/usr/bin/env python3
"""Checks the gallery that `crv demo` wrote: index.html shows one picture per subcommand with a
caption and the crv command that draws it, which draws the same picture byte for byte; every SVG
is well-formed with finite coordinates, renders with rsvg-convert as more than a blank frame, names
both axes, draws every result over the pale input curve, keeps eval's tangents short beside the
plot and says over which times ease's average runs; no label's box (its data-box) meets another
label or a point marker. The gallery is deleted once
checked, so no later run passes on stale pictures.

Usage: check_gallery.py DIR CRV [RSVG_CONVERT]
"""
import html, math, os, re, shlex, shutil, subprocess, sys, tempfile, xml.dom.minidom

EXPECTED = {f"{s}.svg" for s in ("eval", "bounds", "split", "drag", "ease", "length",
                                 "by-distance", "fit", "flatten", "project", "nearest", "plane")}


INPUT_CURVE = "#cbd2d9"  # the wide pale stroke of the input curve, under every result


def check_picture(name, svg_text, rsvg):
    doc = xml.dom.minidom.parseString(svg_text)
    assert doc.documentElement.tagName == "svg", "root element is not <svg>"
    groups = {g.getAttribute("id"): g for g in doc.getElementsByTagName("g")}
    titles = [t.firstChild.data for t in groups["axes"].getElementsByTagName("text")
              if re.fullmatch(r"\S.* \u2192|\u2191 .*\S", t.firstChild.data)]
    assert len(titles) == 2, f"axis titles {titles}"
    drawn = [e for e in groups["plot"].childNodes if e.nodeType == e.ELEMENT_NODE and e.tagName != "rect"]
    strokes = [e.getAttribute("stroke") for e in drawn]
    if INPUT_CURVE in strokes:
        assert strokes.index(INPUT_CURVE) == 0, f"{drawn[0].tagName} drawn under the input curve"
    if name == "eval.svg":  # a tangent reaching far out would set the axes instead of the curve
        for e in drawn:
            if e.tagName == "polyline" and e.getAttribute("stroke") == "#d62728":
                (x0, y0), (x1, y1) = [map(float, p.split(",")) for p in e.getAttribute("points").split()]
                assert math.hypot(x1 - x0, y1 - y0) < 100, "a tangent longer than a sixth of the plot"
    if name == "ease.svg":
        legend = " ".join(t.firstChild.data for t in groups["legend"].getElementsByTagName("text"))
        assert "for x in [0.25, 0.75]" in legend, f"the average's legend: {legend!r}"
    for p in doc.getElementsByTagName("polyline"):
        coords = [float(v) for v in re.split(r"[ ,]+", p.getAttribute("points").strip())]
        assert len(coords) >= 4 and all(map(math.isfinite, coords)), "bad polyline"
    png = subprocess.run([rsvg, "--width", "240"], input=svg_text.encode(), capture_output=True,
                         check=True, timeout=60).stdout
    # A bare frame with a title compresses to well under 1 kB; every real plot takes over 7 kB.
    assert len(png) > 4000, f"nearly blank: {len(png)} bytes of PNG"
    boxes = [tuple(map(float, t.getAttribute("data-box").split())) for t in doc.getElementsByTagName("text")]
    markers = [(x - r, y - r, x + r, y + r) for c in doc.getElementsByTagName("circle")
               for x, y, r in [[float(c.getAttribute(a)) for a in ("cx", "cy", "r")]]
               if c.parentNode.getAttribute("id") == "plot"]
    for i, a in enumerate(boxes):
        for b in boxes[i + 1:] + markers:
            assert not (a[0] < b[2] and b[0] < a[2] and a[1] < b[3] and b[1] < a[3]), f"label box {a} meets {b}"


def main():
    gallery, crv = sys.argv[1], sys.argv[2]
    rsvg = sys.argv[3] if len(sys.argv) > 3 else "rsvg-convert"
    with open(os.path.join(gallery, "index.html"), encoding="utf-8") as f:
        index = f.read()
    figures = re.findall(r'<figure>.*?<img src="([^"]+)".*?<figcaption>(.*?)<pre>(.*?)</pre>', index, re.S)
    failures = [] if {f[0] for f in figures} == EXPECTED else [f"index.html shows {sorted(f[0] for f in figures)}"]
    scratch = tempfile.mkdtemp()
    for name, caption, command in figures:
        try:
            assert len(re.sub("<[^>]*>", "", caption)) > 20, "no caption"
            words = shlex.split(html.unescape(re.sub("<[^>]*>", "", command)))
            assert words[0] == "crv" and words[-2:] == ["--svg", name], f"command {command!r}"
            subprocess.run([crv] + words[1:], cwd=scratch, capture_output=True, check=True, timeout=60)
            with open(os.path.join(gallery, name), encoding="utf-8") as f, \
                 open(os.path.join(scratch, name), encoding="utf-8") as g:
                svg_text = f.read()
                assert g.read() == svg_text, f"{command!r} draws another picture"
            check_picture(name, svg_text, rsvg)
        except Exception as e:  # report every picture, not just the first bad one
            failures.append(f"{name}: {e}")
    shutil.rmtree(scratch)
    for f in failures:
        print("FAIL:", f)
    if not failures:
        shutil.rmtree(gallery)
        print(f"gallery: {len(figures)} pictures checked")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
