#!/usr/bin/env python3
"""CPU seconds a second of signal, of larch and of the simulated radio, with sixteen Protocol 2 receivers on one machine.
Usage: protocol2Study.py BUILD_FOLDER [SECONDS]

Each line: receivers and rate, datagrams a second as the radio made them, sequence breaks, datagrams that the kernel dropped, CPU of larch
(all, and in brackets by thread: polling, workers, receive thread) and of larch-sim, in percent of a core over the middle of the run. larch-sim
runs in the real-time class where that is granted, below the library's workers."""
import os
import re
import signal
import subprocess
import sys
import tempfile
import time

BUILD = os.path.abspath(sys.argv[1])
SECONDS = float(sys.argv[2]) if len(sys.argv) > 2 else 10
SETTLE = 4
ADDRESS = "127.77.16.15"
RUNS = ((16, 1536, True), (8, 1536, True), (4, 1536, True), (1, 1536, True), (16, 384, True), (16, 48, True),  # receivers, kHz, looped scene
        (8, 1536, False), (4, 1536, False), (16, 384, False))


def threads(pid):
    """CPU seconds of each thread."""
    cpu = {}
    for tid in os.listdir(f"/proc/{pid}/task"):
        with open(f"/proc/{pid}/task/{tid}/schedstat") as f:
            cpu[int(tid)] = int(f.read().split()[0]) * 1e-9
    return cpu


def dropped(pid):
    """Datagrams that the kernel had no room for in the program's sockets."""
    links = [os.readlink(f"/proc/{pid}/fd/{fd}") for fd in os.listdir(f"/proc/{pid}/fd")]
    own = {link[8:-1] for link in links if link.startswith("socket:[")}
    with open("/proc/net/udp") as f:
        rows = [line.split() for line in f][1:]
    return sum(int(row[12]) for row in rows if row[9] in own)


def prefer(pid):
    """Above what else the machine does, below the library's workers."""
    for tid in os.listdir(f"/proc/{pid}/task"):
        try:
            os.sched_setscheduler(int(tid), os.SCHED_RR, os.sched_param(5))
        except PermissionError:
            return


def measure(receivers, rate, looped):
    with tempfile.TemporaryDirectory() as folder:
        radio = subprocess.Popen([f"{BUILD}/larch-sim", "--protocol", "2", "--bind", ADDRESS, "--receivers", "16", "--scene", "carriers",
                                  *(("--loop", "0.1") if looped else ())], stdout=subprocess.PIPE, text=True)
        radio.stdout.readline()
        prefer(radio.pid)
        also = [word for m in range(2, receivers + 1) for word in ("--also", f"{2 * m}M")]
        larch = subprocess.Popen([f"{BUILD}/larch", "--log", f"{folder}/log", "listen", "--radio", ADDRESS, "--audio", "none", "--freq", "2M",
                                  "--rate", f"{rate}k", "--plain", "--seconds", str(SETTLE + SECONDS + 3), *also], stdout=subprocess.PIPE, text=True)
        time.sleep(SETTLE)
        first, radio_first, begin = threads(larch.pid), threads(radio.pid), time.monotonic()
        time.sleep(SECONDS)
        last, radio_last, lost, passed = threads(larch.pid), threads(radio.pid), dropped(larch.pid), time.monotonic() - begin
        out = larch.communicate()[0]
        radio.send_signal(signal.SIGINT)
        said = radio.communicate()[0]
    share = {tid: 100 * (last[tid] - first.get(tid, 0)) / passed for tid in last}
    order = sorted(share)  # the main thread, the workers, the radio's thread
    sent = re.findall(r"iq (\d+)/s  wideband (\d+)/s  microphone (\d+)/s", said)
    middle = sent[len(sent) // 2] if sent else ("0", "0", "0")
    breaks = re.findall(r"breaks (\d+)", out)
    print(f"{receivers:3} x {rate:4}k {'looped' if looped else 'scene '}  {sum(map(int, middle)):7}/s  breaks {breaks[-1] if breaks else '?'}  dropped {lost}  "
          f"larch {sum(share.values()):5.1f} % ({', '.join(f'{share[t]:.1f}' for t in order)})  "
          f"sim {100 * (sum(radio_last.values()) - sum(radio_first.values())) / passed:5.1f} %", flush=True)
    print("   ", said.splitlines()[-1], "| load", os.getloadavg()[0], flush=True)


with open("/proc/sys/net/core/rmem_max") as limit:
    print("net.core.rmem_max", limit.read().strip())
for run in RUNS:
    measure(*run)
