#!/usr/bin/env python3
"""The words that a radio gets for a transmission of speech, from the microphone on, as a header for transmitQualityWordsTest.

Prints transmitQualityGolden.h.
"""
import math
import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "modes"))
import ssbFormulas as formulas

GROUPS, KEYED = 48, 40  # of 126 samples; PTT falls after KEYED
SHORT_PI = 3.1415927  # of the envelope
# transmit frequency, whether it lies in an odd zone of the converter, filter edges, compression, drive, its digital part
CASES = [(14100000, False, 200, 2900, 1.0, 255, 0.0), (50100000, True, -2900, -200, 3.0, 251, -0.4)]
INDICES = sorted(set(list(range(0, GROUPS * 126, 41)) + [767, 768, 769, 1279, 1280, 1281, 5039, 5040, 5041, 5551, 5552]))


def envelope(n):
    fallen = n - KEYED * 126  # samples since PTT fell
    if fallen >= 0:
        return 0.5 * math.cos(SHORT_PI * fallen / 512) + 0.5 if fallen < 512 else 0.0
    if n < 768:
        return 0.0
    return 0.5 * math.cos(SHORT_PI * (1280 - n) / 512) + 0.5 if n <= 1280 else 1.0


def word(x):
    return int(math.copysign(math.floor(abs(x) + 0.5), x))


voice = formulas.speech(GROUPS * 126)
print("// Made by transmitQualityGolden.py: do not edit.")
print("// clang-format off")
print("#pragma once")
print("namespace larch::test {")
print(f"constexpr int goldenGroups = {GROUPS}, goldenKeyedGroups = {KEYED};")
print("struct wordsCase {\n  int frequency, low, high;\n  double compression;\n  int drive;\n};")
print("constexpr wordsCase wordsCases[] = {")
for frequency, _, low, high, compression, drive, _ in CASES:
    print(f"    {{{frequency}, {low}, {high}, {compression}, {drive}}},")
print("};")
print("struct goldenWords {\n  int of, index, i, q; // of: the case\n};")
print("constexpr goldenWords wordsGolden[] = {")
for number, (_, odd, low, high, compression, _, step) in enumerate(CASES):
    x = formulas.fir(formulas.bandpass(low, high, 1536), formulas.ssb(voice, low, high, compression))
    m = 32766 * 10 ** (step / 20)
    for n in INDICES:
        z = x[n] * envelope(n) * m
        if abs(z) >= 32766:
            z *= 32766 / abs(z)
        re, im = word(-z.real), word(z.imag)
        print(f"    {{{number}, {n}, {re if odd else im}, {im if odd else re}}},")
print("};")
print("} // namespace larch::test")
