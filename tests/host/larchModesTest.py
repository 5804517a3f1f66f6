#!/usr/bin/env python3
"""AM and FM in larch listen and larch talk, on the wire and in the loudspeaker. Usage: larchModesTest.py BUILD_FOLDER [test ...]"""
import array
import cmath
import math
import re
import signal
import struct
import subprocess
import sys
import unittest

import larchTalkTest
from larchTalkTest import BUILD, FULL, PATIENCE, RATE, level, steady

def turns(samples):
    """Hz from sample to sample, upwards positive: the stream holds the mirror of the spectrum."""
    return [-cmath.phase(b * a.conjugate()) * RATE / (2 * math.pi) for a, b in zip(samples, samples[1:])]


def unbroken(samples):
    """The longest stretch without a gap, as a busy machine may leave, and without a beginning and an end."""
    runs, start = [], 0
    for i, z in enumerate(samples + [0]):
        if z == 0:
            runs.append((i - start, start))
            start = i + 1
    length, start = max(runs)
    return samples[start + 1000:start + length - 1000]


def tone_in(values, frequency):
    """Amplitude of a tone in real samples, of whole periods in a tenth of a second."""
    return 2 * level([complex(v) for v in values], frequency)


def write_iq(path, rate, seconds, signal):
    data = array.array("h")
    for i in range(round(rate * seconds)):
        z = signal(i / rate)
        data.extend((round(32767 * z.real), round(32767 * z.imag)))
    raw = data.tobytes()
    with open(path, "wb") as f:
        f.write(b"RIFF" + struct.pack("<I", 36 + len(raw)) + b"WAVEfmt " + struct.pack("<IHHIIHH", 16, 1, 2, rate, 4 * rate, 4, 16))
        f.write(b"data" + struct.pack("<I", len(raw)) + raw)


def am(t):
    return 0.5 * (1 + 0.6 * math.cos(2 * math.pi * 800 * t)) + 0j


def fm(deviation):
    return lambda t: 0.9 * cmath.exp(1j * deviation / 800 * math.sin(2 * math.pi * 800 * t))


class LarchModes(larchTalkTest.LarchTalk):
    def open_radio(self):
        super().open_radio()
        with open(self.path("asound.conf"), "w") as f:
            f.write(f"<{BUILD}/asound.conf>\n")
            f.write(f'pcm.heard {{ type file slave.pcm "loop" file "{self.path("heard.wav")}" format "wav" }}\n')

    def environment(self):
        return dict(super().environment(), ALSA_CONFIG_PATH=self.path("asound.conf"))

    def command(self, *arguments, verb="talk"):
        usual = {"--radio": self.address, "--freq": "7.1M", "--audio": "none"}
        if verb == "talk":
            usual |= {"--rate": "48k", "--input": self.input}
        return [f"{BUILD}/larch", "--log", self.path("larch.log"), verb,
                *(word for option in usual if option not in arguments for word in (option, usual[option])), *arguments]

    def listen(self, *arguments):
        return subprocess.run(self.command(*arguments, verb="listen"), stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                              timeout=PATIENCE, env=self.environment())

    def heard(self):
        """What came out of the loudspeaker, left, 48 kHz."""
        with open(self.path("heard.wav"), "rb") as f:
            data = f.read()
        at = 12
        while data[at:at + 4] != b"data":
            if data[at:at + 4] == b"fmt ":
                _, channels, rate, _, frame, bits = struct.unpack("<HHIIHH", data[at + 8:at + 24])
            at += 8 + struct.unpack("<I", data[at + 4:at + 8])[0]
        self.assertEqual(rate, RATE)
        samples = array.array({16: "h", 32: "f"}[bits])  # the plugin calls floats PCM, too
        sound = data[at + 8:]  # the size before it is written at the end
        samples.frombytes(sound[:len(sound) // frame * frame])
        scale = 32768 if bits == 16 else 1
        return [v / scale for v in samples[::channels]]

    def assert_tone_is_heard(self, frequency, purity):
        """In a quarter of a second the tone has that share of all power: a busy machine may leave gaps."""
        sound = self.heard()
        length, part = RATE // 4, RATE // 20
        turning = [cmath.exp(-2j * math.pi * frequency * k / RATE) for k in range(part)]
        best = 0
        for start in range(0, len(sound) - length, length // 2):
            window = sound[start:start + length]
            power = sum(v * v for v in window) / length
            if power > 1e-3:
                # in parts: the steering towards the sound card's clock moves the tone by a part of a hertz
                shares = [2 * abs(sum(v * w for v, w in zip(window[k:], turning)) / part) ** 2 for k in range(0, length, part)]
                best = max(best, sum(shares) / len(shares) / power)
        self.assertGreater(best, purity)

    def transmission(self, *arguments):
        done = self.talk("--transmit", "--drive", "255", "--ptt-seconds", "2", *arguments)
        self.assertEqual(done.returncode, 0, done.stderr)
        return unbroken(steady(self.wire.transmissions()[-1]))[:RATE // 2]

    def levels(self, done):
        """dBm of each receiver in the last line."""
        self.assertEqual(done.returncode, 0, done.stderr)
        line = [line for line in done.stdout.splitlines() if " dBm " in line][-1]
        return [float(n) for n in re.findall(r"(-?\d+\.\d) dBm", line)]

    def test_wrong_modes_get_clear_errors(self):
        for arguments, word in (
            (("--mode", "pirate"), "unknown mode 'pirate': usb, lsb, am, nfm or fm"),
            (("--also", "7.1M:pirate"), "unknown mode 'pirate'"),
            (("--mode", "nfm", "--deviation", "12000"), "a deviation of 12000 Hz is --mode fm"),
            (("--mode", "fm", "--deviation", "2500"), "a deviation of 2500 Hz is --mode nfm"),
            (("--mode", "am", "--filter", "0:30000"), "'0:30000' is no filter"),
            (("--mode", "am", "--two-tone"), "--two-tone is for usb and lsb"),
            (("--mode", "fm", "--transmit", "--rate", "384k"), "give --deviation, or --mode nfm"),
            (("--mode", "fm", "--transmit", "--rate", "192k", "--deviation", "15000"), "at --rate 384k only"),
        ):
            done = self.talk(*arguments)
            self.assertEqual(done.returncode, 1, done)
            self.assertIn(word, done.stderr)
        for arguments in (("--ctcss", "20"), ("--ctcss", "300"), ("--deviation", "100"), ("--deviation", "200000")):
            self.assertEqual(self.talk(*arguments).returncode, 2, arguments)
        self.assertEqual(self.wire.sent, [])

    def test_am_sends_half_a_carrier_and_two_sidebands(self):
        self.tone(1000, amplitude=0.5)
        sent = self.transmission("--mode", "am")
        self.assertAlmostEqual(level(sent, 0) / FULL, 0.5, delta=0.002)
        # 0.707 of the microphone, the limiter's 0.97, the mode's 0.48, half of it on each side
        for side in (-1000, 1000):
            self.assertAlmostEqual(level(sent, side) / FULL, 0.5 * 0.707 * 0.97 * 0.48 / 2, delta=0.002, msg=side)
        sent = self.transmission("--mode", "am", "--compression", "4")
        loud = [level(sent, side) / FULL for side in (-1000, 1000)]
        self.assertAlmostEqual(sum(loud), 0.97 * 0.48, delta=0.01)  # the clipper's 1
        bare = self.transmission("--mode", "am", "--compression", "0")
        self.assertLess(max(abs(abs(z) / FULL - 0.5) for z in bare), 0.001)

    def test_nfm_keeps_its_envelope_and_its_deviation(self):
        # 0.707 of the microphone, twice as loud at 600 Hz as at 300 Hz, the limiter's 0.97
        self.tone(600, amplitude=0.3)
        share = 0.3 * 0.707 * 2 * 0.97
        for arguments, deviation in (((), 2500), (("--deviation", "5000"), 5000)):
            sent = self.transmission("--mode", "nfm", *arguments)
            self.assertLess(max(abs(abs(z) / FULL - 0.99) for z in sent), 0.005)
            self.assertAlmostEqual(tone_in(turns(sent), 600) / (share * deviation), 1, delta=0.02)

    def test_the_loudest_highest_tone_keeps_the_envelope_too(self):
        self.tone(2900, amplitude=1)
        sent = self.transmission("--mode", "nfm", "--compression", "3")
        self.assertLess(max(abs(abs(z) / FULL - 0.99) for z in sent), 0.01)
        self.assertAlmostEqual(tone_in(turns(sent), 2900) / (0.97 * 2500), 1, delta=0.03)

    def test_wide_fm_is_transmitted_and_ends_in_order(self):
        self.tone(600, amplitude=0.3)
        sent = self.transmission("--mode", "fm", "--rate", "384k", "--deviation", "15000")
        self.assertAlmostEqual(tone_in(turns(sent), 600) / (0.3 * 0.707 * 2 * 0.97 * 15000), 1, delta=0.02)
        self.assert_orderly_end(0.99 * FULL)

    def test_ctcss_lies_under_the_speech(self):
        self.tone(600, amplitude=0.3)
        sent = turns(self.transmission("--mode", "nfm", "--ctcss", "100"))
        self.assertAlmostEqual(tone_in(sent, 100) / (0.1 * 0.85 * 2500), 1, delta=0.02)
        self.assertAlmostEqual(tone_in(sent, 600) / (0.3 * 0.707 * 2 * 0.97 * 0.85 * 2500), 1, delta=0.02)
        self.assertLess(tone_in(turns(self.transmission("--mode", "nfm")), 100), 5)

    def test_am_is_heard(self):
        write_iq(self.path("band.wav"), 48000, 0.5, am)
        self.put_on_air("iq 7.1M -40 file=band.wav\nnoise -150\n")
        done = self.listen("--mode", "am", "--audio", "heard", "--gain", "0", "--seconds", "5")
        self.assertAlmostEqual(self.levels(done)[0], -40 + 20 * math.log10(0.8) + 10, delta=1)  # the envelope's peak
        self.assert_tone_is_heard(800, 0.9)

    def test_narrow_fm_is_heard(self):
        write_iq(self.path("band.wav"), 48000, 0.5, fm(2400))
        self.put_on_air("iq 7.1M -40 file=band.wav\nnoise -150\n")
        done = self.listen("--mode", "nfm", "--audio", "heard", "--gain", "0", "--seconds", "5")
        self.assertAlmostEqual(self.levels(done)[0], -40 + 20 * math.log10(0.9) + 10, delta=1)
        self.assert_tone_is_heard(800, 0.9)

    def test_wide_fm_asks_for_its_rate_and_is_heard(self):
        write_iq(self.path("band.wav"), 384000, 0.1, fm(75000))
        self.put_on_air("iq 7.1M -40 file=band.wav\nnoise -150\n")
        done = self.listen("--mode", "fm", "--audio", "heard", "--gain", "0", "--seconds", "6")
        self.assertIn("384000 samples/s", done.stdout)
        self.assertNotIn("rate too low", done.stdout)
        self.assertAlmostEqual(self.levels(done)[0], -40 + 20 * math.log10(0.9) + 10, delta=1)
        self.assert_tone_is_heard(800, 0.8)  # the audio filter keeps some of what it has heard before

    def hear_station(self, line, tone, purity, *arguments):
        """The simulator's own station with a tone for its programme."""
        self.tone(tone, amplitude=0.9)
        self.put_on_air(f"{line} file=mic.wav pause=0\nnoise -150\n")
        done = self.listen("--audio", "heard", "--gain", "0", "--seconds", "5", *arguments)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assert_tone_is_heard(tone, purity)

    def test_an_am_station_is_heard(self):
        self.hear_station("am 7.110M -40 depth=0.8", 700, 0.9, "--freq", "7.110M", "--mode", "am")

    def test_a_narrow_fm_station_is_heard_without_its_ctcss(self):
        self.hear_station("fm 7.120M -40 deviation=2500 ctcss=88.5", 900, 0.9, "--freq", "7.120M", "--mode", "nfm")

    def test_a_wide_fm_station_is_heard(self):
        self.hear_station("fm 7.2M -40 deviation=75000", 1100, 0.8, "--freq", "7.2M", "--mode", "fm")

    def test_wide_fm_at_a_low_rate_says_what_it_needs(self):
        done = self.listen("--mode", "fm", "--rate", "192k", "--seconds", "3")
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertIn("192000 samples/s", done.stdout)
        self.assertIn("rate too low: --rate 384k", done.stdout)

    def test_each_mode_filters_its_own_band(self):
        self.put_on_air("carrier 7.15M -50\ncarrier 7.204M -50\ncarrier 7.255M -50\ncarrier 7.356M -50\nnoise -170\n")
        done = self.listen("--freq", "7.1M", "--also", "7.2M:am", "--also", "7.25M:nfm", "--also", "7.35M:nfm", "--also", "7.40M",
                           "--mode", "fm", "--gain", "0", "--seconds", "5")
        wide, carrier, narrow, beside, same = self.levels(done)
        self.assertIn("7.200.000 AM", done.stdout)
        self.assertIn("7.400.000 FM", done.stdout)
        self.assertAlmostEqual(wide, -40, delta=1)     # 50 kHz off, of 100
        self.assertAlmostEqual(carrier, -40, delta=1)  # 4 kHz off, of 4.5
        self.assertAlmostEqual(narrow, -40, delta=1)   # 5 kHz off, of 5.5
        self.assertLess(beside, -90)                   # 6 kHz off
        self.assertAlmostEqual(same, -40, delta=1)     # 44 kHz off, on the other side

    def hear_back(self, mode, purity, *arguments):
        self.tearDown()
        self.air = ("--tx-back", "3.5", "--tx-back-level", "-40")
        self.open_radio()
        self.tone(800)
        done = self.talk("--mode", mode, "--transmit", "--drive", "255", "--gain", "0", "--audio", "heard", "--ptt-seconds", "3",
                         "--seconds", "9", *arguments)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assert_tone_is_heard(800, purity)

    def test_the_own_am_is_heard_back(self):
        self.hear_back("am", 0.9)

    def test_the_own_nfm_is_heard_back(self):
        self.hear_back("nfm", 0.9)

    def see(self, text):
        self.wait(lambda: text in self.screen.text, text)
        self.screen.text = ""

    def test_a_key_goes_through_the_modes(self):
        self.start_in_terminal()
        self.see("7.100.000 USB   200..2900")
        for shown in ("LSB   200..2900", "AM -4500..4500", "NFM -5500..5500", "USB   200..2900"):  # 48 kHz: no wide FM
            self.screen.type(b"m")
            self.see("7.100.000 " + shown)
        self.screen.type(b"mm")
        self.see("7.100.000 AM")
        self.screen.type(b"[")
        self.see("-4400..4400")
        self.screen.type(b"q")
        self.assertEqual(self.end()[0], 0)

    def test_the_key_reaches_wide_fm_where_the_rate_allows_it(self):
        self.put_on_air("carrier 7.15M -50\nnoise -170\n")
        self.start_in_terminal("--rate", "384k", "--mode", "nfm", "--gain", "0")
        self.see("7.100.000 NFM -5500..5500")
        self.screen.type(b"m")
        self.see("7.100.000 FM -100000..100000  -40.")
        self.screen.type(b"[")
        self.see("-95000..95000")
        self.screen.type(b"mmmm")
        self.see("7.100.000 NFM -5500..5500")
        self.screen.type(b"q")
        self.assertEqual(self.end()[0], 0)

    def test_the_mode_stays_while_it_is_on_the_air(self):
        self.tone()
        self.start_in_terminal("--transmit", "--mode", "am", "--drive", "255")
        self.see("7.100.000 AM")
        self.screen.type(b"t")
        self.wait_for_air()
        self.screen.type(b"m")
        self.see("ON AIR")
        self.see("7.100.000 AM")
        self.screen.type(b"t")
        self.wait_for_mox(False)
        sent = len(self.wire.sent)
        self.wait(lambda: len(self.wire.sent) > sent + 3 * RATE // 126, "the radio's time to settle")
        self.screen.type(b"m")
        self.see("7.100.000 NFM")
        self.screen.type(b"t")
        self.wait_for_air()
        sent = self.wire.transmissions()
        self.assertAlmostEqual(level(unbroken(sent[0]), 0) / FULL, 0.5, delta=0.01)
        self.assertLess(max(abs(abs(z) / FULL - 0.99) for z in unbroken(sent[1])), 0.01)

    def put_on_air(self, scene):
        """The radio begins anew with this on the air."""
        self.radio.send_signal(signal.SIGINT)
        self.radio.wait(timeout=PATIENCE)
        self.radio.stdout.close()
        with open(self.path("scene.txt"), "w") as f:
            f.write(scene)
        self.radio = subprocess.Popen(self.radio.args, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        self.assertIn(" at ", self.radio.stdout.readline())


if __name__ == "__main__":
    names = sys.argv[2:] or [name for name in vars(LarchModes) if name.startswith("test_")]
    unittest.main(argv=[sys.argv[0]] + [f"LarchModes.{name}" for name in names], verbosity=2)
