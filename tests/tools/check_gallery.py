#!/usr/bin/env python3
"""Checks the gallery that `crv demo` wrote: index.html shows one picture per subcommand with a
caption and the crv command that draws it, which draws the same picture byte for byte; every SVG
is well-formed with finite coordinates, renders with rsvg-convert as more than a blank frame, and
no label's box (its data-box) meets another label or a point marker. The gallery is deleted once
checked, so no later run passes on stale pictures.

Usage: check_gallery.py DIR CRV [RSVG_CONVERT]
"""
import html, math, os, re, shlex, shutil, subprocess, sys, tempfile, xml.dom.minidom

EXPECTED = {f"{s}.svg" for s in ("eval", "bounds", "split", "drag", "ease", "length",
                                 "by-distance", "fit", "flatten", "project", "nearest", "plane")}


def check_picture(svg_text, rsvg):
    doc = xml.dom.minidom.parseString(svg_text)
    assert doc.documentElement.tagName == "svg", "root element is not <svg>"
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
            check_picture(svg_text, rsvg)
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
