"""A host in Python with a mode of its own: hears a carrier, sends a tone, ends as the guide says.

usage: ctypesProxy.py LIBRARY ADDRESS LOG
Prints the frequency and the level of what it hears above 7.1 MHz, and sends half a second of a tone 1000 Hz above it.
"""
import array
import cmath
import collections
import ctypes
import math
import sys
import time

RATE, BLOCK, TONE, SENT = 48000, 512, 1000, 24000
library = ctypes.CDLL(sys.argv[1])  # lets the interpreter's lock go during a call; PyDLL doesn't
HANDLE, NUMBER, FLAG, REAL = ctypes.c_void_p, ctypes.c_int32, ctypes.c_bool, ctypes.c_double
kept = []  # callbacks must outlive their binds


def call(name, *arguments):
    return getattr(library, name)(*arguments)


def bind(name, handle, function, *kinds):
    kept.append(ctypes.CFUNCTYPE(None, *kinds)(function))
    call(name, HANDLE(handle), kept[-1])


def create(name):
    getattr(library, name + "_create").restype = HANDLE
    return watched(call(name + "_create"))


def watched(handle):
    bind("asyncObject_bindDeleted", handle, deleted.append, NUMBER)
    return handle


def poll_until(condition):
    deadline = time.monotonic() + 60
    while not condition():
        library.getUpdates()
        library.getRenderUpdates()
        assert time.monotonic() < deadline, "it never came"
        time.sleep(0.002)


library.complexArray_data.restype = HANDLE
library.complexArray_data.argtypes = library.complexArray_size.argtypes = library.complexArray_delete.argtypes = [HANDLE]
library.complexArray_delete.restype = None
deleted, echoes, keyed = [], [], [False]
heard, to_send = collections.deque(maxlen=1000), collections.deque()  # appended to on one side, taken from on the other


def on_rx_chunk(block):  # on a thread of the library: one copy, and away
    heard.append(ctypes.string_at(library.complexArray_data(block), 16 * library.complexArray_size(block)))
    library.complexArray_delete(block)


def on_get_tx_chunk(out, mic):
    if to_send:
        ctypes.memmove(library.complexArray_data(out), to_send.popleft(), 16 * library.complexArray_size(out))
    library.complexArray_delete(out)
    library.complexArray_delete(mic)


transceiver = mode = None


def on_gain(gain):
    call("agc_release", HANDLE(watched(gain)))


def on_spectrum(frame, low, high, rate):
    call("floatArray_delete", HANDLE(frame))


def on_vtrx(handle, frequency, rate):
    global transceiver, mode
    transceiver, mode = watched(handle), create("proxyModDemod")
    bind("vtrx_bindrxagc", handle, on_gain, HANDLE)
    bind("vtrx_bindtxagc", handle, on_gain, HANDLE)
    bind("vtrx_bindnewSpectrum", handle, on_spectrum, HANDLE, REAL, REAL, NUMBER)
    bind("proxyModDemod_bindrxChunk", mode, on_rx_chunk, HANDLE)
    bind("proxyModDemod_bindgetTxChunk", mode, on_get_tx_chunk, HANDLE, HANDLE)
    call("vtrx_setModulation", HANDLE(handle), HANDLE(mode))
    call("vtrx_setRxFilter", HANDLE(handle), 200, 2900)
    call("vtrx_setTxFilter", HANDLE(handle), 200, 2900)
    call("vtrx_setmuted", HANDLE(handle), FLAG(True))
    call("vtrx_setdrive", HANDLE(handle), 255)
    call("vtrx_start", HANDLE(handle))


library.init(sys.argv[3].encode(), 0)
radio = create("HpsdrRadio")
call("HpsdrRadio_setipAddress", HANDLE(radio), sys.argv[2].encode())
call("HpsdrRadio_setclockFrequency", HANDLE(radio), 76800000)
call("HpsdrRadio_setHLite2Gain", HANDLE(radio), FLAG(True))
bind("Radio_bindvtrxAdded", radio, on_vtrx, HANDLE, NUMBER, NUMBER)
bind("Radio_bindptt", radio, lambda on: keyed.__setitem__(0, on), FLAG)
call("Radio_addVtrx", HANDLE(radio), 7100000, 0)
call("Radio_start", HANDLE(radio))
poll_until(lambda: len(heard) > 30)
values = array.array("d", heard[-1])
samples = [complex(values[i], -values[i + 1]) for i in range(0, len(values), 2)]  # the baseband is the mirror of the band
turn = sum(a * b.conjugate() for a, b in zip(samples[1:], samples))
print(f"heard {cmath.phase(turn) * RATE / (2 * math.pi):.2f} Hz at {20 * math.log10(abs(samples[-1])):.2f} dBFS")

for first in range(0, SENT, BLOCK):
    tone = array.array("d")
    for n in range(first, first + BLOCK):
        z = cmath.rect(0.5, -2 * math.pi * TONE * n / RATE)
        tone.extend((z.real, z.imag))
    to_send.append(tone.tobytes())
call("vtrx_setptt", HANDLE(transceiver), FLAG(True))
poll_until(lambda: keyed[0] and not to_send)
call("vtrx_setptt", HANDLE(transceiver), FLAG(False))
poll_until(lambda: not keyed[0])
blocks = len(heard)
poll_until(lambda: len(heard) > blocks + 50 * 126 // BLOCK)

# no callback may come into an interpreter that is ending
call("proxyModDemod_bindrxChunk", HANDLE(mode), None)
call("proxyModDemod_bindgetTxChunk", HANDLE(mode), None)
bind("asyncObject_bindEcho", transceiver, echoes.append, NUMBER)
call("asyncObject_Ping", HANDLE(transceiver), 73)
poll_until(lambda: echoes == [73])
print("python: sent")
