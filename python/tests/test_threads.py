"""Several threads, and many pictures."""

import concurrent.futures
import subprocess
import sys
import threading
import time

import numpy
import pytest

import velajpeg


def pictures(count):
    rng = numpy.random.default_rng(5)
    return [rng.integers(0, 256, (rng.integers(1, 90), rng.integers(1, 90), 3), numpy.uint8) for _ in range(count)]


@pytest.mark.parametrize("shared", [False, True])
def test_eight_threads(shared):
    made = pictures(60)
    expected = [velajpeg.encode(p) for p in made]
    encoder = velajpeg.Encoder()

    def encode_all(offset):
        mine = encoder if shared else velajpeg.Encoder()
        return [mine.encode(made[(i + offset) % 60]) == expected[(i + offset) % 60] for i in range(60)]

    with concurrent.futures.ThreadPoolExecutor(8) as pool:
        assert all(all(results) for results in pool.map(encode_all, range(8)))


def test_other_threads_run_meanwhile():
    """A thread counts while a large picture is encoded; with the GIL held it could not."""
    counted, going = [0], True

    def count():
        while going:
            counted[0] += 1
            time.sleep(0.0001)

    big = numpy.random.default_rng(1).integers(0, 256, (3000, 4000, 3), numpy.uint8)
    thread = threading.Thread(target=count)
    thread.start()
    while not counted[0]:
        time.sleep(0.001)
    before = counted[0]
    velajpeg.encode(big, quality=95, progressive=True)
    during = counted[0] - before
    going = False
    thread.join()
    assert during > 5


def test_writers_of_a_shared_encoder_do_not_block_each_other():
    """A writer gives up the GIL while its encoder has its turn, for which another thread waits."""
    encoder = velajpeg.Encoder()
    big = numpy.random.default_rng(1).integers(0, 256, (300, 300, 3), numpy.uint8)

    class Slow:
        def write(self, data):
            time.sleep(0.001)

    with concurrent.futures.ThreadPoolExecutor(4) as pool:
        sizes = [f.result(timeout=60) for f in
                 [pool.submit(encoder.encode, big, into=Slow(), quality=95) for _ in range(8)]]
    assert set(sizes) == {len(velajpeg.encode(big, quality=95))}


@pytest.mark.parametrize("workers", [0, 1, 3])
def test_many_come_in_order(workers):
    made = pictures(40)
    assert list(velajpeg.encode_many(iter(made), workers, quality=60)) == [
        velajpeg.encode(p, quality=60) for p in made]
    frame = bytes(64 * 48 * 3 // 2)
    assert list(velajpeg.encode_many([frame] * 3, workers, format="nv12", size=(64, 48))) == [
        velajpeg.encode_frame(frame, size=(64, 48))] * 3
    assert list(velajpeg.encode_many([])) == []


def test_many_asks_for_few_ahead():
    asked = []
    made = pictures(40)

    def source():
        for i, picture in enumerate(made):
            asked.append(i)
            yield picture

    results = velajpeg.encode_many(source(), workers=2)
    assert asked == []
    next(results)
    assert len(asked) <= 5
    results.close()
    assert len(asked) <= 5


@pytest.mark.parametrize("where", ["source", "picture"])
def test_many_fails_in_its_place_and_leaves_no_thread(where):
    made = pictures(10)

    def source():
        yield from made[:5]
        if where == "source":
            raise KeyError("camera gone")
        yield made[5].astype(float)
        yield from made[6:]

    results = velajpeg.encode_many(source(), workers=3)
    assert [next(results) for _ in range(5)] == [velajpeg.encode(p) for p in made[:5]]
    with pytest.raises(KeyError if where == "source" else ValueError):
        next(results)
    assert not [t for t in threading.enumerate() if t.name.startswith("velajpeg")]
    with pytest.raises(ValueError, match="workers is -1"):
        velajpeg.encode_many([], workers=-1)
    with pytest.raises(TypeError, match="workers must be a whole number, not str"):
        velajpeg.encode_many([], workers="2")
    with pytest.raises(TypeError, match="into"):
        velajpeg.encode_many([], into=bytearray(9))


def run(code, *words):
    """A program of its own, which must end as programs do."""
    preface = """
import os, sys, threading, time
import velajpeg
array = memoryview(bytes(1000 * 1000 * 3)).cast("B", (1000, 1000, 3))
class Writer:
    def write(self, data):
        time.sleep(0.0005)
"""
    subprocess.run([sys.executable, "-c", preface + code, *words], check=True, timeout=60)


def test_daemon_threads_end_with_the_program():
    """They come back from encoding, and from writers, when there is no interpreter any more."""
    for _ in range(3):
        run("""
def encode(into):
    while True:
        velajpeg.encode(array, into=into)
for into in None, Writer(), bytearray(99_999):
    threading.Thread(target=encode, args=(into,), daemon=True).start()
time.sleep(0.2)
""")


@pytest.mark.parametrize("then", ["encode", "drop", "exit"])
def test_a_forked_process_goes_on(then):
    """The encoder's threads are not there; another thread had its turn when the process was forked."""
    run("""
encoder = velajpeg.Encoder(threads=4)
expected = encoder.encode(array)
began = threading.Event()
class Slow:
    def write(self, data):
        if not began.is_set():
            began.set()
            time.sleep(0.3)
thread = threading.Thread(target=lambda: encoder.encode(array, into=Slow()))
thread.start()
began.wait()
child = os.fork()
if child == 0:
    if sys.argv[1] == "encode":
        os._exit(encoder.encode(array) != expected)
    if sys.argv[1] == "drop":
        del encoder
        os._exit(0)
    sys.exit(0)
for _ in range(500):
    pid, status = os.waitpid(child, os.WNOHANG)
    if pid:
        break
    time.sleep(0.02)
else:
    os.kill(child, 9)
    sys.exit("the child waits")
thread.join()
sys.exit(status != 0)
""", then)


def test_other_interpreters_are_refused():
    """pybind11 cannot serve them: they would wait for ever."""
    run("""
import _xxsubinterpreters as interpreters
other = interpreters.create()
try:
    interpreters.run_string(other, "import velajpeg; velajpeg.encode(bytes(9))")
except interpreters.RunFailedError as error:
    assert "main interpreter alone" in str(error)
else:
    sys.exit("accepted")
""")
