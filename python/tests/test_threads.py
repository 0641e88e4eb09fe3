"""Several threads, and many pictures."""

import concurrent.futures
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
