#!/usr/bin/env python3
"""larch hell against the simulated radio: what it sends as the wire shows it, and what can be read off its picture.
Usage: larchHellTest.py BUILD_FOLDER [test ...]"""
import cmath
import math
import signal
import struct
import sys
import unittest
import zlib

import larchPskTest as psk
from larchTalkTest import again_after_a_stall, FULL, HOLD, RATE

STEP = 60  # Hz between rows, and pixels a second
TOP = 1300  # Hz
PIXEL = RATE // STEP + 1  # samples
# columns of the characters sent here, the highest bit on top
FONT = {"E": (0xFE, 0x92, 0x92, 0x92, 0x82), "L": (0xFE, 0x02, 0x02, 0x02, 0x02), "I": (0x82, 0xFE, 0x82), "i": (0x9E,),
        "5": (0xE4, 0xA2, 0xA2, 0xA2, 0x9C), "g": (0x18, 0x25, 0x25, 0x25, 0x3E), " ": (0, 0, 0, 0, 0)}
STOPS = ((0.0, (0, 0, 16)), (0.25, (0, 20, 110)), (0.45, (0, 130, 160)), (0.6, (40, 190, 60)), (0.78, (250, 220, 40)),
         (0.9, (250, 90, 30)), (1.0, (255, 255, 255)))  # the colours of the picture
HEIGHT, POINTS, MARGINS, GAP = 120, 10, 2, 10  # of its strips; of a row; rows above and below; between strips


def columns(text):
    """Of eight bits, the lowest row first; a blank one before each character."""
    return [[column >> n & 1 for n in range(8)] for c in text for column in (0, *FONT[c])]


def power(samples, middle, row):
    """Of a row's tone around a moment, row 0 the lowest; samples as on the wire, where the upper sideband is below 0."""
    half, frequency = PIXEL // 2, TOP - (7 - row) * STEP
    if middle < half or middle + half > len(samples):
        return 0
    return abs(sum(samples[middle + k] * cmath.exp(2j * math.pi * frequency * k / RATE) for k in range(-half, half, 4))) / (2 * half // 4)


def picture(path):
    """The lines of a PNG picture of 24 bits, as places on the scale of colours from 0 to 1."""
    with open(path, "rb") as f:
        raw = f.read()
    width, height, depth, kind, _, _, interlace = struct.unpack(">IIBBBBB", raw[16:29])
    assert raw[:8] == b"\x89PNG\r\n\x1a\n" and (depth, kind, interlace) == (8, 2, 0)
    data, at = b"", 8
    while at < len(raw):
        size, = struct.unpack(">I", raw[at:at + 4])
        data += raw[at + 8:at + 8 + size] if raw[at + 4:at + 8] == b"IDAT" else b""
        at += size + 12
    data, above, lines, known = zlib.decompress(data), bytearray(3 * width), [], {}
    for y in range(height):
        form, line = data[y * (3 * width + 1)], bytearray(data[y * (3 * width + 1) + 1:(y + 1) * (3 * width + 1)])
        for i in range(3 * width):
            a, b, c = line[i - 3] if i > 2 else 0, above[i], above[i - 3] if i > 2 else 0
            near = min((a, b, c), key=lambda v: abs(a + b - c - v)) if form == 4 else (0, a, b, (a + b) // 2)[form]
            line[i] = (line[i] + near) & 255
        lines.append([known.setdefault(colour, place(colour)) if colour not in known else known[colour]
                      for colour in (tuple(line[i:i + 3]) for i in range(0, 3 * width, 3))])
        above = line
    return lines


def place(colour):
    """Of a colour on the scale."""
    found = []
    for (x, low), (y, high) in zip(STOPS, STOPS[1:]):
        t = sum((c - l) * (h - l) for c, l, h in zip(colour, low, high)) / sum((h - l) ** 2 for l, h in zip(low, high))
        t = min(max(t, 0), 1)
        found.append((sum((c - l - t * (h - l)) ** 2 for c, l, h in zip(colour, low, high)), x + t * (y - x)))
    return min(found)[1]


class LarchHell(psk.LarchPsk):
    """With the radio, the wire and the terminal of the tests for speech."""

    def command(self, *arguments):
        return [f"{psk.BUILD}/larch", "--log", self.path("larch.log"), "hell", "--radio", self.address, "--rate", "48k", "--freq", "7.010M",
                "--audio", "none", *([] if "--step" in arguments else ["--step", str(STEP)]), *arguments]

    def assert_drawn(self, samples, text):
        """Each pixel of the text stands in the samples, and nothing else; it swells until its end. One delay holds for all."""
        pixels = [(8 * n + row, row, bit) for n, column in enumerate(columns(text)) for row, bit in enumerate(column)]

        def levels(delay, wanted):
            return [power(samples, (index + 1) * PIXEL + delay, row) for index, row, bit in pixels if bit == wanted]
        delay = max(range(-PIXEL, 4 * PIXEL, PIXEL // 8), key=lambda d: sum(levels(d, 1)))
        lit, dark = levels(delay, 1), levels(delay, 0)
        self.assertGreater(min(lit), 0.3 * FULL)
        self.assertLess(max(dark), 0.5 * min(lit))
        return delay

    def readable(self, path, text, frames_s):
        """Whether each pixel of the text is a bright cell of the picture, and the others are darker. One place holds for all."""
        lines = picture(path)
        strips = (len(lines) + GAP) // (HEIGHT + GAP)
        rows = [sum((lines[s * (HEIGHT + GAP) + (MARGINS + 7 - row) * POINTS + POINTS // 2] for s in range(strips)), []) for row in range(8)]
        drawn, pitch = columns(text), 8 * PIXEL / RATE * frames_s

        def cells(start, wanted):
            return [rows[row][round(start + (n + 0.5) * pitch)] for n, column in enumerate(drawn) for row, bit in enumerate(column) if bit == wanted]
        last = len(rows[0]) - round(len(drawn) * pitch) - 1
        start = max(range(last), key=lambda at: sum(cells(at, 1)) - sum(cells(at, 0)))
        return min(cells(start, 1)) > 0.68 and max(cells(start, 0)) < 0.58

    def send_and_hear(self, text):
        """Sends a text and takes the picture of its echo."""
        self.start("--transmit", "--drive", "255", "--text", text, "--waterfall", self.path("hell.png"), "--seconds", "300")
        self.wait_for_mox(True)
        self.wait_for_mox(False)
        sent = len(self.wire.sent)
        self.wait(lambda: len(self.wire.sent) > sent + 3 * RATE // 126, "three seconds for the echo")
        self.program.send_signal(signal.SIGINT)
        status, out, err = self.end()
        self.assertEqual(status, 0, err)
        self.assertIn(f"sent {text}\n", out)
        self.assertRegex(out, r"waterfall of \d+ columns in ")
        self.assert_stopped()

    def test_bad_words_get_clear_errors(self):
        for arguments, word in (
            (("--text", "hello"), "--text needs --transmit"),
            (("--transmit", "--text", "a~b"), "without ~"),
            (("--transmit", "--text", "a" * 900), "longer than 899"),
        ):
            done = self.talk(*arguments)
            self.assertEqual(done.returncode, 1, done)
            self.assertIn(word, done.stderr)
        for arguments in (("--step", "0"), ("--step", "nan"), ("--zoom", "4"), ("--drive", "256"), ("--timeout", "0")):
            self.assertEqual(self.talk(*arguments).returncode, 2, arguments)
        self.assertEqual(self.wire.sent, [])

    @again_after_a_stall
    def test_text_is_drawn_to_the_pixel_and_its_echo_is_readable_in_the_picture(self):
        self.restart_radio("noise -150\n", "--tx-back", "2")
        for _ in range(3):  # a machine that stands still for two seconds leaves a gap in the echo
            self.send_and_hear("i5g")
            self.assert_drawn(self.wire.transmissions()[-1], "i5g")
            if self.readable(self.path("hell.png"), "i5g", 4 * RATE / 2048):
                break
        else:
            self.fail("the picture can't be read")
        self.assertFalse(self.readable(self.path("hell.png"), "iEg", 4 * RATE / 2048))

    @again_after_a_stall
    def test_typed_text_is_drawn(self):
        self.start_in_terminal("--transmit", "--drive", "255")
        self.wait_for_picture("RX topmost row on 7.011.300, 60 Hz a row")
        self.screen.type(b"Lx\x7fE\rI\r")  # also what is typed behind the first Enter is on its way before that has gone out
        self.wait_for_picture("ON AIR")
        self.wait_for_mox(True)
        self.wait_for_mox(False)
        self.screen.text = ""
        self.wait_for_picture("hold> LEI")
        self.assert_drawn(self.wire.transmissions()[0], "LEI")
        self.screen.type(b"\x04")
        self.assertEqual(self.end()[0], 0)

    @again_after_a_stall
    def test_escape_ends_a_text_behind_the_character_under_way(self):
        self.start_in_terminal("--transmit", "--drive", "255", "--text", "E" * 200)
        self.wait_for_air()
        self.screen.type(b"\x1b")
        self.wait_for_mox(False)
        whole = len(self.wire.transmissions()[0]) // (6 * 8 * PIXEL)  # the last one is the blank in front of the end
        self.assertGreater(whole, 1)
        self.assert_drawn(self.wire.transmissions()[0], "E" * (whole - 1) + " ")

    def test_without_permission_nothing_is_sent(self):
        self.start_in_terminal("--drive", "100")
        self.wait_for_picture("receive only")
        for keys in (b"cq\r", b"\x14"):
            sent = len(self.wire.sent)
            self.screen.type(keys)
            self.wait(lambda: len(self.wire.sent) > sent + HOLD, "stream")
        self.wait_for_picture("start with --transmit")
        self.screen.type(b"\x04")
        self.assertEqual(self.end()[0], 0)
        self.assert_nothing_was_sent()


if __name__ == "__main__":
    names = sys.argv[2:] or [name for name in vars(LarchHell) if name.startswith("test_")]
    unittest.main(argv=[sys.argv[0]] + [f"LarchHell.{name}" for name in names], verbosity=2)
