"""The Python package beside Pillow and OpenCV, where that is installed: milliseconds per picture.

    python_bench.py [PICTURE ..]

Each picture is scaled to 3840 x 2160, and to 640 x 480 for NV12; without one there is a made one. All take the
same array and give bytes; for NV12 Pillow and OpenCV convert to RGB first, as their users have to.
"""

import io
import pathlib
import sys
import time

import numpy
from PIL import Image

import velajpeg

try:
    import cv2
except ImportError:
    cv2 = None


def milliseconds(call):
    """The median of calls that last a second in all."""
    call()
    times = []
    while len(times) < 5 or sum(times) < 1:
        start = time.perf_counter()
        call()
        times.append(time.perf_counter() - start)
    return sorted(times)[len(times) // 2] * 1000


def by_pillow(image, quality):
    stream = io.BytesIO()
    image.save(stream, "JPEG", quality=quality)
    return stream.getvalue()


def by_opencv(bgr, quality):
    return cv2.imencode(".jpg", bgr, [cv2.IMWRITE_JPEG_QUALITY, quality])[1]


def nv12_of(rgb):
    """Y and CbCr in one array of 3 / 2 * h rows."""
    y, cb, cr = numpy.asarray(Image.fromarray(rgb).convert("YCbCr")).transpose(2, 0, 1)
    chroma = numpy.stack([cb[::2, ::2], cr[::2, ::2]], axis=-1).reshape(rgb.shape[0] // 2, rgb.shape[1])
    return numpy.concatenate([y, chroma])


def rgb_of(nv12, size):
    """What Pillow needs of a frame."""
    w, h = size
    chroma = nv12[h:].reshape(h // 2, w // 2, 2).repeat(2, axis=0).repeat(2, axis=1)
    return Image.fromarray(numpy.dstack([nv12[:h], chroma]), "YCbCr")


def row(name, ours, others):
    mine = milliseconds(ours)
    text = f"{name:34} {mine:8.2f}"
    for other in others:
        theirs = milliseconds(other) if other else float("nan")
        text += f" {theirs:9.2f} {theirs / mine:5.2f}"
    print(text, flush=True)


def main():
    pictures = {pathlib.Path(p).stem: Image.open(p).convert("RGB") for p in sys.argv[1:]}
    if not pictures:
        noise = numpy.random.default_rng(1).integers(0, 256, (60, 90, 3), numpy.uint8)
        pictures["made"] = Image.fromarray(noise).resize((900, 600), Image.BICUBIC)
    cv2 and cv2.setNumThreads(1)
    print(f"{'milliseconds per picture':34} velajpeg    Pillow ratio    OpenCV ratio")
    for name, image in pictures.items():
        rgb = numpy.asarray(image.resize((3840, 2160), Image.LANCZOS))
        bgr = numpy.ascontiguousarray(rgb[..., ::-1])
        for quality in 75, 90:
            row(f"{name} 4K RGB q{quality}", lambda: velajpeg.encode(rgb, quality=quality),
                [lambda: by_pillow(Image.fromarray(rgb), quality),
                 (lambda: by_opencv(bgr, quality)) if cv2 else None])
        size = (640, 480)
        nv12 = nv12_of(numpy.asarray(image.resize(size, Image.LANCZOS)))
        encoder = velajpeg.Encoder()
        row(f"{name} 640x480 NV12 q75", lambda: encoder.encode_frame(nv12, "nv12", size),
            [lambda: by_pillow(rgb_of(nv12, size), 75),
             (lambda: by_opencv(cv2.cvtColor(nv12, cv2.COLOR_YUV2BGR_NV12), 75)) if cv2 else None])


if __name__ == "__main__":
    main()
