#!/usr/bin/env python3
"""Each command of larch that receives, with a simulated Protocol 2 radio. Usage: larchProtocol2CommandsTest.py BUILD_FOLDER [test ...]"""
import cmath
import functools
import math
import os
import re
import select
import signal
import struct
import subprocess
import sys
import time
import unittest

import larchHellTest as hell
import larchMultipskTest as multipsk
from larchModesTest import write_iq
from larchProgramTest import BUILD, PATIENCE
from larchSlotsTest import amplitude, FILE_RATE
from larchTalkTest import RATE


class LarchProtocol2Commands(multipsk.LarchMultipsk):
    """What is on the air repeats for ever: a machine that stands still for a while costs a repetition, not the test."""

    def put_on_air(self, *lines):
        with open(self.path("scene.txt"), "w") as f:
            f.write("\n".join(("noise -150", *lines, "")))
        # its own watchdog is off: a stream that it ended would never begin again, the radio's packets pace the program's
        self.radio = subprocess.Popen([f"{BUILD}/larch-sim", "--protocol", "2", "--bind", self.address, "--watchdog", "0", "--quiet",
                                       "--scene", self.path("scene.txt")], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        self.addCleanup(self.radio.stdout.close)
        self.assertIn(self.address, self.radio.stdout.readline())

    def start(self, command, frequency, *arguments):
        self.heard = ""
        self.started = subprocess.Popen(self.command(command, "--radio", self.address, "--rate", "48k", "--freq", frequency, "--audio", "none",
                                                     *arguments), stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)

    def read_until(self, pattern):
        """Of all that the program has printed."""
        end, pipe = time.time() + PATIENCE, self.started.stdout.fileno()
        while not (found := re.search(pattern, self.heard)):
            self.assertLess(time.time(), end, self.heard)
            if select.select([pipe], [], [], 1)[0]:
                piece = os.read(pipe, 65536)
                self.assertTrue(piece, f"the program has ended: {self.heard}")
                self.heard += piece.decode()
        return found

    def end_program(self):
        out, err = self.started.communicate(timeout=PATIENCE)
        self.assertEqual(self.started.returncode, 0, err)
        self.assertIn("Protocol 2: clock 122880000 Hz", self.heard + out)

    def end_radio(self):
        self.radio.send_signal(signal.SIGINT)
        self.assertIn("problems: none", self.radio.communicate(timeout=PATIENCE)[0])

    def end(self):
        """The program ends in order, and the radio was sent nothing that it couldn't take."""
        self.started.send_signal(signal.SIGINT)
        self.end_program()
        self.end_radio()

    def test_cw_reads_a_station(self):
        self.put_on_air('cw 7.010M -60 text="CQ DE Q1ABC" wpm=40 start=1 pause=1')
        self.start("cw", "7.010M")
        self.read_until("de q1abc")
        self.end()

    def test_psk_reads_a_station_on_its_frequency(self):
        self.put_on_air('psk 7040600 -70 mode=bpsk63 text="CQ de Q1ABC pse k" pause=2')
        self.start("psk", "7.040M")
        self.read_until(r"7\.040\.(59|60)\d PSK63 .*Q1ABC pse k\n")
        self.end()

    def test_rtty_reads_a_station_on_its_frequency(self):
        self.put_on_air('rtty 7.012M -70 reverse=yes text="TEST DE Q1ABC" pause=1')
        self.start("rtty", "7.010M")
        self.read_until(r"7\.012\.000 RTTY .*DE Q1ABC")
        self.end()

    def test_hell_draws_a_station_that_can_be_read(self):
        pixels = [bit for column in hell.columns("i5g ") for bit in column]

        def pixel(k, t):
            """One of them swells until the next one begins, and fades while that one swells."""
            if not 0 <= k < len(pixels) or not pixels[k]:
                return 0j
            frequency = hell.TOP - (7 - k % 8) * hell.STEP
            return (1 - math.cos(math.pi * (t * hell.STEP - k))) / 2 * cmath.exp(2j * math.pi * frequency * t)
        write_iq(self.path("hell.wav"), 12000, len(pixels) / hell.STEP, lambda t: sum(pixel(int(t * hell.STEP) - n, t) for n in (0, 1)))
        self.put_on_air("iq 7.010M -40 file=hell.wav")
        readable = functools.partial(hell.LarchHell.readable, self, self.path("hell.png"), frames_s=4 * RATE / 2048)
        for seconds in (5, 10, 20, 40):  # longer only where the machine stood still
            self.start("hell", "7.010M", "--step", str(hell.STEP), "--seconds", str(seconds), "--waterfall", self.path("hell.png"))
            self.end_program()
            if readable("i5g"):
                break
        else:
            self.fail("the picture can't be read")
        self.assertFalse(readable("iEg"))
        self.end_radio()

    def test_slots_writes_what_lies_above_the_frequency(self):
        self.put_on_air("carrier 14.0752M -60", "carrier 14.0730M -50")
        self.start("slots", "14.074M", "--period", "1000", "--dir", self.path("out"))
        for _ in range(PATIENCE):
            name = self.read_until(rf"{re.escape(self.path('out'))}/(\d{{6}}_\d{{6}}\.wav)\n")[1]
            self.heard = self.heard.replace(name, "")
            with open(self.path("out/" + name), "rb") as f:
                data = f.read()
            self.assertEqual(len(data), 44 + 2 * FILE_RATE)
            samples = [v for v, in struct.iter_unpack("<h", data[44:])]
            if amplitude(samples, 1200, FILE_RATE, 1200) > 0.45 * 32000:
                break
        else:
            self.fail("no file holds the carrier")
        self.assertLess(amplitude(samples, 1000, FILE_RATE, 1200), 0.001 * 32000)
        self.end()

    def test_multipsk_gets_the_carrier_at_its_pitch_and_tunes(self):
        self.put_on_air("carrier 7.050M -50")
        self.start("multipsk", "7.1M", "--port", "0")
        client = self.client = multipsk.Client(int(self.read_until(r"waiting for MultiPSK on port (\d+)")[1]))
        client.begin(7049000)
        client.hear_carrier(1000)
        client.tune(7052500)
        client.hear_carrier(-2500)
        self.read_until(r"MultiPSK tunes to 7\.052\.500")
        self.end()

    def test_talk_receives_and_no_signal_keys_it(self):
        self.put_on_air("carrier 7.101M -50")
        self.start("talk", "7.1M", "--input", "none")
        heard = r"7\.100\.000 USB -40\.\d dBm .* receive only  drive 0 .* strongest 7\.101"  # full scale counts as 10 dBm
        self.read_until(heard)
        self.started.send_signal(signal.SIGUSR1)
        self.heard = self.heard.splitlines()[0] + "\n"
        self.read_until(f"{heard}.*\n.*{heard}")
        self.end()


if __name__ == "__main__":
    names = sys.argv[2:] or [name for name in vars(LarchProtocol2Commands) if name.startswith("test_")]
    unittest.main(argv=[sys.argv[0]] + [f"LarchProtocol2Commands.{name}" for name in names], verbosity=2)
