#!/usr/bin/env python3
"""The gain of every transmitted sample by the plain formulas, as a header for transmitEnvelopeTest.

Each sample's gain is worked out from its distance to the last key event, without counters. Prints transmitEnvelopeGolden.h.
"""
import math

PI, RISE, FALL, SILENCE, GROUP = 3.1415927, 512, 512, 768, 126
HOLD = 504  # samples behind the fall


def rise_gain(i, lead):  # i: samples since the key went down
    if i < lead:
        return "zero", 0
    i -= lead
    return ("rise", i) if i <= RISE else ("one", 0)


def fall_gain(i, tail):  # i: samples since the key went up
    if i >= tail:
        return "zero", 0
    left = tail - i
    return ("fall", FALL - left) if left <= FALL else ("one", 0)


def keying(blocked, tail, events):
    """events: (down, groups) pairs, the key goes down or up and so many groups follow."""
    runs, over_after, at = [], -1, 0
    for down, groups in events:
        for i in range(groups * GROUP):
            kind, index = rise_gain(i, SILENCE if blocked else 0) if down else fall_gain(i, tail)
            if runs and runs[-1][0] == kind and (kind in ("zero", "one") or runs[-1][1] + runs[-1][2] == index):
                runs[-1][2] += 1
            else:
                runs.append([kind, index, 1])
        if not down:
            needed = -(-(tail + HOLD) // GROUP)
            if needed <= groups and over_after < 0:
                over_after = at + needed
        at += groups
    return runs, over_after


CASES = [
    ("blocked", True, 512, [(1, 20), (0, 12)]),
    ("direct", False, 512, [(1, 20), (0, 12)]),
    ("blocked, cut in the silence", True, 512, [(1, 5), (0, 12)]),
    ("blocked, cut in the rise", True, 512, [(1, 9), (0, 12)]),
    ("direct, cut in the rise", False, 512, [(1, 2), (0, 12)]),
    ("blocked, long tail", True, 2000, [(1, 20), (0, 25)]),
    ("direct, tail of 600", False, 600, [(1, 12), (0, 12)]),
    ("direct, tail shorter than the fall", False, 100, [(1, 12), (0, 8)]),
    ("blocked, no tail", True, 0, [(1, 20), (0, 6)]),
    ("blocked, down again in the fall", True, 512, [(1, 20), (0, 2), (1, 20), (0, 12)]),
    ("direct, down again in the hold", False, 512, [(1, 20), (0, 7), (1, 9), (0, 12)]),
]


def table(name, values):
    print(f"constexpr double {name}[] = {{")
    for i in range(0, len(values), 5):
        print("    " + " ".join(f"{v!r}," for v in values[i:i + 5]))
    print("};")


print("// Made by transmitEnvelopeGolden.py: do not edit.")
print("// clang-format off")
print("#pragma once\n#include <vector>")
print("namespace larch::test {")
table("goldenRise", [0.5 * math.cos(PI * (RISE - i) / RISE) + 0.5 for i in range(RISE + 1)])
table("goldenFall", [0.5 * math.cos(PI * i / FALL) + 0.5 for i in range(FALL)])
print("enum class gainOf { zero, rise, one, fall };")
print("struct goldenRun {\n  gainOf kind;\n  int first, count; // rise and fall: index of the first gain in its table\n};")
print("struct goldenEvent {\n  bool down;\n  int groups; // of 126 samples until the next event\n};")
print("struct goldenKeying {\n  const char* name;\n  bool blocked;\n  int tail;\n  std::vector<goldenEvent> events;\n"
      "  std::vector<goldenRun> runs;\n  int overAfter; // groups since the start\n};")
print("inline const goldenKeying goldenKeyings[] = {")
for name, blocked, tail, events in CASES:
    runs, over = keying(blocked, tail, events)
    text_events = ", ".join(f"{{{'true' if d else 'false'}, {g}}}" for d, g in events)
    text_runs = ", ".join(f"{{gainOf::{k}, {i}, {n}}}" for k, i, n in runs)
    print(f'    {{"{name}", {"true" if blocked else "false"}, {tail}, {{{text_events}}},\n     {{{text_runs}}}, {over}}},')
print("};")
print("} // namespace larch::test")
