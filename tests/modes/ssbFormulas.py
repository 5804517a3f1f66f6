"""The single-sideband transmit chain by its plain formulas, sample by sample over the whole stream: no blocks, no transforms but
the one that the equaliser is defined by. For the scripts that print expected values."""
import cmath
import math
import struct
from operator import mul

RATE = 48000
TERMS = (0.27105140069342, 0.43329793923448, 0.21812299954311, 0.06592544638803, 0.01081174209837, 0.00077658482522,
         0.00001388721735)
MIC_TAPS, CLIP_TAPS = 2048, 1536


def single(x):
    return struct.unpack("f", struct.pack("f", x))[0]


def window(n):
    return [sum((-1) ** k * c * math.cos(k * (i + 0.5) * 2 * math.pi / n) for k, c in enumerate(TERMS)) for i in range(n)]


def bandpass(low, high, taps, windowed=True):  # an even number of taps
    weight = window(taps) if windowed else [1.0] * taps
    half, turn = (high - low) / RATE / 2, (high + low) / RATE * math.pi
    h = [0j] * taps
    for i in range(taps // 2, taps):
        t = i - (taps - 1) / 2
        h[i] = math.sin(t * 2 * math.pi * half) / (t * math.pi) * weight[i] * cmath.exp(-1j * t * turn)
        h[taps - 1 - i] = h[i].conjugate()
    return h


def curve(points):  # of nine pairs of hertz and gain: 1024 single-precision gains, 23.4375 Hz apart
    (_, y0), (x1, y1) = points[:2]
    x0, upper, gains = 0.0, 1, []
    for k in range(1024):
        f = k * 23.4375
        while f > x1 and upper < 8:
            upper += 1
            (x0, y0), (x1, y1) = points[upper - 1], points[upper]
        gains.append(single((f - x0) / (x1 - x0) * (y1 - y0) + y0))
    return gains


def dft(x, sign):
    if len(x) == 1:
        return x
    even, odd = dft(x[::2], sign), dft(x[1::2], sign)
    turned = [o * cmath.exp(sign * 2j * cmath.pi * k / len(x)) for k, o in enumerate(odd)]
    return [e + o for e, o in zip(even, turned)] + [e - o for e, o in zip(even, turned)]


def mic_filter(low, high, gains=None):
    if gains is None:
        return bandpass(low, high, MIC_TAPS)
    spectrum = dft(bandpass(low, high, MIC_TAPS, windowed=False), -1)
    for i in range(MIC_TAPS):
        f = -i * RATE / MIC_TAPS if i < MIC_TAPS // 2 else RATE - i * RATE / MIC_TAPS
        if low <= f < high:
            spectrum[i] *= gains[i if i < MIC_TAPS // 2 else MIC_TAPS - 1 - i]
    return [tap / MIC_TAPS * w for tap, w in zip(dft(spectrum, +1), window(MIC_TAPS))]


def fir(taps, x):  # as many samples as x has; before it is silence
    parts = [[z.real for z in reversed(taps)], [z.imag for z in reversed(taps)]]
    x = [complex(z) for z in x]
    streams = [[0.0] * (len(taps) - 1) + [z.real for z in x], [0.0] * (len(taps) - 1) + [z.imag for z in x]]
    y = []
    for n in range(len(x)):
        re, im = (s[n:n + len(taps)] for s in streams)
        y.append(complex(sum(map(mul, parts[0], re)) - sum(map(mul, parts[1], im)),
                         sum(map(mul, parts[0], im)) + sum(map(mul, parts[1], re))))
    return y


def clip(x):
    return [z / abs(z) if abs(z) > 1 else z for z in x]


def limit(x, factor):  # the sample three back, by the largest of the six around it
    y = []
    for i in range(len(x)):
        peak = max([abs(z) for z in x[max(i - 6, 0):i]], default=0.0)
        z = x[i - 3] if i >= 3 else 0j
        y.append((z / (2 * (peak - 1) + 1) if peak > 1 else z) * factor)
    return y


def ssb(microphone, low, high, compression, gains=None):  # edges as the transceiver is given them, Hz
    low, high = low + 100, high - 100
    x = fir(mic_filter(low, high, gains), [0.707 * m for m in microphone])
    x = clip([2 * compression * z for z in x])
    return limit(fir(bandpass(low, high, CLIP_TAPS), x), 0.94)


def speech(count):  # a voice of 125 Hz with two formants and syllables of 50 ms, in steps of 1/4096
    samples = []
    for n in range(count):
        x = 0.0
        for h in range(1, 25):
            f = 125.0 * h
            weight = 1 / (1 + ((f - 500) / 200) ** 2) + 0.5 / (1 + ((f - 1500) / 300) ** 2)
            x += weight * math.sin(2 * math.pi * f * n / RATE + h * h)
        x *= 0.16 * (1 - math.cos(2 * math.pi * n / 2400))
        samples.append(math.floor(4096 * x + 0.5) / 4096)
    return samples
