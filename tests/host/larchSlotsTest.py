#!/usr/bin/env python3
"""larch slots against the simulated radio: its files, its decoders, its message. Usage: larchSlotsTest.py BUILD_FOLDER [test ...]
The status is 77 when all that was asked for needs the Debian package wsjtx, which isn't there."""
import cmath
import math
import os
import re
import shutil
import signal
import struct
import subprocess
import sys
import time
import unittest

import larchTalkTest as talk
from larchTalkTest import again_after_a_stall, BUILD, FULL, HOLD, PATIENCE, RATE

FILE_RATE = 12000
NAME = re.compile(r"(\d{6}_\d{6})\.wav")
MESSAGE = "K1ABC W9XYZ EN37"
MISSING = "the decoders are missing: apt-get install --no-install-recommends wsjtx"


def amplitude(samples, frequency, rate, length=0):
    """Of pieces of a length the median, since a loaded machine leaves gaps."""
    n = length or len(samples)
    turn = [cmath.exp(-2j * math.pi * frequency * k / rate) for k in range(n)]
    pieces = sorted(abs(sum(v * t for v, t in zip(samples[at:at + n], turn))) / n for at in range(0, len(samples) - n + 1, n))
    return pieces[len(pieces) // 2]


def lives(process):
    try:
        os.kill(process, 0)
    except ProcessLookupError:
        return False
    return True


class LarchSlots(talk.LarchTalk):
    """With the radio and the wire of the tests for speech."""

    def command(self, *arguments):
        return [f"{BUILD}/larch", "--log", self.path("larch.log"), "slots", "--radio", self.address, "--rate", "48k", "--freq", "14.074M",
                "--audio", "none", "--dir", self.path("out"), *arguments]

    def read_line(self, wanted):
        """Up to the first line of the program with this in it."""
        while True:
            line = self.program.stdout.readline()
            self.assertTrue(line, wanted)
            if re.search(wanted, line):
                return line

    def tones(self, text):
        name = self.path(f"tones{len(os.listdir(self.folder.name))}.txt")
        with open(name, "w") as f:
            f.write(text)
        return name

    def test_bad_words_get_clear_errors(self):
        for arguments, word in (
            (("--slot-mode", "ft9"), "unknown slot mode 'ft9'; there are ft8, ft4, jt65, jt9, wspr"),
            (("--period", "400"), "a period has 500 to 3600000 ms"),
            (("--save", "mp3"), "--save is wav or c2"),
            (("--decoder", "jt9 -8"), "--decoder needs {}"),
            (("--send", self.tones("1 2")), "--send needs --transmit"),
            (("--transmit", "--send", "/nowhere"), "can't read /nowhere"),
            (("--transmit", "--send", self.tones("1 2 three")), "'three' is no tone number"),
            (("--transmit", "--slot-mode", "ft8", "--send", self.tones("1 2")), "a message of this mode has 79 tones, these are 2"),
        ):
            done = self.talk(*arguments)
            self.assertEqual(done.returncode, 1, done)
            self.assertIn(word, done.stderr)
        done = subprocess.run([word.replace(self.path("out"), "/proc/nowhere") for word in self.command()], stderr=subprocess.PIPE, text=True, timeout=PATIENCE)
        self.assertEqual((done.returncode, done.stderr), (1, "larch: can't write into the folder /proc/nowhere\n"))
        for arguments in (("--slots", "0"), ("--decoders", "0"), ("--decoder-limit", "nan"), ("--spacing", "nan"), ("--tone", "49")):
            self.assertEqual(self.talk(*arguments).returncode, 2, arguments)
        self.assertEqual(self.wire.sent, [])

    def test_each_slot_becomes_a_file_for_the_decoder(self):
        self.restart_radio("noise -150\ncarrier 14.0752M -60\n")
        done = self.talk("--period", "2000", "--slots", "2", "--decoder", "echo heard; wc -c < {}; exit 3")
        self.assertEqual(done.returncode, 0, done)
        names = re.findall(rf"^{re.escape(self.path('out'))}/(\d{{6}}_\d{{6}}\.wav)$", done.stdout, re.M)
        self.assertEqual(len(names), 2, done.stdout)
        for name in names:
            self.assertTrue(NAME.fullmatch(name), name)
            self.assertEqual(int(name[11:13]) % 2, 0)
            for line in ("heard", str(44 + 2 * 2 * FILE_RATE)):
                self.assertIn(f"{name}: {line}\n", done.stdout)
            self.assertIn(f"larch: {name}: the decoder ended with status 3\n", done.stderr)
        with open(self.path("out/" + names[1]), "rb") as f:
            data = f.read()
        samples = [v for v, in struct.iter_unpack("<h", data[44:])][FILE_RATE // 4:FILE_RATE * 3 // 2]
        self.assertGreater(amplitude(samples, 1200, FILE_RATE, 600), 0.4 * 32000)
        self.assertEqual(data[-2:], b"\0\0")  # the rest of the slot
        self.assertEqual(self.wire.on(), 0)

    def test_c2_files_lie_around_1500_hz(self):
        self.restart_radio("noise -150\ncarrier 14.075510M -60\ncarrier 14.0751M -40\n")  # the louder one would fold
        done = self.talk("--period", "2000", "--save", "c2", "--slots", "1")
        self.assertEqual(done.returncode, 0, done)
        name = re.search(r"out/(\d{6}_\d{4}\.c2)\n", done.stdout)[1]
        with open(self.path("out/" + name), "rb") as f:
            data = f.read()
        self.assertEqual(len(data), 26 + 8 * 750)
        self.assertEqual(struct.unpack("<14sid", data[:26]), (bytes(14), 2, 14.074))
        pairs = [complex(i, -q) for i, q in struct.iter_unpack("<2f", data[26:26 + 8 * 500])][75:600]
        # the peak that comes to 32000 may be the filter's answer to the stream's beginning
        self.assertGreater(amplitude(pairs, 10, 375, 75), 0.5 * 32000)
        self.assertLess(amplitude(pairs, -10, 375, 75), 100)

    def test_a_decoder_that_hangs_is_told_and_ended(self):
        done = self.talk("--period", "1000", "--slots", "1", "--decoder", "echo $$; : {}; exec sleep 1000", "--decoder-limit", "4")
        self.assertEqual(done.returncode, 0, done)
        self.assertIn("the decoder hasn't ended within 4 s and is ended", done.stderr)
        self.assertIn("the decoder was ended by signal 15", done.stderr)
        self.assertFalse(lives(int(re.search(r"wav: (\d+)\n", done.stdout)[1])))

    def test_signals_end_it_with_its_decoders(self):
        for number in (signal.SIGTERM, signal.SIGHUP):
            self.start("--period", "1000", "--decoder", "echo $$ {}; trap '' TERM; while :; do sleep 1000; done")
            decoder = int(self.read_line(r"wav: \d+ ").split(": ")[1].split()[0])
            self.program.send_signal(number)
            status, _, err = self.end()
            self.assertEqual(status, 0, err)
            self.assertFalse(lives(decoder))
            self.assert_stopped()

    @again_after_a_stall
    def test_a_message_goes_out_in_one_slot(self):
        tones = "0 40 80, 120 # four tones of 0.16 s\n" * 3
        self.start("--period", "4000", "--transmit", "--drive", "255", "--send", self.tones(tones))
        self.assertRegex(self.read_line("  sent"), r"/\d{6}_\d{6}\.wav  sent$")
        self.program.send_signal(signal.SIGINT)
        status, _, err = self.end()
        self.assertEqual(status, 0, err)
        self.assertEqual(len(self.wire.transmissions()), 1)
        sent = self.wire.transmissions()[0]
        begin = next(k for k, z in enumerate(sent) if abs(z) > FULL / 2)
        symbol = 7680
        for k in range(12):
            middle = sent[begin + k * symbol + 1500:begin + (k + 1) * symbol - 1500]
            frequency = 1500 + (k % 4) * 40 * 6.25
            self.assertAlmostEqual(amplitude(middle, -frequency, RATE) / FULL, 0.98, delta=0.02, msg=str(k))
        self.assert_stopped()

    def test_a_message_that_waits_is_taken_back_at_the_end(self):
        if 3600 - time.time() % 3600 < 30:
            time.sleep(31)
        self.start("--period", "3600000", "--transmit", "--drive", "255", "--send", self.tones("1 2 3"))
        self.wait(lambda: len(self.wire.sent) > 4 * HOLD, "stream")
        self.program.send_signal(signal.SIGINT)
        status, _, err = self.end()
        self.assertEqual(status, 1, err)
        self.assert_nothing_was_sent()
        self.assert_stopped()

    def test_the_terminal_shows_slots_and_lines(self):
        self.start_in_terminal("--period", "1000", "--decoder", "echo what {} says")
        self.wait(lambda: "of 1 s" in self.screen.text and "receive only" in self.screen.text, "picture")
        self.wait(lambda: re.search(r"\d{6}_\d{6}\.wav: what .*\.wav says", self.screen.text), "line")
        self.screen.type(b"mq")
        self.assertEqual(self.end()[0], 0)

    def test_a_decoder_reads_a_station_on_the_air(self):
        if not all(map(shutil.which, ("ft8sim", "jt9"))):
            self.assertNotIn("LARCH_DECODERS_NEEDED", os.environ, MISSING)
            self.skipTest(MISSING)
        subprocess.run(["ft8sim", MESSAGE, "1500", "0", "0", "0", "1", "-5"], cwd=self.folder.name, check=True, stdout=subprocess.DEVNULL)
        self.restart_radio("noise -150\nwav 14.074M -40 file=000000_000001.wav period=15\n")
        self.start("--slot-mode", "ft8", "--decoder", f"cd {self.folder.name} && jt9 -8 {{}}")
        self.assertRegex(self.read_line(MESSAGE), r"_\d{4}(00|15|30|45)\.wav: \d{6} +-\d+ ")
        self.program.send_signal(signal.SIGINT)
        self.assertEqual(self.end()[0], 0)


if __name__ == "__main__":
    names = sys.argv[2:] or [name for name in vars(LarchSlots) if name.startswith("test_")]
    suite = unittest.TestSuite(LarchSlots(name) for name in names)
    result = unittest.TextTestRunner(verbosity=2).run(suite)
    sys.exit(1 if not result.wasSuccessful() else 77 if len(result.skipped) == result.testsRun else 0)
