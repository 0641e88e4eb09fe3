"""Many pictures on several threads."""

from __future__ import annotations

import collections
import concurrent.futures
import os
import threading
from typing import TYPE_CHECKING, Any, Iterable, Iterator

from velajpeg.encoder import Encoder

if TYPE_CHECKING:
    from velajpeg.encoder import Array


def encode_many(pictures: Iterable[Array], workers: int = 0, **options: Any) -> Iterator[bytes]:
    """Yields the JPEG stream of each picture, in their order, while the next ones are being encoded.

    pictures: arrays as ``encode`` takes them; with ``size`` (and ``format``) among the options frames as
        ``encode_frame`` takes them. It is asked for at most two pictures for each worker ahead of what has
        been yielded.
    workers: threads, 0 for as many as the machine has.

    What ``pictures`` or the encoding of one raises comes in that picture's place, and ends the generator. A
    generator that is closed waits for the pictures under way, and leaves no thread.
    """
    if not hasattr(workers, "__index__"):
        raise TypeError(f"workers must be a whole number, not {type(workers).__name__}")
    if "into" in options:
        raise TypeError("into is for one picture; encode_many yields bytes")
    if workers < 0:
        raise ValueError(f"workers is {workers}, not 0 or more")
    return _encoded(pictures, workers or os.cpu_count() or 1, options)


def _encoded(pictures: Iterable[Array], workers: int, options: dict[str, Any]) -> Iterator[bytes]:
    own = threading.local()
    are_frames = "format" in options or "size" in options

    def encode(picture: Any) -> bytes:
        if not hasattr(own, "encoder"):
            own.encoder = Encoder()
        call = own.encoder.encode_frame if are_frames else own.encoder.encode
        result: bytes = call(picture, **options)
        return result

    under_way: collections.deque[concurrent.futures.Future[bytes]] = collections.deque()
    source = iter(pictures)
    ended = False
    pool = concurrent.futures.ThreadPoolExecutor(workers, thread_name_prefix="velajpeg")
    try:
        while under_way or not ended:
            while not ended and len(under_way) < 2 * workers:
                try:
                    under_way.append(pool.submit(encode, next(source)))
                except StopIteration:
                    ended = True
                except BaseException as error:  # belongs after the pictures before it
                    ended = True
                    failed: concurrent.futures.Future[bytes] = concurrent.futures.Future()
                    failed.set_exception(error)
                    under_way.append(failed)
            if under_way:
                yield under_way.popleft().result()
    finally:
        pool.shutdown(cancel_futures=True)
