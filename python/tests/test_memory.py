"""Memory that is refused: every allocation of a kilobyte or more in turn, in a process with the library preloaded
that refuses. Smaller ones are Python's objects, for which pybind11 is no match."""

import os
import subprocess
import sys

import pytest

SHIM = os.environ.get("VELA_FAILING_CALLS")

SCRIPT = """
import ctypes, io, os
import velajpeg

refuse = ctypes.CDLL(os.environ["LD_PRELOAD"]).vela_refuse
refuse.argtypes = [ctypes.c_int, ctypes.c_size_t]
pixels = memoryview(bytes(3 * 90 * 70)).cast("B", (70, 90, 3))
frame = os.urandom(96 * 64 * 3 // 2)
room = bytearray(100000)
kept = velajpeg.Encoder(quality=90)

JOBS = {
    "array": lambda: velajpeg.Encoder().encode(pixels, quality=91, comment="words"),
    "frame": lambda: velajpeg.Encoder(quality=100).encode_frame(frame, "nv12", (96, 64), matrix="709"),
    "buffer": lambda: velajpeg.Encoder().encode(pixels, into=room),
    "writer": lambda: velajpeg.Encoder().encode(pixels, into=io.BytesIO()),
    "limit": lambda: velajpeg.Encoder().encode(pixels, max_bytes=900, progressive=True),
    "kept": lambda: kept.encode_frame(frame, "nv12", (96, 64)),
}

def attempt(job, n):
    refuse(n, 1024)
    try:
        return job()
    except MemoryError:
        return None
    except velajpeg.Error as error:
        assert error.status == -4, error
        return None
    finally:
        refuse(0, 0)

for name, job in JOBS.items():
    expected = job()
    refused = 0
    for n in range(1, 60):
        result = attempt(job, n)
        refused += result is None
        assert result is None or result == expected, (name, n, result)
        assert job() == expected, (name, n)
    print(name, refused)
    assert refused > 0, name
"""


@pytest.mark.skipif(not SHIM, reason="VELA_FAILING_CALLS names the library that refuses; ctest sets it")
def test_every_allocation():
    environment = {**os.environ, "LD_PRELOAD": SHIM}
    done = subprocess.run([sys.executable, "-c", SCRIPT], env=environment, capture_output=True, text=True)
    assert done.returncode == 0, done.stdout + done.stderr
