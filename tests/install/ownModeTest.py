#!/usr/bin/env python3
"""Builds examples/ownMode.c as its head says and lets it send and read against the simulated radio.
usage: ownModeTest.py SOURCE BUILD TEST [SANITIZERS]; TEST is the name of a function test_... below"""
import array
import cmath
import contextlib
import math
import os
import random
import re
import select
import signal
import struct
import subprocess
import sys
import tempfile
import time

source, build = (os.path.abspath(p) for p in sys.argv[1:3])
SANITIZERS = sys.argv[4] if len(sys.argv) > 4 else ""
RATE, BIT, FREQUENCY, PATIENCE = 48000, 960, 7100000, 120
TEXT = "CQ DE Q1ABC ~}"
folder = ""


def compile_example():
    with open(f"{source}/examples/ownMode.c") as f:
        command = r"cc (-std=\S+) ownMode\.c -o ownMode \$\(pkg-config --cflags --libs larchlib\)(.*)"
        standard, rest = re.search(command, f.read()).groups()
    flags = ["-fsanitize=" + SANITIZERS] if SANITIZERS else []
    subprocess.run(["cc", standard, "-Wall", "-Wextra", "-pedantic", "-Werror", *flags, f"{source}/examples/ownMode.c",
                    "-o", f"{folder}/ownMode", f"-I{source}/runtime", f"-L{build}", "-llarchlib", f"-Wl,-rpath,{build}",
                    *rest.split()], check=True)


@contextlib.contextmanager
def radio(scene, *options):
    """A simulated radio with a scene of these lines; gives its address and what it says."""
    address = f"127.{random.randint(20, 250)}.{random.randint(1, 250)}.{random.randint(1, 250)}"
    with open(f"{folder}/scene.txt", "w") as f:
        f.write("\n".join(scene) + "\n")
    process = subprocess.Popen([f"{build}/larch-sim", "--bind", address, "--scene", f"{folder}/scene.txt", *options],
                               stdout=subprocess.PIPE)
    try:
        read_until(process.stdout, address)
        yield address, process.stdout
    finally:
        process.send_signal(signal.SIGINT)
        print(process.communicate()[0].decode())


def host(address, *options):
    return subprocess.Popen([f"{folder}/ownMode", address, str(FREQUENCY), "600", *options], cwd=folder, stdout=subprocess.PIPE,
                            stderr=subprocess.PIPE)


def read_until(stream, wanted):
    """What comes from the stream until a text stands in it."""
    got, deadline = "", time.monotonic() + PATIENCE
    while wanted not in got:
        assert select.select([stream], [], [], max(0, deadline - time.monotonic()))[0], f"only {got!r}"
        part = os.read(stream.fileno(), 4096)
        assert part, f"ended after {got!r}"
        got += part.decode()
    return got


def end(process, transmitted):
    process.send_signal(signal.SIGINT)
    out, err = process.communicate(timeout=PATIENCE)
    print(out.decode(), err.decode())
    assert process.returncode == 0, process.returncode
    assert " 0 lost" in err.decode() and "4 objects ended" in err.decode()
    assert ("sent" in err.decode()) == transmitted


def read_iq(path):
    with open(path, "rb") as f:
        data = f.read()
    assert struct.unpack_from("<HHI", data, data.index(b"fmt ") + 8) == (1, 2, RATE), "not two channels of integers"
    at = data.index(b"data")
    values = array.array("h", data[at + 8:at + 8 + struct.unpack_from("<I", data, at + 4)[0]])
    return [complex(values[i], values[i + 1]) / 32767 for i in range(0, len(values), 2)]


def write_iq(path, samples):
    values = array.array("f", [v for z in samples for v in (z.real, z.imag)])
    body = values.tobytes()
    with open(path, "wb") as f:
        f.write(struct.pack("<4sI4s4sIHHIIHH4sI", b"RIFF", 36 + len(body), b"WAVE",
                            b"fmt ", 16, 3, 2, RATE, RATE * 8, 8, 32, b"data", len(body)))
        f.write(body)


def serial(text):
    """The bits of a text."""
    return [b for c in text.encode() for b in [0] + [c >> i & 1 for i in range(8)] + [1]]


def turns(samples):
    """Hz at each sample, over the last fifth of a bit."""
    span = BIT // 5
    steps = [a * b.conjugate() for a, b in zip(samples[1:], samples)]
    total, out = 0, []
    for n, step in enumerate(steps):
        total += step - (steps[n - span] if n >= span else 0)
        out.append(cmath.phase(total) * RATE / (2 * math.pi))
    return out


def amount(samples, hertz):
    """Amplitude of a tone in the samples, seen through a window that lets nothing of others in."""
    turn, step = 2 * math.pi / len(samples), -2 * math.pi * hertz / RATE
    return abs(sum(z * (1 - math.cos(turn * n)) * cmath.rect(1, step * n) for n, z in enumerate(samples))) / len(samples)


def check_ends(sent):
    """A transmission from the start of the stream to its stop; gives the part of full level."""
    on = [n for n, z in enumerate(sent) if z != 0]
    first, last = on[0], on[-1]
    assert abs(sent[first]) < 0.01 and abs(sent[last]) < 0.01, "the carrier jumps"
    assert len(sent) - last > 503 + 50 * 126, "stopped before the radio was back at reception"
    return sent[first + 1024:last - 1024]


def bits_of(sent):
    """What it says, above the tuned frequency."""
    levels = sorted(abs(z) for z in sent)
    assert abs(levels[len(levels) // 2] - 0.8) < 0.02, "the level"
    hertz = turns(sent)
    begin = next(n for n, f in enumerate(hertz) if n > BIT and f > 1100) - BIT // 10  # where the first start bit begins
    bits = []
    for n in range(begin + BIT // 2 + BIT // 10, len(hertz), BIT):
        assert min(abs(hertz[n] - 1000), abs(hertz[n] - 1200)) < 10, f"{hertz[n]} Hz"
        bits.append(1 if hertz[n] < 1100 else 0)
    for n in range(0, len(sent) - BIT, BIT):
        assert max(amount(sent[n:n + BIT], -1000), amount(sent[n:n + BIT], -1200)) < 0.001, "the other sideband"
    return bits


def test_sends_its_text_above_the_frequency():
    with radio(["noise -150"], "--record-tx", f"{folder}/sent.wav") as (address, _):
        process = host(address, "--transmit", "255", TEXT)
        read_until(process.stderr, "sent")
        process.send_signal(signal.SIGINT)
        assert process.wait(timeout=PATIENCE) == 0
    bits = bits_of(check_ends(read_iq(f"{folder}/sent.wav")))
    expected = serial(TEXT)
    assert bits[:len(expected)] == expected, bits
    assert all(bits[len(expected):]) and len(bits) >= len(expected) + 3

    # and reads it from the air, without a word of its own
    scene = ["noise -150", f"iq {FREQUENCY} -40 file=sent.wav"]
    with radio(scene, "--record-tx", f"{folder}/silence.wav") as (address, _):
        process = host(address)
        read_until(process.stdout, TEXT)
        end(process, transmitted=False)
    silence = read_iq(f"{folder}/silence.wav")
    assert len(silence) > RATE and not any(silence), "transmits unasked"


def test_reads_a_text_in_noise():
    bits = [1] * 20 + serial("\x1b[2Jnoise\xff\n") + [1] * 20
    samples = [cmath.exp(2j * math.pi * (1000 if b else 1200) * n / RATE) for b in bits for n in range(BIT)]
    write_iq(f"{folder}/text.wav", samples)
    # 800 Hz of noise at -120 dBFS in 1 Hz are -91 dBFS: the tones stand 11 dB above it
    with radio(["noise -120", f"iq {FREQUENCY} -80 file=text.wav"]) as (address, _):
        process = host(address)
        read_until(process.stdout, ".[2Jnoise..\n")  # no byte from the air controls the terminal
        end(process, transmitted=False)


def test_reads_its_own_text_back_from_the_air():
    text = "TO MYSELF DE Q1ABC 73"
    with radio(["noise -150"], "--tx-back", "1", "--tx-back-level", "-40") as (address, _):
        process = host(address, "--transmit", "100", text)
        read_until(process.stdout, text)
        read_until(process.stderr, "sent")
        process.send_signal(signal.SIGINT)
        assert process.wait(timeout=PATIENCE) == 0


def test_interrupted_it_lets_the_carrier_fall():
    with radio(["noise -150"], "--record-tx", f"{folder}/sent.wav") as (address, says):
        process = host(address, "--transmit", "255", TEXT * 100)
        read_until(says, "MOX 7100000 Hz peak -1.")
        end(process, transmitted=True)
    check_ends(read_iq(f"{folder}/sent.wav"))


def test_a_host_in_python_hears_and_sends():
    if SANITIZERS:
        print("skipped: Python can't load a library with sanitizers")
        sys.exit(77)
    with radio([f"carrier {FREQUENCY + 1500} -50"], "--record-tx", f"{folder}/sent.wav") as (address, _):
        program = [sys.executable, f"{source}/tests/install/ctypesProxy.py", f"{build}/liblarchlib.so", address, f"{folder}/log"]
        done = subprocess.run(program, stdout=subprocess.PIPE, text=True, timeout=PATIENCE)
        print(done.stdout)
        assert done.returncode == 0, done.returncode
    hertz, level = map(float, re.search(r"heard (-?[\d.]+) Hz at (-?[\d.]+) dBFS", done.stdout).groups())
    assert abs(hertz - 1500) < 0.1 and abs(level + 50) < 0.1
    sent = read_iq(f"{folder}/sent.wav")
    on = next(n for n, z in enumerate(sent) if z != 0)
    tone = sent[on + 1024:on + 11024]
    # a block that the interpreter didn't bring in time would be a hole
    assert all(abs(abs(z) - 0.5) < 0.001 for z in tone), "the level"
    assert all(abs(f - 1000) < 1 for f in turns(tone)[BIT:]), "the frequency"


if __name__ == "__main__":
    with tempfile.TemporaryDirectory() as folder:
        compile_example()
        globals()[sys.argv[3]]()
