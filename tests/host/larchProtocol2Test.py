#!/usr/bin/env python3
"""larch with a simulated Protocol 2 radio. Usage: larchProtocol2Test.py BUILD_FOLDER [test ...]"""
import re
import select
import signal
import subprocess
import sys
import time
import unittest

import larchProgramTest as program
from larchProgramTest import BUILD, PATIENCE

MEGAHERTZ = tuple(range(1, 17))
CARRIERS = {1: -50, 8: -60, 16: -70}  # MHz, dBFS


class LarchProtocol2(unittest.TestCase):
    setUp = program.LarchProgram.setUp
    tearDown = program.LarchProgram.tearDown
    path = program.LarchProgram.path
    start_radio = program.LarchProgram.start_radio
    command = program.LarchProgram.command
    larch = program.LarchProgram.larch
    listen = program.LarchProgram.listen

    def start(self, *options):
        scene = "noise -170\n" + "".join(f"carrier {m}.001M {level}\n" for m, level in CARRIERS.items())
        self.start_radio("--protocol", "2", "--receivers", "16", *options, scene=scene)

    def test_the_radio_is_found_and_listed_and_transmits_nothing(self):
        self.start()
        out = self.larch("radios", "--radio", self.address).stdout
        self.assertRegex(out, rf"{self.address} .* 2 +Saturn .* 16  idle")
        self.assertIn("Protocol 2: only receives", self.larch("doctor", "--radio", self.address).stdout)
        for command in (("talk", "--input", "none"), ("cw",), ("psk",)):
            done = self.larch(*command, "--radio", self.address, "--freq", "8M", "--audio", "none", "--transmit")
            self.assertEqual((done.returncode, done.stderr), (1, "larch: Protocol 2 radios only receive\n"), command)
        done = self.listen("--freq", "8M", "--protocol", "1")
        self.assertEqual(done.returncode, 1)
        self.assertIn("no radio answers", done.stderr)
        done = self.listen("--freq", "8M", "--board", "hl2", "--protocol", "2")
        self.assertIn("board hl2 speaks Protocol 1", done.stderr)

    def test_sixteen_receivers_hear_their_bands(self):
        self.start()
        also = [word for m in MEGAHERTZ[1:] for word in ("--also", f"{m}M")]
        done = self.listen("--freq", f"{MEGAHERTZ[0]}M", "--rate", "48k", "--seconds", "5", *also)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertIn("Saturn", done.stdout)
        self.assertIn("Protocol 2: clock 122880000 Hz, 16 receivers", done.stdout)
        last = [line for line in done.stdout.splitlines() if "strongest" in line][-1]
        shown = {int(m): float(level) for m, level in re.findall(r" (\d+)\.000\.000 USB (-?[0-9.]+) dBm", last)}
        self.assertEqual(tuple(sorted(shown)), MEGAHERTZ, last)
        for m, level in shown.items():
            if m in CARRIERS:
                self.assertAlmostEqual(level, CARRIERS[m] + 10, delta=1, msg=last)
            else:
                self.assertLess(level, -100, last)
        self.assertAlmostEqual(float(re.search(r"strongest ([0-9.]+) MHz", last).group(1)), 1.001, delta=0.0001)

    def test_the_fastest_rate_shows_the_carrier_in_its_place(self):
        self.start("--loop", "0.1")
        done = self.listen("--freq", "7.9M", "--rate", "1536k", "--gain", "-10", "--seconds", "4")
        self.assertEqual(done.returncode, 0, done.stderr)
        last = [line for line in done.stdout.splitlines() if "strongest" in line][-1]
        found = re.search(r"strongest ([0-9.]+) MHz (-?[0-9]+)", last)
        self.assertAlmostEqual(float(found.group(1)), 8.001, delta=0.002)
        self.assertAlmostEqual(int(found.group(2)), -50, delta=2)

    def test_a_radio_that_falls_silent_comes_back(self):
        self.start()
        listening = subprocess.Popen(self.command("listen", "--radio", self.address, "--audio", "none", "--freq", "8M", "--rate", "48k"),
                                     stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self.addCleanup(lambda: (listening.kill(), listening.communicate()))
        while not re.search(r"8\.000\.000 USB -[45]\d\.\d dBm", listening.stdout.readline()):
            self.assertIsNone(listening.poll())
        # the warning comes again only after the radio has been heard again
        warnings, end = 0, time.time() + PATIENCE
        while warnings < 2:
            self.assertLess(time.time(), end)
            self.radio.send_signal(signal.SIGSTOP)
            if select.select([listening.stderr], [], [], 5)[0]:
                self.assertIn("no spectrum for two seconds", listening.stderr.readline())
                warnings += 1
            self.radio.send_signal(signal.SIGCONT)
            heard = time.time()
            while time.time() < heard + 1.5:  # a line comes each second
                self.assertIn("dBm", listening.stdout.readline())
        listening.send_signal(signal.SIGINT)
        _, err = listening.communicate(timeout=PATIENCE)
        self.assertEqual((listening.returncode, err), (0, ""))


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0]] + [f"LarchProtocol2.{name}" for name in sys.argv[2:]])
