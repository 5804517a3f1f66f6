#!/usr/bin/env python3
"""Drive tables and 16-bit transmit words by the plain formulas, as a header for transmitGoldenTest. Prints transmitGolden.h."""
import math
import random

FULL = 32766.0


def drive(coarse, d):
    if not coarse:
        return d, 1.0
    if d == 0:
        return 0, 0.0
    below = 255 - d  # steps of 0.1 dB below the top: five to a level, and all that is left to the lowest
    level = max(15 - below // 5, 0)
    return 16 * level, 10 ** (-0.1 * (below - 5 * (15 - level)) / 20)


def away(x):  # rounds half away from zero
    return int(math.copysign(math.floor(abs(x) + 0.5), x)) if abs(x - math.trunc(x)) >= 0.5 else math.trunc(x)


def words(re, im, multiplier):
    re, im = re * (multiplier * FULL), im * (multiplier * FULL)
    square = re * re + im * im
    if square >= FULL * FULL:
        re, im = re * FULL / math.sqrt(square), im * FULL / math.sqrt(square)
    re, im = away(-re), away(im)
    return (im, re), (re, im)  # I and Q in even zones, in odd ones


def key(re):
    return 3 if math.trunc(re) & 255 else 0


def half(k):  # a sample whose product with full scale is exactly k + 0.5
    x = (k + 0.5) / FULL
    for y in (x, math.nextafter(x, 2), math.nextafter(x, -2)):
        if y * FULL == k + 0.5:
            return y
    return None


def main():
    random.seed(20)
    samples = [(0.0, 0.0), (1.0, 0.0), (0.0, 1.0), (-1.0, 0.0), (0.0, -1.0), (0.99, 0.0), (0.95, 0.0), (0.94, -0.94),
               (1e-9, -1e-9), (math.nextafter(1.0, 0.0), 0.0), (math.nextafter(1.0, 2.0), 0.0), (0.6, 0.8), (0.8, -0.6),
               (0.61, 0.8), (-3.0, 4.0), (255.0, 0.0), (256.0, 0.0), (257.0, 1.0), (-256.0, -1.0), (-1.5, 2.0),
               (0.9999999, 0.0), (1e5, -1e5), (2.0, 0.0)]
    pairs = list(zip(range(-9, 9), range(8, -10, -1))) + [(k, -k - 1) for k in (100, 1000, 8191, 12345, 16382, 20000, 23100)]
    samples += [(half(k), half(j)) for k, j in pairs if half(k) is not None and half(j) is not None]
    rows = [(re, im, False, 255) for re, im in samples]
    rows += [(random.uniform(-1, 1), random.uniform(-1, 1), False, random.randrange(256)) for _ in range(60)]
    rows += [(random.uniform(-3, 3), random.uniform(-3, 3), True, random.randrange(256)) for _ in range(60)]
    rows += [(0.99, 0.0, True, d) for d in (0, 1, 100, 180, 181, 250, 254, 255)]

    print("// Made by transmitGolden.py: do not edit.")
    print("// clang-format off")
    print("#pragma once")
    print("namespace larch::test {")
    print("struct goldenDrive {\n  int value;\n  double multiplier;\n};")
    for name, coarse in (("goldenFineDrive", False), ("goldenCoarseDrive", True)):
        print(f"constexpr goldenDrive {name}[256] = {{")
        for i in range(0, 256, 4):
            print("    " + " ".join("{%d, %r}," % drive(coarse, d) for d in range(i, i + 4)))
        print("};")
    print("struct goldenWord {\n  double re, im;\n  bool coarse;\n  int drive;\n  int evenI, evenQ, oddI, oddQ;\n  int key;\n};")
    print("constexpr goldenWord goldenWords[] = {")
    for re, im, coarse, d in rows:
        even, odd = words(re, im, drive(coarse, d)[1])
        print(f"    {{{re!r}, {im!r}, {str(coarse).lower()}, {d}, {even[0]}, {even[1]}, {odd[0]}, {odd[1]}, {key(re)}}},")
    print("};")
    print("} // namespace larch::test")


if __name__ == "__main__":
    main()
