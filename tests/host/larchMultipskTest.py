#!/usr/bin/env python3
"""larch multipsk against the simulated radio, with a client that speaks MultiPSK's side. Usage: larchMultipskTest.py BUILD_FOLDER [test ...]"""
import cmath
import os
import queue
import random
import re
import signal
import socket
import struct
import subprocess
import sys
import threading
import time
import unittest

import larchProgramTest as program
from larchProgramTest import PATIENCE
from larchTalkTest import Screen

RATE = 48000
CARRIER = 7050000  # Hz, of the scene
CAPABILITY = b"HWMPcapa\x08LarchRig\x031.0\x05Hello\x013\x0548000\x0f24000..40000000\x00"


class Wait:
    """One wait, whatever it is made of, fails when PATIENCE is over."""

    def __init__(self, awaited):
        self.awaited, self.end = awaited, time.monotonic() + PATIENCE

    def left(self):
        left = self.end - time.monotonic()
        if left <= 0:
            raise AssertionError(f"{PATIENCE} s have gone without {self.awaited}")
        return left


class Client:
    """MultiPSK, as far as its radio sees it."""

    def __init__(self, port):
        self.socket = socket.create_connection(("127.0.0.1", port), timeout=PATIENCE)
        self.samples, self.told = [], []  # of the receiver; frequencies that the radio has told

    def close(self):
        self.socket.close()

    def say(self, tag, payload=b""):
        self.socket.sendall(struct.pack("<I", 8 + len(payload)) + tag + payload)

    def exactly(self, count, wait):
        data = b""
        while len(data) < count:
            self.socket.settimeout(wait.left())
            try:
                piece = self.socket.recv(count - len(data))
            except TimeoutError:
                continue
            if not piece:
                raise EOFError(f"the radio has closed the link before {wait.awaited}")
            data += piece
        return data

    def hear(self, wait):
        """The next message; samples and frequencies are kept."""
        message = self.exactly(struct.unpack("<I", self.exactly(4, wait))[0], wait)
        if message[:8] == b"TXHWdata":
            assert struct.unpack("<I", message[8:12])[0] == len(message) - 12, message[:16]
            self.samples += [complex(i, q) for i, q in struct.iter_unpack("<2h", message[12:])]
        elif message[:8] == b"Set_HWLO":
            self.told.append(struct.unpack("<i", message[8:])[0])
        return message

    def ask(self, tag):
        wait = Wait(f"an answer to {tag}")
        self.say(tag)
        while True:
            message = self.hear(wait)
            if message[:8] == tag:
                return message

    def hear_frequency(self):
        wait = Wait("a word of the radio's frequency")
        while not self.told:
            self.hear(wait)
        return self.told

    def begin(self, frequency):
        self.say(b"InitHWMP", b"\x00" * 5 + struct.pack("<IB", frequency, 0))

    def tune(self, frequency):
        self.say(b"Set_HWLO", struct.pack("<I", frequency))

    def stop(self):
        self.say(b"Bug_on_P")

    def hear_carrier(self, pitch):
        """Until it stands at this pitch, on this side, clear of the other; the retuned radio's signal comes a little later."""
        wait, count, here, there = Wait(f"the carrier at {pitch} Hz"), 4800, 0, 0
        while here <= 1000 or here <= 100 * there:
            self.samples.clear()
            while len(self.samples) < count:
                self.hear(wait)
            here, there = (abs(sum(z * cmath.exp(-2j * cmath.pi * f * k / RATE) for k, z in enumerate(self.samples[:count]))) / count
                           for f in (pitch, -pitch))


class LarchMultipsk(program.LarchProgram):
    def setUp(self):
        super().setUp()
        self.started = self.client = self.screen = self.reader = None
        self.lines = queue.Queue()  # of the program; None: its end

    def tearDown(self):
        if self.client:
            self.client.close()
        if self.started and self.started.poll() is None:
            self.started.kill()
            self.started.wait(timeout=PATIENCE)
        if self.reader:
            self.reader.join()
            self.started.stdout.close()
        if self.screen:
            self.screen.close()
        super().tearDown()

    def multipsk(self, *arguments):
        return self.command("multipsk", "--radio", self.address, "--audio", "none", "--rate", "48k", "--freq", "7.1M", *arguments)

    def start(self, *arguments):
        with open(self.path("errors.txt"), "w") as errors:
            self.started = subprocess.Popen(self.multipsk(*arguments), stdout=subprocess.PIPE, stderr=errors, text=True)
        self.reader = threading.Thread(target=self.read_lines)
        self.reader.start()

    def read_lines(self):
        for line in self.started.stdout:
            self.lines.put(line)
        self.lines.put(None)

    def errors(self):
        with open(self.path("errors.txt")) as errors:
            return errors.read()

    def next_line(self, wait):
        while True:
            try:
                return self.lines.get(timeout=wait.left())
            except queue.Empty:
                pass  # left() tells

    def line(self, pattern):
        """The next line that has this; no other line may tell of the client."""
        wait = Wait(f"a line with '{pattern}'")
        while True:
            line = self.next_line(wait)
            self.assertIsNotNone(line, f"the program has ended before '{pattern}': {self.errors()}")
            if found := re.search(pattern, line):
                return found
            self.assertNotRegex(line, "MultiPSK|sending")

    def rest(self):
        """All lines up to the program's end."""
        wait = Wait("the program's end")
        return "".join(iter(lambda: self.next_line(wait), None))

    def test_a_client_gets_the_carrier_at_its_pitch_and_tunes(self):
        self.start_radio()
        self.start("--port", "0")
        port = int(self.line(r"waiting for MultiPSK on port (\d+) of any address of this machine; there is no password")[1])
        client = self.client = Client(port)
        self.line("MultiPSK has connected")
        self.assertEqual(client.ask(b"Pversion"), b"Pversion\x00")
        self.assertEqual(client.ask(b"HWMPcapa"), CAPABILITY)
        client.begin(CARRIER - 1000)
        self.line(r"MultiPSK tunes to 7\.049\.000")
        self.line("sending samples")
        client.hear_carrier(1000)
        self.assertEqual(client.told, [], "what it said itself comes back")
        client.tune(CARRIER + 2500)
        self.line(r"MultiPSK tunes to 7\.052\.500")
        client.hear_carrier(-2500)
        client.stop()
        self.line("sending has ended")
        client.close()
        self.line("MultiPSK has gone")
        self.client = Client(port)
        self.line("MultiPSK has connected")
        self.assertEqual(self.client.ask(b"Pversion"), b"Pversion\x00")
        self.client.begin(CARRIER - 500)
        self.client.hear_carrier(500)
        self.started.send_signal(signal.SIGINT)  # while samples flow
        self.assertIn("spectrum frames", self.rest())
        self.assertEqual(self.started.wait(timeout=PATIENCE), 0, self.errors())

    def test_a_taken_port_is_passed_over(self):
        self.start_radio()
        with socket.create_server(("0.0.0.0", 0)) as taken:
            port = taken.getsockname()[1]
            self.start("--port", str(port))
            found = int(self.line(r"waiting for MultiPSK on port (\d+)")[1])
        self.assertTrue(port < found < port + 20, (port, found))
        self.client = Client(found)
        self.assertEqual(self.client.ask(b"Pversion"), b"Pversion\x00")

    def test_without_a_free_port_it_says_so_and_ends(self):
        self.start_radio()
        held, port = self.hold_ports(20)
        done = subprocess.run(self.multipsk("--port", str(port)), stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, timeout=PATIENCE)
        self.assertEqual(done.returncode, 1, done)
        self.assertIn(f"no port for MultiPSK: {port} to {port + 19} can't be had", done.stderr)
        self.assertNotIn("waiting", done.stdout)
        held.pop().close()  # the twentieth will do
        self.start("--port", str(port))
        self.line(f"waiting for MultiPSK on port {port + 19} ")

    def hold_ports(self, count):
        """So many ports in a row, below those of the system's choice and of the other tests; and the first of them."""
        for _ in range(100):
            first, held = random.randrange(12000, 19000), []
            try:
                for port in range(first, first + count):
                    held.append(socket.create_server(("0.0.0.0", port)))
                    self.addCleanup(held[-1].close)
                return held, first
            except OSError:  # one is taken
                for taken in held:
                    taken.close()
        self.fail(f"no {count} free ports in a row")

    def test_bad_words_get_clear_errors(self):
        for arguments in (("--port", "65536"), ("--width", "50000"), ("--transmit",)):
            done = subprocess.run(self.multipsk(*arguments), stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, timeout=PATIENCE)
            self.assertEqual(done.returncode, 2, arguments)

    def test_the_terminal_shows_the_client_and_its_keys_tune_it(self):
        self.start_radio()
        self.screen = Screen()
        self.started = subprocess.Popen(self.multipsk("--port", "0"), stdin=self.screen.inner, stdout=self.screen.inner,
                                        stderr=subprocess.DEVNULL, start_new_session=True,
                                        env=dict(os.environ, LC_ALL="C.UTF-8", TERM="xterm-256color", COLORTERM=""))
        os.close(self.screen.inner)
        self.wait_for_picture(r"port (\d+), no password: nobody is connected")
        client = self.client = Client(int(re.search(r"port (\d+), no password", self.screen.text)[1]))
        self.wait_for_picture("no password: connected")
        client.begin(CARRIER)
        self.wait_for_picture("connected, sending samples")
        self.wait_for_picture(r"7\.050\.000 MultiPSK")
        self.screen.text = ""
        self.screen.type(b"m\x1b[C")  # the mode stays; right: 100 Hz
        self.wait_for_picture(r"7\.050\.100 MultiPSK")
        self.assertEqual(client.hear_frequency(), [CARRIER + 100])
        self.screen.type(b"q")
        self.assertEqual(self.wait_for_end(), 0)

    def wait_for_picture(self, pattern):
        wait = Wait(f"'{pattern}' in the terminal")
        while not re.search(pattern, self.screen.text):
            self.screen.read()
            time.sleep(min(0.02, wait.left()))

    def wait_for_end(self):
        wait = Wait("the program's end")
        while self.started.poll() is None:
            self.screen.read()
            time.sleep(min(0.02, wait.left()))
        return self.started.returncode


if __name__ == "__main__":
    names = sys.argv[2:] or [name for name in vars(LarchMultipsk) if name.startswith("test_")]
    unittest.main(argv=[sys.argv[0]] + [f"LarchMultipsk.{name}" for name in names], verbosity=2)
