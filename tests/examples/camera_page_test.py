#!/usr/bin/python3
"""Usage: camera_page_test.py PACKAGE_FOLDER [unittest's arguments]

examples/camera_page from outside: what it sends is taken apart by hand and decoded by Pillow; its camera is a
driver made up here, whose records are those of linux/videodev2.h; and chromium looks at it.
"""

import contextlib
import importlib.util
import io
import itertools
import json
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time
import unittest
import urllib.error
import urllib.request

from PIL import Image, ImageChops, ImageStat

PROGRAM = pathlib.Path(__file__).resolve().parents[2] / "examples/camera_page/camera_page.py"
PACKAGE = sys.argv.pop(1)
SCREENSHOT = os.environ.get("VELA_SCREENSHOT")  # where the browser's picture of the page is kept

scratch = pathlib.Path(tempfile.mkdtemp())
unittest.addModuleCleanup(shutil.rmtree, scratch)
(scratch / "numpy.py").write_text("raise ImportError('the page does without')")
ENVIRONMENT = {**os.environ, "PYTHONPATH": f"{PACKAGE}:{scratch}", "PYTHONDONTWRITEBYTECODE": "1"}


def start(*arguments):
    return subprocess.Popen([sys.executable, PROGRAM, "--port", "0", *map(str, arguments)], env=ENVIRONMENT,
                            text=True, stdout=subprocess.PIPE, stderr=subprocess.PIPE)


class Page:
    """The program while it runs, ended by a signal that must give exit code 0."""

    def __init__(self, *arguments, end=signal.SIGTERM):
        self.arguments, self.end = arguments, end

    def __enter__(self):
        self.process = start(*self.arguments)
        line = self.process.stdout.readline()
        if not line:
            raise AssertionError(self.process.communicate()[1])
        self.url = line.split()[-1]
        self.port = int(self.url.rsplit(":", 1)[1].strip("/"))
        return self

    def __exit__(self, kind, *_):
        self.process.send_signal(self.end)
        try:
            out, errors = self.process.communicate(timeout=10)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.communicate()
            raise
        if not kind and (self.process.returncode != 0 or errors):
            raise AssertionError(f"exit code {self.process.returncode}: {errors}")

    def get(self, path):
        with urllib.request.urlopen(self.url + path, timeout=10) as answer:
            return answer.read(), answer.headers

    def state(self):
        return json.loads(self.get("state")[0])

    def until(self, wanted, seconds=10):
        end = time.monotonic() + seconds
        while not wanted(state := self.state()):
            if time.monotonic() > end:
                raise AssertionError(f"not in {seconds} s: {state}")
            time.sleep(0.05)
        return state

    def post(self, body, kind="application/json", **fields):
        """Status and text of the answer to settings."""
        body = body if isinstance(body, bytes) else json.dumps(body).encode()
        request = urllib.request.Request(self.url + "settings", body, {"Content-Type": kind, **fields})
        try:
            with urllib.request.urlopen(request, timeout=10) as answer:
                return answer.status, answer.read().decode()
        except urllib.error.HTTPError as error:
            return error.code, error.read().decode()

    def connect(self):
        """A connection on which the stream has been asked for."""
        connection = socket.create_connection(("127.0.0.1", self.port), timeout=10)
        connection.sendall(f"GET /stream HTTP/1.1\r\nHost: 127.0.0.1:{self.port}\r\n\r\n".encode())
        return connection

    @contextlib.contextmanager
    def stream(self):
        with self.connect() as connection, connection.makefile("rb") as file:
            yield parts_of(file)


def parts_of(file):
    """Number and JPEG of each part of a stream, whose form is checked on the way."""
    assert file.readline().split()[1] == b"200"
    fields = fields_of(file)
    kind, _, boundary = fields["content-type"].partition("; boundary=")
    assert kind == "multipart/x-mixed-replace" and boundary, fields
    assert "content-length" not in fields
    while True:
        assert file.readline() == b"--" + boundary.encode() + b"\r\n"
        fields = fields_of(file)
        assert fields["content-type"] == "image/jpeg", fields
        jpeg = file.read(int(fields["content-length"]))
        assert jpeg[:2] == b"\xff\xd8" and jpeg[-2:] == b"\xff\xd9"
        assert file.readline() == b"\r\n"
        yield int(fields["x-frame"]), jpeg


def fields_of(file):
    fields = {}
    while (line := file.readline()) != b"\r\n":
        name, colon, value = line.decode().partition(":")
        assert colon, f"{line} where a field was wanted"
        fields[name.lower()] = value.strip()
    return fields


def decode(jpeg):
    image = Image.open(io.BytesIO(jpeg))
    image.load()
    return image


def take(parts, count):
    return list(itertools.islice(parts, count))


def sizes_from_now(page, parts, count):
    """Bytes of frames that were begun after this call."""
    encoded = page.state()["encoded"]
    fresh = itertools.dropwhile(lambda part: part[0] <= encoded, parts)
    next(fresh)  # may have been begun before
    return [len(jpeg) for _, jpeg in take(fresh, count)]


class Stream(unittest.TestCase):
    def test_frames_change_and_settings_act_at_once(self):
        with Page("--size", "320x240") as page, page.stream() as parts:
            frames = take(parts, 5)
            numbers = [number for number, _ in frames]
            self.assertEqual(numbers, sorted(set(numbers)))
            images = [decode(jpeg) for _, jpeg in frames]
            self.assertEqual({(image.size, image.mode) for image in images}, {((320, 240), "RGB")})
            for one, next_one in zip(images, images[1:]):
                self.assertGreater(max(ImageStat.Stat(ImageChops.difference(one, next_one)).extrema)[1], 50)

            state = page.until(lambda state: state["fps"])
            self.assertEqual((state["viewers"], state["quality"], state["max_bytes"]), (1, 75, None))
            self.assertLess(abs(state["bytes"] - len(frames[-1][1])), len(frames[-1][1]) // 10)
            self.assertGreater(state["ms"], 0)

            usual = len(frames[-1][1])
            self.assertEqual(page.post({"quality": 10})[0], 200)
            self.assertLess(max(sizes_from_now(page, parts, 3)), usual // 2)
            self.assertEqual(page.post({"quality": 95, "max_bytes": 12000})[0], 200)
            sizes = sizes_from_now(page, parts, 10)
            self.assertLessEqual(max(sizes), 12000)
            self.assertGreater(min(sizes), 9000)  # the quality that fits, not the least
            self.assertIn(page.until(lambda state: state["quality_used"])["quality_used"], range(5, 90))

            # A limit that nothing keeps: no frames, and words; then frames again.
            self.assertEqual(page.post({"max_bytes": 500})[0], 200)
            state = page.until(lambda state: state["note"])
            self.assertEqual(state["note"], "No quality gives a frame of at most 500 bytes.")
            encoded = state["encoded"]
            with page.connect():
                page.until(lambda state: state["viewers"] == 2)
            page.until(lambda state: state["viewers"] == 1)  # who goes is missed without a frame, too
            self.assertEqual(page.state()["encoded"], encoded)
            self.assertEqual(page.post({"max_bytes": None})[0], 200)
            self.assertGreater(next(number for number, _ in parts if number > encoded), encoded)
            self.assertIsNone(page.until(lambda state: not state["note"])["error"])

    def test_a_still_is_progressive_full_quality_with_exif(self):
        with Page("--size", "320x240", end=signal.SIGINT) as page:
            before = time.strftime("%Y:%m:%d %H:%M:%S")
            jpeg, fields = page.get("still.jpg")
            self.assertRegex(fields["Content-Disposition"], r'^attachment; filename="still-\d{8}-\d{6}.jpg"$')
            image = decode(jpeg)
            self.assertTrue(image.info.get("progressive"))
            self.assertEqual({value for table in image.quantization.values() for value in table}, {1})
            exif = image.getexif()
            self.assertEqual([exif[tag] for tag in (0x010F, 0x0110, 0x0112)], ["Vela JPEG", "test picture", 1])
            self.assertRegex(exif[0x0131], r"^Vela JPEG \d+\.\d+\.\d+$")
            photo = exif.get_ifd(0x8769)
            for moment in exif[0x0132], photo[0x9003]:
                self.assertTrue(before <= moment <= time.strftime("%Y:%m:%d %H:%M:%S"), moment)
            self.assertEqual(photo[0x9000], b"0232")
            self.assertRegex(photo[0x9011], r"^[+-]\d\d:\d\d$")
            self.assertEqual(page.state()["encoded"], 0)  # a still alone does not start the stream

    def test_twenty_clients_one_encoding_and_one_that_never_reads(self):
        with Page("--size", "640x480", "--quality", "100") as page:
            with page.connect() as idle:
                page.until(lambda state: state["viewers"] == 1)
                got, failures, all_are_here = [None] * 20, [], threading.Event()

                def client(index):
                    try:
                        with page.stream() as parts:
                            next(parts)
                            all_are_here.wait(10)
                            got[index] = dict(take(parts, 25))
                    except Exception as error:  # told below, by the thread that may fail the test
                        failures.append(error)

                threads = [threading.Thread(target=client, args=(index,)) for index in range(20)]
                for thread in threads:
                    thread.start()
                page.until(lambda state: state["viewers"] == 21)
                all_are_here.set()
                for thread in threads:
                    thread.join(30)
                self.assertEqual(failures, [])
                self.assertTrue(all(got))
                # All have seen the same bytes of the same frame.
                seen = {}
                for number, jpeg in itertools.chain.from_iterable(frames.items() for frames in got):
                    self.assertEqual(seen.setdefault(number, jpeg), jpeg)
                self.assertLess(len(seen), 20 * 25 // 2)
                # Who did not read has missed frames, and then gets what is new.
                page.until(lambda state: state["viewers"] == 1)
                encoded = page.state()["encoded"]
                with idle.makefile("rb") as file:
                    numbers = [number for number, _ in take(parts_of(file), 40)]
                self.assertGreater(numbers[-1], encoded)
                self.assertGreater(max(b - a for a, b in zip(numbers, numbers[1:])), 5)
            page.until(lambda state: state["viewers"] == 0)
            time.sleep(0.2)  # the last frame may just have been begun
            encoded = page.state()["encoded"]
            time.sleep(0.3)
            self.assertEqual(page.state()["encoded"], encoded)  # nobody looks

    def test_settings_that_are_refused(self):
        with Page("--size", "64x64") as page:
            for body, words in (
                    ({"quality": 101}, "quality is 101, not a whole number from 0 to 100"),
                    ({"quality": True}, "quality is true, not"),
                    ({"quality": None}, "quality is null, not a whole"),
                    ({"max_bytes": 0}, "max_bytes is 0, not null, or a whole number from 1"),
                    ({"max_bytes": "1k"}, 'max_bytes is "1k"'),
                    ({"qualty": 5}, 'there is no setting "qualty", but quality and max_bytes'),
                    ([5], "settings are an object"), (b"{", "Expecting"), (b"\xff", "decode"),
                    (b"[" * 1000, "recursion"), (b" " * 1001, "at most 1000 bytes")):
                status, text = page.post(body)
                self.assertEqual(status, 400, text)
                self.assertIn(words, text)
            # What a page of somebody else's could bring a browser to send.
            good = {"quality": 5}
            self.assertEqual(page.post(good, "text/plain")[0], 415)
            self.assertEqual(page.post(good, "application/x-www-form-urlencoded")[0], 415)
            self.assertEqual(page.post(good, Host="rebound.example")[0], 403)
            for path in "", "stream", "state", "still.jpg":
                request = urllib.request.Request(page.url + path, headers={"Host": "rebound.example:80"})
                with self.assertRaises(urllib.error.HTTPError) as raised:
                    urllib.request.urlopen(request, timeout=10)
                self.assertEqual(raised.exception.code, 403)
                raised.exception.close()
            self.assertEqual(page.state()["quality"], 75)
            self.assertEqual(page.post(good, Host="localhost:1")[0], 200)
            with self.assertRaises(ConnectionRefusedError):  # of this machine's addresses one alone
                socket.create_connection(("127.0.0.2", page.port))
            self.addCleanup(page.connect().close)  # the program's end does not wait for who looks
            page.until(lambda state: state["viewers"] == 1)


class Files(unittest.TestCase):
    def grey_levels(self, count, *arguments):
        """The levels of red, green and blue in the middle of the first frames."""
        with Page("--fps", "100", *arguments) as page, page.stream() as parts:
            return [decode(jpeg).convert("RGB").getpixel((30, 20)) for _, jpeg in take(parts, count)]

    def y4m(self, name, head, samples):
        path = scratch / name
        path.write_bytes(b"YUV4MPEG2 W64 H48 " + head + b"\n" +
                         b"".join(b"FRAME Ip\n" + frame for frame in samples))
        return path

    def test_y4m_again_and_again(self):
        # Black and white of video.
        frames = [bytes([level]) * 3072 + bytes([128]) * 1536 for level in (16, 235)]
        levels = self.grey_levels(6, self.y4m("film.y4m", b"F25:1 Ip C420jpeg XYSCSS=420JPEG", frames))
        self.assertEqual(set(levels), {(0, 0, 0), (255, 255, 255)})
        levels = self.grey_levels(6, self.y4m("full.y4m", b"F25:1 C420 XCOLORRANGE=FULL", frames))
        self.assertEqual(set(levels), {(16,) * 3, (235,) * 3})
        mono = [bytes([level]) * 3072 for level in (60, 70, 80)]
        levels = self.grey_levels(9, "--range", "full", self.y4m("mono.y4m", b"Cmono", mono))
        self.assertEqual(set(levels), {(60,) * 3, (70,) * 3, (80,) * 3})

    def test_raw_frames(self):
        path = scratch / "frames.nv12"
        # 81, 90, 240: red of BT.601 in limited range.
        path.write_bytes(bytes([81]) * 3072 + bytes([90, 240]) * 768)
        for red, green, blue in self.grey_levels(
                3, path, "--raw", "nv12", "--size", "64x48", "--range", "limited"):
            self.assertGreater(red, 250)
            self.assertLess(max(green, blue), 5)
        path = scratch / "frames.rgb"
        path.write_bytes(bytes([10, 200, 30]) * 63 * 47)
        (colour,) = set(self.grey_levels(2, path, "--raw", "rgb24", "--size", "63x47"))
        self.assertTrue(all(abs(a - b) <= 3 for a, b in zip(colour, (10, 200, 30))), colour)

    def test_a_source_that_fails_is_shown_and_ends_the_program(self):
        path = self.y4m("cut.y4m", b"F20:1 C420", [bytes(4608)] * 10 + [bytes(100)])
        words = "cut.y4m: ends within a frame: 100 bytes are left, i420 of 64 x 48 has 4608"
        process = start(path)
        page = Page()
        page.url = process.stdout.readline().split()[-1]
        self.assertEqual(page.until(lambda state: state["error"])["error"], words)
        self.assertEqual(process.communicate(timeout=10)[1], f"camera_page.py: {words}\n")
        self.assertEqual(process.returncode, 1)

    def test_a_source_that_cannot_be_opened(self):
        raw = scratch / "a.raw"
        raw.write_bytes(b"")
        taken = socket.create_server(("127.0.0.1", 0))
        self.addCleanup(taken.close)
        for arguments, code, words in (
                (["/nowhere.y4m"], 1, "/nowhere.y4m: No such file"),
                (["/dev/null"], 1, "/dev/null: is no camera: Inappropriate ioctl"),
                ([PROGRAM], 1, "is neither a camera nor a Y4M file"),
                ([self.y4m("deep.y4m", b"C420p10", [])], 1, "has samples of the kind 420p10, not 420,"),
                ([raw, "--raw", "nv12", "--size", "64x48"], 1, "a.raw: has no frame"),
                (["--size", "63x48"], 1, "the test picture has even"),
                (["--port", taken.getsockname()[1]], 1, "Address already in use"),
                ([raw, "--raw", "nv12"], 2, "--raw needs"),
                (["--quality", "101"], 2, "quality is 101, not"),
                (["--size", "big"], 2, "--size"), (["--fps", "0"], 2, "--fps")):
            process = start(*arguments)
            errors = process.communicate(timeout=10)[1]
            self.assertEqual(process.returncode, code, errors)
            self.assertIn(words, errors)
            self.assertNotIn("Traceback", errors)


def load_program():
    sys.path.insert(0, PACKAGE)
    spec = importlib.util.spec_from_file_location("camera_page", PROGRAM)
    module = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(module)
    return module


program = load_program()


class Driver:
    """A V4L2 driver, as far as program.Camera calls it. Frames are told apart by their first byte."""

    def __init__(self, formats=("MJPG", "YUYV"), size=(64, 48), stride=144, **colours):
        self.formats, self.size, self.stride, self.colours = formats, size, stride, colours
        self.memory, self.queued, self.ready, self.calls = [], [], [], []
        self.bursts = iter(())  # frames that come until the next wait, each as (first byte, flags, bytes used)
        self.closed = False

    def control(self, number, argument):
        names = {program.QUERYCAP: self.query, program.ENUM_FMT: self.describe, program.S_FMT: self.set_format,
                 program.REQBUFS: self.request, program.QUERYBUF: self.query_buffer, program.QBUF: self.queue,
                 program.DQBUF: self.dequeue}
        self.calls.append(number)
        names.get(number, lambda _: None)(argument)

    def query(self, capability):
        capability.driver, capability.card = b"made-up", b"Camera 1"
        capability.capabilities, capability.device_caps = 0x80000000, 0x04000001

    def describe(self, description):
        if description.index >= len(self.formats):
            raise OSError(22, "Invalid argument")
        description.pixelformat = int.from_bytes(self.formats[description.index].encode(), "little")

    def set_format(self, wanted):
        pix = wanted.fmt.pix
        assert pix.priv == 0xFEEDCAFE
        pix.width, pix.height = self.size
        pix.bytesperline, pix.sizeimage = self.stride, self.stride * self.size[1]
        for name, value in self.colours.items():
            setattr(pix, name, value)

    def request(self, wanted):
        wanted.count = 3  # fewer than were asked for

    def query_buffer(self, buffer):
        buffer.length, buffer.m.offset = 8192, 4096 * buffer.index

    def map(self, length, offset):
        assert offset == 4096 * len(self.memory)
        self.memory.append(bytearray(length))
        return self.memory[-1]

    def queue(self, buffer):
        assert buffer.index not in self.queued
        self.queued.append(buffer.index)

    def wait(self, seconds):
        for first, flags, used in next(self.bursts, ()):
            if self.queued:
                index = self.queued.pop(0)
                self.memory[index][:] = bytes([235, 128]) * 4096
                self.memory[index][0] = first
                self.ready.append((index, flags, used))
        return bool(self.ready)

    def dequeue(self, buffer):
        if self.closed:
            raise OSError(19, "No such device")
        if not self.ready:
            raise BlockingIOError(11, "Resource temporarily unavailable")
        buffer.index, buffer.flags, buffer.bytesused = self.ready.pop(0)

    def close(self):
        pass


class Camera(unittest.TestCase):
    WHOLE = 144 * 48

    def test_newest_frame_and_damaged_ones(self):
        driver = Driver()
        camera = program.Camera(driver, (640, 480), 25)
        self.assertEqual(camera.geometry(), {"format": "yuyv", "size": (64, 48), "strides": 144,
                                             "range": "limited", "matrix": "601"})
        self.assertEqual((camera.make, camera.model), ("made-up", "Camera 1"))
        self.assertIn(program.S_PARM, driver.calls)
        driver.bursts = iter([
            [(1, 0, self.WHOLE)], [], [(level, 0, self.WHOLE) for level in (2, 3, 4)],
            [(5, 0x40, self.WHOLE)], [(6, 0, 100)], [(7, 0, 0)], [(8, 0, 8000)]])
        frames, firsts = camera.frames(), []
        for frame in itertools.islice(frames, 3):
            firsts.append(frame[0])
            self.assertEqual(len(driver.queued), 2)  # the third is the one that is looked at
            image = decode(program.velajpeg.encode_frame(frame, **camera.geometry()))
            self.assertEqual(image.size, (64, 48))
            self.assertEqual(image.getpixel((32, 24)), (255, 255, 255))
        self.assertEqual(firsts, [1, 4, 8])
        driver.closed = True
        with self.assertRaisesRegex(OSError, "No such device"):
            next(frames)

    def test_a_camera_that_falls_silent(self):
        camera = program.Camera(Driver(), (640, 480), None)
        camera.PATIENCE = 0.1
        with self.assertRaisesRegex(OSError, "no frame within 0.1 seconds"):
            next(camera.frames())

    def test_no_format_in_common(self):
        with self.assertRaisesRegex(ValueError, "has frames of MJPG, H264, not of NV12, YU12,"):
            program.Camera(Driver(formats=("MJPG", "H264")), (640, 480), None)

    def test_a_lost_camera_is_told(self):
        driver = Driver()
        driver.bursts = iter([[(1, 0, self.WHOLE)]])
        camera = program.Camera(driver, (640, 480), None)
        broadcast = program.Broadcast(camera, program.Settings(), camera.geometry())
        driver.closed = True
        broadcast.thread.start()
        self.assertTrue(broadcast.ended.wait(10))
        self.assertEqual(broadcast.error, "Camera 1: No such device")

    @unittest.skipUnless(pathlib.Path("/usr/include/linux/videodev2.h").exists(), "no linux/videodev2.h here")
    def test_records_and_numbers_are_the_headers(self):
        records = [program.Capability, program.FormatDescription, program.PixelFormat, program.Format,
                   program.RequestBuffers, program.Buffer, program.StreamParameters]
        expected, lines = {}, []

        def compare(expression, value):
            expected[expression] = value
            lines.append(f'printf("%s %llu\\n", "{expression}", (unsigned long long)({expression}));')

        for structure in records:
            name = structure.__name__
            compare(f"sizeof(struct {name})", program.ctypes.sizeof(structure))
            for field, *_ in structure._fields_:
                member = {"capability": "parm.capture.capability", "capturemode": "parm.capture.capturemode",
                          "numerator": "parm.capture.timeperframe.numerator", "rest": "parm.capture.extendedmode",
                          "denominator": "parm.capture.timeperframe.denominator"
                          }.get(field, field) if name == "v4l2_streamparm" else field
                compare(f"offsetof(struct {name}, {member})", getattr(structure, field).offset)
        for number in "QUERYCAP ENUM_FMT S_FMT REQBUFS QUERYBUF QBUF DQBUF STREAMON STREAMOFF S_PARM".split():
            compare(f"VIDIOC_{number}", getattr(program, number))
        for constant, value in (
                ("V4L2_BUF_TYPE_VIDEO_CAPTURE", program.CAPTURE), ("V4L2_MEMORY_MMAP", program.MMAP),
                ("V4L2_FIELD_ANY", program.ANY_FIELD), ("V4L2_CAP_VIDEO_CAPTURE", program.CAP_CAPTURE),
                ("V4L2_CAP_STREAMING", program.CAP_STREAMING), ("V4L2_CAP_DEVICE_CAPS", program.CAP_DEVICE_CAPS),
                ("V4L2_BUF_FLAG_ERROR", program.BUFFER_ERROR),
                ("V4L2_PIX_FMT_PRIV_MAGIC", program.EXTENDED_FIELDS)):
            compare(constant, value)
        for constant, name in (("NV12", "NV12"), ("YUV420", "YU12"), ("YVU420", "YV12"), ("YUV422P", "422P"),
                               ("RGB24", "RGB3"), ("BGR24", "BGR3"), ("GREY", "GREY"), ("VYUY", "VYUY")):
            self.assertIn(name, program.FOURCCS)
            compare(f"V4L2_PIX_FMT_{constant}", int.from_bytes(name.encode(), "little"))
        # What colours mean that a driver describes in part, by the header's own rules.
        for space, matrix, quantization, rgb in itertools.product(range(13), range(9), range(3), (0, 1)):
            driver = Driver(formats=("RGB3" if rgb else "YUYV",), stride=192, colorspace=space, ycbcr_enc=matrix,
                            quantization=quantization)
            camera = program.Camera(driver, (64, 48), None)
            compare(f"({quantization} ? {quantization} : V4L2_MAP_QUANTIZATION_DEFAULT({rgb}, {space}, {matrix}))"
                    " == V4L2_QUANTIZATION_FULL_RANGE", camera.range == "full")
            # Of those that the encoder does not have, the two newer ones and SMPTE 240M are nearest to BT.709.
            compare(f"is709({matrix} ? {matrix} : V4L2_MAP_YCBCR_ENC_DEFAULT({space}))", camera.matrix == "709")
        source = scratch / "records.c"
        source.write_text("""#include <linux/videodev2.h>
#include <stddef.h>
#include <stdio.h>
static int is709(int matrix) {
    return matrix == V4L2_YCBCR_ENC_709 || matrix == V4L2_YCBCR_ENC_XV709 || matrix == V4L2_YCBCR_ENC_BT2020 ||
           matrix == V4L2_YCBCR_ENC_BT2020_CONST_LUM || matrix == V4L2_YCBCR_ENC_SMPTE240M;
}
int main(void) {
""" + "\n".join(dict.fromkeys(lines)) + "\n}\n")
        subprocess.run(["cc", "-o", scratch / "records", source], check=True)
        output = subprocess.run([scratch / "records"], check=True, capture_output=True, text=True).stdout
        told = {name: int(value) for name, _, value in (line.rpartition(" ") for line in output.splitlines())}
        self.assertEqual({name: told.get(name) for name, value in expected.items() if told.get(name) != value}, {})


class Browser(unittest.TestCase):
    """chromium, without a screen."""

    # The picture as the page has it now: a few numbers that change where it does.
    LOOK = """const canvas = document.createElement('canvas'), image = document.getElementById('picture');
        canvas.width = canvas.height = 16;
        const context = canvas.getContext('2d');
        context.drawImage(image, 0, 0, 16, 16);
        return [image.naturalWidth, image.naturalHeight, ...context.getImageData(0, 0, 16, 16).data];"""
    MOVE = """const slider = document.getElementById(arguments[0]);
        slider.value = arguments[1];
        slider.dispatchEvent(new Event('input', {bubbles: true}));"""

    @classmethod
    def setUpClass(cls):
        try:
            from selenium import webdriver
            from selenium.common.exceptions import WebDriverException
        except ImportError:
            raise unittest.SkipTest("no selenium here: no browser has looked at the page") from None
        options = webdriver.ChromeOptions()
        for flag in ("headless", "no-sandbox", "disable-gpu", "disable-quic", "disable-dev-shm-usage", "no-first-run",
                     "disable-background-networking", "disable-component-update", "disable-sync",
                     "window-size=1000,700", f"user-data-dir={scratch}/chromium"):
            options.add_argument(f"--{flag}")
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        try:
            cls.browser = webdriver.Chrome(options=options)
        except WebDriverException as error:
            raise unittest.SkipTest(f"chromium does not start, no browser has looked at the page: {error}") from None
        cls.addClassCleanup(cls.browser.quit)
        cls.browser.set_page_load_timeout(20)

    def until(self, wanted, what):
        for _ in range(100):
            if found := wanted():
                return found
            time.sleep(0.1)
        self.fail(f"not in 10 s: {what}")

    def text(self, name):
        return self.browser.find_element("id", name).text

    def figure(self, name):
        return float(text) if (text := self.text(name)) != "\N{EN DASH}" else None

    def kilobytes(self):
        return self.figure("bytes")

    def move(self, slider, value):
        self.browser.execute_script(self.MOVE, slider, value)

    def test_the_page(self):
        with Page() as page:
            self.browser.get(page.url)
            first = self.until(lambda: (seen := self.browser.execute_script(self.LOOK))[0] and seen, "a picture")
            self.assertEqual(first[:2], [640, 480])
            self.assertGreater(max(first[2:]) - min(first[2:]), 100)
            self.until(lambda: self.browser.execute_script(self.LOOK) != first, "another picture")
            self.until(lambda: (self.figure("fps") or 0) > 2, "frames per second")
            self.assertEqual(self.text("source"), "test picture, 640 \N{MULTIPLICATION SIGN} 480, i420")
            self.assertGreater(self.figure("ms"), 0)

            usual = self.until(self.kilobytes, "bytes per frame")
            if SCREENSHOT:
                self.browser.save_screenshot(SCREENSHOT)
            self.move("quality", 20)
            self.until(lambda: (now := self.kilobytes()) and now < usual / 2, "smaller frames")
            self.assertEqual((page.state()["quality"], self.text("qualityText")), (20, "20"))
            self.move("quality", 100)
            self.move("limit", 20)
            self.until(lambda: page.state()["max_bytes"] == 20000, "the limit")
            kept = self.until(lambda: (now := self.kilobytes()) and now < 20 and now, "frames within the limit")
            self.assertGreater(kept, 15)
            self.assertLess(int(self.text("used")), 100)
            self.assertEqual(self.text("limitText"), "20.0 KB")
            self.move("limit", 60)
            self.until(lambda: (now := self.kilobytes()) and now > usual, "frames without a limit")
            self.assertEqual(self.text("limitText"), "none")

            # What others set is shown here, each slider says what it is for, and the still is a download.
            page.post({"quality": 33})
            self.until(lambda: self.text("qualityText") == "33", "what somebody else has set")
            sliders = self.browser.find_elements("css selector", "input")
            self.assertEqual([slider.accessible_name.split()[0] for slider in sliders], ["Quality", "Size"])
            still = self.browser.find_element("link text", "Save a still")
            self.assertEqual(still.get_attribute("href"), page.url + "still.jpg")
            complaints = [entry["message"] for entry in self.browser.get_log("browser")]
            self.assertEqual([one for one in complaints if page.url in one], [])

            # A page that nobody sees asks for no frames.
            shown = self.browser.current_window_handle
            self.browser.switch_to.new_window("tab")
            page.until(lambda state: state["viewers"] == 0)
            self.browser.close()
            self.browser.switch_to.window(shown)
            page.until(lambda state: state["viewers"] == 1)
            self.browser.get("about:blank")
            page.until(lambda state: state["viewers"] == 0)

    def test_a_source_that_fails(self):
        path = scratch / "lost.y4m"
        os.mkfifo(path)
        process = start(path)
        self.addCleanup(process.communicate)
        with open(path, "wb") as pipe:
            pipe.write(b"YUV4MPEG2 W64 H48 C420\n")  # and no frame: the page is there all the same
            pipe.flush()
            self.browser.get(process.stdout.readline().split()[-1])
            self.until(lambda: self.text("source").startswith("lost.y4m"), "the page")
        self.until(lambda: self.text("note") == "lost.y4m: has no frame", "why there is no picture")
        self.assertEqual(process.wait(10), 1)
        self.until(lambda: self.figure("viewers") is None, "figures that are none")


if __name__ == "__main__":
    unittest.main(verbosity=2)
