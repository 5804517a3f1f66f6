#!/usr/bin/env python3
"""The test signal of the chirp mode and words on the air, by the plain formulas, as a header for the chirp tests.

Prints chirpGolden.h. The phase is summed up with the short pi, a turn off once where it exceeds one. Code words are found by
multiplying polynomials, not by dividing: the one multiple of the generator that has the data on top.
"""
import math

PI, TOP, LENGTH = 3.1415927, 3000.0, 4096
POLYNOMIAL, PATTERN, OFFSET = 0xC75, 0x7AFAFA, 101

up, phase = [], 0.0
for k in range(LENGTH):
    phase += 2 * PI * (k * TOP / LENGTH) * (1 / 48000)
    if phase > 2 * PI:
        phase -= 2 * PI
    up.append((0.97 * math.cos(phase), -0.97 * math.sin(phase)))
down = up[LENGTH // 2:] + up[:LENGTH // 2]
sent = up + down + up
picked = sorted(set(range(0, len(sent), 97)) |
                {n + d for n in range(0, len(sent), LENGTH // 2) for d in (-2, -1, 0, 1, 2) if 0 <= n + d < len(sent)} | {len(sent) - 1})


def times(a, b):
    """Product of two polynomials over GF(2)."""
    product = 0
    while b:
        if b & 1:
            product ^= a
        a, b = a << 1, b >> 1
    return product


codewords = {}
for factor in range(4096):
    codewords[times(POLYNOMIAL, factor) >> 11] = times(POLYNOMIAL, factor)
datas = [0, 1, 2, 0x800, 0xFFF, 0x555, 0xAAA, 0xC75] + [(n * 1103 + 7) % 4096 for n in range(24)]

print("// Made by chirpGolden.py: do not edit.")
print("// clang-format off")
print("#pragma once")
print("#include <cstdint>")
print("namespace larch::test {")
print("struct goldenChirpSample {\n  int index;\n  double re, im;\n};")
print(f"constexpr int goldenChirpLength = {len(sent)};")
print("constexpr goldenChirpSample goldenChirpSamples[] = {")
for n in picked:
    print(f"    {{{n}, {sent[n][0]:.17e}, {sent[n][1]:.17e}}},")
print("};")
print("struct goldenChirpWord {\n  uint32_t data, codeword, onAir;\n};")
print("constexpr goldenChirpWord goldenChirpWords[] = {")
for d in datas:
    print(f"    {{{d:#x}, {codewords[d]:#x}, {((codewords[d] ^ PATTERN) + OFFSET) % (1 << 23):#x}}},")
print("};")
print("} // namespace larch::test")
