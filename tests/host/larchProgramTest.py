#!/usr/bin/env python3
"""The program larch as a person meets it, against the simulated radio. Usage: larchProgramTest.py BUILD_FOLDER [test ...]"""
import cmath
import os
import pty
import random
import re
import select
import signal
import struct
import subprocess
import sys
import tempfile
import time
import unittest

BUILD = os.path.abspath(sys.argv[1])
PATIENCE = 60  # seconds: for loaded machines and sanitizers; nothing waits that long when all is well


class LarchProgram(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.address = f"127.{random.randint(20, 250)}.{random.randint(1, 250)}.{random.randint(1, 250)}"
        self.radio = None

    def tearDown(self):
        if self.radio:
            self.radio.send_signal(signal.SIGINT)
            self.radio.communicate(timeout=PATIENCE)
        self.folder.cleanup()

    def path(self, name):
        return os.path.join(self.folder.name, name)

    def start_radio(self, *options, scene="carrier 7050000 -50\nnoise -170\n"):
        with open(self.path("scene.txt"), "w") as f:
            f.write(scene)
        self.radio = subprocess.Popen([f"{BUILD}/larch-sim", "--bind", self.address, "--quiet", "--scene", self.path("scene.txt"), *options],
                                      stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        end = time.time() + PATIENCE
        while time.time() < end and not self.larch("radios", "--radio", self.address, "--wait", "100").stdout.startswith("address"):
            pass

    def command(self, *arguments):
        return [f"{BUILD}/larch", "--log", self.path("larch.log"), *arguments]

    def larch(self, *arguments):
        return subprocess.run(self.command(*arguments), stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, timeout=PATIENCE)

    def listen(self, *arguments):
        return self.larch("listen", "--radio", self.address, "--audio", "none", *arguments)

    def test_help_names_the_commands(self):
        out = self.larch("--help").stdout
        for word in ("listen", "talk", "radios", "devices", "doctor"):
            self.assertIn(word, out)

    def test_bad_words_get_clear_errors(self):
        for arguments, word in (
            (("--freq", "abc"), "'abc' is no frequency"),
            (("--freq", "7.1M", "--mode", "pirate"), "unknown mode 'pirate'"),
            (("--freq", "7.1M", "--rate", "44k"), "'44k' is no rate"),
            (("--freq", "7.1M", "--filter", "wide"), "'wide' is no filter"),
            (("--freq", "7.1M", "--audio", "kazoo"), "no sound output 'kazoo'"),
            (("--freq", "7.1M", "--radio", "999.1.1.1"), "'999.1.1.1' is no IPv4 address"),
            (("--freq", "7.1M", "--board", "toaster"), ""),
        ):
            done = self.larch("listen", *arguments) if "--radio" in arguments or "--audio" in arguments else self.listen(*arguments)
            self.assertEqual(done.returncode, 1, done)
            self.assertIn(word, done.stderr)
            self.assertTrue(done.stderr.startswith("larch: "), done.stderr)

    def test_unwritable_log_is_an_error(self):
        done = subprocess.run([f"{BUILD}/larch", "--log", "/dev/null/x.log", "devices"], stderr=subprocess.PIPE, text=True, timeout=PATIENCE)
        self.assertEqual(done.returncode, 1)
        self.assertIn("/dev/null/x.log", done.stderr)

    def test_silent_address_is_refused_with_a_hint(self):
        done = self.listen("--freq", "7.1M")
        self.assertEqual(done.returncode, 1)
        self.assertIn("no radio answers", done.stderr)
        self.assertIn("--force", done.stderr)

    def test_radio_in_use_is_refused_without_force(self):
        self.start_radio("--in-use")
        done = self.listen("--freq", "7.05M", "--seconds", "1")
        self.assertEqual(done.returncode, 1)
        self.assertIn("in use", done.stderr)
        self.assertEqual(self.listen("--freq", "7.05M", "--seconds", "2", "--force").returncode, 0)

    def test_radios_lists_what_answers(self):
        self.start_radio()
        out = self.larch("radios", "--radio", self.address).stdout
        self.assertIn(self.address, out)
        self.assertIn("Hermes-Lite 2", out)
        self.assertIn("idle", out)

    def test_doctor_and_devices_report(self):
        self.start_radio()
        out = self.larch("doctor", "--radio", self.address).stdout
        for word in ("real-time", "receive buffer", "sound outputs", self.address):
            self.assertIn(word, out)
        self.assertIn("None", self.larch("devices").stdout)

    def test_listening_shows_the_carrier_and_saves_the_picture(self):
        self.start_radio()
        done = self.listen("--freq", "7.049M", "--also", "7.06M:lsb", "--seconds", "4", "--waterfall", self.path("w.png"))
        self.assertEqual(done.returncode, 0, done.stderr)
        lines = [line for line in done.stdout.splitlines() if "strongest" in line]
        self.assertTrue(lines, done.stdout)
        found = re.search(r"strongest ([0-9.]+) MHz (-?[0-9]+)", lines[-1])
        self.assertAlmostEqual(float(found.group(1)), 7.05, delta=0.0003)
        self.assertAlmostEqual(int(found.group(2)), -40, delta=2)  # full scale counts as +10 dBm; the window's top is broad
        shown = re.search(r"7\.049\.000 USB (-?[0-9.]+) dBm", lines[-1])
        self.assertAlmostEqual(float(shown.group(1)), -40, delta=1, msg=lines[-1])
        self.assertIn("7.060.000 LSB", lines[-1])
        with open(self.path("w.png"), "rb") as f:
            self.assertEqual(f.read(8), b"\x89PNG\r\n\x1a\n")

    def test_iq_recording_holds_the_carrier_on_its_side(self):
        self.start_radio()
        done = self.listen("--freq", "7.049M", "--seconds", "3", "--iq", self.path("iq.wav"))
        self.assertEqual(done.returncode, 0, done.stderr)
        with open(self.path("iq.wav"), "rb") as f:
            data = f.read()
        self.assertEqual(data[:4] + data[8:16], b"RIFFWAVEfmt ")
        self.assertEqual(struct.unpack("<HHI", data[20:28]), (3, 2, 48000))
        self.assertEqual(struct.unpack("<I", data[40:44])[0], len(data) - 44)
        samples = struct.unpack(f"<{(len(data) - 44) // 4}f", data[44:])
        n = 4800
        start = len(samples) // 2 - 2 * n
        iq = [complex(samples[start + 2 * i], samples[start + 2 * i + 1]) for i in range(n)]
        level = {f: abs(sum(z * cmath.exp(-2j * cmath.pi * f * i / 48000) for i, z in enumerate(iq))) / n for f in (1000, -1000)}
        self.assertGreater(level[1000], 100 * level[-1000])

    def test_a_radio_that_falls_silent_is_warned_of(self):
        self.start_radio("--silence", "1", "30")
        done = self.listen("--freq", "7.05M", "--seconds", "6")
        self.assertIn("no spectrum for two seconds", done.stderr)

    def test_interrupt_ends_it_cleanly(self):
        self.start_radio()
        for wanted in (signal.SIGINT, signal.SIGTERM):
            program = subprocess.Popen(self.command("listen", "--radio", self.address, "--audio", "none", "--freq", "7.05M"),
                                       stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
            program.stdout.readline()
            while "dBm" not in program.stdout.readline():
                pass
            program.send_signal(wanted)
            out, err = program.communicate(timeout=PATIENCE)
            self.assertEqual(program.returncode, 0, err)
            self.assertIn("spectrum frames", out)

    def test_signals_for_another_larch_are_passed_over(self):
        self.start_radio()
        program = subprocess.Popen(self.command("listen", "--radio", self.address, "--audio", "none", "--freq", "7.05M"),
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        while "dBm" not in program.stdout.readline():
            pass
        for s in (signal.SIGUSR1, signal.SIGUSR2):
            program.send_signal(s)
        while "dBm" not in program.stdout.readline():
            self.assertIsNone(program.poll())
        program.send_signal(signal.SIGINT)
        out, err = program.communicate(timeout=PATIENCE)
        self.assertEqual(program.returncode, 0, err)

    def test_a_recording_that_stalls_holds_nothing_up(self):
        self.start_radio()
        os.mkfifo(self.path("iq"))
        reader = os.open(self.path("iq"), os.O_RDONLY | os.O_NONBLOCK)
        done = self.listen("--freq", "7.05M", "--seconds", "5", "--iq", self.path("iq"))
        self.assertEqual(done.returncode, 1, done)
        self.assertIn(f"writing {self.path('iq')} failed", done.stderr)
        os.close(reader)

    def test_terminal_shows_the_picture_and_obeys_keys(self):
        self.start_radio()
        pid, fd = pty.fork()
        if pid == 0:
            os.environ.update(LANG="C.UTF-8", LC_ALL="C.UTF-8", COLORTERM="truecolor", TERM="xterm-256color")
            program = self.command("listen", "--radio", self.address, "--audio", "none", "--freq", "7.05M")
            os.execv(program[0], program)
        seen = ""

        def wait_for(text):
            nonlocal seen
            end = time.time() + PATIENCE
            while text not in seen and time.time() < end:
                if select.select([fd], [], [], 1)[0]:
                    seen += os.read(fd, 65536).decode(errors="replace")
            self.assertIn(text, seen)
            seen = ""

        wait_for("7.050.000 USB")
        os.write(fd, b"\x1b[C")  # right: one step of 100 Hz
        wait_for("7.050.100 USB")
        os.write(fd, b"m")
        wait_for("7.050.100 LSB")
        os.write(fd, b"z")
        wait_for("zoom 2")
        os.write(fd, b"+")
        wait_for("gain 21 dB")
        os.write(fd, b"q")
        end = time.time() + PATIENCE
        while time.time() < end:
            try:
                if select.select([fd], [], [], 1)[0] and not os.read(fd, 65536):
                    break
            except OSError:  # the other end has closed
                break
        self.assertEqual(os.waitstatus_to_exitcode(os.waitpid(pid, 0)[1]), 0)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0]] + [f"LarchProgram.{name}" for name in sys.argv[2:]], verbosity=2)
