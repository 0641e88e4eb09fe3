"""JPEG encoding of arrays and camera frames.

    >>> import velajpeg
    >>> open("photo.jpg", "wb").write(velajpeg.encode(array, quality=90))
    >>> velajpeg.encode_frame(frame, format="nv12", size=(1920, 1080), range="limited", matrix="709")

encode takes arrays (numpy, PIL, anything with the buffer protocol), encode_frame what a camera gives, Encoder
keeps memory for a stream of pictures, encode_many uses all cores.
"""

from velajpeg._velajpeg import __version__
from velajpeg.encoder import Encoder, encode, encode_frame
from velajpeg.errors import ArgumentError, Error
from velajpeg.many import encode_many

__all__ = ["ArgumentError", "Encoder", "Error", "__version__", "encode", "encode_frame", "encode_many"]
