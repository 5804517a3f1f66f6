#!/usr/bin/env python3
"""What the single-sideband modulator sends for a piece of speech, as a header for ssbModDemodTest.

Prints ssbModDemodGolden.h.
"""
import ssbFormulas as formulas

SAMPLES = 10 * 512
POINTS = [(0, 0.2), (64, 0.5), (128, 0.9), (300, 0.4), (600, 1.7), (1200, 1.1), (2400, 2.5), (4800, 0.6), (24000, 0.3)]
CASES = [(200, 2900, 1.0, False), (200, 2900, 3.0, False), (200, 2900, 1.0, True), (-2900, -200, 0.3, True), (-2900, -200, 3.0, True),
         (-2700, 2700, 1.0, True)]
# around the edges of blocks, and a walk through the rest
INDICES = sorted([b * 512 + d for b in range(3, 10) for d in (-1, 0, 1, 2, 3)] + list(range(5, SAMPLES, 127)))
CLIP_INDICES = list(range(1, 1536, 97)) + [766, 767, 768, 769]

voice = formulas.speech(SAMPLES)
gains = formulas.curve(POINTS)
print("// Made by ssbModDemodGolden.py: do not edit.")
print("// clang-format off")
print("#pragma once")
print("namespace larch::test {")
print(f"constexpr int speechSamples = {SAMPLES};")
print(f"constexpr long speechSum = {sum(int(4096 * x) * (n % 17 + 1) for n, x in enumerate(voice))}; // each times 4096 and n % 17 + 1")
print("struct equaliserPoint {\n  double frequency_Hz, gain;\n};")
print("constexpr equaliserPoint speechCurve[] = {" + ", ".join(f"{{{f}, {g}}}" for f, g in POINTS) + "};")
print("struct speechCase {\n  int low, high;\n  double compression;\n  bool equalised;\n};")
print("constexpr speechCase speechCases[] = {")
for low, high, compression, equalised in CASES:
    print(f"    {{{low}, {high}, {compression}, {'true' if equalised else 'false'}}},")
print("};")
print("struct goldenSample {\n  int of, index; // of: the case\n  double re, im;\n};")
print("constexpr goldenSample speechGolden[] = {")
for number, (low, high, compression, equalised) in enumerate(CASES):
    sent = formulas.ssb(voice, low, high, compression, gains if equalised else None)
    for i in INDICES:
        print(f"    {{{number}, {i}, {sent[i].real:.15e}, {sent[i].imag:.15e}}},")
print("};")
print("struct goldenClipTap {\n  int low, high, index;\n  double re, im;\n};")
print("constexpr goldenClipTap clipTaps[] = {")
for low, high in ((300, 2800), (-2800, -300)):
    taps = formulas.bandpass(low, high, formulas.CLIP_TAPS)
    for i in CLIP_INDICES:
        print(f"    {{{low}, {high}, {i}, {taps[i].real:.15e}, {taps[i].imag:.15e}}},")
print("};")
print("} // namespace larch::test")
