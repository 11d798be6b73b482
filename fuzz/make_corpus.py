#!/usr/bin/env python3
"""Writes the seed corpora of the fuzz targets: fuzz/corpus/<target>/seed-*.

The targets decode any bytes into a sequence of calls, so seeds need no structure: a few fixed
pseudo-random inputs of different lengths per target (the same on every run), plus the all-zero
and all-ones inputs, give libFuzzer a start on every operation. Rerun after changing a target's
decoding so that the seeds still reach deep.

Files named finding-* beside the seeds are inputs that once stopped a target; each finding also
has a bit-exact regression test in tests/ (named after what it caught), so these only give the
fuzzer a head start near known edges, even after decoding changes move them elsewhere."""
import os
import random

TARGETS = ["evaluation_fuzz", "function_curves_fuzz", "arclength_fuzz", "fit_fuzz",
           "adaptive_fuzz", "polynomial_fuzz"]
LENGTHS = [48, 96, 160, 256, 512]


def main():
    root = os.path.join(os.path.dirname(os.path.abspath(__file__)), "corpus")
    for number, target in enumerate(TARGETS):
        directory = os.path.join(root, target)
        os.makedirs(directory, exist_ok=True)
        rng = random.Random(20240 + number)
        seeds = [bytes(64), bytes([0xff]) * 64]
        seeds += [bytes(rng.getrandbits(8) for _ in range(n)) for n in LENGTHS]
        for i, seed in enumerate(seeds):
            with open(os.path.join(directory, "seed-%02d" % i), "wb") as out:
                out.write(seed)


if __name__ == "__main__":
    main()
