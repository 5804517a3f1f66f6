#!/usr/bin/env python3
"""Maintenance writes from the library to the simulated radio's devices, read off its printed lines.
Usage: maintenanceTest.py BUILD_FOLDER [test ...]"""
import ctypes
import os
import queue
import random
import signal
import subprocess
import sys
import tempfile
import threading
import time
import unittest

BUILD = os.path.abspath(sys.argv[1])
PATIENCE = 60  # seconds: for loaded machines; nothing waits that long when all is well

library = ctypes.CDLL(f"{BUILD}/liblarchlib.so")
log = tempfile.NamedTemporaryFile(suffix=".log")
library.init(log.name.encode(), 0)  # once in a process


def create():
    library.HpsdrRadio_create.restype = ctypes.c_void_p
    return ctypes.c_void_p(library.HpsdrRadio_create())


class Maintenance(unittest.TestCase):
    def start(self, board, clock, firmware=None):
        """A simulated radio and one of the library that has it; the frames flow."""
        address = f"127.{random.randint(20, 250)}.{random.randint(1, 250)}.{random.randint(1, 250)}"
        options = ["--firmware", str(firmware)] if firmware is not None else []
        self.sim = subprocess.Popen([f"{BUILD}/larch-sim", "--bind", address, "--quiet", "--scene", "none", "--board", board, *options],
                                    stdout=subprocess.PIPE, text=True)
        self.lines, self.seen = queue.Queue(), []
        threading.Thread(target=lambda: [self.lines.put(line.strip()) for line in self.sim.stdout] + [self.lines.put(None)],
                         daemon=True).start()
        self.wait_for(f"{board} at ")
        self.radio = create()
        self.set("ipAddress", address.encode())
        self.set("clockFrequency", clock)
        self.set("TypeID", 6)
        self.set("FwVersion", firmware if firmware is not None else {"hermeslite": 32, "hermeslite2": 72}[board])
        library.Radio_start(self.radio)

    def tearDown(self):
        library.Radio_stop(self.radio)
        self.poll()
        library.HpsdrRadio_release(self.radio)
        self.poll()
        self.finish()

    def finish(self):
        """Ends the simulated radio; all lines that it printed of its devices, and its summary."""
        if self.sim.poll() is None:
            self.sim.send_signal(signal.SIGINT)
        while True:
            line = self.lines.get(timeout=PATIENCE) if not (self.seen and self.seen[-1] is None) else None
            if line is None:
                break
            self.seen.append(line)
        self.seen.append(None)
        self.sim.wait()
        self.sim.stdout.close()
        return [line for line in self.seen if line]

    def poll(self):
        library.getUpdates()
        library.getRenderUpdates()

    def set(self, name, value):
        getattr(library, f"HpsdrRadio_set{name}")(self.radio, value)

    def call(self, name, *arguments):
        getattr(library, f"HpsdrRadio_{name}")(self.radio, *arguments)

    def wait_for(self, text):
        deadline = time.monotonic() + PATIENCE
        while not any(line.startswith(text) for line in self.seen):
            self.poll() if hasattr(self, "radio") else None
            self.assertLess(time.monotonic(), deadline, f"'{text}' never came: {self.seen}")
            try:
                line = self.lines.get(timeout=0.005)
            except queue.Empty:
                continue
            self.assertIsNotNone(line, f"the radio ended before '{text}': {self.seen}")
            self.seen.append(line)

    def done(self):
        return [line for line in self.finish() if line.startswith(("set ", "stored "))]

    def summary(self):
        return next(line for line in self.seen if line and "problems: " in line)

    def test_bias_goes_out_at_once_and_is_stored_on_request(self):
        self.start("hermeslite2", 76800000)
        self.set("biasEnabled", True)
        self.set("paBias0", 200)
        self.wait_for("set bias 0: 200")
        self.set("paBias1", 17)
        self.set("paExtBias0", 99)
        self.call("writeBias")
        self.call("writeExtBias")
        self.wait_for("stored external bias: 99")
        self.assertEqual(self.done(), ["set bias 0: 200", "set bias 1: 17", "set external bias: 99", "stored bias 0: 200",
                                       "stored bias 1: 17", "stored external bias: 99"])
        self.assertIn("problems: none", self.summary())

    def test_old_firmware_gets_its_bias_inverted(self):
        self.start("hermeslite", 73728000, 59)
        self.set("biasEnabled", True)
        self.set("paBias0", 200)
        self.set("paExtBias0", 99)
        self.call("writeBias")
        self.call("writeExtBias")
        self.wait_for("stored external bias: 99")
        self.assertEqual(self.done(), ["set bias 0: 200", "set external bias: 99", "stored bias 0: 200", "stored bias 1: 0",
                                       "stored external bias: 99"])
        self.assertIn("problems: none", self.summary())

    def test_firmware_60_is_new(self):
        self.start("hermeslite2", 76800000, 60)
        self.set("biasEnabled", True)
        self.set("paBias0", 200)
        self.wait_for("set bias 0: 200")
        self.assertEqual(self.done(), ["set bias 0: 200"])
        self.assertIn("problems: none", self.summary())

    def test_without_the_gate_no_bias_goes_out(self):
        self.start("hermeslite2", 76800000)
        self.set("paBias0", 200)
        self.set("paBias1", 17)
        self.set("paExtBias0", 99)
        self.call("writeBias")
        self.call("writeExtBias")
        self.call("writeStatus", 0x81)  # needs no gate, and comes after them
        self.wait_for("stored status: 0x81")
        self.assertEqual(self.done(), ["stored status: 0x81"])

    def test_address_and_mac_are_stored_slowly_enough(self):
        self.start("hermeslite2", 76800000)
        self.call("writeIP", ctypes.c_int32(192 << 24 | 168 << 16 | 1 << 8 | 20).value)
        self.call("writeMac", 0x1234)
        self.call("writeStatus", 0xC0)
        self.wait_for("stored status: 0xc0")
        self.assertEqual(self.done(), ["stored address: 192.168.1.20", "stored MAC tail: 12:34", "stored status: 0xc0"])
        self.assertIn("problems: none", self.summary())  # the radio counts the frames between two stores

    def test_writes_work_while_transmitting(self):
        self.start("hermeslite2", 76800000)
        library.Radio_setptt(self.radio, True)
        self.set("biasEnabled", True)
        self.set("paBias0", 200)
        self.call("writeBias")
        self.wait_for("stored bias 1: 0")
        library.Radio_setptt(self.radio, False)
        self.wait_for("transmission at ")
        self.assertEqual(self.done(), ["set bias 0: 200", "stored bias 0: 200", "stored bias 1: 0"])
        self.assertIn("problems: none", self.summary())


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0]] + [f"Maintenance.{name}" for name in sys.argv[2:]], verbosity=2)
