#!/usr/bin/env python3
"""Equaliser curves of nine points by the plain formula, as a header for wirelessTest. Prints wirelessGolden.h."""
import struct

LISTS = [
    [(0, 0.2), (64, 0.5), (128, 0.9), (300, 0.4), (600, 1.7), (1200, 1.1), (2400, 2.5), (4800, 0.6), (24000, 0.3)],
    [(500, 3), (700, 0.25), (701, 2), (1000, 0), (1500.5, 1), (1510, 0.125), (1520, 4), (9000, 0.01), (9023.4375, 0.02)],
    # two points at one frequency, points that go back, an end far below the last bin
    [(0, 1), (300, 2), (300, 0.5), (900, 1.5), (600, 0.75), (1200, 3), (1100, 0.1), (1300, 1), (2000, 0.9)],
]
BINS = sorted(set(list(range(0, 60)) + list(range(60, 1024, 23)) + [383, 384, 385, 1023]))


def single(x):
    return struct.unpack("f", struct.pack("f", x))[0]


def gains(points):
    upper, lower = 1, (0.0, points[0][1])
    for k in range(1024):
        f = 24000 / 1024 * k
        while f > points[upper][0] and upper < 8:
            lower = points[upper]
            upper += 1
        (x0, y0), (x1, y1) = lower, points[upper]
        yield single((f - x0) / (x1 - x0) * (y1 - y0) + y0)


print("// Made by wirelessGolden.py: do not edit.")
print("// clang-format off")
print("#pragma once")
print("namespace larch::test {")
print("constexpr double goldenPoints[][9][2] = {")
for points in LISTS:
    print("    {" + ", ".join(f"{{{f}, {g}}}" for f, g in points) + "},")
print("};")
print("struct goldenGain {\n  int list, bin;\n  float gain;\n};")
print("constexpr goldenGain goldenGains[] = {")
for number, points in enumerate(LISTS):
    all_gains = list(gains(points))
    row = [f"{{{number}, {k}, {all_gains[k]!r}f}}," for k in BINS]
    row = [cell if "." in cell or "e" in cell else cell.replace("f}", ".0f}") for cell in row]
    for i in range(0, len(row), 4):
        print("    " + " ".join(row[i:i + 4]))
print("};")
print("} // namespace larch::test")
