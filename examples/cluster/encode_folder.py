#!/usr/bin/python3
"""Encodes a folder of pictures as JPEG with Dask: on this machine's cores, or on many machines that see the
same folders.

    encode_folder.py frames/ jpegs/                          # a worker for each core of this machine
    encode_folder.py frames/ jpegs/ --scheduler tcp://head:8786
    encode_folder.py frames/ jpegs/ --match '*.nv12' -- --raw nv12 --size 640x480 -q 90

What follows -- goes to the command velajpeg as it is, which every worker runs on some hundred files at a time.
Files appear when they are whole, and files that are there already stay as they are; so a run that was
interrupted, or whose machines failed, is simply started again. Exit code: 0 all files are there, 1 some could
not be encoded, or the run could not be done; 2 wrong usage.
"""

import argparse
import json
import pathlib
import subprocess
import sys

from distributed import Client, LocalCluster, as_completed
from tqdm import tqdm


def encode_chunk(command, inputs, folder):
    """Runs on a worker: encodes the files and gives (input, bytes or None if kept, error or None) for each."""
    run = subprocess.run(
        [*command, "--out-dir", folder, "--no-clobber", "--json", "--", *inputs],
        stdin=subprocess.DEVNULL, capture_output=True, check=False)
    words = run.stderr.decode(errors="replace").strip()
    if run.returncode == 2:
        raise ValueError(words)
    if run.returncode not in (0, 1):
        raise RuntimeError(f"velajpeg ended with {run.returncode} {words}".strip())
    told = {facts["input"]: facts for facts in map(json.loads, run.stdout.splitlines())}
    return [(name, told.get(name, {}).get("bytes"), told.get(name, {}).get("error")) for name in inputs]


def results_of(client, command, chunks, folder, attempts):
    """Yields what encode_chunk gives for each file, in the order in which chunks end.

    A chunk that fails as a whole is halved until the file is alone that takes its workers down.
    """
    def submit(chunk):
        future = client.submit(encode_chunk, command, chunk, folder, pure=False, retries=attempts)
        future.chunk = chunk
        return future

    running = as_completed([submit(chunk) for chunk in chunks])
    for future in running:
        chunk, failure = future.chunk, future.exception()
        if failure is None:
            yield from future.result()
        elif isinstance(failure, (ValueError, OSError)):  # wrong options, no such command: no file would do
            sys.exit(f"encode_folder.py: {failure}")
        elif len(chunk) > 1:
            half = len(chunk) // 2
            running.update([submit(chunk[:half]), submit(chunk[half:])])
        else:
            yield chunk[0], None, str(failure) or type(failure).__name__


def inputs_of(options):
    """The files to encode, sorted; refuses two that would become one."""
    inputs = sorted(path for path in options.inputs.glob(options.match) if path.is_file())
    if not inputs:
        sys.exit(f"encode_folder.py: no {options.match} in {options.inputs}")
    by_stem = {}
    for path in inputs:
        other = by_stem.setdefault(path.stem, path)
        if other is not path:
            sys.exit(f"encode_folder.py: {other} and {path} would both become {path.stem}.jpg")
    return [str(path.absolute()) for path in inputs]


def parse_arguments():
    own, passed_on = sys.argv[1:], []
    if "--" in own:
        cut = own.index("--")
        own, passed_on = own[:cut], own[cut + 1:]
    parser = argparse.ArgumentParser(
        description="Encodes a folder of pictures as JPEG with Dask.",
        epilog="What follows -- goes to the command velajpeg: -q 90, --raw nv12 --size 640x480 and so on.")
    parser.add_argument("inputs", type=pathlib.Path, help="folder of pictures or raw frames")
    parser.add_argument("outputs", type=pathlib.Path, help="folder for NAME.jpg, made if it is missing")
    parser.add_argument("--match", default="*.png", help="which files of the folder [*.png]")
    parser.add_argument("--scheduler", help="address of a Dask scheduler; without it this machine's cores work")
    parser.add_argument("--workers", type=int, help="without --scheduler: worker processes [one for each core]")
    parser.add_argument("--chunk", type=int, default=200, help="files per task [200]")
    parser.add_argument("--attempts", type=int, default=3, help="how often a task is tried again [3]")
    parser.add_argument("--velajpeg", default="velajpeg", help="the command, as the workers find it")
    parser.add_argument("--report", type=argparse.FileType("w"), help="file for a JSON line per picture")
    options = parser.parse_args(own)
    if options.chunk < 1 or options.attempts < 0:
        parser.error("--chunk is at least 1, --attempts at least 0")
    options.command = [options.velajpeg, *passed_on]
    return options


def main():
    options = parse_arguments()
    inputs = inputs_of(options)
    options.outputs.mkdir(parents=True, exist_ok=True)
    chunks = [inputs[at:at + options.chunk] for at in range(0, len(inputs), options.chunk)]
    cluster = options.scheduler or LocalCluster(
        n_workers=options.workers, threads_per_worker=1, dashboard_address=None)
    encoded = kept = failed = 0
    with Client(cluster) as client, tqdm(total=len(inputs), unit="file", disable=None) as progress:
        results = results_of(client, options.command, chunks, str(options.outputs.absolute()), options.attempts)
        for name, size, error in results:
            progress.update()
            encoded, kept, failed = encoded + bool(size), kept + (not size and not error), failed + bool(error)
            if error:
                progress.write(f"{name}: {error}", file=sys.stderr)
            if options.report:
                print(json.dumps({"input": name, "bytes": size, "error": error}), file=options.report)
    print(f"{encoded} encoded, {kept} were there, {failed} failed")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
