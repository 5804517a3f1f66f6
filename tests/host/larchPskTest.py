#!/usr/bin/env python3
"""larch psk against the simulated radio: what it reads of a band, and what it sends. Usage: larchPskTest.py BUILD_FOLDER [test ...]"""
import cmath
import math
import re
import signal
import subprocess
import sys
import time
import unittest

import larchTalkTest as talk
from larchTalkTest import BUILD, FULL, HOLD, PATIENCE, RATE

LINE = re.compile(r"7\.(\d{3})\.(\d{3}) (Q?PSK\d+) (.+)")
STATIONS = (  # Hz above 7.040 MHz, dBFS, mode, text
    (300, -70, "bpsk31", "CQ CQ de Q1ABC pse k"), (600, -75, "bpsk31", "Q2DEF de Q3GHI ur 599"),
    (900, -80, "bpsk31", "the quick brown fox"), (1200, -85, "bpsk31", "CQ TEST de Q4JKL"),
    (1500, -72, "bpsk31", "hello from the middle"), (1800, -78, "bpsk63", "Q5MNO de Q6PQR = name is Larry kn"),
    (2200, -83, "bpsk63", "weather is cold and clear tonight"), (2600, -88, "bpsk31", "beacon Q7STU 5 W"))


RIGHT, LEFT, TAB, CTRL_F = b"\x1b[C", b"\x1b[D", b"\t", b"\x06"


def scene(stations, more=""):
    return "noise -150\n" + "".join(f'psk {7040000 + hertz} {level} mode={mode} text="{text}" {more}\n'
                                    for hertz, level, mode, text in stations)


def bpsk31(samples, frequency, length):
    """Whether each symbol of a transmission, from its middle to the next one's, turns the phase; samples of 48 kHz, mirrored."""
    z = [s.conjugate() * cmath.exp(-2j * math.pi * frequency * k / RATE) for k, s in enumerate(samples)]
    return [(z[k] * z[k + length].conjugate()).real < 0 for k in range(0, len(z) - length, length)]


class LarchPsk(talk.LarchTalk):
    """With the radio, the wire and the terminal of the tests for speech."""

    def command(self, *arguments):
        return [f"{BUILD}/larch", "--log", self.path("larch.log"), "psk", "--radio", self.address, "--rate", "48k", "--freq", "7.040M",
                "--audio", "none", *arguments]

    def read_until(self, condition):
        """Lines as (Hz above 7 MHz, mode, text), until they fulfil a condition."""
        found, end = [], time.time() + PATIENCE
        while not condition(found):
            self.assertLess(time.time(), end, found)
            line = self.program.stdout.readline()
            self.assertTrue(line, found)
            if match := LINE.fullmatch(line.rstrip("\n")):
                found.append((int(match[1] + match[2]), match[3], match[4]))
        return found

    def wait_for_picture(self, text):
        self.wait(lambda: text in self.screen.text, text)

    def test_bad_words_get_clear_errors(self):
        for arguments, word in (
            (("--psk-mode", "psk32"), "unknown PSK mode 'psk32'; there are PSK31 PSK63 PSK125 QPSK31 QPSK63 QPSK125"),
            (("--primary", "3300"), "3300 lies outside of the passband, 200 to 3200 Hz"),
            (("--text", "hello"), "--text needs --transmit"),
            (("--transmit", "--text", "a~b"), "without ~"),
            (("--transmit", "--text", "gr\u00fcn"), "ASCII"),
            (("--transmit", "--text", "a" * 901), "longer than 900"),
        ):
            done = self.talk(*arguments)
            self.assertEqual(done.returncode, 1, done)
            self.assertIn(word, done.stderr)
        for arguments in (("--timeout", "0"), ("--drive", "256")):
            self.assertEqual(self.talk(*arguments).returncode, 2, arguments)
        self.assertEqual(self.wire.sent, [])

    def test_the_rate_need_not_be_given(self):
        done = subprocess.run([word for word in self.command("--seconds", "1") if word not in ("--rate", "48k")], stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, text=True, timeout=PATIENCE, env=self.environment())
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertIn("192000 samples/s", done.stdout)

    def test_eight_stations_are_read_at_once_and_not_their_sidebands(self):
        self.restart_radio(scene(STATIONS))
        self.start()

        def is_of(line, station):
            hertz, _, mode, text = station
            return abs(line[0] - 40000 - hertz) <= 5 and line[1] == mode[1:].upper() and line[2] == text
        found = self.read_until(lambda lines: all(any(is_of(line, s) for line in lines) for s in STATIONS))
        places = [(40000 + hertz, mode[1:].upper()) for hertz, _, mode, _ in STATIONS]
        for hertz, mode, text in found:
            if min(abs(hertz - h) for h, _ in places) > 120:
                continue  # the noise has its say, too
            self.assertTrue(any(abs(hertz - h) <= 10 and mode == m for h, m in places), (hertz, mode, text))
        self.assertEqual(self.wire.on(), 0)

    def test_the_primary_detector_reads_a_mode_that_the_others_do_not(self):
        self.restart_radio(scene(((1000, -70, "bpsk125", "only by the primary one"),)))
        self.start("--psk-mode", "psk125", "--primary", "1005")
        found = self.read_until(lambda lines: any(m == "PSK125" and t == "only by the primary one" for _, m, t in lines))
        self.assertLessEqual(abs(next(h for h, m, t in found if t == "only by the primary one") - 41000), 5)

    def press_until(self, pattern):
        """The operator goes 5 Hz up; and down and up again when that didn't help, as when the machine stood still meanwhile."""
        seen = lambda: re.search(pattern, self.screen.text)
        for key in (RIGHT, LEFT) * 3:
            self.screen.type(key)
            sent = len(self.wire.sent)
            self.wait(lambda: seen() or len(self.wire.sent) > sent + 10 * RATE // 126, pattern)  # a station begins every 4 s
            if seen():
                return
        self.fail(self.screen.text[-3000:])

    def follow(self, *modes):
        """A station a kilohertz in each mode, which go on and on: the operator tunes from one to the next, 8 Hz too low."""
        places = [(1508 + 1008 * k, mode, word) for k, (mode, word) in enumerate(zip(modes, ("alfa", "kilo", "tango")))]
        stations = [(hertz, -70, mode.lower() if mode[0] == "Q" else f"b{mode.lower()}", word) for hertz, mode, word in places]
        self.restart_radio(scene(stations, "pause=0"))
        self.start_in_terminal("--psk-mode", modes[0], "--primary", "1500")
        for hertz, mode, word in places:
            self.wait(lambda: f"RX {mode} on" in self.screen.text, mode)
            found = "|".join(rf"7\.{at // 1000:03}\.{at % 1000:03}" for at in range(40000 + hertz - 2, 40000 + hertz + 3))
            self.press_until(rf"RX {mode} on ({found}), \d+ Hz[\r\n]+[^\r\n]*{word}")
            self.screen.type(CTRL_F + TAB)

    def test_the_primary_detector_follows_two_phases_at_each_speed(self):
        self.follow("PSK31", "PSK63", "PSK125")

    def test_the_primary_detector_follows_four_phases_at_each_speed(self):
        self.follow("QPSK31", "QPSK63", "QPSK125")

    def test_a_quiet_band_says_nothing(self):
        done = self.talk("--seconds", "8")
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertFalse([line for line in done.stdout.splitlines() if LINE.fullmatch(line)], done.stdout)

    def test_a_line_that_has_begun_is_told_at_the_end(self):
        self.restart_radio(scene(((700, -70, "bpsk31", "abc " * 12),)))
        self.start()
        self.wait(lambda: len(self.wire.sent) > RATE // 126 * 10, "ten seconds")
        self.program.send_signal(signal.SIGINT)
        status, out, err = self.end()
        self.assertEqual(status, 0, err)
        self.assertRegex(out, r"PSK31 .*abc abc")

    def test_the_terminal_lists_the_signals_and_goes_from_one_to_the_next(self):
        self.restart_radio(scene(((600, -70, "bpsk31", "the lower one " * 3), (1500, -70, "bpsk31", "in the middle " * 3),
                                  (2200, -70, "bpsk63", "the upper one " * 6))))
        self.start_in_terminal()
        for line in (r"  7\.040\.(600|599|601) PSK31   +-?\d+ dBm .*lower", r"> +7\.041\.(500|499|501) PSK31 .*middle",
                     r"  7\.042\.(200|199|201) PSK63 .*upper", r"RX PSK31 on 7\.041\.(500|499|501)"):
            self.wait(lambda: re.search(line, self.screen.text), line)
        self.wait(lambda: len(self.wire.sent) > RATE // 126 * 12, "the beginning, when noise may still stand in the list")
        self.screen.text = ""
        self.wait_for_picture("3 signals")
        self.screen.type(b"\x1b[B")
        self.wait(lambda: re.search(r"RX PSK63 on 7\.042\.(200|199|201)", self.screen.text), "next signal")
        self.wait(lambda: re.search(r"> +7\.042\.(200|199|201) PSK63 .*upper", self.screen.text), "its text")

    def test_without_permission_no_key_transmits(self):
        self.start_in_terminal("--drive", "100")
        self.wait(lambda: "receive only" in self.screen.text and len(self.wire.sent) > HOLD, "picture")
        for keys in (b"cq cq", b"\r", b"more", b"\r", b"\x14", b"\x10"):
            sent = len(self.wire.sent)
            self.screen.type(keys)
            self.wait(lambda: len(self.wire.sent) > sent + 2 * HOLD, "stream")
        self.wait_for_picture("start with --transmit")
        self.screen.type(b"\x04")
        self.assertEqual(self.end()[0], 0)
        self.assert_nothing_was_sent()

    @talk.again_after_a_stall
    def test_text_that_is_sent_is_read_again(self):
        self.restart_radio("noise -150\n", "--tx-back", "14")
        self.start("--transmit", "--drive", "255", "--primary", "1100", "--text", "vvv vvv CQ de Q1ABC pse K", "--seconds", "300")
        found = self.read_until(lambda lines: any("CQ de Q1ABC pse K" in t for _, _, t in lines))  # its beginning may be lost
        self.assertLessEqual(abs(found[-1][0] - 41100), 5, found)
        self.assertEqual(len(self.wire.transmissions()), 1)
        samples = self.wire.transmissions()[0]
        # a second of idle first, which turns with each symbol, and two of carrier at the end, which never does
        symbol = 1536
        turns = bpsk31(samples[6000:6000 + 16 * symbol], 1100, symbol)
        self.assertGreater(sum(turns), 12)
        self.assertFalse(any(bpsk31(samples[-RATE:-RATE // 4], 1100, symbol)))

    @talk.again_after_a_stall
    def test_the_program_ends_with_its_text(self):
        done = self.talk("--transmit", "--drive", "255", "--text", "73")
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertIn("sent 73", done.stdout)
        self.assertEqual(len(self.wire.transmissions()), 1)
        self.assertAlmostEqual(max(abs(z) for z in self.wire.transmissions()[0]) / FULL, 1, delta=0.01)
        self.assert_stopped()

    @talk.again_after_a_stall
    def test_typed_text_is_rewritten_before_it_goes_out(self):
        self.start_in_terminal("--transmit", "--drive", "255")
        self.wait_for_picture("hold> ")
        self.screen.type(b"wronh\x7fg text\x15the cad\x7ft sat\r")
        self.wait_for_picture("ON AIR")
        self.wait_for_mox(True)
        self.screen.type(b" hereX\x7f\r")
        self.wait_for_mox(False)
        self.screen.text = ""
        self.wait(lambda: "hold> the cat sat here" in self.screen.text, "what went out")
        self.assertEqual(len(self.wire.transmissions()), 1)

    @talk.again_after_a_stall
    def test_stop_drops_what_waits_and_nothing_moves_behind_it(self):
        self.start_in_terminal("--transmit", "--drive", "255", "--text", "a long text " * 60)
        self.wait_for_air()
        self.wait_for_picture("a long")
        self.screen.type(b"\x1b\x1b[B" + RIGHT + TAB + CTRL_F)  # down parts Esc from the keys that move and change a receiver
        self.wait_for_mox(False)
        self.assertLess(len(self.wire.transmissions()[0]), 30 * RATE)
        self.screen.text = ""
        self.wait_for_picture("RX PSK31 on 7.041.500, 1500 Hz")

    @talk.again_after_a_stall
    def test_a_time_out_drops_what_waits_and_is_a_failure(self):
        done = self.talk("--transmit", "--drive", "255", "--timeout", "3", "--text", "a long text " * 60)
        self.assertEqual(done.returncode, 1)
        self.assertIn("time-out after 3 s", done.stderr)
        self.assertEqual(len(self.wire.transmissions()), 1)
        self.assert_stopped()

    def test_a_text_doesnt_wait_for_ever_for_a_silent_radio(self):
        self.wire.cut = True
        done = self.talk("--transmit", "--text", "e", "--force", "--board", "hl2")
        self.assertEqual(done.returncode, 1, done)
        self.assertIn("the radio sent nothing", done.stderr)

    @talk.again_after_a_stall
    def test_interrupt_ends_a_transmission_behind_its_carrier(self):
        self.start("--transmit", "--drive", "255", "--text", "a long text " * 60)
        self.wait_for_air()
        self.program.send_signal(signal.SIGINT)
        status, _, err = self.end()
        self.assertEqual(status, 0, err)
        last = max(i for i, d in enumerate(self.wire.sent) if any(d.mox))
        self.assertGreaterEqual(len(self.wire.sent) - last - 1, HOLD)
        self.assert_stopped()


if __name__ == "__main__":
    names = sys.argv[2:] or [name for name in vars(LarchPsk) if name.startswith("test_")]
    unittest.main(argv=[sys.argv[0]] + [f"LarchPsk.{name}" for name in names], verbosity=2)
