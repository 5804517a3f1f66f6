#!/usr/bin/env python3
"""larch cw against the simulated radio: what it reads, and what it sends as the wire shows it. Usage: larchCwTest.py BUILD_FOLDER [test ...]"""
import cmath
import math
import os
import re
import signal
import struct
import subprocess
import sys
import unittest
import wave

import larchTalkTest as talk
from larchTalkTest import again_after_a_stall, BUILD, FULL, HOLD, PATIENCE, RATE

# the international alphabet
MORSE = {"A": ".-", "B": "-...", "C": "-.-.", "D": "-..", "E": ".", "F": "..-.", "G": "--.", "H": "....", "I": "..", "J": ".---",
         "K": "-.-", "L": ".-..", "M": "--", "N": "-.", "O": "---", "P": ".--.", "Q": "--.-", "R": ".-.", "S": "...", "T": "-",
         "U": "..-", "V": "...-", "W": ".--", "X": "-..-", "Y": "-.--", "Z": "--..", "0": "-----", "1": ".----", "2": "..---",
         "3": "...--", "4": "....-", "5": ".....", "6": "-....", "7": "--...", "8": "---..", "9": "----.", ".": ".-.-.-",
         "?": "..--..", "!": "-.-.--"}
LETTERS = {code: letter for letter, code in MORSE.items()}
EDGE = 256  # samples of a keyed edge: seen at half of its height a mark is as much shorter
DOWN, UP = 1, 0


def runs(samples):
    """(keyed, length) of the stretches between the first mark and the last one, and where the first begins."""
    level = [abs(z) for z in samples]
    half = max(level, default=0) / 2
    keyed = [v > half > 0 for v in level]
    first, last = keyed.index(True), len(keyed) - keyed[::-1].index(True)
    found, begin = [], first
    for i in range(first + 1, last + 1):
        if i == last or keyed[i] != keyed[begin]:
            found.append((keyed[begin], i - begin))
            begin = i
    return found, first


def read(samples, dot):
    """The text of keyed samples; each length must be that of an element within 20 samples, the first of a transmission without a
    pause before it misses what the transmission's own rise takes of it."""
    text, code, rise = "", "", EDGE / 2
    for keyed, length in runs(samples)[0]:
        dots = (length + (EDGE if keyed else -EDGE)) / dot
        assert -20 - rise < dot * (dots - round(dots)) < 20, (keyed, length)
        rise = 0
        if keyed:
            assert round(dots) in (1, 3), dots
            code += "." if round(dots) == 1 else "-"
        elif round(dots) > 1:
            assert round(dots) in (3, 10), dots
            text, code = text + LETTERS[code] + (" " if round(dots) > 3 else ""), ""
    return text + LETTERS[code]


def tone(sound, frequency):
    """Amplitude of a frequency in the first tenth of a second."""
    n = RATE // 10
    return 2 / n * sum(v * cmath.exp(-2j * math.pi * frequency * k / RATE) for k, v in enumerate(sound[:n]))


def dot_at(wpm):
    return 1.2 * RATE / wpm


class LarchCw(talk.LarchTalk):
    """With the radio, the wire and the terminal of the tests for speech."""

    def command(self, *arguments):
        return [f"{BUILD}/larch", "--log", self.path("larch.log"), "cw", "--radio", self.address, "--rate", "48k",
                *([] if "--freq" in arguments else ["--freq", "7.01M"]), *([] if "--audio" in arguments else ["--audio", "none"]), *arguments]

    def cw(self, *arguments):
        return self.talk(*arguments)

    def key_device(self):
        """A key of its own: a function that moves it."""
        os.mkfifo(self.path("key"))
        self.key_file = None

        def move(value):
            if self.key_file is None:
                self.key_file = os.open(self.path("key"), os.O_WRONLY)
                self.addCleanup(self.lose_key)
            os.write(self.key_file, struct.pack("@llHHi", 0, 0, 1, 30, value) + struct.pack("@llHHi", 0, 0, 0, 0, 0))
        return move

    def lose_key(self):
        if self.key_file is not None:
            os.close(self.key_file)
        self.key_file = None

    def wait_for_stream(self, datagrams=2 * HOLD):
        before = len(self.wire.sent)
        self.wait(lambda: len(self.wire.sent) > before + datagrams, "stream")

    def read_until(self, enough):
        """The lines that the program has printed."""
        lines = []
        while not enough(lines):
            line = self.program.stdout.readline()
            self.assertTrue(line, lines)
            lines.append(line.rstrip())
        return lines

    def wait_for_picture(self, text):
        self.wait(lambda: text in self.screen.text, text)

    def assert_quiet_end(self):
        """MOX fell, the radio's filters had their time, and the stop was the last word."""
        self.wait(lambda: self.wire.words[-1][0] == 0, "stop")
        last = max(i for i, d in enumerate(self.wire.sent) if any(d.mox))
        self.assertGreaterEqual(len(self.wire.sent) - last - 1, HOLD)
        self.assertFalse([z for d in self.wire.sent[last + 1:] for z in d.iq if z])
        self.assert_stopped()

    def test_bad_words_get_clear_errors(self):
        for arguments, word in (
            (("--text", "CQ"), "--transmit"),
            (("--key", "/dev/null"), "--transmit"),
            (("--transmit", "--text", "DE K1AB/P"), "no Morse code for '/'"),
            (("--transmit", "--text", "A~B"), "no Morse code for '~'"),
            (("--transmit", "--text", "E" * 901), "longer than"),
            (("--transmit", "--key", "/nowhere"), "can't open the key /nowhere"),
            (("--transmit", "--key", "/dev/null"), "/dev/null is no key"),
        ):
            done = self.cw(*arguments)
            self.assertEqual(done.returncode, 1, done)
            self.assertIn(word, done.stderr)
        for arguments in (("--wpm", "0"), ("--timeout", "0"), ("--drive", "256"), ("--sidetone", "2"), ("--mode", "usb")):
            self.assertEqual(self.cw(*arguments).returncode, 2, arguments)
        self.assertEqual(self.wire.sent, [])

    def test_a_station_on_the_band_is_read(self):
        self.restart_radio('noise -150\ncw 7.010M -60 text="CQ CQ DE Q1ABC" wpm=25 pause=2\n')
        self.start("--seconds", str(PATIENCE))
        lines = self.read_until(lambda heard: "".join(heard).count("q1abc") >= 3)
        self.assertIn("cq cq de q1abc", lines[-1])
        speed = int(re.match(r" *\d+ s +(\d+) wpm  ", lines[-1]).group(1))
        self.assertAlmostEqual(speed, 25, delta=7)  # begins at 45
        self.program.send_signal(signal.SIGINT)
        self.assertEqual(self.end()[0], 0)

    def test_a_station_beside_the_filter_is_not_read(self):
        self.restart_radio('noise -150\ncw 7.0104M -60 text="CQ CQ DE Q1ABC" wpm=25 pause=0.1\n')
        for width, heard in (("500", False), ("1000", True)):
            done = self.cw("--seconds", "10", "--width", width)
            self.assertEqual(done.returncode, 0, done.stderr)
            self.assertEqual("q1abc" in done.stdout, heard, done.stdout)

    def test_the_carrier_is_heard_at_the_pitch_and_higher_stations_above_it(self):
        for frequency, pitch, wanted in ((7010000, 650, 650), (7010150, 650, 800), (7009900, 800, 700)):
            self.restart_radio(f"noise -150\ncarrier {frequency} -60\n")
            self.assertEqual(self.cw("--seconds", "4", "--audio", "tap", "--pitch", str(pitch)).returncode, 0)
            sound = self.take_sound()[-RATE // 2:]
            levels = {f: abs(tone(sound, f)) for f in range(300, 1110, 50)}
            self.assertEqual(max(levels, key=levels.get), wanted)

    def test_the_sidetone_sounds_at_its_pitch_and_level(self):
        for level in (0.5, 0.25, 0):
            done = self.cw("--transmit", "--text", "TTTTT", "--audio", "tap", "--pitch", "700", "--sidetone", str(level))
            self.assertEqual(done.returncode, 0, done.stderr)
            heard = self.take_sound()
            self.assertAlmostEqual(max(abs(v) for v in heard), 0.99 * level, delta=0.05)  # with the noise of the band before and after
            if level:
                marks = [v > 0.5 * level for v in (abs(tone(heard[k:], 700)) for k in range(0, len(heard) - RATE // 10, RATE // 100))]
                self.assertEqual(sum(now and not before for before, now in zip([False] + marks, marks)), 5)

    def take_sound(self):
        """What has been heard since the last time, the left side of it."""
        with open(self.path("heard"), "rb") as f:
            data = f.read()
        os.remove(self.path("heard"))
        return struct.unpack(f"<{len(data) // 4}f", data[:len(data) // 4 * 4])[::2]

    def environment(self):
        with open(f"{BUILD}/asound.conf") as f, open(self.path("asound.conf"), "w") as own:
            own.write(f.read() + f'pcm.tap {{ type file slave.pcm "loop" file "{self.path("heard")}" format "raw" }}\n')
        return dict(super().environment(), ALSA_CONFIG_PATH=self.path("asound.conf"))

    def test_without_permission_nothing_is_sent(self):
        self.start_in_terminal("--drive", "100")
        self.wait_for_picture("receive only")
        for keys in (b"cq cq\r", b"\t", b"\t", b"k", b"\x14", b"\x1b", b"\r"):
            self.screen.type(keys)
            self.wait_for_stream()
        self.wait_for_picture("start with --transmit")
        self.program.send_signal(signal.SIGINT)
        self.assertEqual(self.end()[0], 0)
        self.assert_nothing_was_sent()

    def test_text_goes_out_on_the_frequency_and_ends_by_itself(self):
        text = "CQ CQ DE Q1ABC? K!"
        self.restart_radio("noise -150\n", "--record-tx", self.path("sent.wav"))
        done = self.cw("--transmit", "--drive", "255", "--text", text.lower())
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertRegex(done.stdout, r"sent +cq cq de q1abc\? k!\n")
        self.assert_quiet_end()
        self.assertEqual(len(self.wire.transmissions()), 1)
        words = {int.from_bytes(d.registers[1]) for d in self.wire.sent if any(d.mox) and 1 in d.registers}
        self.assertIn(7010000, words)
        self.assertLessEqual(words, {7010000, 14095600})  # before the first round
        self.radio.send_signal(signal.SIGINT)
        self.radio.communicate(timeout=PATIENCE)
        with wave.open(self.path("sent.wav")) as f:
            self.assertEqual((f.getnchannels(), f.getsampwidth(), f.getframerate()), (2, 2, RATE))
            sent = [complex(i, q) for i, q in struct.iter_unpack("<2h", f.readframes(f.getnframes()))]
        self.assertEqual(dot_at(25), 2304)  # 48 ms
        self.assertEqual(read(sent, 2304), text)
        # on the carrier's frequency: no turn of phase through the whole text
        top = max(sent, key=abs)
        self.assertLess(max(abs((z * top.conjugate()).imag) for z in sent) / abs(top), 2)
        self.assertGreater(min((z * top.conjugate()).real for z in sent) / abs(top), -2)
        self.assertAlmostEqual(abs(top) / FULL, 0.95, delta=0.002)

    def test_the_speed_is_the_one_asked_for(self):
        done = self.cw("--transmit", "--drive", "255", "--text", "PARIS", "--wpm", "40")
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(read(self.wire.transmissions()[0], dot_at(40)), "PARIS")

    def test_an_interrupt_in_the_middle_of_a_text_unkeys(self):
        for end in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            self.start("--transmit", "--drive", "255", "--text", "PARIS " * 100)
            self.wait_for_air()
            self.program.send_signal(end)
            self.assertEqual(self.end()[0], 0)
            self.assert_quiet_end()
            self.assertLess(len(self.wire.transmissions()[-1]), 100 * RATE)

    def test_a_time_out_ends_a_text_and_is_an_error(self):
        done = self.cw("--transmit", "--drive", "255", "--timeout", "3", "--text", "PARIS " * 100)
        self.assertEqual(done.returncode, 1, done.stdout)
        self.assertIn("time-out after 3 s", done.stderr)
        self.assertEqual(len(self.wire.transmissions()), 1)
        self.assert_quiet_end()

    def test_a_text_doesnt_wait_for_ever_for_a_silent_radio(self):
        self.wire.cut = True
        done = self.talk("--transmit", "--text", "E", "--force", "--board", "hl2")
        self.assertEqual(done.returncode, 1, done)
        self.assertIn("the radio sent nothing", done.stderr)

    @again_after_a_stall
    def test_a_key_keys_and_the_hang_time_ends_it(self):
        move = self.key_device()
        self.start("--transmit", "--drive", "255", "--key", self.path("key"), "--hang", "600")
        self.wait_for_stream()
        self.assertEqual(self.wire.on(), 0)
        for _ in range(2):
            move(DOWN)
            self.wait_for_air()
            move(UP)
            self.wait_for_mox(False)
        self.program.send_signal(signal.SIGINT)
        self.assertEqual(self.end()[0], 0)
        self.assert_quiet_end()
        self.assertEqual(len(self.wire.transmissions()), 2)
        for sent in self.wire.transmissions():
            marks, first = runs(sent)
            self.assertEqual(len(marks), 1)
            self.assertAlmostEqual(max(abs(z) for z in sent) / FULL, 0.99, delta=0.002)
            self.assertLess(first, RATE / 10)
            hang = len(sent) - first - marks[0][1]
            self.assertGreaterEqual(hang, 0.6 * RATE)
            self.assertLess(hang, 0.9 * RATE)  # the first one has a lead of four dots

    @again_after_a_stall
    def test_a_stuck_key_times_out_and_needs_a_fresh_press(self):
        move = self.key_device()
        self.start("--transmit", "--drive", "255", "--key", self.path("key"), "--timeout", "4", "--hang", "100")
        self.wait_for_stream()
        move(DOWN)
        self.wait_for_mox(True)
        self.wait_for_mox(False)
        self.wait_for_stream(400)
        self.assertEqual(len(self.wire.transmissions()), 1)
        move(UP)
        self.wait_for_stream()
        self.assertEqual(len(self.wire.transmissions()), 1)
        move(DOWN)
        self.wait_for_air()
        self.lose_key()  # as a cable that is pulled: the key is up
        self.wait_for_mox(False)
        self.program.send_signal(signal.SIGINT)
        status, out, err = self.end()
        self.assertEqual(status, 0, err)
        self.assertEqual(err.count("time-out after 4 s"), 1)

    def test_what_was_sent_comes_back_and_is_read(self):
        self.restart_radio("noise -150\n", "--tx-back", "6")
        self.start("--transmit", "--drive", "255", "--text", "VVV DE Q1ABC", "--seconds", str(PATIENCE))
        self.read_until(lambda lines: "q1abc" in "".join(line.split("wpm")[-1] for line in lines if "wpm" in line).replace(" ", ""))
        self.program.send_signal(signal.SIGINT)
        self.assertEqual(self.end()[0], 0)

    @again_after_a_stall
    def test_typed_text_is_held_until_enter_and_ends_with_the_next(self):
        self.start_in_terminal("--transmit", "--drive", "255", "--wpm", "40", "--hang", "5000")
        self.wait_for_picture("hold> ")
        self.screen.type(b"cx\x7fq")
        self.wait_for_picture("hold> cq")
        self.wait_for_stream()
        self.assertEqual(self.wire.on(), 0)
        self.screen.type(b"\r")
        self.wait_for_picture("send> ")
        self.wait_for_mox(True)
        self.screen.type(b" de k")
        self.screen.type(b"\r")
        self.screen.type(b"next")
        self.wait_for_mox(False)
        self.wait_for_picture("next")
        self.assertEqual(read(self.wire.transmissions()[0], dot_at(40)), "CQ DE K")
        self.screen.type(b"\x15\r+e")
        self.wait_for_mox(True)
        self.screen.type(b"\r")
        self.wait_for_mox(False)
        self.assertEqual(read(self.wire.transmissions()[1], dot_at(41)), "E")
        self.program.send_signal(signal.SIGINT)
        self.assertEqual(self.end()[0], 0)
        self.assert_quiet_end()

    @again_after_a_stall
    def test_escape_stops_a_text_and_leaves_nothing_for_the_next(self):
        self.start_in_terminal("--transmit", "--drive", "255", "--wpm", "15")
        self.wait_for_picture("hold> ")
        digits = 60  # a minute and a half of them: more than anybody waits for
        self.screen.type(b"0" * digits + b"\r")
        self.wait_for_air()
        self.screen.type(b"\x1b")
        self.wait_for_mox(False)
        stopped = self.wire.transmissions()[0]
        marks = runs(stopped)[0]
        self.assertLess(sum(keyed for keyed, _ in marks), 5 * digits)
        for keyed, length in marks:  # also the last one is whole
            self.assertAlmostEqual(length + (EDGE if keyed else -EDGE), (3 if keyed or length > 2 * dot_at(15) else 1) * dot_at(15), delta=40)
        self.screen.type(b"k\r\r")
        self.wait_for_mox(True)
        self.wait_for_mox(False)
        self.assertEqual(read(self.wire.transmissions()[1], dot_at(15)), "K")

    @again_after_a_stall
    def test_a_key_that_goes_down_behind_escape_is_lifted(self):
        self.start_in_terminal("--transmit", "--drive", "255", "--wpm", "15")
        self.wait_for_picture("hold> ")
        self.screen.type(b"0" * 60 + b"\r")
        self.wait_for_air()
        self.screen.type(b"\x1b\x1b[A\t")  # the arrow parts Esc from Tab
        self.wait_for_mox(False)  # long before the time-out of three minutes
        self.screen.type(b"\t")
        self.wait_for_mox(True)

    @again_after_a_stall
    def test_the_tab_key_is_a_straight_key(self):
        self.start_in_terminal("--transmit", "--drive", "255", "--hang", "300")
        self.wait_for_picture("drive 255")
        self.screen.type(b"\t")
        self.wait_for_picture("ON AIR: KEY")
        self.wait_for_air()
        self.screen.type(b"\t")
        self.wait_for_mox(False)
        self.assertEqual(len(runs(self.wire.transmissions()[0])[0]), 1)

    def test_a_closed_terminal_ends_a_transmission(self):
        self.start_in_terminal("--transmit", "--drive", "255", "--text", "PARIS " * 100, controlling=False)
        self.wait_for_air()
        self.screen.close()
        self.program.wait(timeout=PATIENCE)
        self.assert_quiet_end()

    def test_the_terminal_shows_what_is_read(self):
        self.restart_radio('noise -150\ncw 7.010M -60 text="CQ CQ DE Q1ABC" wpm=25 pause=2\n')
        self.start_in_terminal()
        self.wait(lambda: re.search(r"RX 2\d wpm", self.screen.text) and "cq cq de q1abc" in self.screen.text, "text")
        self.screen.type(b"]\x1b[C")
        self.wait(lambda: "550 Hz wide" in self.screen.text and "7.010.100 CW" in self.screen.text, "keys")


if __name__ == "__main__":
    names = sys.argv[2:] or [name for name in vars(LarchCw) if name.startswith("test_")]
    unittest.main(argv=[sys.argv[0]] + [f"LarchCw.{name}" for name in names], verbosity=2)
