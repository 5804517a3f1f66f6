#!/usr/bin/env python3
"""Builds examples/receive.c as its head says, with C99, and runs it against the simulated radio. Usage: exampleTest.py SOURCE BUILD"""
import os
import random
import re
import signal
import subprocess
import sys
import tempfile

source, build = (os.path.abspath(p) for p in sys.argv[1:3])
address = f"127.{random.randint(20, 250)}.{random.randint(1, 250)}.{random.randint(1, 250)}"
with tempfile.TemporaryDirectory() as folder:
    scene = os.path.join(folder, "scene.txt")
    with open(scene, "w") as f:
        f.write("carrier 7101000 -50\nnoise -170\n")
    program = os.path.join(folder, "receive")
    flags = ["-fsanitize=" + sys.argv[3]] if len(sys.argv) > 3 and sys.argv[3] else []
    subprocess.run(["cc", "-std=c99", "-Wall", "-Wextra", "-pedantic", "-Werror", *flags, f"{source}/examples/receive.c", "-o", program,
                    f"-I{source}/runtime", f"-L{build}", "-llarchlib", f"-Wl,-rpath,{build}"], check=True)
    radio = subprocess.Popen([f"{build}/larch-sim", "--bind", address, "--quiet", "--scene", scene], stdout=subprocess.DEVNULL)
    try:
        for _ in range(100):
            if subprocess.run([f"{build}/larch", "radios", "--radio", address, "--wait", "100"], stdout=subprocess.DEVNULL).returncode == 0:
                break
        done = subprocess.run([program, address, "7100000", "4"], cwd=folder, stdout=subprocess.PIPE, text=True, timeout=120)
    finally:
        radio.send_signal(signal.SIGINT)
        radio.wait()
print(done.stdout)
assert done.returncode == 0, done.returncode
found = re.search(r"(\d+) spectrum frames; strongest (-?[\d.]+) dB at (\d+) Hz", done.stdout)
assert found and abs(int(found.group(3)) - 7101000) < 200, "the carrier stands elsewhere"
assert abs(float(found.group(2)) - (-50 + 10 - 11.3)) < 2, "the carrier's level"
assert "4 objects ended" in done.stdout, "an object is still held"
