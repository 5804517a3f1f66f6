#!/usr/bin/env python3
"""What the signal generator sends, sample for sample, by the plain formulas, as a header for sigGenModDemodTest.

Prints sigGenGolden.h. The phase is summed up with the short pi and wraps at the short turn, upwards only.
"""
import math

PI, TURN, PERIOD = 3.1415927, 6.2831854, 2.0833333333333333e-5
CASES = ((0.75, 1.5, 700.0), (1.0, 0.5, 200.0), (0.0, 1.0, 23999.5), (0.25, 0.25, 0.1), (0.5, 0.5, -1234.5), (0.0, 1.0, -23999.0))
LENGTH = 400000
FIXED = (0, 1, 2, 511, 512, 513, 4999, 47999, 48000, 123456, LENGTH - 1)


def run(ampl1, ampl2, freq2):
    """All samples, and where the phase wraps."""
    step = 2 * freq2 * PI * PERIOD
    phase, out, wraps = 0.0, [], []
    for n in range(LENGTH):
        phase += step
        if phase > TURN:
            phase -= TURN
            wraps.append(n)
        out.append((ampl1 + ampl2 * math.cos(phase), -ampl2 * math.sin(phase)))
    return out, wraps


print("// Made by sigGenGolden.py: do not edit.")
print("// clang-format off")
print("#pragma once")
print("namespace larch::test {")
print("struct goldenSample {\n  double ampl1, ampl2, freq2;\n  int index;\n  double re, im;\n};")
print(f"constexpr int goldenLength = {LENGTH};")
print("constexpr goldenSample goldenSamples[] = {")
for case in CASES:
    samples, wraps = run(*case)
    around = [n + d for w in wraps[:2] + wraps[-1:] for n, d in ((w, -1), (w, 0), (w, 1)) if 0 <= n + d < LENGTH]
    for n in sorted(set(FIXED) | set(around)):
        re, im = samples[n]
        print(f"    {{{case[0]}, {case[1]}, {case[2]}, {n}, {re:.17e}, {im:.17e}}},")
print("};")
print("} // namespace larch::test")
