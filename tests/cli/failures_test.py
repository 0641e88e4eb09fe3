"""Runs velajpeg with every call to the system and to memory failing, with signals before every call and at random
moments, and on a disk that is full. Whatever happens: a target is what it was, or whole and right; no temporary file
stays; the exit code is 0 or 1, and for 1 there are words on standard error.

Usage: failures_test.py VELAJPEG FAILING_CALLS.so [EXAMPLE_PICTURE]
With VELA_TEST_LONG set every allocation fails, not a sample, and all is done with three times as many signals.
"""

import concurrent.futures
import contextlib
import errno
import os
import pathlib
import random
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import zlib

TOOL, SHIM, *REST = [os.path.realpath(path) for path in sys.argv[1:]]
LONG = bool(os.environ.get("VELA_TEST_LONG"))
OLD = b"what was there before"

# What each call fails with; + is for good, "short" reads or writes one byte.
FAULTS = {
    "open": [errno.EIO, errno.EINTR, errno.EMFILE, errno.ENOSPC],
    "read": [errno.EIO, errno.EINTR, "short", f"{errno.EIO}+", "short+"],
    "write": [errno.ENOSPC, errno.EIO, errno.EINTR, "short", f"{errno.ENOSPC}+"],
    "close": [errno.EIO, errno.EINTR, errno.ENOSPC],
    "rename": [errno.EIO, errno.ENOSPC],
    "fsync": [errno.EIO, errno.EINTR, errno.ENOSPC],
    "fstat": [errno.EIO],
    "stat": [errno.EIO, errno.ENOMEM],
    "lstat": [errno.EIO],
    "access": [errno.EIO],
    "realpath": [errno.EIO, errno.ENOMEM],
    "dup": [errno.EMFILE],
    "fchmod": [errno.EIO],
    "fchown": [errno.EIO],
    "mkdir": [errno.ENOSPC],
    "opendir": [errno.EMFILE],
    "readdir": [errno.EIO],
    "pthread_create": [errno.EAGAIN],
}


def samples(width, height, seed):
    """RGB: a gradient with noise."""
    noise = random.Random(seed)
    return bytes(
        (3 * x + 2 * y * (c + 1) + noise.randrange(40)) & 255 for y in range(height) for x in range(width) for c in range(3)
    )


def png(width, height, seed):
    rgb = samples(width, height, seed)
    rows = b"".join(b"\0" + rgb[3 * width * y : 3 * width * (y + 1)] for y in range(height))

    def chunk(kind, data):
        body = kind + data
        return len(data).to_bytes(4, "big") + body + zlib.crc32(body).to_bytes(4, "big")

    header = width.to_bytes(4, "big") + height.to_bytes(4, "big") + bytes([8, 2, 0, 0, 0])
    return b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(rows, 1)) + chunk(b"IEND", b"")


def ppm(width, height, seed):
    return f"P6 {width} {height} 255\n".encode() + samples(width, height, seed)


def y4m(width, height, frames):
    """The last frame begins where the command has read its first 64 KiB."""
    header = f"YUV4MPEG2 W{width} H{height} C444 X".encode()
    stream = [b"FRAME\n" + samples(width, height, seed) for seed in range(frames)]
    return header.ljust(65536 - (frames - 1) * len(stream[0]) - 1, b"-") + b"\n" + b"".join(stream)


class Job:
    """A command line, the targets below out/ that it makes, and those that are there before."""

    def __init__(self, name, arguments, targets, old=(), stdin=None, untouched=(), program=None, link=None):
        self.name, self.arguments, self.targets, self.old, self.link = name, arguments, targets, old, link
        self.stdin, self.untouched, self.program = stdin, untouched, program
        self.expected = {}

    def prepare(self, folder):
        (folder / "out").mkdir()
        for name in [*self.old, *self.untouched]:
            (folder / "out" / name).parent.mkdir(exist_ok=True)
            (folder / "out" / name).write_bytes(OLD)
        if self.link:  # to the first target
            (folder / "out" / self.link).symlink_to(self.targets[0])

    def start(self, folder, environment=None):
        stdin = open(inputs / self.stdin, "rb") if self.stdin else subprocess.DEVNULL
        arguments = [a.replace("IN/", f"{inputs}/").replace("OUT/", f"{folder}/out/") for a in self.arguments]
        with contextlib.nullcontext() if stdin == subprocess.DEVNULL else stdin:
            return subprocess.Popen(
                [self.program or TOOL, *arguments],
                stdin=stdin,
                stdout=subprocess.PIPE,
                stderr=subprocess.PIPE,
                cwd=folder / "out",
                env={**os.environ, "LC_ALL": "C", **(environment or {})},
            )

    def outcome(self, process):
        try:
            out, err = process.communicate(timeout=60)
        except subprocess.TimeoutExpired:
            process.kill()
            process.communicate()
            raise AssertionError("does not end")
        return process.returncode, out, err.decode(errors="replace")

    def check(self, folder, code, out, err, ended_by=None):
        """What holds whatever has happened."""
        whole = 0
        found = {str(p.relative_to(folder / "out")) for p in (folder / "out").rglob("*") if not p.is_dir()}
        strays = found - set(self.targets) - set(self.untouched) - {self.link}
        assert not strays, f"left behind: {sorted(strays)}"
        for name in self.untouched:
            assert (folder / "out" / name).read_bytes() == OLD, f"{name} is written over"
        for name in self.targets:
            path = folder / "out" / name
            data = path.read_bytes() if path.exists() else None
            whole += data == self.expected[name]
            assert data == self.expected[name] or data == (OLD if name in self.old else None), f"{name} is damaged"
        assert not self.link or (folder / "out" / self.link).is_symlink(), "the link is replaced"
        if "stdout" in self.expected:
            whole += out == self.expected["stdout"]
            assert self.expected["stdout"].startswith(out), "standard output has other bytes"
        if code == 0:
            assert whole == len(self.expected), "exit code 0, but a target is missing"
            assert self.program or not err, f"exit code 0, but: {err}"
        elif ended_by is None or code != -ended_by:
            assert code == 1, f"exit code {code}: {err}"
            lines = err.splitlines()
            assert lines and err.endswith("\n"), "no word of the failure"
            for line in lines:
                assert re.match(r"velajpeg: .{9}|\d+ pictures? encoded, [1-9]|picture.*: .", line), f"unclear: {line}"
                assert "std::" not in line and "Success" not in line, f"unclear: {line}"
            assert len(lines) == 1 or len(self.expected) > 1, f"more than a line: {err}"


def run(job, environment=None, ended_by=None, folder=None):
    """One run in a folder of its own; whether the call that is to fail has come, and the count of calls."""
    with tempfile.TemporaryDirectory(dir=scratch) as name:
        folder = pathlib.Path(name)
        job.prepare(folder)
        marks = {"VELA_FAILED": f"{name}/failed", "VELA_COUNTED": f"{name}/counted", "LD_PRELOAD": SHIM}
        try:
            code, out, err = job.outcome(job.start(folder, {**marks, **environment}))
            job.check(folder, code, out, err, ended_by)
            call, _, fault = environment["VELA_FAIL"].split(":")
            number = int(fault.rstrip("+")) if fault[0].isdigit() and call not in ("any", "malloc") else 0
            assert number != errno.EINTR or code == 0, f"does not go on after an interruption: {err}"
            assert not number or code == 0 or os.strerror(number) in err, f"not the reason: {err}"
        except AssertionError as error:
            raise AssertionError(f"{job.name}, {environment}: {error}") from None
        counted = folder / "counted"
        return (folder / "failed").exists(), counted.stat().st_size if counted.exists() else 0


def make_expected(job):
    with tempfile.TemporaryDirectory(dir=scratch) as name:
        folder = pathlib.Path(name)
        job.prepare(folder)
        code, out, err = job.outcome(job.start(folder))
        assert code == 0, f"{job.name}: {err}"
        job.expected = {target: (folder / "out" / target).read_bytes() for target in job.targets}
        if out:
            job.expected["stdout"] = out
        assert all(data.startswith(b"\xff\xd8") and data.endswith(b"\xff\xd9") for data in job.expected.values())


def sweep(job, call, fault, ended_by=None):
    """Every n until the n-th call does not come any more; how many did."""
    n = 1
    while run(job, {"VELA_FAIL": f"{call}:{n}:{fault}"}, ended_by)[0]:
        if fault == "short+":  # all are short, from the first on
            return 1
        n += 1
        assert n < 2000, f"{job.name}: {call} is called without end"
    return n - 1


def sweep_memory(job, fault):
    total = run(job, {"VELA_FAIL": f"malloc:1000000000:{fault}"})[1]
    assert total > 3, "allocations are not counted"
    chosen = range(1, total + 1)
    if total > 70 and not LONG:
        chosen = random.Random(job.name).sample(chosen, 70)
    return sum(run(job, {"VELA_FAIL": f"malloc:{n}:{fault}"})[0] for n in chosen)


def random_signals(job, seed, runs):
    """Without the preloaded library, at the program's own speed."""
    chance = random.Random(seed)
    ended = 0
    for _ in range(runs):
        with tempfile.TemporaryDirectory(dir=scratch) as name:
            folder = pathlib.Path(name)
            job.prepare(folder)
            number = chance.choice([signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGPIPE])
            process = job.start(folder)
            time.sleep(chance.random() ** 2 * 0.03)
            process.send_signal(number)
            code, out, err = job.outcome(process)
            try:
                job.check(folder, code, out, err, number)
            except AssertionError as error:
                raise AssertionError(f"{job.name}, {number!r}: {error}") from None
            ended += code != 0
    return ended


def full_disk(jobs):
    """On disks of every small size, page by page."""
    disk = scratch / "disk"
    disk.mkdir()
    runs = failed = 0
    for pages in [*range(1, 16), *range(16, 80, 8)]:
        mounted = subprocess.run(
            ["mount", "-t", "tmpfs", "-o", f"size={4096 * pages}", "velajpeg", disk], capture_output=True, check=False
        )
        if mounted.returncode != 0:
            print("no file system can be mounted here: a full disk is not checked")
            return
        try:
            for job in jobs:
                folder = disk / job.name
                folder.mkdir()
                try:
                    job.prepare(folder)
                except OSError:  # no room for what is to be there before
                    shutil.rmtree(folder)
                    continue
                try:
                    code, out, err = job.outcome(job.start(folder))
                    job.check(folder, code, out, err)
                    assert code == 0 or "No space left" in err, err
                except AssertionError as error:
                    raise AssertionError(f"{job.name} on {pages} pages: {error}") from None
                runs, failed = runs + 1, failed + code
                shutil.rmtree(folder)
        finally:
            subprocess.run(["umount", disk], check=True)
    print(f"full disks: {runs} runs, {failed} failed as they must")
    assert failed > 10


def jobs():
    (inputs / "tree" / "below").mkdir(parents=True)
    (inputs / "a.png").write_bytes(png(190, 150, 1))
    (inputs / "b.ppm").write_bytes(ppm(61, 40, 2))
    (inputs / "c.y4m").write_bytes(y4m(100, 72, 4))
    (inputs / "d.nv12").write_bytes(samples(64, 48, 4)[: 64 * 48 * 3 // 2])
    (inputs / "e.exif").write_bytes(b"II*\0\10\0\0\0\0\0\0\0\0\0")
    for n, name in enumerate(["tree/one.ppm", "tree/two.png", "tree/below/three.ppm", "tree/kept.ppm"]):
        (inputs / name).write_bytes((png if name.endswith("png") else ppm)(40 + n, 30, n))
    many = ["one.jpg", "two.jpg", "below/three.jpg"]
    nv12 = ["--raw", "nv12", "--size", "64x48", "IN/d.nv12"]
    yield Job("png", ["-q", "100", "-s", "444", "IN/a.png", "-o", "OUT/x.jpg"], ["x.jpg"], ["x.jpg"])
    yield Job("link", ["IN/b.ppm", "-o", "OUT/link.jpg", "--exif", "IN/e.exif"], ["x.jpg"], ["x.jpg"], link="link.jpg")
    yield Job("raw", [*nv12, "--sync", "-o", "OUT/raw.jpg"], ["raw.jpg"])
    yield Job("sequence", ["IN/c.y4m", "-o", "OUT/f%d.jpg"], [f"f{n}.jpg" for n in range(1, 5)], ["f2.jpg"])
    yield Job("mjpeg", ["--mjpeg", "--sync", "IN/c.y4m", "-o", "OUT/all.mjpeg"], ["all.mjpeg"], ["all.mjpeg"])
    yield Job("pipe", ["-p", "-", "-o", "-"], [], stdin="b.ppm")
    yield Job("threads", ["--threads", "3", "-q", "95", "--target-size", "30k", "IN/a.png", "-o", "OUT/t.jpg"], ["t.jpg"])
    batch = ["IN/tree", "--recursive", "--no-clobber", "--out-dir", "OUT/", "-j", "2"]
    yield Job("batch", batch, many, untouched=["kept.jpg"])
    for job in REST:
        yield Job("easy layer", [], ["picture.jpg"], ["picture.jpg"], program=job)
        yield Job("easy layer, link", [], ["x.jpg"], ["x.jpg"], program=job, link="picture.jpg")


def main():
    everything = list(jobs())
    for job in everything:
        if job.program is None:
            job.arguments = ["--quiet", *job.arguments]
        make_expected(job)
    pool = concurrent.futures.ThreadPoolExecutor(os.cpu_count() or 2)
    tasks = {}
    for job in everything:
        for call, faults in FAULTS.items():
            for fault in faults:
                tasks[pool.submit(sweep, job, call, fault)] = call
        for fault in [errno.ENOMEM, f"{errno.ENOMEM}+"]:
            tasks[pool.submit(sweep_memory, job, fault)] = "malloc"
        if job.program is None:  # what the library is in does not end by itself
            for number in [signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGPIPE]:
                tasks[pool.submit(sweep, job, "any", int(number), number)] = "signal before a call"
            tasks[pool.submit(random_signals, job, job.name, 75 if LONG else 25)] = "signal at random"
    done, failures = {}, []
    for task, call in tasks.items():
        try:
            done[call] = done.get(call, 0) + task.result()
        except AssertionError as error:
            failures.append(str(error))
    print("failed:", ", ".join(f"{count} {call}" for call, count in done.items()))
    print("faults injected:", sum(done.values()))
    full_disk(everything)
    unreached = [call for call in FAULTS if not done.get(call)]
    if unreached:
        failures.append(f"never called: {unreached}")
    for failure in failures:
        print("FAIL", failure)
    print(f"{len(tasks) - len(failures)} sweeps passed, {len(failures)} failed")
    return 1 if failures else 0


with tempfile.TemporaryDirectory() as folder_name:
    scratch = pathlib.Path(folder_name)
    inputs = scratch / "in"
    inputs.mkdir()
    code = main()
sys.exit(code)
