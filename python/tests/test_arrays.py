"""Arrays of every kind: what is read is what the array shows, wherever it lies."""

import array
import ctypes
import mmap
import subprocess
import sys

import numpy
import pytest
from conftest import decoded, distance
from PIL import Image

import velajpeg


def test_colours_come_back(photo):
    assert distance(decoded(velajpeg.encode(photo, quality=95, subsampling="444")), photo) < 1.5
    for order, view in {
        "bgr": photo[..., ::-1],
        "rgba": numpy.dstack([photo, photo[..., 0]]),
        "bgra": numpy.dstack([photo[..., ::-1], photo[..., 0]]),
        "argb": numpy.dstack([photo[..., 1], photo]),
        "abgr": numpy.dstack([photo[..., 1], photo[..., ::-1]]),
    }.items():
        assert velajpeg.encode(numpy.ascontiguousarray(view), order=order) == velajpeg.encode(photo)
    four = numpy.dstack([photo, photo[..., 2]])
    assert velajpeg.encode(four) == velajpeg.encode(photo)  # the last of four is left out
    gray = photo[..., 1]
    assert distance(decoded(velajpeg.encode(gray, quality=95)), gray) < 1.5
    assert velajpeg.encode(gray[..., None]) == velajpeg.encode(gray)


@pytest.mark.parametrize("channels", [0, 1, 3, 4])
def test_strides_of_all_kinds(photo, channels):
    base = numpy.dstack([photo, photo[..., 0]])
    base = base[..., 0] if channels == 0 else base[..., :channels]
    views = [
        base[::-1], base[:, ::-1], base[::-1, ::-1], base[10:50, 7:99], base[::3, ::2], base[:, 5:6], base[7:8],
        base[:1, :1], numpy.asfortranarray(base), numpy.broadcast_to(base[:1], base.shape),
        numpy.broadcast_to(base[:, :1], base.shape), base.swapaxes(0, 1),
    ]
    if channels > 1:
        planar = numpy.ascontiguousarray(base.transpose(2, 0, 1))
        views += [base[..., ::-1], base[:, ::-1, ::-1], planar.transpose(1, 2, 0),
                  numpy.broadcast_to(base[..., :1], base.shape)]
    for view in views:
        for options in ({}, {"max_bytes": 3000}, {"threads": 3}, {"progressive": True}):
            expected = velajpeg.encode(numpy.ascontiguousarray(view), **options)
            assert velajpeg.encode(view, **options) == expected, (view.shape, view.strides, options)


def test_only_what_the_array_shows_is_read():
    """Pages that must not be touched stand before and after the samples."""
    page = mmap.PAGESIZE
    code = f"""
import ctypes, mmap, numpy, velajpeg
area = mmap.mmap(-1, 3 * {page})
at = ctypes.addressof(ctypes.c_char.from_buffer(area))
libc = ctypes.CDLL(None, use_errno=True)
for guard in (at, at + 2 * {page}):
    assert libc.mprotect(ctypes.c_void_p(guard), {page}, 0) == 0
whole = numpy.frombuffer(area, numpy.uint8)
for channels in 1, 3, 4:
    for width in 16, 17, 21, 64:
        height, row = 15, 64 * 4
        stored = whole[2 * {page} - row * height: 2 * {page}].reshape(height, row)
        last = stored[:, row - width * channels:].reshape(height, width, channels)
        stored = whole[{page}: {page} + row * height].reshape(height, row)
        first = stored[:, :width * channels].reshape(height, width, channels)
        for view in last, first:
            for one in view, view[::-1], view[:, ::-1], view[..., ::-1], view[..., :3]:
                velajpeg.encode(one)
"""
    subprocess.run([sys.executable, "-c", code], check=True)


def test_other_owners_of_memory(photo):
    expected = velajpeg.encode(photo)
    assert velajpeg.encode(Image.fromarray(photo)) == expected
    assert velajpeg.encode(memoryview(photo)) == expected
    assert velajpeg.encode(memoryview(photo.tobytes()).cast("B", photo.shape)) == expected
    assert velajpeg.encode(memoryview(bytearray(photo.tobytes())).cast("B", photo.shape)) == expected
    row = array.array("B", range(200))
    assert velajpeg.encode(memoryview(row).cast("B", (1, 200))) == velajpeg.encode(
        numpy.arange(200, dtype=numpy.uint8)[None])
    samples = (ctypes.c_ubyte * 3 * photo.shape[1] * photo.shape[0]).from_buffer_copy(photo)
    assert velajpeg.encode(samples) == velajpeg.encode_frame(samples, "rgb24", photo.shape[1::-1]) == expected
    for mode in "L", "RGBA", "RGBX":
        image = Image.fromarray(photo).convert(mode)
        assert velajpeg.encode(image) == velajpeg.encode(numpy.asarray(image))

    class Given:
        """Memory by its address, with strides."""
        __array_interface__ = {**photo[::-1].__array_interface__, "shape": photo.shape}
    assert velajpeg.encode(Given()) == velajpeg.encode(photo[::-1])


@pytest.mark.parametrize("interface", [
    {"shape": (10, 10), "typestr": "|u1", "data": bytes(99)},
    {"shape": (10, 10), "typestr": "|u1", "data": bytes(100), "strides": (11, 1)},
    {"shape": (10, 10), "typestr": "|u1", "data": bytes(100), "strides": (-10, 1)},
    {"shape": (10, 10), "typestr": "|u1", "data": bytes(100), "strides": (1,)},
    {"shape": (-1, 10), "typestr": "|u1", "data": bytes(100)},
    {"shape": (2**62, 4), "typestr": "|u1", "data": bytes(100), "strides": (2**62, 1)},
    {"shape": (10, 10), "typestr": "|u1", "data": bytes(100), "offset": 1},
])
def test_array_interfaces_that_say_too_much(interface):
    with pytest.raises(ValueError, match="beyond its data"):
        velajpeg.encode(type("Lies", (), {"__array_interface__": {"version": 3, **interface}})())


ADDRESS = ctypes.addressof(KEPT := ctypes.create_string_buffer(100))


@pytest.mark.parametrize("change", [
    {"strides": (10,)}, {"strides": ()}, {"strides": 10}, {"strides": "ab"}, {"strides": (2**63, 1)},
    {"data": (0, False)}, {"data": (0, False), "strides": (20, 2)}, {"data": (None, False)}, {"data": ()},
    {"data": (-ADDRESS, False)}, {"data": (2**70, False)}, {"data": None}, {"data": 5},
    {"shape": None}, {"shape": (10, None)}, {"shape": (10, 10.0)}, {"shape": (10, 2**70)}, {"shape": (-10, -10)},
    {"shape": (2**62, 2**62), "strides": (0, 2**62)}, {"typestr": None}, {"typestr": "\ud800"},
    {"data": bytes(100), "offset": None}, "shape", "typestr", "data", None,
])
def test_array_interfaces_that_make_no_sense(change):
    interface = {"shape": (10, 10), "typestr": "|u1", "data": (ADDRESS, False), "version": 3}
    given = type("Given", (), {"__array_interface__": interface})()
    velajpeg.encode(given)
    if isinstance(change, dict):
        interface.update(change)
    elif change:
        del interface[change]
    else:
        type(given).__array_interface__ = None
    with pytest.raises(ValueError, match="^array"):
        velajpeg.encode(given)


@pytest.mark.parametrize("picture, error, words", [
    ([[1, 2]], TypeError, "array is a list"),
    (None, TypeError, "array is a NoneType"),
    (numpy.zeros((4, 5, 3)), ValueError, r"dtype float64 and shape \(4, 5, 3\)"),
    (numpy.zeros((4, 5), bool), ValueError, "dtype bool"),
    (numpy.zeros((4, 5), numpy.int8), ValueError, "dtype int8"),
    (numpy.zeros((4, 5), numpy.uint16), ValueError, "dtype uint16"),
    (numpy.zeros((4, 5, 2), numpy.uint8), ValueError, r"shape \(4, 5, 2\)"),
    (numpy.zeros(12, numpy.uint8), ValueError, r"shape \(12,\)"),
    (numpy.zeros((0, 5), numpy.uint8), ValueError, r"shape \(0, 5\)"),
    (numpy.zeros((1, 65536), numpy.uint8), ValueError, r"shape \(1, 65536\)"),
    (b"abc", ValueError, r"shape \(3,\)"),
    (Image.new("1", (4, 3)), ValueError, r"dtype \|b1 .*mode 1"),
    (Image.new("F", (4, 3)), ValueError, "mode F"),
    *((Image.new(mode, (4, 3)), ValueError, f"mode {mode}; convert it") for mode in
      ("P", "PA", "CMYK", "YCbCr", "LAB", "HSV")),
])
def test_refused_arrays(picture, error, words):
    with pytest.raises(error, match=words):
        velajpeg.encode(picture)


def test_orders_are_refused_by_name(photo):
    for order in None, 3, b"rgb":
        with pytest.raises(TypeError, match="order must be a str, not"):
            velajpeg.encode(photo, order=order)
    with pytest.raises(ValueError, match="order is 'grb', not rgb"):
        velajpeg.encode(photo, order="grb")
    with pytest.raises(ValueError, match=r"'rgba' has four .* shape \(99, 150, 3\) has three"):
        velajpeg.encode(photo, order="rgba")


def test_without_numpy():
    code = """
import sys
sys.modules["numpy"] = None
import velajpeg
jpeg = velajpeg.encode(memoryview(bytes(300)).cast("B", (10, 10, 3)))
assert jpeg[:2] == b"\\xff\\xd8" and jpeg[-2:] == b"\\xff\\xd9"
"""
    subprocess.run([sys.executable, "-c", code], check=True)
    shown = subprocess.run([sys.executable, "-m", "velajpeg", "--version"], check=True, capture_output=True)
    assert shown.stdout.decode() == f"velajpeg {velajpeg.__version__}\n"
