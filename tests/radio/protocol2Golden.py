#!/usr/bin/env python3
"""The packets that a Protocol 2 radio is sent in several configurations, byte by byte, from the protocol's tables. Prints
protocol2Golden.h."""
from fractions import Fraction

# name, receivers' frequencies, maxHwReceivers, SampleRate, clockFrequency, rxGain, maxRxRFGain
CASES = [
    ("one receiver as it comes", [14095600], 1, 48000, 122880000, 0, 0),
    ("two receivers of four", [14000000, 7100000], 4, 192000, 122880000, 0, 0),
    ("nine receivers", [1000000 * (i + 1) + 17 for i in range(9)], 9, 384000, 122880000, -10, 0),
    ("sixteen receivers at the highest rate", [500000 + 3770013 * i for i in range(16)], 16, 1536000, 122880000, -31, 0),
    ("more receivers than the radio offers", [3500000, 7000000, 10100000], 1, 96000, 122880000, 5, 0),
    ("odd zones and far above the clock", [70000000, 144200000, 2147483647], 3, 768000, 122880000, -3, 20),
    ("below zero, another clock", [-1, -7000000, 0], 3, 48000, 73728000, 300, -1),
    ("a rate that is none", [50000000], 2, -96000, 76800000, 0, -31),
    ("more rows than sixteen", [14074000, 21074000], 40, 48000, 122880000, 0, 0),
    ("words over the transmitter's", [14074000, 21074000], 100, 48000, 122880000, 0, 0),
    ("more than a packet holds", [14074000], 2147483647, 1536000, 122880000, -20, -20),
    ("none at all", [14074000], -5, 48000, 122880000, 0, 0),
]
LONG = 1444


def words(value, count):
    return [(value >> 8 * (count - 1 - i)) & 255 for i in range(count)]


def put(packet, at, data):
    """False, and nothing written, where the packet ends."""
    if at + len(data) > len(packet):
        return False
    packet[at:at + len(data)] = data
    return True


def phase(frequency, clock):
    exact = Fraction(frequency * 2**32, clock)
    whole = int(abs(exact) + Fraction(1, 2))  # half away from zero
    return (whole if exact >= 0 else -whole) & 0xffffffff


def down_converters(frequencies, most, rate):
    p = [0] * LONG
    p[4] = 2
    for i in range(min(len(frequencies), 16)):
        p[7 + i // 8] |= 1 << i % 8
    khz = abs(rate) // 1000 * (1 if rate >= 0 else -1)
    for i in range(most):
        if not put(p, 17 + 6 * i, [0] + words(khz & 0xffff, 2) + [0, 0, 24]):
            break
    return p


def high_priority(frequencies, most, clock, gain, most_gain, run):
    p = [0] * LONG
    p[4] = run
    for i in range(max(len(frequencies), most)):
        if not put(p, 9 + 4 * i, words(phase(frequencies[i if i < len(frequencies) else 0], clock), 4)):
            break
    put(p, 329, words(phase(frequencies[0], clock), 4))
    put(p, 1432, [0x21, 0, 0x10, 0])
    p[1443] = (most_gain - gain) & 255
    return p


def general():
    p = [0] * 60
    for at, value in ((5, 1025), (7, 1026), (9, 1027), (11, 1025), (13, 1028), (15, 1029), (17, 1035), (19, 1026), (21, 1027), (24, 512)):
        put(p, at, words(value, 2))
    for at, value in ((23, 1), (26, 16), (27, 20), (28, 32), (37, 8), (58, 1), (59, 3)):
        p[at] = value
    return p


def up_converter():
    p = [0] * 60
    for at, data in ((4, [1, 0xB8]), (7, [0x02, 0x58, 0x19, 0x32, 1, 0x36, 0x14]), (15, [0xC0]), (50, [4, 0x17]), (57, [0x1F] * 3)):
        put(p, at, data)
    return p


def rows(packet):
    """Runs of equal distance would be shorter; runs of bytes that aren't 0 will do."""
    out, at = [], 0
    while at < len(packet):
        if packet[at] == 0:
            at += 1
            continue
        end = at
        while end < len(packet) and packet[end] != 0:
            end += 1
        out.append("{%d, {%s}}" % (at, ", ".join(map(str, packet[at:end]))))
        at = end
    lines, line = [], ""
    for item in out:
        if len(line) + len(item) > 120:
            lines.append(line)
            line = ""
        line += item + ", "
    return "{" + "\n      ".join(lines + [line.rstrip(", ")]) + "}"


print("""// Made by protocol2Golden.py: do not edit.
// clang-format off
#pragma once
#include <cstdint>
#include <vector>
namespace larch::test {
// The bytes of a packet that aren't 0, from their places on.
struct goldenRun {
  int at;
  std::vector<int> values;
};
using goldenPacket = std::vector<goldenRun>;
struct goldenPackets {
  const char* name;
  std::vector<int32_t> frequencies;
  int32_t maxHwReceivers, sampleRate, clockFrequency, rxGain, maxRxRFGain;
  goldenPacket downConverters, highPriority, stop;
};""")
print("inline const goldenPacket goldenGeneral = %s;" % rows(general()))
print("inline const goldenPacket goldenUpConverter = %s;" % rows(up_converter()))
print("inline const goldenPackets goldenCases[] = {")
for name, frequencies, most, rate, clock, gain, most_gain in CASES:
    most_rows = min(most, 1000)
    print('    {"%s", {%s}, %d, %d, %d, %d, %d,' % (name, ", ".join(map(str, frequencies)), most, rate, clock, gain, most_gain))
    print("     " + rows(down_converters(frequencies, most_rows, rate)) + ",")
    for run in (1, 0):
        print("     " + rows(high_priority(frequencies, most_rows, clock, gain, most_gain, run)) + (",", "},")[run == 0])
print("};\n} // namespace larch::test")
