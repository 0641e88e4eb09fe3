"""Options, where the stream goes, and what happens when something fails."""

import io
import os
import struct
import sys

import numpy
import pytest
from conftest import decoded, distance
from PIL import Image, ImageCms

import velajpeg


def opened(jpeg):
    return Image.open(io.BytesIO(jpeg))


def test_quality_subsampling_and_mode(photo):
    sizes = [len(velajpeg.encode(photo, quality=q)) for q in (0, 25, 50, 75, 90, 100)]
    assert sizes == sorted(sizes) and sizes[0] < sizes[-1] / 4
    for name, layers in {"444": (1, 1), "422": (2, 1), "420": (2, 2), "4:2:0": (2, 2), 444: (1, 1)}.items():
        assert opened(velajpeg.encode(photo, subsampling=name)).layer[0][1:3] == layers
    baseline, progressive = velajpeg.encode(photo), velajpeg.encode(photo, progressive=True)
    assert "progressive" not in opened(baseline).info and opened(progressive).info["progressive"]
    assert (decoded(baseline) == decoded(progressive)).all()


def test_metadata_is_read_by_others(photo):
    exif = Image.Exif()
    exif[0x010F] = "Vela"
    profile = ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes()
    image = opened(velajpeg.encode(
        photo, exif=exif.tobytes(), icc=bytearray(profile), comment="two words, ü", density=(300, 150)))
    assert image.getexif()[0x010F] == "Vela"
    assert image.info["icc_profile"] == profile
    assert image.info["comment"].decode() == "two words, ü"
    assert image.info["dpi"] == (300, 150)
    assert opened(velajpeg.encode(photo, exif=exif.tobytes()[6:])).getexif()[0x010F] == "Vela"
    assert opened(velajpeg.encode(photo, orientation=6)).getexif()[0x0112] == 6
    assert opened(velajpeg.encode(photo, density=72)).info["dpi"] == (72, 72)
    for unit, number in {"aspect": 0, "inch": 1, "cm": 2}.items():
        image = opened(velajpeg.encode(photo, density=(3, 4, unit)))
        assert (image.info["jfif_unit"], image.info["jfif_density"]) == (number, (3, 4))


def test_max_bytes_is_the_best_that_fits(photo):
    encoder = velajpeg.Encoder(quality=95, max_bytes=2500)
    jpeg = encoder.encode(photo)
    used = encoder.quality_used
    assert len(jpeg) <= 2500 and 0 < used < 95
    assert jpeg == velajpeg.encode(photo, quality=used)
    assert len(velajpeg.encode(photo, quality=used + 1)) > 2500
    with pytest.raises(velajpeg.Error, match="maxBytes is 100") as failure:
        encoder.encode(photo, max_bytes=100)
    assert failure.value.status == -22 and encoder.quality_used is None


def test_threads_and_restarts_change_no_pixel(photo):
    big = numpy.tile(photo, (6, 4, 1))
    one = velajpeg.encode(big, restart_rows=1)
    assert one.count(b"\xff\xd0") > 2
    assert velajpeg.encode(big, threads=4) == velajpeg.encode(big, threads=2, restart_rows=1) == one
    assert b"\xff\xdd" not in velajpeg.encode(big)[:600]
    assert (decoded(one) == decoded(velajpeg.encode(big))).all()


def test_into_a_buffer(photo):
    expected = velajpeg.encode(photo)
    for room in (bytearray(len(expected)), numpy.zeros(len(expected) + 5, numpy.uint8), memoryview(bytearray(9999))):
        assert velajpeg.encode(photo, into=room) == len(expected)
        assert bytes(room)[:len(expected)] == expected
    with pytest.raises(velajpeg.Error, match=f"into has {len(expected) - 1} bytes") as failure:
        velajpeg.encode(photo, into=bytearray(len(expected) - 1))
    assert failure.value.status == -20
    for room in bytes(9999), numpy.zeros(9999, numpy.uint8)[::2], 5, "name":
        with pytest.raises(TypeError, match="into"):
            velajpeg.encode(photo, into=room)


class Pieces:
    """A writer that takes so many bytes at a time, and fails after some."""

    def __init__(self, most=None, room=10**9):
        self.most, self.room, self.pieces = most, room, []

    def write(self, data):
        if sum(map(len, self.pieces)) + len(data) > self.room:
            raise OSError(28, "no room")
        self.pieces.append(bytes(data[:self.most]))
        return None if self.most is None else len(self.pieces[-1])


def test_into_a_writer(photo, tmp_path):
    big = numpy.tile(photo, (8, 8, 1))
    expected = velajpeg.encode(big, quality=95)
    assert len(expected) > 100_000
    for most in None, 1000:
        writer = Pieces(most)
        assert velajpeg.encode(big, quality=95, into=writer) == len(expected)
        assert len(writer.pieces) > 3 and b"".join(writer.pieces) == expected  # while encoding
    with open(tmp_path / "file.jpg", "wb", buffering=0) as file:
        velajpeg.encode(big, quality=95, into=file)
    assert (tmp_path / "file.jpg").read_bytes() == expected
    for broken, error in {Pieces(room=50_000): OSError, Pieces(most=0): ValueError}.items():
        with pytest.raises(error):
            velajpeg.encode(big, quality=95, into=broken)
        assert len(broken.pieces) <= 2


@pytest.mark.parametrize("given, error", [
    (-1, ValueError), (2**70, ValueError), (True, TypeError), ("x", TypeError), (1.0, TypeError)])
def test_writers_that_say_what_cannot_be(photo, given, error):
    with pytest.raises(error, match="into: write"):
        velajpeg.encode(photo, into=type("Odd", (), {"write": lambda self, data: given})())


def test_a_file_that_does_not_wait_is_no_success(photo):
    """Without a buffer it takes what there is room for, and then says None."""
    reading, writing = os.pipe()
    os.set_blocking(writing, False)
    with open(reading, "rb"), open(writing, "wb", buffering=0) as file:
        with pytest.raises(ValueError, match="into: write took 0 of"):
            velajpeg.encode(numpy.tile(photo, (9, 9, 1)), quality=100, into=file)


def test_a_writer_that_uses_its_encoder_is_refused(photo):
    encoder = velajpeg.Encoder()

    class Again:
        def write(self, data):
            encoder.encode(photo)

    with pytest.raises(velajpeg.Error) as failure:
        encoder.encode(photo, into=Again())
    assert failure.value.status == -2
    assert encoder.encode(photo) == velajpeg.encode(photo)


@pytest.mark.parametrize("option, value, error", [
    ("quality", "75", TypeError), ("quality", 7.5, TypeError), ("quality", True, TypeError),
    ("quality", -1, velajpeg.ArgumentError), ("quality", 2**70, velajpeg.ArgumentError),
    ("subsampling", "411", ValueError), ("subsampling", "", ValueError),
    ("restart_rows", -1, ValueError), ("threads", -1, velajpeg.ArgumentError),
    ("threads", 1025, velajpeg.ArgumentError), ("max_bytes", 0, ValueError), ("max_bytes", 1.5, TypeError),
    ("exif", "x", TypeError), ("exif", b"short", velajpeg.ArgumentError), ("icc", 1, TypeError),
    ("comment", b"x", TypeError), ("comment", "a\0b", ValueError), ("comment", "x" * 70000, velajpeg.ArgumentError),
    ("density", "x", TypeError), ("density", (1, 2, 3, 4), TypeError), ("density", 0, ValueError),
    ("density", (1, 2, "m"), ValueError), ("density", float("nan"), ValueError),
    ("density", 1j, TypeError), ("density", 2**2000, ValueError), ("comment", "\ud800", ValueError),
    ("subsampling", "\ud800", ValueError),
    ("orientation", 9, velajpeg.ArgumentError), ("orientation", 0, ValueError),
])
def test_refused_options_name_themselves(photo, option, value, error):
    with pytest.raises(error, match=option):
        velajpeg.encode(photo, **{option: value})
    with pytest.raises(TypeError, match="qualty"):
        velajpeg.Encoder().encode(photo, qualty=3)
    assert issubclass(velajpeg.ArgumentError, ValueError) and issubclass(velajpeg.ArgumentError, velajpeg.Error)


def test_nothing_is_held_after_a_call(photo):
    """References and buffers are given back, also by calls that fail."""
    samples = bytearray(photo.tobytes())
    exif = bytearray(b"II*\0" + struct.pack("<IH", 8, 0) + bytes(4))
    writer, broken = Pieces(), Pieces(room=0)
    room = bytearray(99_999)
    objects = (photo, samples, exif, writer, broken, room)

    def calls():
        view = memoryview(samples).cast("B", photo.shape)
        velajpeg.encode(view, exif=exif, into=room)
        velajpeg.encode(photo, into=writer)
        for arguments in ({"into": broken}, {"into": bytearray(3)}, {"order": "x"}, {"exif": exif[:3]},
                          {"quality": 101}, {"max_bytes": 10}, {"density": "x", "exif": exif}):
            with pytest.raises((OSError, ValueError, TypeError, velajpeg.Error)):
                velajpeg.encode(view, **arguments)
        for planes in ([photo, photo], [samples, None], samples):
            with pytest.raises((ValueError, TypeError)):
                velajpeg.encode_frame(planes, "i444", (400, 400))
        view.release()

    calls()
    before = [sys.getrefcount(o) for o in objects]
    for _ in range(20):
        calls()
    assert [sys.getrefcount(o) for o in objects] == before
    for buffer in samples, exif, room:
        buffer.append(0)  # BufferError while somebody holds it
