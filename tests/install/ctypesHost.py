"""A host in Python: the library through ctypes alone. usage: ctypesHost.py LIBRARY LOG"""
import ctypes
import sys
import time

library = ctypes.CDLL(sys.argv[1])
NUMBER = ctypes.CFUNCTYPE(None, ctypes.c_int32)
REAL = ctypes.CFUNCTYPE(None, ctypes.c_double)
TEXT = ctypes.CFUNCTYPE(None, ctypes.c_char_p)
ROW = ctypes.CFUNCTYPE(None, ctypes.c_int32, ctypes.c_int32, ctypes.c_void_p)
kept = []  # callbacks must outlive their binds


def function(name, result, *arguments):
    f = getattr(library, name)
    f.restype, f.argtypes = result, arguments
    return f


def create(name):
    handle = function(name + "_create", ctypes.c_void_p)()
    assert handle, name
    bind("asyncObject_bindDeleted", handle, NUMBER, lambda one: events.append(("deleted", one)))
    return handle


def bind(name, handle, kind, callback):
    wrapped = kind(callback)
    kept.append(wrapped)
    function(name, None, ctypes.c_void_p, kind)(handle, wrapped)


def release(handle):
    function("asyncObject_release", None, ctypes.c_void_p)(handle)


def poll_until(condition):
    deadline = time.monotonic() + 30
    while not condition():
        library.getUpdates()
        library.getRenderUpdates()
        assert time.monotonic() < deadline, "it never came"
        time.sleep(0.001)


events = []
function("init", None, ctypes.c_char_p, ctypes.c_int32)(sys.argv[2].encode(), 0)

# an echo
thing = create("asyncObject")
bind("asyncObject_bindEcho", thing, NUMBER, lambda v: events.append(("echo", v)))
function("asyncObject_Ping", None, ctypes.c_void_p, ctypes.c_int32)(thing, -7)
poll_until(lambda: ("echo", -7) in events)

# a text and a number that are told at bind
row = create("ValueLabelItem")
function("ValueLabelItem_setLabel", None, ctypes.c_void_p, ctypes.c_char_p)(row, "größer".encode("utf-8"))
function("ValueLabelItem_setValue", None, ctypes.c_void_p, ctypes.c_int32)(row, 384000)
bind("asyncObject_bindEcho", row, NUMBER, lambda v: events.append(("row", v)))
function("asyncObject_Ping", None, ctypes.c_void_p, ctypes.c_int32)(row, 1)
poll_until(lambda: ("row", 1) in events)
bind("ValueLabelItem_bindLabel", row, TEXT, lambda t: events.append(("label", t.decode("utf-8"))))
bind("ValueLabelItem_bindValue", row, NUMBER, lambda v: events.append(("value", v)))
poll_until(lambda: ("label", "größer") in events and ("value", 384000) in events)

# a list: the rates of a radio
rates, handles = [], []
radio = create("HpsdrRadio")


def rate_row(action, index, item):
    assert (action, index) == (3, 0)
    handles.append(item)
    bind("ValueLabelItem_bindValue", item, NUMBER, rates.append)


bind("HpsdrRadio_bindSampleRates", radio, ROW, rate_row)
poll_until(lambda: len(rates) == 4)
assert rates == [48000, 96000, 192000, 384000], rates

# an array and a transform
block = function("complexArray_create", ctypes.c_void_p, ctypes.c_int32)(8)
data = function("complexArray_data", ctypes.POINTER(ctypes.c_double), ctypes.c_void_p)(block)
for i in range(16):
    data[i] = 1.0 if i == 0 else 0.0
function("fft_Fwd", None, ctypes.c_void_p, ctypes.c_void_p)(block, block)
assert [data[i] for i in range(16)] == [1.0, 0.0] * 8
function("complexArray_delete", None, ctypes.c_void_p)(block)
assert function("crc12_check", ctypes.c_bool, ctypes.c_char_p, ctypes.c_int32)(b"", 0)

for handle in handles + [radio, row, thing]:
    release(handle)
poll_until(lambda: events.count(("deleted", 1)) == 3)
print("python: all heard")
