#!/usr/bin/python3
"""A page that shows a camera live, encoded by the package velajpeg.

    camera_page.py                                    # a moving test picture, on http://127.0.0.1:8080/
    camera_page.py /dev/video0 --size 1280x720        # a camera of Linux (V4L2)
    camera_page.py film.y4m                           # a file, again and again
    camera_page.py frames.nv12 --raw nv12 --size 640x480 --fps 25

Each frame is encoded once for all who look, and not at all when nobody does. Who is slow misses frames.
Exit code: 0 ended by SIGINT or SIGTERM, 1 the source failed or the address is taken, 2 wrong usage.
"""

import argparse
import collections
import contextlib
import ctypes
import errno
import fcntl
import http.server
import ipaddress
import json
import math
import mmap
import os
import random
import select
import signal
import socket
import socketserver
import stat
import struct
import sys
import threading
import time

import velajpeg

# ------------------------------------------------------------------------------------------- frames

# Bytes of a pixel, or how many pixels across and down share a sample of chroma.
PACKED = {"gray8": 1, "rgb24": 3, "bgr24": 3, "rgbx32": 4, "bgrx32": 4, "xrgb32": 4, "xbgr32": 4, "rgb565": 2,
          "rgb555": 2, "yuyv": 2, "yvyu": 2, "uyvy": 2, "vyuy": 2}
PLANAR = {"i420": (2, 2), "yv12": (2, 2), "nv12": (2, 2), "nv21": (2, 2), "i422": (2, 1), "nv16": (2, 1),
          "nv61": (2, 1), "i444": (1, 1)}


def frame_bytes(layout, size, stride=0):
    """Bytes of a frame whose planes follow each other; stride: of the first plane, where its rows have gaps."""
    width, height = size
    if layout in PACKED:
        pixels = width + width % 2 if layout in ("yuyv", "yvyu", "uyvy", "vyuy") else width
        return (stride or pixels * PACKED[layout]) * height
    across, down = PLANAR[layout]
    stride = stride or width
    return stride * height + 2 * -(-stride // across) * -(-height // down)


class Source:
    """Where frames come from. frames() yields each as one buffer, valid until the next one is asked for."""

    make, model = "Vela JPEG", "camera_page"
    fps = 30
    stride = None
    range, matrix = "full", "601"

    def geometry(self):
        return {"format": self.layout, "size": self.size, "strides": self.stride,
                "range": self.range, "matrix": self.matrix}

    def paced(self):
        """Counts frames from 0 on, as fast as fps says; what is late is not made up for."""
        due, number = time.monotonic(), 0
        while True:
            yield number
            number += 1
            due = max(due + 1 / self.fps, time.monotonic())
            time.sleep(due - time.monotonic() if due > time.monotonic() else 0)

    def close(self):
        pass


class TestPicture(Source):
    """A ball that jumps over a floor of tiles. Rows are made beforehand, frames put together of them."""

    model = "test picture"
    layout = "i420"

    def __init__(self, size, fps):
        self.size = self.width, self.height = size
        self.fps = fps or self.fps
        if min(size) < 64 or self.width % 2 or self.height % 2:
            raise ValueError("the test picture has even numbers of columns and rows, 64 at least")
        self.horizon = self.height * 2 // 5 & ~1
        self.radius = self.height // 6 & ~1
        random.seed(1)
        self.sky = [self.plain_rows(plane) for plane in range(3)]
        self.floor = [self.tiled_rows(plane) for plane in range(3)]
        self.ball = self.shaded_ball()

    @staticmethod
    def colour(red, green, blue):
        """Y, Cb and Cr, by JFIF's formula."""
        y = 0.299 * red + 0.587 * green + 0.114 * blue
        return [round(min(max(v, 0), 255)) for v in (y, 128 + (blue - y) / 1.772, 128 + (red - y) / 1.402)]

    @staticmethod
    def grainy(count, level, grain):
        """Samples around a level, as a sensor has them."""
        return random.randbytes(count).translate(
            bytes(min(max(level + grain * (i - 128) // 128, 0), 255) for i in range(256)))

    def plain_rows(self, plane):
        half = 1 if plane == 0 else 2
        rows = []
        for y in range(0, self.horizon, half):
            down = y / self.horizon
            level = self.colour(60 + 170 * down, 110 + 95 * down, 190 + 5 * down)[plane]
            rows.append(self.grainy(self.width // half, level, 0 if plane else 3))
        return b"".join(rows)

    def tiled_rows(self, plane):
        """For each row its depth in tiles, and the row with a light and with a dark tile to begin with."""
        half = 1 if plane == 0 else 2
        width, rows = self.width // half, []
        light, dark = self.colour(235, 225, 195)[plane], self.colour(25, 95, 120)[plane]
        for y in range(self.horizon, self.height, half):
            tile = (y - self.horizon + 1) / 2.25  # pixels
            contrast = min(1, tile / 36)  # tiles that are far away become one grey
            middle = (light + dark) // 2
            shades = [self.grainy(width, round(middle + contrast * (shade - middle)), 0 if plane else 10)
                      for shade in (light, dark)]
            pair, first = ([], []), math.floor(-self.width / 2 / tile)
            for index in range(first, -first + 1):
                begin, end = (min(max(round((self.width / 2 + i * tile) / half), 0), width)
                              for i in (index, index + 1))
                for start in (0, 1):
                    pair[start].append(shades[(index + start) % 2][begin:end])
            rows.append((self.width / tile, *map(b"".join, pair)))
        return rows

    def shaded_ball(self):
        """For each plane the ball's rows: first column and samples."""
        planes = []
        for plane in range(3):
            half = 1 if plane == 0 else 2
            radius, rows = self.radius // half, []
            for y in range(-radius, radius):
                reach = math.isqrt(radius * radius - y * y)
                samples = bytearray()
                for x in range(-reach, reach):
                    nx, ny = x / radius, y / radius
                    light = max(0, -0.5 * nx - 0.6 * ny + 0.62 * math.sqrt(max(0, 1 - nx * nx - ny * ny)))
                    shade, shine = 0.25 + 0.75 * light, 150 * light ** 24
                    samples.append(self.colour(230 * shade + shine, 80 * shade + shine, 55 * shade + shine)[plane])
                rows.append((radius - reach, bytes(samples)))
            planes.append(rows)
        return planes

    def frame(self, seconds):
        planes = [bytearray(sky + b"".join([row[1 + int(row[0] + 3 * seconds) % 2] for row in floor]))
                  for sky, floor in zip(self.sky, self.floor)]
        width, radius = self.width, self.radius
        x = int((width - 2 * radius) * (0.5 + 0.45 * math.sin(seconds))) & ~1
        ground = self.height * 4 // 5
        top = int(ground - 2 * radius - self.height * 0.45 * abs(math.sin(2.2 * seconds))) & ~1
        darker = bytes(i * 2 // 3 for i in range(256))
        for y in range(-radius // 5, radius // 5):  # its shadow
            reach = int(radius * math.sqrt(1 - (5 * y / radius) ** 2))
            begin = (ground + y) * width + x + radius - reach
            planes[0][begin:begin + 2 * reach] = planes[0][begin:begin + 2 * reach].translate(darker)
        for plane, (samples, rows) in enumerate(zip(planes, self.ball)):
            half = 1 if plane == 0 else 2
            for y, (left, row) in enumerate(rows):
                begin = (top // half + y) * (width // half) + x // half + left
                samples[begin:begin + len(row)] = row
        return b"".join(planes)

    def frames(self):
        for number in self.paced():
            yield self.frame(number / self.fps)


class RawFile(Source):
    """Frames one after another in a file, again and again."""

    def __init__(self, path, layout, size, fps):
        self.file = open(path, "rb")
        self.model = os.path.basename(path)
        self.begin = 0
        self.describe(layout, size, fps)

    def describe(self, layout, size, fps):
        self.layout, self.size, self.fps = layout, size, fps or Source.fps
        self.bytes = frame_bytes(layout, size)

    def read_frame(self):
        """The next frame; b"" where the file ends."""
        frame = self.file.read(self.bytes)
        if frame and len(frame) < self.bytes:
            raise ValueError(f"ends within a frame: {len(frame)} bytes are left, {self.layout} of {self.size[0]} x "
                             f"{self.size[1]} has {self.bytes}")
        return frame

    def frames(self):
        for number in self.paced():
            frame = self.read_frame()
            if not frame and number > 0 and self.file.seekable():
                self.file.seek(self.begin)
                frame = self.read_frame()
            if not frame:
                raise ValueError("has ended" if number > 0 else "has no frame")
            yield frame

    def close(self):
        self.file.close()


class Y4mFile(RawFile):
    """A Y4M file: a line about all frames, then each with a line of its own."""

    LAYOUTS = {"420": "i420", "420jpeg": "i420", "420mpeg2": "i420", "420paldv": "i420", "422": "i422",
               "444": "i444", "mono": "gray8"}

    def __init__(self, path, fps):
        super().__init__(path, "i420", (1, 1), fps)
        line = self.file.readline(1000)
        magic, *words = line.decode("ascii", "replace").split() or [""]
        if magic != "YUV4MPEG2":
            raise ValueError("is neither a camera nor a Y4M file; --raw says what frames a file without head has")
        facts = {word[0]: word[1:] for word in words if word[0] != "X"}
        chroma = facts.get("C", "420jpeg")
        if chroma not in self.LAYOUTS:
            raise ValueError(f"has samples of the kind {chroma}, not {', '.join(self.LAYOUTS)}")
        try:
            size = int(facts["W"]), int(facts["H"])
            rate, base = map(int, facts.get("F", "0:0").split(":"))
        except (KeyError, ValueError):
            raise ValueError("has a first line without numbers for W, H and F") from None
        if min(size) < 1:
            raise ValueError(f"has frames of {size[0]} x {size[1]}")
        self.describe(self.LAYOUTS[chroma], size, fps or (rate / base if rate > 0 and base > 0 else None))
        # Video has limited range, and from 720 rows on the colours of BT.709, unless it says otherwise.
        self.range = "full" if "XCOLORRANGE=FULL" in words else "limited"
        self.matrix = "709" if size[1] >= 720 else "601"
        self.begin = len(line)

    def read_frame(self):
        line = self.file.readline(1000)
        if line and line.split()[:1] != [b"FRAME"]:
            raise ValueError("has no line FRAME where a frame begins")
        frame = super().read_frame() if line else b""
        if line and not frame:
            raise ValueError("ends after a line FRAME")
        return frame


# ------------------------------------------------------------------------------------------- camera

# linux/videodev2.h, as far as it is needed.
CAPTURE, MMAP, ANY_FIELD = 1, 1, 0
CAP_CAPTURE, CAP_STREAMING, CAP_DEVICE_CAPS = 0x1, 0x04000000, 0x80000000
BUFFER_ERROR = 0x40
EXTENDED_FIELDS = 0xFEEDCAFE  # the format's fields from priv on are meant
FULL_RANGE, COLORSPACE_JPEG = 1, 7
MATRIX_709 = (2, 4, 6, 7, 8)  # ycbcr_enc of BT.709, and those that are nearer to it than to BT.601
COLORSPACES_709 = (2, 3, 10, 12)  # whose ycbcr_enc is one of them by default
FOURCCS = {"NV12": "nv12", "YU12": "i420", "NV21": "nv21", "YV12": "yv12", "YUYV": "yuyv", "UYVY": "uyvy",
           "YVYU": "yvyu", "VYUY": "vyuy", "NV16": "nv16", "NV61": "nv61", "422P": "i422", "RGB3": "rgb24",
           "BGR3": "bgr24", "GREY": "gray8"}  # the first that a camera has is taken


def record(name, *fields, base=ctypes.Structure):
    return type(name, (base,), {"_fields_": fields})


U32 = ctypes.c_uint32
Capability = record(
    "v4l2_capability", ("driver", ctypes.c_char * 16), ("card", ctypes.c_char * 32), ("bus_info", ctypes.c_char * 32),
    ("version", U32), ("capabilities", U32), ("device_caps", U32), ("reserved", U32 * 3))
FormatDescription = record(
    "v4l2_fmtdesc", ("index", U32), ("type", U32), ("flags", U32), ("description", ctypes.c_char * 32),
    ("pixelformat", U32), ("mbus_code", U32), ("reserved", U32 * 3))
PixelFormat = record("v4l2_pix_format", *((name, U32) for name in (
    "width height pixelformat field bytesperline sizeimage colorspace priv flags ycbcr_enc quantization xfer_func"
).split()))
Format = record("v4l2_format", ("type", U32), ("fmt", record(
    "fmt", ("pix", PixelFormat), ("raw_data", ctypes.c_uint8 * 200), ("aligned", ctypes.c_void_p),
    base=ctypes.Union)))
StreamParameters = record(
    "v4l2_streamparm", ("type", U32), ("capability", U32), ("capturemode", U32), ("numerator", U32),
    ("denominator", U32), ("rest", ctypes.c_uint8 * 184))
RequestBuffers = record(
    "v4l2_requestbuffers", ("count", U32), ("type", U32), ("memory", U32), ("capabilities", U32), ("flags", U32))
Buffer = record(
    "v4l2_buffer", ("index", U32), ("type", U32), ("bytesused", U32), ("flags", U32), ("field", U32),
    ("timestamp", ctypes.c_long * 2), ("timecode", ctypes.c_uint8 * 16), ("sequence", U32), ("memory", U32),
    ("m", record("m", ("offset", U32), ("userptr", ctypes.c_ulong), base=ctypes.Union)), ("length", U32),
    ("reserved2", U32), ("request_fd", ctypes.c_int32))


def request(direction, number, argument):
    """The number of an ioctl, as asm-generic/ioctl.h makes it."""
    return direction << 30 | ctypes.sizeof(argument) << 16 | ord("V") << 8 | number


READ, WRITE = 2, 1
QUERYCAP = request(READ, 0, Capability)
ENUM_FMT = request(READ | WRITE, 2, FormatDescription)
S_FMT = request(READ | WRITE, 5, Format)
REQBUFS = request(READ | WRITE, 8, RequestBuffers)
QUERYBUF = request(READ | WRITE, 9, Buffer)
QBUF = request(READ | WRITE, 15, Buffer)
DQBUF = request(READ | WRITE, 17, Buffer)
STREAMON = request(WRITE, 18, ctypes.c_int)
STREAMOFF = request(WRITE, 19, ctypes.c_int)
S_PARM = request(READ | WRITE, 22, StreamParameters)


def fourcc_text(number):
    return number.to_bytes(4, "little").decode("ascii", "replace")


class Device:
    """The system's calls for a camera."""

    def __init__(self, path):
        self.descriptor = os.open(path, os.O_RDWR | os.O_NONBLOCK)

    def control(self, number, argument):
        while True:
            with contextlib.suppress(InterruptedError):  # by a signal
                fcntl.ioctl(self.descriptor, number, argument)
                return

    def map(self, length, offset):
        return mmap.mmap(self.descriptor, length, mmap.MAP_SHARED, mmap.PROT_READ, offset=offset)

    def wait(self, seconds):
        return bool(select.select([self.descriptor], [], [], seconds)[0])

    def close(self):
        os.close(self.descriptor)


class Camera(Source):
    """A V4L2 device. Its frames are encoded where the driver has them."""

    BUFFERS = 4
    PATIENCE = 5  # seconds without a frame

    def __init__(self, device, size, fps):
        self.device = device
        capability = Capability()
        try:
            device.control(QUERYCAP, capability)
        except OSError as error:
            raise ValueError(f"is no camera: {error.strerror}") from None
        can = capability.device_caps if capability.capabilities & CAP_DEVICE_CAPS else capability.capabilities
        if not can & CAP_CAPTURE or not can & CAP_STREAMING:
            raise ValueError("is no camera that streams frames of one plane of memory")
        self.make, self.model = capability.driver.decode("utf-8", "replace"), capability.card.decode("utf-8", "replace")
        self.set_format(size)
        self.set_rate(fps)
        self.memory = self.map_buffers()

    def set_format(self, size):
        offered = self.offered_formats()
        fourcc = next((fourcc for fourcc in FOURCCS if fourcc in offered), None)
        if not fourcc:
            raise ValueError(f"has frames of {', '.join(offered) or 'no kind'}, not of {', '.join(FOURCCS)}")
        wanted = Format(type=CAPTURE)
        pix = wanted.fmt.pix
        pix.width, pix.height = size
        pix.pixelformat = int.from_bytes(fourcc.encode(), "little")
        pix.field, pix.priv = ANY_FIELD, EXTENDED_FIELDS
        self.device.control(S_FMT, wanted)
        given = fourcc_text(pix.pixelformat)  # drivers change what they cannot do
        if given not in FOURCCS:
            raise ValueError(f"gives frames of {given} where {fourcc} was wanted")
        self.layout, self.size, self.stride = FOURCCS[given], (pix.width, pix.height), pix.bytesperline or None
        self.bytes = frame_bytes(self.layout, self.size, pix.bytesperline)
        is_rgb = self.layout in ("rgb24", "bgr24")
        full = pix.quantization == FULL_RANGE if pix.quantization else is_rgb or pix.colorspace == COLORSPACE_JPEG
        is_709 = pix.ycbcr_enc in MATRIX_709 if pix.ycbcr_enc else pix.colorspace in COLORSPACES_709
        self.range, self.matrix = "full" if full else "limited", "709" if is_709 else "601"

    def offered_formats(self):
        offered = []
        with contextlib.suppress(OSError):  # EINVAL after the last one
            while True:
                description = FormatDescription(index=len(offered), type=CAPTURE)
                self.device.control(ENUM_FMT, description)
                offered.append(fourcc_text(description.pixelformat))
        return offered

    def set_rate(self, fps):
        if fps:
            with contextlib.suppress(OSError):  # not every camera has a choice
                self.device.control(S_PARM, StreamParameters(
                    type=CAPTURE, numerator=1000, denominator=round(1000 * fps)))

    def map_buffers(self):
        wanted = RequestBuffers(count=self.BUFFERS, type=CAPTURE, memory=MMAP)
        self.device.control(REQBUFS, wanted)
        memory = []
        for index in range(wanted.count):
            buffer = Buffer(index=index, type=CAPTURE, memory=MMAP)
            self.device.control(QUERYBUF, buffer)
            memory.append(self.device.map(buffer.length, buffer.m.offset))
            self.device.control(QBUF, buffer)
        return memory

    def newest(self):
        """The last of the frames that are ready, which the driver gets back after use; None without one."""
        newest = None
        for _ in self.memory:
            buffer = Buffer(type=CAPTURE, memory=MMAP)
            try:
                self.device.control(DQBUF, buffer)
            except BlockingIOError:
                break
            if newest:
                self.device.control(QBUF, newest)
            newest = buffer
        return newest

    def frames(self):
        self.device.control(STREAMON, ctypes.c_int(CAPTURE))
        last = time.monotonic()
        while True:
            self.device.wait(1)
            buffer = self.newest()
            if buffer:
                if buffer.bytesused >= self.bytes and not buffer.flags & BUFFER_ERROR:  # else it is damaged
                    last = time.monotonic()
                    yield memoryview(self.memory[buffer.index])[:self.bytes]
                self.device.control(QBUF, buffer)
            if time.monotonic() - last > self.PATIENCE:
                raise OSError(errno.ETIMEDOUT, f"no frame within {self.PATIENCE} seconds")

    def close(self):
        with contextlib.suppress(OSError):
            self.device.control(STREAMOFF, ctypes.c_int(CAPTURE))
        self.device.close()


# ------------------------------------------------------------------------------------------ encoding


class Settings:
    """What the page's sliders set."""

    def __init__(self, quality=75, max_bytes=None):
        self.quality, self.max_bytes = quality, max_bytes
        self.check()

    def check(self):
        for name, low, high, none in (("quality", 0, 100, ""), ("max_bytes", 1, 1 << 30, "null, or ")):
            value = getattr(self, name)
            if value is None and none:
                continue
            if type(value) is not int or not low <= value <= high:
                raise ValueError(f"{name} is {json.dumps(value)}, not {none}a whole number from {low} to {high}")

    def changed(self, wanted):
        """These settings with others from a dict."""
        if not isinstance(wanted, dict):
            raise ValueError("settings are an object such as {\"quality\": 75}")
        for name in wanted:
            if name not in vars(self):
                raise ValueError(f"there is no setting {json.dumps(name)}, but {' and '.join(vars(self))}")
        return Settings(**{**vars(self), **wanted})


class Broadcast:
    """One thread takes frames from the source and encodes each for all who look."""

    WINDOW = 2  # seconds that figures are taken over

    def __init__(self, source, settings, geometry, **options):
        self.source, self.settings, self.geometry = source, settings, geometry
        self.encoder = velajpeg.Encoder(**options)
        self.changed = threading.Condition()  # guards what follows; notified at each frame and at the end
        self.viewers = self.copies_wanted = 0
        self.taken = 0  # frames from the source
        self.number, self.jpeg = 0, None  # the newest frame that is encoded
        self.copied, self.copy = 0, None  # the newest frame that is kept as it came, for stills
        self.quality_used = self.note = self.error = None
        self.ended = threading.Event()
        self.recent = collections.deque()  # (time, bytes, milliseconds) of frames
        self.thread = threading.Thread(target=self.run, name="capture", daemon=True)

    def run(self):
        try:
            for planes in self.source.frames():
                if self.ended.is_set():
                    break
                self.take(planes)
        except Exception as error:  # whatever it is, who looks has to know, and the program to end
            self.end(f"{self.source.model}: {getattr(error, 'strerror', None) or error}")
        finally:
            self.source.close()

    def take(self, planes):
        with self.changed:
            self.taken += 1
            settings, wanted = self.settings, self.viewers > 0
            if self.copies_wanted:
                self.copied, self.copy = self.taken, bytes(planes)
                self.changed.notify_all()
            else:
                self.copy = None
        if not wanted:
            return
        begin = time.monotonic()
        jpeg = note = None
        try:
            jpeg = self.encoder.encode_frame(planes, **self.geometry, **vars(settings))
        except velajpeg.Error as error:
            if error.status != -22:
                raise
            note = f"No quality gives a frame of at most {settings.max_bytes:,} bytes."
        now = time.monotonic()
        with self.changed:
            self.note = note
            if jpeg and settings is self.settings:
                self.quality_used = self.encoder.quality_used
                self.recent.append((now, len(jpeg), 1000 * (now - begin)))
            if jpeg:
                self.number, self.jpeg = self.taken, jpeg
                self.changed.notify_all()

    def end(self, error=None):
        with self.changed:
            if not self.ended.is_set():
                self.error = error
            self.ended.set()
            self.changed.notify_all()

    def set(self, wanted):
        with self.changed:
            self.settings = self.settings.changed(wanted)
            self.recent.clear()
            self.note = None

    @contextlib.contextmanager
    def viewer(self):
        with self.changed:
            self.viewers += 1
        try:
            yield
        finally:
            with self.changed:
                self.viewers -= 1

    def newer(self, number, seconds):
        """The newest encoded frame and its number where it is newer than number, else None after the seconds."""
        with self.changed:
            self.changed.wait_for(lambda: self.number > number or self.ended.is_set(), seconds)
            return (self.number, self.jpeg) if self.number > number else None

    def next_copy(self, seconds=10):
        """A frame as it comes from the source; None where it brings none."""
        with self.changed:
            before = self.taken
            self.copies_wanted += 1
            self.changed.wait_for(lambda: self.copied > before or self.ended.is_set(), seconds)
            self.copies_wanted -= 1
            return self.copy if self.copied > before else None

    def still(self):
        """The next frame as a progressive JPEG of full quality with Exif; None where there is no frame."""
        frame = self.next_copy()
        if not frame:
            return None
        rgb = self.geometry["format"] in PACKED and self.geometry["format"][0] in "rbx"
        return velajpeg.encode_frame(
            frame, **self.geometry, quality=100, progressive=True, subsampling="444" if rgb else None,
            exif=exif_block(self.source.make, self.source.model, time.localtime()))

    def state(self):
        with self.changed:
            now = time.monotonic()
            while self.recent and self.recent[0][0] < now - self.WINDOW:
                self.recent.popleft()
            count = len(self.recent)
            seconds = self.recent[-1][0] - self.recent[0][0] if count > 1 else 0
            return {
                "source": self.source.model, "format": self.geometry["format"], "size": self.geometry["size"],
                "viewers": self.viewers, "encoded": self.number, **vars(self.settings),
                "quality_used": self.quality_used if count else None,
                "fps": (count - 1) / seconds if seconds else None,
                "bytes": sum(one[1] for one in self.recent) / count if count else None,
                "ms": sum(one[2] for one in self.recent) / count if count else None,
                "note": self.note if self.viewers else None, "error": self.error}


def exif_block(make, model, when):
    """A TIFF structure with what cameras say about a picture."""
    moment = time.strftime("%Y:%m:%d %H:%M:%S", when)
    zone = time.strftime("%z", when)
    about_photo = [(0x9000, b"0232"), (0x9003, moment), (0x9011, f"{zone[:3]}:{zone[3:]}")]
    about_image = [(0x010F, make), (0x0110, model), (0x0112, 1),
                   (0x0131, f"Vela JPEG {velajpeg.__version__}"), (0x0132, moment)]
    begin = 8 + 2 + 12 * (len(about_image) + 1) + 4  # after the head and this directory
    values, block = b"", b"II*\0" + struct.pack("<I", 8)
    for entries, link in ((about_image, True), (about_photo, False)):
        if not link:  # the second directory lies after what the first one points to
            begin, values = len(block) + 2 + 12 * len(entries) + 4, b""
        directory = struct.pack("<H", len(entries) + link)
        for tag, value in entries:
            if isinstance(value, int):
                directory += struct.pack("<HHIHH", tag, 3, 1, value, 0)
                continue
            kind, value = (7, value) if isinstance(value, bytes) else (2, value.encode("ascii", "replace") + b"\0")
            if len(value) <= 4:
                directory += struct.pack("<HHI4s", tag, kind, len(value), value)
            else:
                directory += struct.pack("<HHII", tag, kind, len(value), begin + len(values))
                values += value + b"\0" * (len(value) % 2)
        if link:
            directory += struct.pack("<HHII", 0x8769, 4, 1, begin + len(values))
        block += directory + struct.pack("<I", 0) + values
    return block


# ------------------------------------------------------------------------------------------- server


class Server(http.server.ThreadingHTTPServer):
    daemon_threads = True
    block_on_close = False  # who is slow holds up nobody, the end included
    request_queue_size = 64

    def __init__(self, address, port, broadcast):
        if ":" in address:
            self.address_family = socket.AF_INET6
        self.broadcast = broadcast
        super().__init__((address, port), Handler)

    def server_bind(self):  # without asking for the address's name, whose answer may take long
        socketserver.TCPServer.server_bind(self)

    def url(self):
        address, port = self.server_address[:2]
        return f"http://[{address}]:{port}/" if ":" in address else f"http://{address}:{port}/"

    def handle_error(self, request, client_address):
        if not isinstance(sys.exc_info()[1], OSError):  # clients come and go
            super().handle_error(request, client_address)


class Handler(http.server.BaseHTTPRequestHandler):
    timeout = 30  # seconds for a request to come, or for a frame to be taken
    server_version = "camera_page"
    BOUNDARY = b"--frame\r\n"
    NOT_OURS = "this page is served by the machine's addresses and its own name alone"

    def do_GET(self):
        answers = {"/": self.answer_page, "/stream": self.answer_stream, "/still.jpg": self.answer_still,
                   "/state": self.answer_state}
        answer = answers.get(self.path.partition("?")[0])
        if not self.host_is_ours():
            self.send_text(403, self.NOT_OURS)
        elif answer:
            answer()
        else:
            self.send_text(404, "there is no such page")

    def do_POST(self):
        # A page of somebody else's can send a form here, but not JSON.
        if not self.host_is_ours():
            self.send_text(403, self.NOT_OURS)
        elif self.path != "/settings":
            self.send_text(404, "there is no such page")
        elif self.headers.get_content_type() != "application/json":
            self.send_text(415, "settings come as application/json")
        else:
            self.answer_settings()

    def host_is_ours(self):
        """Whether the browser was led here by a name of this machine, not by one that somebody made point to it."""
        name = self.headers.get("Host", "")
        name = name[1:name.find("]")] if name.startswith("[") else name.partition(":")[0]
        with contextlib.suppress(ValueError):
            return bool(ipaddress.ip_address(name))
        ours = socket.gethostname().lower()
        return name.lower() in ("localhost", ours, ours + ".local")

    def answer_page(self):
        self.send(200, "text/html; charset=utf-8", PAGE.encode())

    def answer_state(self):
        self.send(200, "application/json", json.dumps(self.server.broadcast.state()).encode())

    def answer_settings(self):
        try:
            length = self.headers.get("Content-Length", "")
            if not length.isdecimal() or int(length) > 1000:
                raise ValueError("settings have a Content-Length of at most 1000 bytes")
            self.server.broadcast.set(json.loads(self.rfile.read(int(length))))
        except (ValueError, RecursionError) as error:
            self.send_text(400, str(error))
        else:
            self.answer_state()

    def answer_still(self):
        jpeg = self.server.broadcast.still()
        if not jpeg:
            self.send_text(503, "the source brings no frame")
            return
        name = time.strftime("still-%Y%m%d-%H%M%S.jpg")
        self.send(200, "image/jpeg", jpeg, ("Content-Disposition", f'attachment; filename="{name}"'))

    def answer_stream(self):
        # Little waits in the system, so that who is slow sees few frames rather than old ones.
        self.connection.setsockopt(socket.SOL_SOCKET, socket.SO_SNDBUF, 1 << 17)
        self.connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        self.send_head(200, "multipart/x-mixed-replace; boundary=frame")
        # The boundary follows each frame at once: browsers show a frame when they have seen its end.
        self.wfile.write(self.BOUNDARY)
        broadcast = self.server.broadcast
        with broadcast.viewer():
            number = broadcast.state()["encoded"]
            while not broadcast.ended.is_set():
                newer = broadcast.newer(number, seconds=1)
                if newer:
                    number, jpeg = newer
                    head = f"Content-Type: image/jpeg\r\nContent-Length: {len(jpeg)}\r\nX-Frame: {number}\r\n\r\n"
                    self.wfile.write(head.encode() + jpeg + b"\r\n" + self.BOUNDARY)
                elif self.client_is_gone():
                    break

    def client_is_gone(self):
        said = select.poll()
        said.register(self.connection, select.POLLIN)
        return bool(said.poll(0)) and self.connection.recv(1, socket.MSG_PEEK) == b""

    def send_head(self, code, kind, *fields):
        self.send_response(code)
        for name, value in (("Content-Type", kind), ("Cache-Control", "no-store"), *fields,
                            ("Cross-Origin-Resource-Policy", "same-origin")):  # no part of others' pages
            self.send_header(name, value)
        self.end_headers()

    def send(self, code, kind, body, *fields):
        self.send_head(code, kind, ("Content-Length", str(len(body))), *fields)
        self.wfile.write(body)

    def send_text(self, code, text):
        self.send(code, "text/plain; charset=utf-8", text.encode() + b"\n")

    def log_message(self, *_):
        pass


PAGE = """<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>Camera</title>
<link rel="icon" href="data:,">
<style>
  :root { color-scheme: dark; --line: #2b333c; --dim: #9aa7b4; --accent: #4fb3d9; }
  * { box-sizing: border-box; }
  body { margin: 0 auto; padding: 1.25rem; max-width: 68rem; background: #12171c; color: #e8edf2;
         font: 16px/1.45 system-ui, sans-serif; }
  header { display: flex; flex-wrap: wrap; align-items: baseline; gap: .2rem 1rem; margin-bottom: .9rem; }
  h1 { font-size: 1.25rem; margin: 0; }
  header p, dt, label small { color: var(--dim); margin: 0; }
  main { display: grid; gap: 1.25rem; grid-template-columns: minmax(0, 1fr) 17rem; align-items: start; }
  img { display: block; width: 100%; min-height: 8rem; max-height: calc(100vh - 8rem); object-fit: contain;
        border-radius: .5rem; background: #0b0f13; }
  section { border: 1px solid var(--line); border-radius: .5rem; padding: 1rem; background: #181f26; }
  aside { display: grid; gap: 1rem; }
  dl { margin: 0; display: grid; gap: .7rem; }
  dl div { display: flex; justify-content: space-between; align-items: baseline; }
  dt { font-size: .9rem; }
  dd { margin: 0; font-size: 1.35rem; font-variant-numeric: tabular-nums; }
  label { display: flex; justify-content: space-between; font-size: .9rem; }
  output { font-variant-numeric: tabular-nums; }
  input { width: 100%; margin: .4rem 0 1rem; accent-color: var(--accent); }
  a { display: block; text-align: center; padding: .6rem; border-radius: .4rem; background: var(--accent);
      color: #08131a; font-weight: 600; text-decoration: none; }
  a:hover { filter: brightness(1.1); }
  :focus-visible { outline: 2px solid #fff; outline-offset: 2px; }
  #note { min-height: 1.5em; margin: .75rem 0 0; color: #ffb454; }
  @media (max-width: 46rem) { main { grid-template-columns: 1fr; } }
</style>
</head>
<body>
<header><h1>Camera</h1><p id="source"></p></header>
<main>
  <div>
    <img id="picture" alt="Live picture of the camera">
    <p id="note" role="status"></p>
  </div>
  <aside>
    <section aria-label="Figures">
      <dl>
        <div><dt>Frames per second</dt><dd id="fps">&ndash;</dd></div>
        <div><dt>KB per frame</dt><dd id="bytes">&ndash;</dd></div>
        <div><dt>Milliseconds per frame</dt><dd id="ms">&ndash;</dd></div>
        <div><dt>Quality used</dt><dd id="used">&ndash;</dd></div>
        <div><dt>Viewers</dt><dd id="viewers">&ndash;</dd></div>
      </dl>
    </section>
    <section aria-label="Settings">
      <label for="quality">Quality <output id="qualityText" for="quality"></output></label>
      <input id="quality" type="range" min="0" max="100" step="1">
      <label for="limit">Size limit per frame <output id="limitText" for="limit"></output></label>
      <input id="limit" type="range" min="0" max="60" step="1">
      <a href="/still.jpg" download>Save a still</a>
    </section>
  </aside>
</main>
<script>
"use strict";
const $ = id => document.getElementById(id);
const picture = $("picture"), quality = $("quality"), limit = $("limit");

// The limit's slider: 2 KB at its left, ten times as much at every twentieth step, none at its right.
const limitBytes = () => limit.value === limit.max ? null : Math.round(2000 * 10 ** (limit.value / 20));
const limitPlace = bytes => bytes === null ? limit.max : Math.min(59, Math.round(20 * Math.log10(bytes / 2000)));
const kilobytes = bytes => (bytes / 1000).toFixed(bytes < 99950 ? 1 : 0);

function showSliders(maxBytes) {
  $("qualityText").value = quality.value;
  $("limitText").value = maxBytes === null ? "none" : kilobytes(maxBytes) + " KB";
  limit.setAttribute("aria-valuetext", $("limitText").value);
}

// While a slider moves, the newest setting is sent as soon as the one before has arrived.
let sending = false, waiting = false, moved = 0;
async function send() {
  moved = Date.now();
  showSliders(limitBytes());
  if (sending) { waiting = true; return; }
  sending = true;
  do {
    waiting = false;
    try {
      const answer = await fetch("/settings", {
        method: "POST", headers: {"Content-Type": "application/json"},
        body: JSON.stringify({quality: Number(quality.value), max_bytes: limitBytes()})});
      if (!answer.ok) $("note").textContent = await answer.text();
    } catch { break; }  // the figures say so
  } while (waiting);
  sending = false;
}
quality.addEventListener("input", send);
limit.addEventListener("input", send);

function show(state) {
  $("source").textContent = `${state.source}, ${state.size[0]} × ${state.size[1]}, ${state.format}`;
  const figure = (id, value, text) => { $(id).textContent = value === null ? "–" : text(value); };
  figure("fps", state.fps, value => value.toFixed(1));
  figure("bytes", state.bytes, kilobytes);
  figure("ms", state.ms, value => value.toFixed(1));
  figure("used", state.quality_used, String);
  figure("viewers", state.viewers, String);
  if (!sending && Date.now() - moved > 1000) {  // others may have moved theirs
    quality.value = state.quality;
    limit.value = limitPlace(state.max_bytes);
    showSliders(state.max_bytes);
  }
  $("note").textContent = state.error ?? state.note ?? "";
}

// A page that nobody sees asks for no frames.
function watch() {
  if (document.hidden) picture.removeAttribute("src");
  else picture.src = "/stream?" + Date.now();
}
document.addEventListener("visibilitychange", watch);
picture.addEventListener("error", () => setTimeout(watch, 2000));
let lost = false;
async function poll() {
  try {
    show(await (await fetch("/state")).json());
    if (lost) watch();
    lost = false;
  } catch {
    lost = true;
    for (const id of ["fps", "bytes", "ms", "used", "viewers"]) $(id).textContent = "–";
    if (!$("note").textContent) $("note").textContent = "The camera's program does not answer.";
  }
  setTimeout(poll, 500);
}
addEventListener("load", watch);  // the page is there, even where the source brings nothing
poll();
</script>
</body>
</html>
"""

# ------------------------------------------------------------------------------------------ program


def parse_size(text):
    width, _, height = text.partition("x")
    size = int(width), int(height)
    if not all(1 <= side <= 65535 for side in size):
        raise ValueError
    return size


def parse_fps(text):
    fps = float(text)
    if not 0.1 <= fps <= 1000:
        raise ValueError
    return fps


def parse_arguments():
    parser = argparse.ArgumentParser(description="A page that shows a camera live.")
    parser.add_argument("source", nargs="?", help="a V4L2 device, a Y4M file, a file of frames with --raw; "
                        "without it a moving test picture")
    parser.add_argument("--raw", metavar="FORMAT", choices=[*PACKED, *PLANAR],
                        help="the frames of a file without a head: " + ", ".join([*PACKED, *PLANAR]))
    parser.add_argument("--size", type=parse_size, metavar="WxH", help="of raw frames; wished of a camera [640x480]")
    parser.add_argument("--fps", type=parse_fps, help="frames per second [what the source has, or 30]")
    parser.add_argument("--range", choices=["full", "limited"], help="of YCbCr and grey samples [what the source says]")
    parser.add_argument("--matrix", choices=["601", "709"], help="of YCbCr samples [what the source says]")
    parser.add_argument("--quality", type=int, default=75, help="0 to 100, to begin with [75]")
    parser.add_argument("--max-bytes", type=int, help="of a frame, to begin with [no limit]")
    parser.add_argument("--threads", type=int, default=1, help="that encode a frame, 0 for all cores [1]")
    parser.add_argument("--bind", default="127.0.0.1", help="address to serve [127.0.0.1, this machine alone]")
    parser.add_argument("--port", type=int, default=8080, help="0 for one that is free [8080]")
    options = parser.parse_args()
    if options.raw and not (options.source and options.size):
        parser.error("--raw needs a file, and the --size of its frames")
    if not 0 <= options.threads <= 1024 or not 0 <= options.port <= 65535:
        parser.error("--threads is 0 to 1024, --port 0 to 65535")
    try:
        options.settings = Settings(options.quality, options.max_bytes)
    except ValueError as error:
        parser.error(str(error))
    return options


def open_source(options):
    size = options.size or (640, 480)
    if not options.source:
        return TestPicture(size, options.fps)
    if options.raw:
        return RawFile(options.source, options.raw, size, options.fps)
    if stat.S_ISCHR(os.stat(options.source).st_mode):
        return Camera(Device(options.source), size, options.fps)
    return Y4mFile(options.source, options.fps)


def serve(options, source):
    geometry = {**source.geometry(), **{
        name: getattr(options, name) for name in ("range", "matrix") if getattr(options, name)}}
    broadcast = Broadcast(source, options.settings, geometry, threads=options.threads)
    with Server(options.bind, options.port, broadcast) as server:
        threading.Thread(target=server.serve_forever, args=[0.1], daemon=True).start()
        broadcast.thread.start()
        print(f"{source.model}, {source.layout} {source.size[0]} x {source.size[1]}: {server.url()}", flush=True)
        try:
            broadcast.ended.wait()
            print(f"camera_page.py: {broadcast.error}", file=sys.stderr)
            time.sleep(1.5)  # for the pages to ask, and show it
        except KeyboardInterrupt:
            for number in (signal.SIGINT, signal.SIGTERM):
                signal.signal(number, signal.SIG_IGN)
        broadcast.end()
        server.shutdown()
    broadcast.thread.join(timeout=2)
    return 1 if broadcast.error else 0


def main():
    options = parse_arguments()
    signal.signal(signal.SIGTERM, signal.default_int_handler)  # both end the program as KeyboardInterrupt
    try:
        source = open_source(options)
    except (OSError, ValueError) as error:
        reason = getattr(error, "strerror", None) or error
        sys.exit(f"camera_page.py: {options.source or 'size'}: {reason}")
    try:
        return serve(options, source)
    except OSError as error:
        sys.exit(f"camera_page.py: cannot serve {options.bind}, port {options.port}: {error.strerror or error}")


if __name__ == "__main__":
    sys.exit(main())
