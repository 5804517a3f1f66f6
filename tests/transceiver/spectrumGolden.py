#!/usr/bin/env python3
"""Points of spectrum frames by the plain formulas, as a header for spectrumPainterTest.

The stream and the raw ADC samples come from a small generator of integers that the test repeats, so that nothing else is
exchanged. Prints spectrumGolden.h.
"""
import cmath
import math

POINTS = 2048
TERMS = (0.27105140069342, 0.43329793923448, 0.21812299954311, 0.06592544638803, 0.01081174209837, 0.00077658482522,
         0.00001388721735)


def window(n):
    return [sum((-1) ** k * c * math.cos(k * (i + 0.5) * 2 * math.pi / n) for k, c in enumerate(TERMS)) for i in range(n)]


def numbers(seed):
    state = seed
    while True:
        state = (state * 1103515245 + 12345) % 2 ** 31
        yield (state >> 8) / 2.0 ** 23 - 0.5


def stream(count, seed):
    g = numbers(seed)
    return [complex(next(g), next(g)) * 0.01 + 0.3 * cmath.exp(-2j * cmath.pi * 0.123 * i) for i in range(count)]


def raw(count, seed):
    g = numbers(seed)
    return [next(g) * 0.001 + 0.05 * math.cos(2 * math.pi * 0.31 * i) for i in range(count)]


def dft(samples, k):
    n = len(samples)
    return sum(x * cmath.exp(-2j * cmath.pi * ((k * i) % n) / n) for i, x in enumerate(samples))


def frame(block, wideband, nyquist, spec, centre, rate, zoom, indices):
    w = window(POINTS)
    windowed = [x * v for x, v in zip(block, w)]
    wide = [x * v for x, v in zip(wideband, w)]
    half = rate / 2 / zoom
    low, high = spec - half, spec + half
    in_low, in_high = centre - rate // 2, centre + rate // 2
    points = []
    for i in indices:
        f = i * (high - low) / 2048 + low
        if f < in_low or f >= in_high:
            k = int(len(wide) * f * 0.5 / nyquist) if f >= 0 else None
            if wide and k is not None and k < len(wide) // 2:
                power = abs(dft(wide, k)) ** 2 * (1 / (len(wide) / 2)) ** 2 * 10
                points.append(math.log10(power + 1e-38))
            else:
                points.append(-20.0)
            continue
        k = int((f - in_low) * 2048.0 / rate)
        bin_number = 1024 - k + (2048 if k >= 1024 else 0) - 1
        points.append(math.log10(abs(dft(windowed, bin_number)) ** 2 / 2048 / 2048 * 10 + 1e-38))
    return low, high, points


def emit(name, result, indices):
    low, high, points = result
    print(f"constexpr double {name}Low = {low!r}, {name}High = {high!r};")
    print(f"constexpr goldenPoint {name}[] = {{")
    for i, p in zip(indices, points):
        print(f"    {{{i}, {p:.9e}f}},")
    print("};")


INDICES = sorted(set(list(range(0, 2048, 97)) + [1, 511, 512, 513, 1086, 1087, 1261, 1262, 1263, 1274, 771, 772, 1022, 1023, 1024, 1025, 1275, 1276, 1535, 1536,
                                               1537, 2046, 2047]))

print("// Made by spectrumGolden.py: do not edit.")
print("// clang-format off")
print("#pragma once")
print("namespace larch::test {")
print("struct goldenPoint {\n  int index;\n  float bels;\n};")
samples = stream(3072, 1)
emit("goldenPlain", frame(samples[:2048], [], 1.0, 7101234, 7100000, 192000, 1.0, INDICES), INDICES)
emit("goldenWide", frame(samples[:2048], raw(2048, 2), 38400000.0, 7100000, 7100000, 192000, 0.25, INDICES), INDICES)
emit("goldenSecond", frame(samples[1024:], [], 1.0, 7100000, 7100000, 192000, 1.0, INDICES), INDICES)
emit("goldenBelowZero", frame(samples[:2048], raw(512, 3), 38400000.0, 500000, 500000, 384000, 0.125, INDICES), INDICES)
print("} // namespace larch::test")
