#!/usr/bin/env python3
"""Filters, receivers and transmitters of AM and FM by the plain formulas, as a header for the tests of both modes.

Prints amFmGolden.h. Pure Python, convolutions by the plain sum: takes a minute or two.
"""
import cmath
import math

RATE = 48000
TERMS = (0.27105140069342, 0.43329793923448, 0.21812299954311, 0.06592544638803, 0.01081174209837, 0.00077658482522,
         0.00001388721735)


def window(i, n):
    return sum((-1) ** k * c * math.cos(k * (i + 0.5) * 2 * math.pi / n) for k, c in enumerate(TERMS))


def band(low, high, n, windowed):
    half = (high - low) / RATE / 2
    turn = (high + low) / RATE * math.pi
    taps = [0j] * n
    for i in range(n // 2, n):
        t = i - (n - 1) / 2
        c = math.sin(t * 2 * math.pi * half) / (t * math.pi) * (window(i, n) if windowed else 1)
        taps[i] = c * cmath.exp(-1j * t * turn)
        taps[n - 1 - i] = taps[i].conjugate()
    return taps


def shaped(taps, gain):  # the spectrum at the frequencies 48000 - i 48000 / n times gain(i, f), back, window
    n = len(taps)
    roots = [cmath.exp(2j * math.pi * k / n) for k in range(n)]
    spectrum = [sum(taps[m] * roots[-i * m % n] for m in range(n)) / n for i in range(n)]
    for i in range(n):
        f = RATE - i * RATE / n
        if 300 <= f < 3000:
            spectrum[i] *= gain(i, f)
    return [sum(spectrum[i] * roots[i * m % n] for i in range(n)) * window(m, n) for m in range(n)]


def curve(k):  # the equaliser that the filter tests repeat: 1024 values
    return 0.25 + (k * 37 % 101) / 50.0


def convolved(signal, taps):
    return [sum(taps[k] * signal[n - k] for k in range(min(n + 1, len(taps)))) for n in range(len(signal))]


def clipped(z):
    return z / abs(z) if abs(z) > 1 else z


def limited(signal, factor):  # look-ahead 6, delay 3
    line = [0j] * 6 + signal
    out = []
    for i in range(len(signal)):
        p = max(abs(z) for z in line[i:i + 6])
        y = line[i + 3]
        out.append((y / (2 * (p - 1) + 1) if p > 1 else y) * factor)
    return out


BLOCKS = 10
PI2 = 2 * math.pi


def microphone(n):  # exact in single precision
    return round((0.5 * math.sin(PI2 * 700 / RATE * n) + 0.45 * math.sin(PI2 * 1930 / RATE * n + 1)) * 4096) / 4096


def speech(microphone_taps, band_taps, compression):
    audio = [0.707 * microphone(n) for n in range(512 * BLOCKS)]
    driven = [z * 2 * compression for z in convolved(audio, microphone_taps)]
    return convolved(limited(convolved([clipped(z) for z in driven], band_taps), 0.97), band_taps)


def received(n):  # a wild signal for the receivers, no carrier in particular
    return (0.3 + 0.25 * math.sin(0.05 * n)) * cmath.exp(1j * (2.1 * math.sin(0.013 * n) + 0.3 * n - 0.00002 * n * n))


def am_audio(count):
    average, out = 0.0, []
    for n in range(count):
        a = abs(received(n))
        average += (a - average) * 0.01
        out.append(a - average)
    return out


def fm_audio(taps, ratios):
    """A block of 512 for each of the ratios; the filter's input keeps what isn't written."""
    previous, n, place, line, audio = 0j, 0, [0.0] * 512, [0.0] * 1536, []
    for ratio in ratios:
        for j in range(512 // ratio):
            place[j] = 0.0
            for _ in range(ratio):
                x = received(n) / abs(received(n))
                d = previous.conjugate() * x
                place[j] += math.atan2(d.imag, d.real) if d else 0.0
                previous = x
                n += 1
        line = line[512:] + place
        audio += [sum(taps[k] * line[1024 + j - k] for k in range(1024)).real for j in range(512 // ratio)]
    return audio


def complex_rows(name, values):
    print(f"constexpr goldenSample {name}[] = {{")
    for i, z in values:
        print(f"    {{{i}, {z.real:.15e}, {z.imag:.15e}}},")
    print("};")


def pick(values, indices):
    return [(i, complex(values[i])) for i in indices]


TAPS = list(range(3, 2048, 341)) + [960, 1000, 1015, 1022, 1023, 1024, 1030, 1060]
SHORT = list(range(3, 1024, 171)) + [440, 500, 509, 511, 512, 515, 540, 600]
SENT = list(range(0, 2000, 333)) + list(range(2000, 512 * BLOCKS, 97))
HEARD = list(range(0, 1024, 61))

sinc = band(300, 3000, 2048, False)
print("// Made by amFmGolden.py: do not edit.")
print("// clang-format off")
print("#pragma once")
print("namespace larch::test {")
print("struct goldenSample {\n  int index;\n  double re, im;\n};")
complex_rows("amMicrophoneTaps", pick(shaped(sinc, lambda i, f: curve(2047 - i)), TAPS))
complex_rows("fmMicrophoneTaps", pick(shaped(sinc, lambda i, f: f / 300 * curve(2047 - i)), TAPS))
receive_taps = shaped(band(300, 3000, 1024, True), lambda i, f: 1 / (f / 300))
complex_rows("fmReceiveTaps", pick(receive_taps, SHORT))
complex_rows("amReceived", pick(am_audio(1024), HEARD))
complex_rows("fmReceivedNarrow", pick(fm_audio(receive_taps, [1] * 4), range(0, 2048, 101)))
complex_rows("fmReceivedAfterWide", pick(fm_audio(receive_taps, [1, 1] + [8] * 12), range(0, 1024 + 64 * 12, 43)))
flat = shaped(sinc, lambda i, f: 1.0)
am_speech = speech(flat, band(150, 3000, 1536, True), 1.5)
complex_rows("amSent", [(i, complex(am_speech[i].real * 0.48 + 0.5 / math.sqrt(2), 0.5 / math.sqrt(2))) for i in SENT])
rising = shaped(sinc, lambda i, f: f / 300)
fm_speech = speech(rising, band(300, 3000, 1536, True), 0.75)
tone, phase, sent = 1 + 0j, 0.0, []
for z in fm_speech:
    tone *= cmath.exp(-1j * PI2 * 88.5 / RATE)
    phase += PI2 * (z + 0.1 * tone).real * 5000 * 0.85 / RATE
    sent.append(0.99 * cmath.exp(-1j * phase))
complex_rows("fmSent", pick(sent, SENT))
print("} // namespace larch::test")
