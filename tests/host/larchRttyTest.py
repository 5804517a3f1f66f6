#!/usr/bin/env python3
"""larch rtty against the simulated radio: what it reads, and what it sends as the wire shows it. Usage: larchRttyTest.py BUILD_FOLDER [test ...]"""
import cmath
import math
import os
import re
import signal
import sys
import unittest

import larchPskTest as psk
from larchTalkTest import again_after_a_stall, FULL, HOLD, RATE

# the international alphabet No. 2 by code, first bit lowest; "\f" stands for the figures shift, "\v" for the letters shift
LETTERS = "\0E\nA SIU\rDRJNFCKTZLWHYPQOBG\fMXV\v"
FIGURES = "\0003\n- '87\r\0054\007,!:(5+)2\xa36019?&\f./=\v"
MARK, SPACE = 2170, 2000  # Hz above the frequency, as sent
BIT = RATE * 22 // 1000
FRAME = 15 * BIT // 2  # with 1.5 stop bits
LINE = re.compile(r"7\.(\d{3})\.(\d{3}) RTTY (.+)\n")
TEXT = "CQ TEST DE Q1ABC 599 042 K"
STATION = f'noise -150\nrtty 7.012M -70 reverse=yes text="{TEXT}" pause=1\n'


def tones(samples, piece=BIT // 4):
    """Whether the mark sounds, in pieces; samples as on the wire, where the upper sideband is below 0."""
    def power(at, f):
        return abs(sum(z * cmath.exp(2j * math.pi * f * k / RATE) for k, z in enumerate(samples[at:at + piece])))
    return [power(at, MARK) > power(at, SPACE) for at in range(0, len(samples) - piece, piece)]


def codes(samples):
    """The five-bit codes of a transmission. Each frame must begin where the one before ends, to a quarter of a bit."""
    top = max(abs(z) for z in samples)
    marks = tones(samples[next(k for k, z in enumerate(samples) if abs(z) > top / 2):])  # four to a bit
    found, at = [], marks.index(False)
    while at + 28 <= len(marks):  # the last stop bit may be cut short
        start = next((i for i in range(at - 1, at + 2) if not marks[i]), None)
        assert start is not None, (at, found)
        bits = [marks[start + 4 * n + 2] for n in range(7)]
        assert not bits[0] and bits[6], (bits, found)
        found.append(sum(bit << n for n, bit in enumerate(bits[1:6])))
        at = start + 30
    return found


def read(codes, unshifts):
    """As text, at a receiver that is back at letters behind a blank, or isn't."""
    text, figures = "", False
    for code in codes:
        c = (FIGURES if figures else LETTERS)[code]
        figures = c == "\f" or (figures and c != "\v" and not (unshifts and c == " "))
        text += c if c not in "\f\v" else ""
    return text


class LarchRtty(psk.LarchPsk):
    """With the radio, the wire and the terminal of the tests for speech."""

    def command(self, *arguments):
        return [f"{psk.BUILD}/larch", "--log", self.path("larch.log"), "rtty", "--radio", self.address, "--rate", "48k", "--freq", "7.010M",
                "--audio", "none", *arguments]

    def test_bad_words_get_clear_errors(self):
        for arguments, word in (
            (("--text", "HELLO"), "--text needs --transmit"),
            (("--transmit", "--text", "A#B"), "no code for '#'"),
            (("--transmit", "--text", "A~B"), "no code for '~'"),
            (("--transmit", "--text", "1 " * 400), "longer than 897 characters with its shifts"),
        ):
            done = self.talk(*arguments)
            self.assertEqual(done.returncode, 1, done)
            self.assertIn(word, done.stderr)
        for arguments in (("--mark", "3000"), ("--width", "50"), ("--squelch", "-1"), ("--drive", "256"), ("--timeout", "0")):
            self.assertEqual(self.talk(*arguments).returncode, 2, arguments)
        self.assertEqual(self.wire.sent, [])

    def test_a_station_is_read_line_by_line_and_nothing_else_is_printed(self):
        self.restart_radio(STATION)
        self.start()
        lines = []
        while not any(TEXT in line for line in lines):
            lines.append(self.program.stdout.readline())
            self.assertTrue(lines[-1], lines)
        for line in lines[1:]:  # behind the radio's
            match = LINE.fullmatch(line)
            self.assertTrue(match, line)
            self.assertEqual(match[1] + match[2], "012000")
        self.program.send_signal(signal.SIGINT)
        self.assertEqual(self.end()[0], 0)
        self.assertEqual(self.wire.on(), 0)

    def test_raw_leaves_stdout_to_the_library(self):
        self.restart_radio(STATION)
        self.start("--raw")
        heard = ""
        while f"\r\n{TEXT}" not in heard:
            byte = os.read(self.program.stdout.fileno(), 1)
            self.assertTrue(byte, heard)
            heard += byte.decode("latin-1")
        self.program.send_signal(signal.SIGINT)
        _, _, err = self.end()
        self.assertIn("samples/s", err)
        self.assertIn("spectrum frames", err)
        self.assertNotIn("samples/s", heard)

    def test_a_quiet_band_says_nothing(self):
        done = self.talk("--seconds", "6", "--squelch", "12")
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertNotIn("RTTY", done.stdout)

    def test_the_terminal_shows_the_text_and_keys_nothing_without_permission(self):
        self.restart_radio(STATION)
        self.start_in_terminal("--drive", "100")
        self.wait_for_picture("RX mark on 7.012.000, space 170 Hz above")
        self.wait_for_picture(TEXT)
        self.assertEqual(os.readlink(f"/proc/{self.program.pid}/fd/1"), "/dev/null")  # where the library writes
        for keys in (b"cq", b"\r", b"\x14"):
            sent = len(self.wire.sent)
            self.screen.type(keys)
            self.wait(lambda: len(self.wire.sent) > sent + HOLD, "stream")
        self.wait_for_picture("start with --transmit")
        self.screen.type(b"]\x1b[C")
        self.wait_for_picture("550 Hz wide")
        self.wait_for_picture("mark on 7.012.100")
        self.screen.type(b"\x04")
        self.assertEqual(self.end()[0], 0)
        self.assert_nothing_was_sent()

    @again_after_a_stall
    def test_text_is_keyed_to_the_letter_and_read_through_a_mirror(self):
        self.restart_radio("noise -150\n", "--record-tx", self.path("sent.wav"))
        self.start("--transmit", "--drive", "255", "--text", "Q1 599 042/k")
        status, out, err = self.end()
        self.assertEqual(status, 0, err)
        self.assertIn("sent Q1 599 042/k\n", out)
        self.assertEqual(len(self.wire.transmissions()), 1)
        sent = self.wire.transmissions()[0]
        self.assertAlmostEqual(max(abs(z) for z in sent) / FULL, 0.95, delta=0.05)  # the filter's ripple behind a change
        found = codes(sent)
        for unshifts in (True, False):
            self.assertIn("Q1 599 042/K\r\n", read(found, unshifts))
        self.assert_stopped()
        # the own mark is the higher tone and the receiver's the lower one: it reads itself from the other sideband
        self.restart_radio(f"noise -150\niq 7.010M -40 file={self.path('sent.wav')} mirrored=yes\n")
        self.start("--mark", str(-MARK))
        lines = []
        while not any("599 042/K" in line for line in lines):
            lines.append(self.program.stdout.readline())
            self.assertTrue(lines[-1], lines)

    @again_after_a_stall
    def test_typed_text_is_rewritten_before_it_goes_out(self):
        self.start_in_terminal("--transmit", "--drive", "255")
        self.wait_for_picture("hold> ")
        self.screen.type(b"wronh\x7fg 5\x15de 5 5\x7f\x7f6\r")
        self.wait_for_picture("ON AIR")
        self.wait_for_mox(True)
        self.screen.type(b" k1\x7f\r")
        self.wait_for_mox(False)
        self.screen.text = ""
        self.wait_for_picture("hold> de 56 k")
        self.assertEqual(len(self.wire.transmissions()), 1)
        self.assertIn("DE 56 K\r\n", read(codes(self.wire.transmissions()[0]), True))

    @again_after_a_stall
    def test_escape_ends_a_text_behind_the_letter_under_way(self):
        self.start_in_terminal("--transmit", "--drive", "255", "--text", "RY" * 200)
        self.wait_for_air()
        self.screen.type(b"\x1b")
        self.wait_for_mox(False)
        self.assertRegex(read(codes(self.wire.transmissions()[0]), True), "^(RY)+R?\r\n$")


if __name__ == "__main__":
    names = sys.argv[2:] or [name for name in vars(LarchRtty) if name.startswith("test_")]
    unittest.main(argv=[sys.argv[0]] + [f"LarchRtty.{name}" for name in names], verbosity=2)
