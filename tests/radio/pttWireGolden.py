#!/usr/bin/env python3
"""Whole overs on the wire, datagram by datagram, by the plain rules, as a header for HpsdrRadioPttTest. Prints pttWireGolden.h.

Each received datagram pays for one sent (one receiver, 48000 Hz). A step is ("run", datagrams), ("key", down) or
("queue", value): a blind write of a status byte.
"""
import math
import struct
import sys
import zlib
sys.dont_write_bytecode = True
from transmitGolden import drive, words  # noqa: E402

PI, CLOCK, RX_GAIN, TX_GAIN, LEAST = 3.1415927, 73728000, 24, -3, -12
FIRST_FREQUENCY, RX_FILTER, TX_FILTER = 14095600, 0x22, 0x11
J16 = [2498270, 4282749, 5995849, 8565498, 11991698, 16655136, 18737028, 23060958, 27253859, 42827494]


def row(f):
    return next((i for i, top in enumerate(J16) if f <= top), None)


class wire:
    def __init__(self, vfo, blocked, coarse, level, drive_level, board):
        self.vfo, self.blocked, self.coarse, self.level, self.board = vfo, blocked, coarse, level, board
        self.step = drive(coarse, drive_level)
        self.tx_frequency, self.known = FIRST_FREQUENCY, False
        self.ptt = self.last_ptt = self.down = False
        self.sequence = self.index = self.tail = self.ramp = 0
        self.code, self.lna = 0, False
        self.queue, self.delay, self.wait = [], 0, 0
        self.since = 0  # samples since the last key event
        self.rows = []
        self.compute_gain()

    def compute_gain(self):
        g = TX_GAIN if self.ptt or self.tail > 1 else RX_GAIN
        if self.coarse:
            self.code = (g - LEAST) & 255
        else:
            v = LEAST - g + 63
            self.lna, self.code = v >= 32, v % 32

    def set_ptt(self, on):
        if on:
            self.known = True
        if on != self.ptt:
            self.ptt = on
            self.compute_gain()

    def key(self, down):
        self.down, self.since = down, 0
        if down:
            self.set_ptt(True)

    def gain(self):
        i, self.since = self.since, self.since + 1
        if self.down:
            i -= 768 if self.blocked else 0
            return 0 if i < 0 else 0.5 * math.cos(PI * (512 - i) / 512) + 0.5 if i <= 512 else 1
        return 0.5 * math.cos(PI * i / 512) + 0.5 if i < 512 else 0

    def word(self, f):
        h = CLOCK // 2
        return f % h if f // h % 2 == 0 else h - f % h

    def register(self, i):
        if i == 0:
            transmit = self.ptt or self.tail > 1
            at = row(self.tx_frequency if transmit else self.vfo)
            bits = (TX_FILTER if transmit else RX_FILTER) if at is not None and at == row(self.vfo) else 0
            return [0, bits << 1, self.lna << 3, 4]
        if i == 1 or 2 <= i <= 8 or 18 <= i <= 42:
            if i == 1 and self.known:
                self.tx_frequency = self.vfo
            f = self.tx_frequency if i == 1 else self.vfo if i == 2 else 10000000
            return list(struct.pack(">I", self.word(f)))
        return {9: [self.step[0], 0, 0, 0], 10: [0, 0, 0, self.code + (0x40 if self.coarse else 0x20)],
                16: [120 >> 2, 120 & 3, 0, 0]}.get(i, [0] * 4)

    def frame(self, i):
        self.delay += 1
        if self.queue and self.delay > self.wait:
            self.delay, self.wait = 0, 40
            return [0xfa | self.ptt, 6, 0xa8, 0x60, self.queue.pop(0)]
        return [2 * i | self.ptt] + self.register(i)

    def send(self, samples):
        edge = self.ptt != self.last_ptt
        if edge:
            self.index, self.last_ptt, self.tail = 0, self.ptt, 0 if self.ptt else 50
        now = (edge and self.tail == 0) or self.tail == 1
        data, commands = struct.pack(">HBBI", 0xeffe, 1, 2, self.sequence), []
        for half in range(2):
            i = (0, 10)[half] if now else self.index % 46
            commands.append(self.frame(i))
            self.index = i + 1
            data += bytes([0x7f] * 3 + commands[-1])
            odd = self.tx_frequency // (CLOCK // 2) % 2
            for s in samples[63 * half:63 * half + 63]:
                left, right = (self.ramp, self.ramp * 16) if self.board == 6 else (0, 0)
                self.ramp = (self.ramp + 1) % 4096
                data += struct.pack(">HHhh", left, right, *words(s.real, s.imag, self.step[1])[odd])
        if self.index > 45:
            self.index = 0
        self.sequence += 1
        if self.tail > 0 and not self.ptt:
            self.tail -= 1
        self.rows.append((commands, zlib.crc32(data), len(data)))

    def run(self, steps):
        for what, value in steps:
            if what == "key":
                self.key(value)
            elif what == "queue":
                self.queue.append(value)
            else:
                for _ in range(value):
                    if not self.ptt:
                        self.send([0j] * 126)
                        continue
                    self.send([self.gain() * self.level for _ in range(126)])
                    if not self.down and self.since >= 512 + 504:
                        self.set_ptt(False)
        return self.rows


KEY_STEPS = [("run", 7), ("key", True), ("run", 20), ("key", False), ("run", 80)]
CASES = [
    ("blocked", (7100000, True, False, 0.9 - 0.1j, 200, 0), KEY_STEPS),
    ("direct, sixteen levels, odd zone", (50100000, False, True, 0.5 + 0.3j, 254, 0), KEY_STEPS),
    ("direct with the ramp, over full scale", (7100000, False, False, 3 - 4j, 255, 6), KEY_STEPS),
    ("a rise within the hold", (7100000, True, False, 1 + 0j, 255, 0),
     [("run", 3), ("key", True), ("run", 30), ("key", False), ("run", 9 + 30), ("key", True), ("run", 30), ("key", False),
      ("run", 70)]),
    ("a rise within the fall", (7100000, False, False, 1 + 0j, 255, 0),
     [("run", 3), ("key", True), ("run", 30), ("key", False), ("run", 4), ("key", True), ("run", 12), ("key", False),
      ("run", 70)]),
    ("a fall within the rise", (7100000, False, False, 1 + 0j, 255, 0),
     [("run", 3), ("key", True), ("run", 2), ("key", False), ("run", 70)]),
    ("a fall before the first datagram", (7100000, False, False, 1 + 0j, 255, 0),
     [("run", 3), ("key", True), ("key", False), ("run", 70)]),
    ("queued commands at the rise, in the over and at the end of the hold", (7100000, True, False, 1 + 0j, 255, 0),
     [("run", 40), ("key", True), ("queue", 0x55), ("run", 25), ("queue", 0x66), ("run", 20), ("key", False), ("run", 9 + 49),
      ("queue", 0x77), ("run", 30)]),
]


def main():
    print("// Made by pttWireGolden.py: do not edit.")
    print("// clang-format off")
    print("#pragma once\n#include <cstdint>\n#include <vector>")
    print("namespace larch::test {")
    print("enum class overStep { run, key, queue };")
    print("struct goldenStep {\n  overStep what;\n  int value;\n};")
    print("struct goldenDatagram {\n  int frame[2][5]; // C0 to C4\n  uint32_t crc;    // CRC-32 of all 1032 bytes\n};")
    print("struct goldenOver {\n  const char* name;\n  int vfo;\n  bool blocked, coarse;\n  double re, im;\n  int drive, board;\n"
          "  std::vector<goldenStep> steps;\n  std::vector<goldenDatagram> sent;\n};")
    print("inline const goldenOver goldenOvers[] = {")
    for name, form, steps in CASES:
        vfo, blocked, coarse, level, drive_level, board = form
        text = ", ".join(f"{{overStep::{w}, {int(v)}}}" for w, v in steps)
        print(f'    {{"{name}", {vfo}, {str(blocked).lower()}, {str(coarse).lower()}, {level.real}, {level.imag}, {drive_level}, '
              f"{board},\n     {{{text}}},\n     {{")
        for commands, crc, size in wire(*form).run(steps):
            assert size == 1032
            frames = ", ".join("{" + ", ".join(map(str, c)) + "}" for c in commands)
            print(f"         {{{{{frames}}}, {crc:#010x}}},")
        print("     }},")
    print("};")
    print("} // namespace larch::test")


if __name__ == "__main__":
    main()
