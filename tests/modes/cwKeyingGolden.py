#!/usr/bin/env python3
"""Samples around the edges of keyed carriers, from a time line of marks and the plain formulas, as a header for straightKeyTest and
textKeyerTest.

Prints cwKeyingGolden.h.
"""
import math

PI, RAMP = 3.1415927, 256
STRAIGHT, TEXT = 0.99, 0.95
LEADING_DOTS = 4  # silence before the first character
MARKS = ("10111" "000" "11101" "000")  # "an" in dots


def edge(from_plateau):
    return 0.5 * math.cos(from_plateau * PI / RAMP) + 0.5


def marks(dot, dash):
    """(first sample, sample behind the last) of each mark; a dash has a length of its own."""
    now, found = LEADING_DOTS * dot, []
    for run in MARKS.replace("01", "0|1").replace("10", "1|0").split("|"):
        if run[0] == "0":
            now += len(run) * dot
        else:
            length = dot if len(run) == 1 else dash
            found.append((now, now + length))
            now += length
    return found


def keyed(n, spans):
    for start, end in spans:
        if start <= n < end:
            if end - n <= RAMP:
                return TEXT * edge(n - end + RAMP)
            if n - start <= RAMP:
                return TEXT * edge(RAMP - (n - start))
            return TEXT
    return 0.0


def places(spans):
    wanted = set()
    for start, end in spans:
        wanted |= {start + k for k in (-1, 0, 1, 100, 255, 256, 257)} | {end + k for k in (-257, -256, -255, -100, -1, 0)}
    return sorted(wanted)


print("// Made by cwKeyingGolden.py: do not edit.")
print("// clang-format off")
print("#pragma once")
print("namespace larch::test {")
print("// the straight key: the rise, sample by sample, and the fall")
for name, values in (("goldenRise", [STRAIGHT * edge(RAMP - 1 - n) for n in range(RAMP)]),
                     ("goldenFall", [STRAIGHT - STRAIGHT * edge(RAMP - 1 - n) for n in range(RAMP)])):
    print(f"constexpr double {name}[{RAMP}] = {{")
    for i in range(0, RAMP, 6):
        print("    " + " ".join(f"{v:.16e}," for v in values[i:i + 6]))
    print("};")
print("// the text \"an\" at a speed: sample index and value")
print("struct keyedSample {\n  double wpm;\n  int index;\n  double value;\n};")
print("constexpr keyedSample goldenText[] = {")
for wpm in (20, 33.3, 100, 150, 250):
    spans = marks(int(57600 / wpm), int(172800 / wpm))
    for n in places(spans):
        print(f"    {{{wpm}, {n}, {keyed(n, spans):.16e}}},")
print("};")
print("} // namespace larch::test")
