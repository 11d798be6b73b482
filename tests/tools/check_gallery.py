#!/usr/bin/env python3
"""Checks the gallery that `crv demo` wrote, as a newcomer would look at it:
- index.html shows every picture with a caption and the crv command that draws it, and running
  that command draws the same picture byte for byte;
- every SVG is well-formed with finite coordinates and renders with rsvg-convert, not blank;
- no label's box (written with it as data-box) meets another label or a point marker, and the
  boxes really hold the rendered text: painted over in white, no text ink is left;
- the legend names every colour the plot uses.
The gallery is deleted once checked, so a later run cannot pass on stale pictures.

Usage: check_gallery.py DIR CRV [RSVG_CONVERT]
"""
import html.parser
import math
import os
import re
import shlex
import shutil
import struct
import subprocess
import sys
import tempfile
import xml.dom.minidom
import zlib

# One picture per subcommand.
EXPECTED = {"eval.svg", "bounds.svg", "split.svg", "drag.svg", "ease.svg", "length.svg",
            "by-distance.svg", "fit.svg", "flatten.svg", "project.svg", "nearest.svg",
            "plane.svg"}


class Index(html.parser.HTMLParser):
    def __init__(self):
        super().__init__()
        self.images, self.captions, self.commands, self._in = [], [], [], None

    def handle_starttag(self, tag, attrs):
        if tag == "img":
            self.images.append(dict(attrs)["src"])
        elif tag in ("figcaption", "pre"):  # the command is the <pre> in the caption
            self._in = tag
            (self.captions if tag == "figcaption" else self.commands).append("")

    def handle_endtag(self, tag):
        if tag in ("figcaption", "pre"):
            self._in = None

    def handle_data(self, data):
        if self._in == "figcaption":
            self.captions[-1] += data
        elif self._in == "pre":
            self.commands[-1] += data


def png_pixels(data):
    """Decodes an 8-bit RGB or RGBA, non-interlaced PNG (what rsvg-convert writes) into rows of
    bytes, undoing the per-row filters; rows that repeat the one above or a single pixel take a
    fast path, so a nearly blank picture decodes quickly."""
    assert data[:8] == b"\x89PNG\r\n\x1a\n", "not a PNG"
    pos, idat = 8, b""
    while pos < len(data):
        length, kind = struct.unpack(">I4s", data[pos:pos + 8])
        body = data[pos + 8:pos + 8 + length]
        if kind == b"IHDR":
            width, height, depth, colour, _, _, interlace = struct.unpack(">IIBBBBB", body)
            assert depth == 8 and colour in (2, 6) and interlace == 0, "unexpected PNG format"
        elif kind == b"IDAT":
            idat += body
        pos += 12 + length
    bpp = 4 if colour == 6 else 3
    raw, stride = zlib.decompress(idat), width * bpp
    rows, prev, zeros = [], bytearray(stride), bytes(stride)
    for y in range(height):
        kind, line = raw[y * (stride + 1)], bytearray(raw[y * (stride + 1) + 1:(y + 1) * (stride + 1)])
        if kind == 0 or (kind == 2 and line == zeros):
            line = line if kind == 0 else bytearray(prev)
        elif kind == 1 and line[bpp:] == zeros[bpp:]:
            line = line[:bpp] * width
        else:
            for i in range(stride):
                a = line[i - bpp] if i >= bpp else 0
                b, c = prev[i], prev[i - bpp] if i >= bpp else 0
                if kind == 1:
                    line[i] = (line[i] + a) & 255
                elif kind == 2:
                    line[i] = (line[i] + b) & 255
                elif kind == 3:
                    line[i] = (line[i] + (a + b) // 2) & 255
                elif kind == 4:
                    p = a + b - c
                    pa, pb, pc = abs(p - a), abs(p - b), abs(p - c)
                    line[i] = (line[i] + (a if pa <= pb and pa <= pc else b if pb <= pc else c)) & 255
        rows.append(bytes(line))
        prev = line
    return width, height, bpp, rows


def render(rsvg, svg_text, *options):
    return png_pixels(subprocess.run([rsvg, *options], input=svg_text.encode(), capture_output=True,
                                     check=True, timeout=60).stdout)


def boxes_of(doc):
    """(text, box) of every label, and the box of every point marker of the plot."""
    texts = [(t.firstChild.data if t.firstChild else "", tuple(map(float, t.getAttribute("data-box").split())))
             for t in doc.getElementsByTagName("text")]
    markers = []
    for g in doc.getElementsByTagName("g"):
        if g.getAttribute("id") == "plot":
            for c in g.getElementsByTagName("circle"):
                x, y, r = (float(c.getAttribute(a)) for a in ("cx", "cy", "r"))
                markers.append((x - r, y - r, x + r, y + r))
    return texts, markers


def meet(a, b):
    return a[0] < b[2] and b[0] < a[2] and a[1] < b[3] and b[1] < a[3]


def colours(group):
    found = set()
    for node in group.getElementsByTagName("*"):
        for attr in ("stroke", "fill"):
            v = node.getAttribute(attr)
            if v and v not in ("none", "#ffffff") and node.tagName != "text":
                found.add(v)
    return found


def check_picture(path, svg_text, rsvg):
    doc = xml.dom.minidom.parseString(svg_text)
    assert doc.documentElement.tagName == "svg", "root element is not <svg>"
    polylines = doc.getElementsByTagName("polyline")
    assert polylines, "no <polyline>"
    for p in polylines:
        coords = [float(v) for pair in p.getAttribute("points").split() for v in pair.split(",")]
        assert len(coords) >= 4 and all(map(math.isfinite, coords)), "bad polyline"

    # Not blank: the white background covers most of the picture, but a real drawing has a few
    # percent of other pixels in several colours.
    width, height, bpp, rows = render(rsvg, svg_text, "--width", "240")
    assert width == 240 and height > 100, f"rendered as {width}x{height}"
    pixels = [row[i:i + 3] for row in rows for i in range(0, len(row), bpp)]
    inked = [p for p in pixels if p != b"\xff\xff\xff"]
    assert len(inked) > 0.02 * len(pixels), f"only {len(inked)} inked pixels"
    assert len(set(inked)) >= 8, f"only {len(set(inked))} colours"

    texts, markers = boxes_of(doc)
    for i, (a, box) in enumerate(texts):
        for b, other in texts[i + 1:]:
            assert not meet(box, other), f"label {a!r} meets label {b!r}"
        for m in markers:
            assert not meet(box, m), f"label {a!r} covers a point marker at {m}"

    groups = {g.getAttribute("id"): g for g in doc.getElementsByTagName("g")}
    missing = colours(groups["plot"]) - colours(groups["legend"])
    assert not missing, f"colours {sorted(missing)} are not in the legend"

    # The boxes hold the text: the text alone, each box painted white over it, leaves no ink.
    only_text = re.sub(r"\s*<(polyline|line|circle|rect)[^>]*/>", "", svg_text)
    covers = "".join(f'<rect x="{b[0] - 0.5}" y="{b[1] - 0.5}" width="{b[2] - b[0] + 1}" '
                     f'height="{b[3] - b[1] + 1}" fill="#ffffff"/>' for _, b in texts)
    _, _, bpp, rows = render(rsvg, only_text.replace("</svg>", covers + "</svg>"))
    ink = sum(1 for row in rows for i in range(0, len(row), bpp)
              if row[i + 3 if bpp == 4 else 0] and row[i:i + 3] != b"\xff\xff\xff")
    assert ink == 0, f"{ink} pixels of text lie outside the labels' boxes"


def main():
    gallery, crv = sys.argv[1], sys.argv[2]
    rsvg = sys.argv[3] if len(sys.argv) > 3 else "rsvg-convert"
    failures = []
    index = Index()
    with open(os.path.join(gallery, "index.html"), encoding="utf-8") as f:
        index.feed(f.read())
    if set(index.images) != EXPECTED:
        failures.append(f"index.html shows {sorted(index.images)}")
    if len(index.captions) != len(index.images) or not all(len(c) > 20 for c in index.captions):
        failures.append("a picture in index.html lacks its caption")
    if len(index.commands) != len(index.images):
        failures.append(f"index.html shows {len(index.commands)} commands for {len(index.images)} pictures")
    scratch = tempfile.mkdtemp()
    for name, command in zip(index.images, index.commands):
        try:
            with open(os.path.join(gallery, name), encoding="utf-8") as f:
                svg_text = f.read()
            words = shlex.split(command)
            assert words[0] == "crv" and words[-2:] == ["--svg", name], f"command {command!r}"
            subprocess.run([crv] + words[1:], cwd=scratch, capture_output=True, check=True, timeout=60)
            with open(os.path.join(scratch, name), encoding="utf-8") as f:
                assert f.read() == svg_text, f"{command!r} draws another picture"
            check_picture(name, svg_text, rsvg)
        except Exception as e:  # report every picture, not just the first bad one
            failures.append(f"{name}: {e}")
    shutil.rmtree(scratch)
    for f in failures:
        print("FAIL:", f)
    if not failures:
        shutil.rmtree(gallery)
        print(f"gallery: {len(EXPECTED)} pictures checked")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
