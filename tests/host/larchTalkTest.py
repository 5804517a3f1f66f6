#!/usr/bin/env python3
"""larch talk against the simulated radio, as the wire between them shows it. Usage: larchTalkTest.py BUILD_FOLDER [test ...]"""
import cmath
import fcntl
import functools
import math
import os
import pty
import random
import re
import select
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import threading
import time
import unittest

BUILD = os.path.abspath(sys.argv[1])
PATIENCE = 60  # seconds: for loaded machines and sanitizers; nothing waits that long when all is well
FULL = 32766
RATE = 48000
FALL, HOLD = 512, 50  # samples of the envelope's end; datagrams for which the radio's filters stay behind it
STALL = "unkeyed: the"  # program stood still, or radio is silent
LATE = 4  # datagrams of one block of 512 samples, which may have been made when the stop was


class Datagram:
    """One of the host's to the radio: 126 transmit samples, MOX and two registers."""

    def __init__(self, raw):
        frames = (raw[8:520], raw[520:1032])
        self.mox = [f[3] & 1 for f in frames]
        self.registers = {f[3] >> 1: f[4:8] for f in frames}
        self.iq = [complex(i, q) for f in frames for _, _, i, q in struct.iter_unpack(">4h", f[8:])]


class Wire(threading.Thread):
    """Lies between the program and the radio and writes down what the program sends."""

    def __init__(self, address, radio):
        super().__init__(daemon=True)
        self.radio = radio
        self.near = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.near.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1 << 20)
        self.near.bind((address, 1024))
        self.far = {}  # a socket towards the radio for each of the program's
        self.cut = False  # nothing more comes from the radio
        self.foot = 0  # the state of the radio's PTT input
        self.sent, self.words = [], []  # data; commands with the number of data datagrams before them
        self.halt = False

    def run(self):
        while not self.halt:
            for s in select.select([self.near, *self.far.values()], [], [], 0.1)[0]:
                if s is self.near:
                    self.upwards(*s.recvfrom(2048))
                else:
                    self.downwards(s)

    def upwards(self, raw, sender):
        if sender not in self.far:
            s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
            s.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1 << 20)
            s.connect((self.radio, 1024))
            self.far[sender] = s
        if len(raw) == 1032:
            self.sent.append(Datagram(raw))
        elif raw[:3] == b"\xef\xfe\x04":
            self.words.append((raw[3], len(self.sent)))
        self.far[sender].send(raw)

    def downwards(self, s):
        for to, far in self.far.items():
            if far is s:
                try:
                    raw = bytearray(s.recv(2048))
                    if raw[:4] == b"\xef\xfe\x01\x06":
                        raw[11] |= self.foot
                        raw[523] |= self.foot
                    if not self.cut:
                        self.near.sendto(raw, to)
                except ConnectionError:
                    pass

    def close(self):
        self.halt = True
        self.join()
        for s in (self.near, *self.far.values()):
            s.close()

    def on(self):
        """Data datagrams with MOX so far."""
        return sum(1 for d in list(self.sent) if any(d.mox))

    def keyed(self):
        return bool(self.sent) and any(self.sent[-1].mox)

    def changes(self, on):
        """Transmissions that have begun, or ended, so far."""
        mox = [any(d.mox) for d in list(self.sent)]
        return sum(1 for before, now in zip([False, *mox], mox) if now != before and now == on)

    def transmissions(self):
        """The samples of each stretch with MOX."""
        runs, before = [], False
        for d in list(self.sent):
            if any(d.mox) and not before:
                runs.append([])
            if any(d.mox):
                runs[-1] += d.iq
            before = any(d.mox)
        return runs


def level(samples, frequency):
    """Magnitude of one frequency, of whole periods in tenths of a second: the median of up to seven, since the microphone of a
    loaded machine leaves gaps."""
    n = RATE // 10
    assert len(samples) >= n
    turn = [cmath.exp(-2j * math.pi * frequency * k / RATE) for k in range(n)]
    pieces = [samples[at:at + n] for at in range(0, len(samples) - n + 1, n)][:7]
    return sorted(abs(sum(z * t for z, t in zip(piece, turn))) / n for piece in pieces)[len(pieces) // 2]


def steady(samples):
    """What was sent behind the first third and before the last one."""
    return samples[len(samples) // 3:]


def again_after_a_stall(test):
    """For tests that a transmission spoils which was ended since the program or its radio stood still for two seconds, as on a
    machine that does too much: they begin anew."""
    @functools.wraps(test)
    def run(self):
        self.heeds_stalls = True
        for _ in range(3):
            try:
                return test(self)
            except AssertionError:
                end = time.time() + 5  # what is printed and drawn may follow what was sent
                while not self.stalled():
                    if time.time() > end:
                        raise
                    time.sleep(0.02)
                self.tearDown()
                self.setUp()
        return test(self)
    return run


class LarchTalk(unittest.TestCase):
    air = ()  # further options of the simulated radio
    heeds_stalls = False

    def setUp(self):
        self.open_radio()

    def open_radio(self):
        self.folder = tempfile.TemporaryDirectory()
        self.address = f"127.{random.randint(20, 120)}.{random.randint(1, 250)}.{random.randint(1, 250)}"
        beyond = f"127.{random.randint(121, 250)}.{random.randint(1, 250)}.{random.randint(1, 250)}"
        with open(self.path("scene.txt"), "w") as f:
            f.write("noise -150\n")
        self.radio = subprocess.Popen([f"{BUILD}/larch-sim", "--bind", beyond, "--scene", self.path("scene.txt"), "--quiet", *self.air],
                                      stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        self.assertIn(beyond, self.radio.stdout.readline())
        self.wire = Wire(self.address, beyond)
        self.wire.start()
        self.program = self.screen = None
        self.input = "none"
        self.awaited = 0  # transmissions

    def tearDown(self):
        for process in (self.program, self.radio):
            if process and process.poll() is None:
                process.send_signal(signal.SIGINT)
                process.wait(timeout=PATIENCE)
            for pipe in (process.stdout, process.stderr) if process else ():
                if pipe:
                    pipe.close()
        if self.screen:
            self.screen.close()
        self.wire.close()
        self.folder.cleanup()

    def path(self, name):
        return os.path.join(self.folder.name, name)

    def microphone(self, sound):
        """The microphone hears this from now on, over and over; sound takes a time in seconds and gives -1 to 1, for four seconds."""
        data = b"".join(struct.pack("<h", round(32767 * sound(i / RATE))) for i in range(4 * RATE))
        with open(self.path("mic.wav"), "wb") as f:
            f.write(b"RIFF" + struct.pack("<I", 36 + len(data)) + b"WAVEfmt " + struct.pack("<IHHIIHH", 16, 1, 1, RATE, 2 * RATE, 2, 16))
            f.write(b"data" + struct.pack("<I", len(data)) + data)
        self.input = "speech"

    def tone(self, frequency=1000, amplitude=0.5):
        self.microphone(lambda t: amplitude * math.sin(2 * math.pi * frequency * t))

    def restart_radio(self, scene, *options):
        self.radio.send_signal(signal.SIGINT)
        self.radio.communicate(timeout=PATIENCE)
        with open(self.path("scene.txt"), "w") as f:
            f.write(scene)
        self.radio = subprocess.Popen([f"{BUILD}/larch-sim", "--bind", self.wire.radio, "--scene", self.path("scene.txt"), "--quiet", *options],
                                      stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        self.assertIn(self.wire.radio, self.radio.stdout.readline())

    def command(self, *arguments):
        return [f"{BUILD}/larch", "--log", self.path("larch.log"), "talk", "--radio", self.address, "--freq", "7.1M", "--rate", "48k",
                "--audio", "none", *([] if "--input" in arguments else ["--input", self.input]), *arguments]

    def environment(self):
        return dict(os.environ, ALSA_CONFIG_PATH=f"{BUILD}/asound.conf", LARCHLOOP_FILE=self.path("mic.wav"), LC_ALL="C.UTF-8",
                    TERM="xterm-256color", COLORTERM="")

    def talk(self, *arguments):
        """Without a terminal, to its end."""
        return subprocess.run(self.command(*arguments), stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, timeout=PATIENCE,
                              env=self.environment())

    def start(self, *arguments):
        """Without a terminal, until the test ends it."""
        with open(self.path("errors"), "w") as errors:
            self.program = subprocess.Popen(self.command(*arguments), stdout=subprocess.PIPE, stderr=errors, text=True,
                                            env=self.environment())

    def said(self):
        """The program's errors, or what its terminal shows."""
        if self.screen:
            self.screen.read()
            return self.screen.text
        if not os.path.exists(self.path("errors")):
            return ""
        with open(self.path("errors")) as f:
            return f.read()

    def stalled(self):
        text = self.said()
        return self.screen.stalled if self.screen else STALL in text

    def start_in_terminal(self, *arguments, controlling=True, typed=b""):
        self.screen = Screen()
        self.screen.type(typed)
        hear = lambda: fcntl.ioctl(0, 0x540E, 0)  # TIOCSCTTY: the terminal's keys and its end are signals
        self.program = subprocess.Popen(self.command(*arguments), stdin=self.screen.inner, stdout=self.screen.inner,
                                        stderr=subprocess.DEVNULL, env=self.environment(), start_new_session=True,
                                        preexec_fn=hear if controlling else None)
        os.close(self.screen.inner)

    def wait(self, condition, what):
        end = time.time() + PATIENCE
        while not condition():
            self.assertLess(time.time(), end, f"{what}; the program said: {self.said()[-3000:]}")
            if self.screen:
                self.screen.read()
            self.assertFalse(self.heeds_stalls and self.stalled(), "stalled")
            time.sleep(0.02)

    def wait_for_mox(self, on=True):
        """Until the next transmission has begun, or the one that was waited for has ended; it may be over already."""
        self.awaited = self.awaited + 1 if on else max(self.awaited, 1)
        self.wait(lambda: self.wire.changes(on) >= self.awaited, f"MOX {on}")

    def wait_for_air(self):
        """Keyed, and half a second of it gone out."""
        before = self.wire.on()
        self.wait(lambda: self.wire.on() > before + 190, "transmission")
        self.awaited = self.wire.changes(True)

    def end(self):
        out, _ = self.program.communicate(timeout=PATIENCE)
        return self.program.returncode, out, self.said()

    def assert_nothing_was_sent(self):
        self.assertGreater(len(self.wire.sent), HOLD)
        self.assertEqual(self.wire.on(), 0)
        self.assertFalse([z for d in self.wire.sent for z in d.iq if z])

    def assert_orderly_end(self, full):
        """The last transmission faded out and was over before MOX fell; the hold went out, then the stop, then nothing."""
        wire = self.wire
        magnitudes = [abs(z) for z in wire.transmissions()[-1]]
        while magnitudes and magnitudes[-1] == 0:
            magnitudes.pop()
        fall = magnitudes[-FALL:]
        self.assertGreater(fall[0], 0.95 * full)
        self.assertLess(fall[-1], 0.01 * full)
        self.assertAlmostEqual(fall[FALL // 2] / full, 0.5, delta=0.05)
        self.assertGreaterEqual(len(wire.transmissions()[-1]) - len(magnitudes), 126)  # silence before MOX falls
        last = max(i for i, d in enumerate(wire.sent) if any(d.mox))
        self.assert_stopped()
        self.assertGreaterEqual(len(wire.sent) - last - 1, HOLD)
        self.assertFalse([z for d in wire.sent[last + 1:] for z in d.iq if z])

    def assert_stopped(self):
        """The stop was the last command; of the data only what had been made before it may arrive behind it, unkeyed."""
        stop, before = self.wire.words[-1]
        self.assertEqual(stop, 0)
        late = self.wire.sent[before:]
        self.assertLessEqual(len(late), LATE)
        self.assertFalse([d for d in late if any(d.mox)])

    def test_bad_words_get_clear_errors(self):
        for arguments, word in (
            (("--vox",), "--transmit"),
            (("--ptt-seconds", "2"), "--transmit"),
            (("--eq", "300"), "'300' is no equaliser point"),
            (("--eq", "300:1,200:1"), "'200:1' doesn't rise"),
            (("--tx-filter", "wide"), "'wide' is no filter"),
            (("--input", "kazoo"), "no sound input 'kazoo'"),
        ):
            done = self.talk(*arguments)
            self.assertEqual(done.returncode, 1, done)
            self.assertIn(word, done.stderr)
        for arguments in (("--timeout", "0"), ("--timeout", "1801"), ("--drive", "256"), ("--drive", "-1"), ("--vox-threshold", "2")):
            self.assertEqual(self.talk(*arguments).returncode, 2, arguments)
        self.assertEqual(self.wire.sent, [])

    def test_numbers_that_are_none_are_refused(self):
        for option in ("--ptt-seconds", "--seconds", "--vox-threshold", "--vox-hold", "--compression", "--ctcss", "--deviation", "--zoom"):
            for number in ("nan", "-nan", "inf", "1e999"):
                done = self.talk(f"{option}={number}")
                self.assertEqual(done.returncode, 2, (option, number, done))

    def test_without_permission_no_key_transmits(self):
        self.tone()
        self.start_in_terminal("--drive", "100")
        self.wait(lambda: "receive only" in self.screen.text and len(self.wire.sent) > HOLD, "picture")
        for keys in (b"t", b" ", b"u", b"v", b"d", b"+", b"t", b"m"):
            sent = len(self.wire.sent)
            self.screen.type(keys)
            self.wait(lambda: len(self.wire.sent) > sent + 20, "stream")
        self.program.send_signal(signal.SIGUSR1)
        sent = len(self.wire.sent)
        self.wait(lambda: "start with --transmit" in self.screen.text and len(self.wire.sent) > sent + 100, "note")
        self.screen.type(b"q")
        self.assertEqual(self.end()[0], 0)
        self.assert_nothing_was_sent()
        self.assertFalse([d for d in self.wire.sent if 9 in d.registers and d.registers[9][1]])  # the amplifier stays off

    def test_speech_is_on_its_side_of_the_carrier(self):
        self.tone(1000)
        for mode, wanted in (("usb", -1000), ("lsb", 1000)):  # the stream holds the mirror of the spectrum, both ways
            done = self.talk("--mode", mode, "--transmit", "--drive", "255", "--ptt-seconds", "2")
            self.assertEqual(done.returncode, 0, done.stderr)
            sent = steady(self.wire.transmissions()[-1])
            # half of full scale, 0.707 of it in the chain, its limiter's 0.94
            self.assertAlmostEqual(level(sent, wanted) / FULL, 0.5 * 0.707 * 0.94, delta=0.02, msg=mode)
            self.assertLess(level(sent, -wanted), 0.001 * level(sent, wanted), mode)
        self.assertEqual(len(self.wire.transmissions()), 2)
        self.assertTrue([d for d in self.wire.sent if 9 in d.registers and any(d.mox) and d.registers[9][1] & 8])  # amplifier

    def test_a_second_receiver_hears_the_first_on_its_side(self):
        self.tearDown()
        self.air = ("--tx-back", "1", "--tx-back-level", "-40")
        self.open_radio()
        self.tone(1000)
        done = self.talk("--mode", "usb", "--also", "7.1M:usb", "--also", "7.1M:lsb", "--transmit", "--drive", "255", "--gain", "0",
                         "--ptt-seconds", "4", "--seconds", "8")
        self.assertEqual(done.returncode, 0, done.stderr)
        levels = [[float(n) for n in re.findall(r"(-?\d+\.\d) dBm", line)[:3]] for line in done.stdout.splitlines() if "dBm" in line]
        heard = max(levels, key=lambda three: three[1])
        self.assertAlmostEqual(heard[1], -40 + 20 * math.log10(0.332) + 10, delta=1)  # full scale counts as 10 dBm
        self.assertLess(heard[2], heard[1] - 50)

    def test_filter_and_equaliser_shape_the_speech(self):
        self.microphone(lambda t: sum(0.2 * math.sin(2 * math.pi * f * t) for f in (600, 1500, 2400)))
        sent = []
        for arguments in ((), ("--eq", "0:1,1000:1,1200:0.25,2000:0.25,2200:1"), ("--tx-filter", "1000:2000")):
            done = self.talk("--transmit", "--drive", "255", "--ptt-seconds", "2", *arguments)
            self.assertEqual(done.returncode, 0, done.stderr)
            samples = steady(self.wire.transmissions()[-1])
            sent.append([level(samples, -f) / FULL for f in (600, 1500, 2400)])
        flat, shaped, narrow = sent
        for low, middle, high in (flat,):
            self.assertAlmostEqual(low / middle, 1, delta=0.02)
            self.assertAlmostEqual(high / middle, 1, delta=0.02)
        self.assertAlmostEqual(shaped[1] / flat[1], 0.25, delta=0.02)
        self.assertAlmostEqual(shaped[0] / flat[0], 1, delta=0.03)
        self.assertAlmostEqual(shaped[2] / flat[2], 1, delta=0.03)
        self.assertAlmostEqual(narrow[1] / flat[1], 1, delta=0.03)
        self.assertLess(narrow[0], 0.01 * flat[0])
        self.assertLess(narrow[2], 0.01 * flat[2])

    def test_drive_is_zero_until_somebody_asks_for_more(self):
        self.tone()
        self.start_in_terminal("--transmit")
        self.wait(lambda: "drive 0" in self.screen.text, "picture")
        self.screen.type(b"t")
        self.wait_for_air()
        self.assertFalse([z for z in self.wire.transmissions()[0] if z])
        self.assertFalse([d for d in self.wire.sent if 9 in d.registers and d.registers[9][0]])
        self.screen.type(b"+" * 51)
        self.wait(lambda: "drive 255" in self.screen.text, "drive")
        self.wait(lambda: any(d.registers[9][0] == 240 for d in list(self.wire.sent)[-100:] if 9 in d.registers), "drive on the wire")
        self.assertTrue([z for z in self.wire.transmissions()[0] if z])
        self.screen.type(b"-" * 51)
        self.wait(lambda: not any(d.registers[9][0] for d in list(self.wire.sent)[-60:] if 9 in d.registers), "drive down")

    def test_tune_sends_the_carrier(self):
        self.start_in_terminal("--transmit", "--drive", "255")
        self.wait(lambda: "drive 255" in self.screen.text, "picture")
        self.screen.type(b"u")
        self.wait(lambda: "ON AIR: TUNE" in self.screen.text, "tune")
        self.wait_for_air()
        self.screen.type(b"u")
        self.wait_for_mox(False)
        sent = self.wire.transmissions()[0]
        middle = sent[2000:len(sent) - 4000]
        self.assertGreater(len(middle), 4000)
        self.assertLess(max(abs(z - middle[0]) for z in middle), 0.5)
        self.assertAlmostEqual(abs(middle[0]), 0.99 * FULL, delta=1)
        self.screen.type(b"q")
        self.assertEqual(self.end()[0], 0)
        self.assert_orderly_end(0.99 * FULL)

    def test_two_tones_are_alike(self):
        done = self.talk("--transmit", "--drive", "255", "--two-tone", "--ptt-seconds", "2")
        self.assertEqual(done.returncode, 0, done.stderr)
        sent = steady(self.wire.transmissions()[0])
        tones = [level(sent, f) / FULL for f in (0, 1200, -1200)]
        self.assertAlmostEqual(tones[0], 0.5, delta=0.005)
        self.assertAlmostEqual(max(tones[1:]), 0.5, delta=0.005)
        self.assertLess(min(tones[1:]), 0.001)

    def test_the_offset_moves_the_transmit_frequency_alone(self):
        done = self.talk("--transmit", "--tx-offset", "-1500", "--ptt-seconds", "2")
        self.assertEqual(done.returncode, 0, done.stderr)
        words = {r: {int.from_bytes(d.registers[r]) for d in self.wire.sent if any(d.mox) and r in d.registers} for r in (1, 2)}
        self.assertIn(7098500, words[1])
        self.assertLessEqual(words[1], {7098500, 14095600})  # before the first round
        self.assertEqual(words[2], {7100000})

    def test_the_delay_sends_its_recording_over_and_over(self):
        self.microphone(lambda t: 0.3 * math.sin(2 * math.pi * (500 + 400 * int(t)) * t))  # four notes
        done = self.talk("--transmit", "--drive", "255", "--delay", "--ptt-seconds", "9")
        self.assertEqual(done.returncode, 0, done.stderr)
        sent = self.wire.transmissions()[0]
        loop = 239616  # of 240000 samples: whole blocks
        second = range(loop + RATE, len(sent) - RATE, 997)  # behind what the filters still remember of the recording's end
        self.assertGreater(len(second), 50)
        self.assertLess(max(abs(sent[k] - sent[k - loop]) for k in second), 4)
        self.assertGreater(max(abs(sent[k] - sent[k - 4 * RATE]) for k in second), 1000)  # the microphone's own period

    def test_a_time_out_unkeys_until_a_fresh_press(self):
        self.tone()
        self.start("--transmit", "--drive", "255", "--timeout", "4", "--ptt-seconds", "150", "--seconds", "300")
        self.wait_for_mox(True)
        self.wait_for_mox(False)
        sent = len(self.wire.sent)
        self.wait(lambda: len(self.wire.sent) > sent + 400, "a second of reception")
        self.assertEqual(len(self.wire.transmissions()), 1)
        self.program.send_signal(signal.SIGUSR1)
        self.wait_for_air()
        self.program.send_signal(signal.SIGUSR2)
        self.wait_for_mox(False)
        self.program.send_signal(signal.SIGINT)
        status, out, err = self.end()
        self.assertEqual(status, 1, err)  # what was asked for wasn't sent
        self.assertIn("time-out after 4 s", err)
        self.assert_orderly_end(0.5 * 0.707 * 0.94 * FULL)

    def test_a_time_out_needs_no_reader_of_the_screen(self):
        self.start_in_terminal("--transmit", "--timeout", "3")
        self.wait(lambda: "drive 0" in self.screen.text, "picture")
        self.screen.deaf = True  # as a remote line that hangs
        self.screen.type(b"t")
        self.wait_for_mox(True)
        self.wait_for_mox(False)

    def test_a_time_out_needs_no_reader_of_the_lines(self):
        self.start_in_terminal("--transmit", "--timeout", "10", "--plain")
        self.wait(lambda: "drive 0" in self.screen.text, "lines")
        self.screen.deaf = True
        self.screen.fill(but=100)  # the next line finds room, but not enough
        self.program.send_signal(signal.SIGUSR1)
        self.wait_for_mox(True)
        self.wait_for_mox(False)
        self.screen.deaf = False
        self.screen.text = ""
        self.wait(lambda: "  receive  " in self.screen.text, "lines again")

    def test_keys_that_stop_or_kill_a_process_dont_leave_it_keyed(self):
        self.tone()
        self.start_in_terminal("--transmit", "--drive", "255", "--plain")
        self.wait(lambda: "drive 255" in self.screen.text, "lines")
        self.program.send_signal(signal.SIGUSR1)
        self.wait_for_air()
        self.screen.type(b"\x1a")  # Ctrl-Z does nothing
        for s in (signal.SIGTSTP, signal.SIGTTIN, signal.SIGTTOU, signal.SIGXFSZ):
            self.program.send_signal(s)
        self.wait_for_air()
        self.screen.type(b"\x1c")  # Ctrl-\ ends it
        self.assertEqual(self.end()[0], 0)
        self.assert_orderly_end(0.5 * 0.707 * 0.94 * FULL)

    def test_what_was_typed_before_the_picture_keys_nothing(self):
        self.start_in_terminal("--transmit", typed=b"t")
        self.wait(lambda: "drive 0" in self.screen.text, "picture")
        self.screen.type(b"+")
        self.wait(lambda: "drive 5" in self.screen.text, "drive")
        self.wait(lambda: len(self.wire.sent) > 200, "half a second of the stream")
        self.assertEqual(self.wire.on(), 0)
        self.screen.type(b"q")
        self.assertEqual(self.end()[0], 0)

    def test_a_script_doesnt_wait_for_ever_for_a_silent_radio(self):
        self.wire.cut = True
        done = self.talk("--transmit", "--ptt-seconds", "1", "--force", "--board", "hl2")
        self.assertEqual(done.returncode, 1, done)
        self.assertIn("the radio sent nothing", done.stderr)
        self.assertEqual(self.wire.on(), 0)

    def test_an_over_that_the_time_out_cut_short_is_a_failure(self):
        done = self.talk("--transmit", "--ptt-seconds", "100", "--timeout", "1")
        self.assertEqual(done.returncode, 1, done)
        self.assertIn("time-out after 1 s", done.stderr)

    def orderly_end_by(self, end, in_terminal=False, **options):
        self.tone()
        arguments = ("--transmit", "--drive", "255", "--seconds", "300")
        if in_terminal:
            self.start_in_terminal(*arguments, **options)
            self.wait(lambda: "drive 255" in self.screen.text, "picture")
            self.screen.type(b"t")
        else:
            self.start(*arguments, "--ptt-seconds", "150")
        self.wait_for_air()
        self.assertTrue(self.wire.keyed())
        end()
        self.program.wait(timeout=PATIENCE)
        self.assert_orderly_end(0.5 * 0.707 * 0.94 * FULL)

    def test_interrupt_ends_a_transmission_in_order(self):
        self.orderly_end_by(lambda: self.program.send_signal(signal.SIGINT))

    def test_termination_ends_a_transmission_in_order(self):
        self.orderly_end_by(lambda: self.program.send_signal(signal.SIGTERM))

    def test_hangup_ends_a_transmission_in_order(self):
        self.orderly_end_by(lambda: self.program.send_signal(signal.SIGHUP))

    def test_a_closed_terminal_ends_a_transmission_in_order(self):
        self.orderly_end_by(lambda: self.screen.close(), in_terminal=True)

    def test_a_closed_terminal_that_sends_no_signal_does_so_too(self):
        self.orderly_end_by(lambda: self.screen.close(), in_terminal=True, controlling=False)

    def test_the_quit_key_ends_a_transmission_in_order(self):
        self.orderly_end_by(lambda: self.screen.type(b"q"), in_terminal=True)

    def test_closed_output_ends_a_transmission_in_order(self):
        self.orderly_end_by(lambda: self.program.stdout.close())
        self.assertEqual(self.program.returncode, 1)
        self.assertIn("the output is closed", self.said())

    def test_a_radio_that_falls_silent_while_keyed_is_stopped(self):
        self.tone()
        self.start("--transmit", "--drive", "255", "--ptt-seconds", "150")
        self.wait_for_air()
        self.wire.cut = True
        status, out, err = self.end()
        self.assertEqual(status, 1)
        self.assertIn("unkeyed: the radio is silent", err)
        self.assertIn("didn't answer the end", err)
        self.assert_stopped()

    def test_a_foot_switch_at_the_radio_keys_when_allowed(self):
        self.start("--transmit", "--seconds", "300")
        self.wait(lambda: len(self.wire.sent) > HOLD, "stream")
        for _ in range(2):
            self.wire.foot = 1
            sent = len(self.wire.sent)
            self.wait(lambda: len(self.wire.sent) > sent + 200, "stream")
            self.wire.foot = 0
        self.program.send_signal(signal.SIGINT)
        self.assertEqual(self.end()[0], 0)
        self.assertEqual(self.wire.on(), 0)
        self.wire.sent.clear()
        self.start("--transmit", "--seconds", "300", "--foot-switch")
        self.wait(lambda: len(self.wire.sent) > HOLD, "stream")
        for _ in range(2):
            self.wire.foot = 1
            self.wait_for_mox(True)
            self.wire.foot = 0
            self.wait_for_mox(False)

    def test_vox_keys_and_releases(self):
        self.microphone(lambda t: 0.5 * math.sin(2 * math.pi * 1000 * t) if 1 < t < 2 else 0.0)
        self.start("--transmit", "--drive", "255", "--vox", "--vox-threshold", "0.3", "--vox-hold", "0.3", "--seconds", "300")
        for _ in range(2):
            self.wait_for_mox(True)
            self.wait_for_mox(False)
        self.program.send_signal(signal.SIGINT)
        self.assertEqual(self.end()[0], 0)
        first = self.wire.transmissions()[0]
        self.assertGreater(len(first), 1.0 * RATE)  # the tone and the hold
        self.assertGreater(level(first[RATE // 4:], -1000), 0.25 * FULL)

    def test_the_terminal_shows_the_key_and_the_microphone(self):
        self.tone(amplitude=0.5)
        self.start_in_terminal("--transmit")
        self.wait(lambda: "mic  -6 dB" in self.screen.text, "microphone")
        self.screen.type(b" ")
        self.wait(lambda: "ON AIR" in self.screen.text and "left" in self.screen.text, "on the air")
        self.screen.type(b"\x1b[C")  # the frequency stays while it is on the air
        self.screen.type(b" \x1b[Cm")  # nor in the fall, and the mode stays as well
        self.wait_for_mox(False)
        self.screen.text = ""
        self.wait(lambda: "7.100.000 USB" in self.screen.text, "reception")
        self.screen.type(b"v")
        self.wait(lambda: "VOX" in self.screen.text, "vox")
        self.screen.type(b"d")
        self.wait(lambda: "DELAY" in self.screen.text, "delay")
        self.assertNotIn("7.100.100", self.screen.text)


class Screen:
    """A terminal: the last of what was shown is `text`."""

    def __init__(self):
        self.outer, self.inner = pty.openpty()
        self.name = os.ttyname(self.inner)
        fcntl.ioctl(self.inner, 0x5414, struct.pack("HHHH", 40, 120, 0, 0))  # TIOCSWINSZ
        self.text, self.deaf, self.closed, self.stalled = "", False, False, False

    def type(self, keys):
        os.write(self.outer, keys)

    @staticmethod
    def stuff(name, most):
        writer = os.open(name, os.O_WRONLY | os.O_NONBLOCK | os.O_NOCTTY)
        size = 0
        try:
            while size < most:
                size += os.write(writer, b".")
        except BlockingIOError:
            pass
        os.close(writer)
        return size

    def fill(self, but):
        """So many bytes may still be shown to a reader that isn't there."""
        empty = pty.openpty()
        room = self.stuff(os.ttyname(empty[1]), 1 << 20)
        for end in empty:
            os.close(end)
        self.stuff(self.name, room - but)

    def read(self):
        while not self.deaf and not self.closed and select.select([self.outer], [], [], 0)[0]:
            try:
                self.text = (self.text + re.sub(r"\x1b\[[0-9;?]*[a-zA-Z]", "", os.read(self.outer, 65536).decode(errors="replace")))[-20000:]
                self.stalled = self.stalled or STALL in self.text
            except OSError:  # the other end has closed
                self.close()

    def close(self):
        if not self.closed:
            os.close(self.outer)
        self.closed = True


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0]] + [f"LarchTalk.{name}" for name in sys.argv[2:]], verbosity=2)
