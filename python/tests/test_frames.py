"""Camera frames, beside the picture that each format is made of."""

import numpy
import pytest
from conftest import decoded, distance

import velajpeg

W, H = 49, 35  # odd


def planes_of(rgb, across, down):
    """Y, Cb and Cr of JFIF, chroma as the mean of the pixels that share it."""
    r, g, b = (rgb[..., i].astype(float) for i in range(3))
    y = 0.299 * r + 0.587 * g + 0.114 * b
    cb, cr = 128 + (b - y) / 1.772, 128 + (r - y) / 1.402
    pad = ((0, -H % down), (0, -W % across))
    cb, cr = (
        numpy.pad(c, pad, mode="edge").reshape((H + pad[0][1]) // down, down, (W + pad[1][1]) // across, across)
        .mean(axis=(1, 3)) for c in (cb, cr))
    return [numpy.rint(c).clip(0, 255).astype(numpy.uint8) for c in (y, cb, cr)]


def pairs(first, second):
    return numpy.stack([first, second], axis=-1)


def packed(y, cb, cr, order):
    y = numpy.pad(y, ((0, 0), (0, -W % 2)), mode="edge")
    named = {"y": y[:, 0::2], "Y": y[:, 1::2], "u": cb, "v": cr}
    return numpy.stack([named[c] for c in order], axis=-1)


def frames(photo):
    rgb = photo[:H, :W]
    y, cb, cr = planes_of(rgb, 2, 2)
    y2, cb2, cr2 = planes_of(rgb, 2, 1)
    r, g, b = (rgb[..., i].astype(numpy.uint16) for i in range(3))
    x = rgb[..., :1]
    made = {
        "gray8": [y], "rgb24": [rgb], "bgr24": [rgb[..., ::-1].copy()],
        "rgbx32": [numpy.dstack([rgb, x])], "bgrx32": [numpy.dstack([rgb[..., ::-1], x])],
        "xrgb32": [numpy.dstack([x, rgb])], "xbgr32": [numpy.dstack([x, rgb[..., ::-1]])],
        "rgb565": [(r >> 3 << 11 | g >> 2 << 5 | b >> 3).astype("<u2").view(numpy.uint8).reshape(H, W, 2)],
        "rgb555": [(r >> 3 << 10 | g >> 3 << 5 | b >> 3).astype("<u2").view(numpy.uint8).reshape(H, W, 2)],
        "i420": [y, cb, cr], "yv12": [y, cr, cb], "i422": [y2, cb2, cr2], "i444": planes_of(rgb, 1, 1),
        "nv12": [y, pairs(cb, cr)], "nv21": [y, pairs(cr, cb)],
        "nv16": [y2, pairs(cb2, cr2)], "nv61": [y2, pairs(cr2, cb2)],
    }
    made.update({name: [packed(y2, cb2, cr2, order)] for name, order in
                 {"yuyv": "yuYv", "yvyu": "yvYu", "uyvy": "uyvY", "vyuy": "vyuY"}.items()})
    return rgb, made


def test_every_format_shows_its_picture(photo):
    rgb, made = frames(photo)
    assert len(made) == 21
    for name, planes in made.items():
        whole = b"".join(p.tobytes() for p in planes)
        jpeg = velajpeg.encode_frame(whole, name, (W, H), quality=95)
        shown = decoded(jpeg)
        assert distance(shown, planes[0] if name == "gray8" else rgb) < (6 if name.startswith("rgb5") else 4), name
        assert velajpeg.encode_frame(planes, name, (W, H), quality=95) == jpeg, name
        # With gaps: an array for each plane that is a part of a larger one, and flat with strides.
        wide = [numpy.pad(p, ((0, 2), (0, 3)) + ((0, 0),) * (p.ndim - 2)) for p in planes]
        cut = [w[:p.shape[0], :p.shape[1]] for w, p in zip(wide, planes)]
        assert velajpeg.encode_frame(cut, name, (W, H), quality=95) == jpeg, name
        flat = [w.ravel() for w in wide]
        strides = [w.strides[0] for w in wide]
        assert velajpeg.encode_frame(flat, name, (W, H), strides, quality=95) == jpeg, name
        flipped = [numpy.ascontiguousarray(p[::-1])[::-1] for p in planes]
        assert velajpeg.encode_frame(flipped, name, (W, H), quality=95) == jpeg, name


def test_arrays_of_all_rows_as_cameras_give_them():
    w, h, stride = 40, 30, 64
    rng = numpy.random.default_rng(1)
    y, cb, cr = (rng.integers(0, 256, shape, numpy.uint8) for shape in [(h, w), (h // 2, w // 2), (h // 2, w // 2)])
    frame = numpy.zeros((h * 3 // 2, stride), numpy.uint8)
    frame[:h, :w] = y
    frame[h:].reshape(2, h // 2, stride // 2)[:, :, :w // 2] = [cb, cr]
    expected = velajpeg.encode_frame([y, cb, cr], "yuv420", (w, h))
    assert velajpeg.encode_frame(frame, "yuv420", (w, h)) == expected
    assert velajpeg.encode_frame(frame.ravel(), "i420", (w, h), stride) == expected
    frame[h:, :w] = pairs(cb, cr).reshape(h // 2, w)
    assert velajpeg.encode_frame(frame, size=(w, h)) == expected
    assert velajpeg.encode_frame(frame.tobytes(), "NV12", (w, h), strides=(stride, stride)) == expected


@pytest.mark.parametrize("matrix, weights", [("601", (0.299, 0.114)), (709, (0.2126, 0.0722))])
def test_limited_range_and_matrix(photo, matrix, weights):
    """Colours come back as they were, white white and black black."""
    rgb = photo[:32, :48].copy()
    rgb[:8, :8], rgb[8:16, :8] = 255, 0
    r, g, b = (rgb[..., i].astype(float) for i in range(3))
    kr, kb = weights
    y = kr * r + (1 - kr - kb) * g + kb * b
    planes = [16 + y * 219 / 255, 128 + (b - y) / (2 - 2 * kb) * 224 / 255, 128 + (r - y) / (2 - 2 * kr) * 224 / 255]
    planes = [numpy.rint(p).astype(numpy.uint8) for p in planes]
    shown = decoded(velajpeg.encode_frame(planes, "i444", (48, 32), range="limited", matrix=matrix, quality=98))
    assert distance(shown, rgb) < 2.5
    assert shown[2:6, 2:6].min() >= 253 and shown[10:14, 2:6].max() <= 2


@pytest.mark.parametrize("change, error, words", [
    ({"format": "nv13"}, ValueError, "format is 'nv13', not one of gray8, .* nv12"),
    ({"format": None}, TypeError, "format must be a str, not NoneType"),
    ({"size": (2**70, 64)}, ValueError, r"size .* not \(1180591620717411303424, 64\)"),
    ({"size": (64, 0)}, ValueError, r"size .* not \(64, 0\)"),
    ({"size": 64}, TypeError, "size must be"),
    ({"size": (64.0, 48)}, TypeError, "size must be"),
    ({"size": None}, TypeError, "size must be"),
    ({"strides": 63}, ValueError, "strides has 63 for plane 0 of nv12 of 64 x 48, whose rows have 64"),
    ({"strides": 65}, ValueError, "planes has 4608 bytes; plane 1 of nv12 of 64 x 48 ends at 4679"),
    ({"strides": (64, 64, 64)}, ValueError, "strides has 3 numbers, the format has 2 planes"),
    ({"strides": "64"}, TypeError, "strides"),
    ({"strides": (64, 2**70)}, ValueError, "strides has 9223372036854775807"),
    ({"strides": 2**40}, ValueError, "strides has 1099511627776"),
    ({"planes": bytes(4607)}, ValueError, "planes has 4607 bytes; plane 1 of .* ends at 4608"),
    ({"planes": numpy.zeros((73, 64), numpy.uint8)}, ValueError, r"shape \(73, 64\); .* \(72, 64 or more\)"),
    ({"planes": numpy.zeros((72, 80), numpy.uint8)[:, :64]}, ValueError, "gaps"),
    ({"planes": [bytes(64 * 48)]}, ValueError, "planes has 1 buffers, nv12 has 2 planes"),
    ({"planes": [bytes(64 * 48), bytes(1535)]}, ValueError, r"planes\[1\] has 1535 bytes; .* needs 1536"),
    ({"planes": [bytes(64 * 48), numpy.zeros((24, 64), "u2")]}, ValueError, r"planes\[1\] has dtype uint16"),
    ({"planes": [bytes(64 * 48), None]}, TypeError, r"planes\[1\] is a NoneType"),
    ({"range": "tv"}, ValueError, "range is 'tv'"),
    ({"matrix": 2020}, ValueError, "matrix is '2020'"),
    ({"subsampling": "444"}, velajpeg.ArgumentError, "subsampling"),
    ({"quality": 101}, velajpeg.ArgumentError, "quality is 101"),
])
def test_refused_frames(change, error, words):
    arguments = {"planes": bytes(64 * 48 * 3 // 2), "format": "nv12", "size": (64, 48), **change}
    with pytest.raises(error, match=words):
        velajpeg.encode_frame(arguments.pop("planes"), **arguments)
