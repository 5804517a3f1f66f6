#!/usr/bin/env python3
"""Taps of the equalised microphone filter by the plain formulas, as a header for microphoneFilterTest.

Prints microphoneFilterGolden.h.
"""
import cmath
import math

TAPS, RATE = 2048, 48000
TERMS = (0.27105140069342, 0.43329793923448, 0.21812299954311, 0.06592544638803, 0.01081174209837, 0.00077658482522,
         0.00001388721735)
ROOTS = [cmath.exp(2j * cmath.pi * k / TAPS) for k in range(TAPS)]


def window(i):
    return sum((-1) ** k * c * math.cos(k * (i + 0.5) * 2 * math.pi / TAPS) for k, c in enumerate(TERMS))


def sinc(low, high):
    half = (high - low) / RATE / 2
    turn = (high + low) / RATE * math.pi
    taps = [0j] * TAPS
    for i in range(TAPS // 2, TAPS):
        t = i - (TAPS - 1) / 2
        c = math.sin(t * 2 * math.pi * half) / (t * math.pi)
        taps[i] = c * cmath.exp(-1j * t * turn)
        taps[TAPS - 1 - i] = taps[i].conjugate()
    return taps


def gain(k):  # the curve that the test repeats: 1024 values
    return 0.25 + (k * 37 % 101) / 50.0


def equalised(low, high, indices):
    taps = sinc(low, high)
    spectrum = []
    for i in range(TAPS):
        value = sum(taps[n] * ROOTS[-i * n % TAPS] for n in range(TAPS))
        f = -i * RATE / TAPS if i < TAPS // 2 else RATE - i * RATE / TAPS
        if low <= f < high:
            value *= gain(i) if i < TAPS // 2 else gain(2047 - i)
        spectrum.append(value / TAPS)
    return [sum(spectrum[i] * ROOTS[i * n % TAPS] for i in range(TAPS)) * window(n) for n in indices]


INDICES = list(range(3, 2048, 211)) + [900, 960, 1000, 1010, 1020, 1022, 1023, 1024, 1025, 1027, 1100]
print("// Made by microphoneFilterGolden.py: do not edit.")
print("// clang-format off")
print("#pragma once")
print("namespace larch::test {")
print("struct goldenTap {\n  int low, high, index;\n  double re, im;\n};")
print("constexpr goldenTap goldenTaps[] = {")
for low, high in ((300, 2800), (-2800, -300), (-100, 1500)):
    for n, tap in zip(INDICES, equalised(low, high, INDICES)):
        print(f"    {{{low}, {high}, {n}, {tap.real:.15e}, {tap.imag:.15e}}},")
print("};")
print("} // namespace larch::test")
