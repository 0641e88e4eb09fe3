"""The package's types, as mypy and a program that uses them see them."""

import pathlib
import subprocess
import sys

import pytest

import velajpeg

PROGRAM = """
import io
import numpy
from typing import Iterator
import velajpeg

array = memoryview(bytes(300)).cast("B", (10, 10, 3))
stream: bytes = velajpeg.encode(array, quality=90, subsampling="444", density=(72, 72, "inch"))
size: int = velajpeg.encode(array, into=bytearray(9999))
size = velajpeg.encode_frame([bytes(100), bytes(25), bytes(25)], "i420", (10, 10), into=io.BytesIO())
pixels = numpy.zeros((10, 10), numpy.uint8)
size = velajpeg.encode(pixels, into=numpy.zeros(9999, numpy.uint8))
encoder = velajpeg.Encoder(max_bytes=10_000, exif=b"")
stream = encoder.encode_frame(bytes(150), size=(10, 10), range="limited", matrix=709)
many: Iterator[bytes] = velajpeg.encode_many([array], workers=2, quality=50)
"""
WRONG = ['velajpeg.encode(array, quality="90")', "velajpeg.encode([[1]])", "s: str = velajpeg.encode(array)",
         "velajpeg.encode(array, qualty=90)", "velajpeg.Encoder(threads=None)", "encoder.quality_used = 3"]


def test_types(tmp_path):
    if subprocess.run([sys.executable, "-m", "mypy", "--version"], capture_output=True).returncode:
        pytest.skip("mypy is not installed")
    program = tmp_path / "program.py"
    wrong = [f"{line}  # wrong" for line in WRONG]
    program.write_text(PROGRAM + "\n".join(wrong) + "\n")
    package = pathlib.Path(velajpeg.__file__).parent
    run = subprocess.run(
        [sys.executable, "-m", "mypy", "--strict", "--cache-dir", tmp_path / "cache", package, program],
        cwd=tmp_path, capture_output=True, text=True, env={"MYPYPATH": str(package.parent), "PATH": "/usr/bin"})
    first = PROGRAM.count("\n") + 1
    lines = {int(line.split(":")[1]) for line in run.stdout.splitlines()
             if ": error:" in line and line.startswith("program.py")}
    others = [line for line in run.stdout.splitlines() if ": error:" in line and not line.startswith("program.py")]
    assert others == []
    assert lines == set(range(first, first + len(WRONG))), run.stdout
