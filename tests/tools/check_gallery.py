#!/usr/bin/env python3
"""Checks the gallery that `crv demo` wrote: index.html names every picture with a caption, every
SVG is well-formed XML with finite coordinates and no temporary file beside it, and each renders
with rsvg-convert to a PNG that is not blank. The gallery is deleted once checked, so a later run
cannot pass on stale pictures.

Usage: check_gallery.py DIR [RSVG_CONVERT]
"""
import html.parser
import math
import os
import shutil
import struct
import subprocess
import sys
import xml.dom.minidom
import zlib

# One picture per subcommand, plus the overview.
EXPECTED = {"crv-demo.svg", "eval.svg", "bounds.svg", "split.svg", "drag.svg", "ease.svg",
            "length.svg", "by-distance.svg", "fit.svg", "flatten.svg", "project.svg",
            "nearest.svg", "plane.svg"}


class Index(html.parser.HTMLParser):
    def __init__(self):
        super().__init__()
        self.images, self.captions, self._in_caption = [], [], False

    def handle_starttag(self, tag, attrs):
        if tag == "img":
            self.images.append(dict(attrs)["src"])
        elif tag == "figcaption":
            self._in_caption = True
            self.captions.append("")

    def handle_endtag(self, tag):
        if tag == "figcaption":
            self._in_caption = False

    def handle_data(self, data):
        if self._in_caption:
            self.captions[-1] += data


def png_pixels(data):
    """Decodes an 8-bit RGB or RGBA, non-interlaced PNG (what rsvg-convert writes) into rows of
    bytes, undoing the per-row filters."""
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
    rows, prev = [], bytearray(stride)
    for y in range(height):
        kind, line = raw[y * (stride + 1)], bytearray(raw[y * (stride + 1) + 1:(y + 1) * (stride + 1)])
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


def main():
    gallery = sys.argv[1]
    rsvg = sys.argv[2] if len(sys.argv) > 2 else "rsvg-convert"
    failures = []
    index = Index()
    with open(os.path.join(gallery, "index.html"), encoding="utf-8") as f:
        index.feed(f.read())
    if set(index.images) != EXPECTED:
        failures.append(f"index.html shows {sorted(index.images)}")
    if len(index.captions) != len(index.images) or not all(len(c) > 20 for c in index.captions):
        failures.append("a picture in index.html lacks its caption")
    for name in sorted(set(index.images) | EXPECTED):
        path = os.path.join(gallery, name)
        try:
            doc = xml.dom.minidom.parse(path)
            assert doc.documentElement.tagName == "svg", "root element is not <svg>"
            polylines = doc.getElementsByTagName("polyline")
            assert polylines, "no <polyline>"
            for p in polylines:
                coords = [float(v) for pair in p.getAttribute("points").split()
                          for v in pair.split(",")]
                assert len(coords) >= 4 and all(map(math.isfinite, coords)), "bad polyline"
            assert not os.path.exists(path + ".tmp"), "temporary file left behind"
            png = subprocess.run([rsvg, "--width", "240", path], capture_output=True, check=True,
                                 timeout=60).stdout
            width, height, bpp, rows = png_pixels(png)
            assert width == 240 and height > 100, f"rendered as {width}x{height}"
            # Not blank: the white background covers most of the picture, but a real drawing has
            # a few percent of other pixels in several colours.
            pixels = [row[i:i + 3] for row in rows for i in range(0, len(row), bpp)]
            inked = [p for p in pixels if p != b"\xff\xff\xff"]
            assert len(inked) > 0.02 * len(pixels), f"only {len(inked)} inked pixels"
            assert len(set(inked)) >= 8, f"only {len(set(inked))} colours"
        except Exception as e:  # report every picture, not just the first bad one
            failures.append(f"{name}: {e}")
    for f in failures:
        print("FAIL:", f)
    if not failures:
        shutil.rmtree(gallery)
        print(f"gallery: {len(EXPECTED)} pictures checked")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
