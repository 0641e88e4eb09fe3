"""The calls of the package. Options mean the same everywhere; encode explains them."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, Optional, Protocol, Sequence, Union, overload

from velajpeg import _velajpeg

if TYPE_CHECKING:
    from _typeshed import ReadableBuffer, WriteableBuffer

    class HasArrayInterface(Protocol):
        @property
        def __array_interface__(self) -> dict[str, Any]: ...

    Array = Union[ReadableBuffer, HasArrayInterface]

    class Writer(Protocol):
        def write(self, data: bytes, /) -> Any: ...

    class HasMemory(Protocol):
        """numpy's arrays, to type checkers that do not know them as buffers."""

        @property
        def data(self) -> memoryview: ...

    Into = Union[WriteableBuffer, HasMemory, Writer]
    Density = Union[float, tuple[float, float], tuple[float, float, str]]


class Encoder:
    """Keeps memory and options from picture to picture.

    The options are those of ``encode``, as are their defaults; each call may give others for itself alone.
    Any thread may use it, and other threads run while it encodes; pictures that come at the same time are
    encoded one after another, so for more at once give each thread an encoder of its own. A process that is
    forked may go on with it.
    """

    def __init__(
        self,
        *,
        quality: int = 75,
        subsampling: Optional[str] = None,
        progressive: bool = False,
        restart_rows: int = 0,
        threads: int = 1,
        max_bytes: Optional[int] = None,
        exif: Optional[ReadableBuffer] = None,
        icc: Optional[ReadableBuffer] = None,
        comment: Optional[str] = None,
        density: Optional[Density] = None,
        orientation: Optional[int] = None,
    ) -> None:
        self._options: dict[str, Any] = {
            "quality": quality,
            "subsampling": subsampling,
            "progressive": progressive,
            "restart_rows": restart_rows,
            "threads": threads,
            "max_bytes": max_bytes,
            "exif": exif,
            "icc": icc,
            "comment": comment,
            "density": density,
            "orientation": orientation,
        }
        self._encoder = _velajpeg.Encoder()

    @overload
    def encode(self, array: Array, *, order: str = ..., into: None = ..., **options: Any) -> bytes: ...
    @overload
    def encode(self, array: Array, *, order: str = ..., into: Into, **options: Any) -> int: ...
    def encode(
        self, array: Array, *, order: str = "rgb", into: Optional[Into] = None, **options: Any
    ) -> Union[bytes, int]:
        """Encodes an array of pixels, as ``velajpeg.encode`` does."""
        return self._encoder.encode(array, order, into, self._merged(options))

    @overload
    def encode_frame(
        self, planes: Union[Array, Sequence[Array]], format: str = ..., size: tuple[int, int] = ...,
        strides: Union[None, int, Sequence[int]] = ..., range: str = ..., matrix: Union[str, int] = ..., *,
        into: None = ..., **options: Any,
    ) -> bytes: ...
    @overload
    def encode_frame(
        self, planes: Union[Array, Sequence[Array]], format: str = ..., size: tuple[int, int] = ...,
        strides: Union[None, int, Sequence[int]] = ..., range: str = ..., matrix: Union[str, int] = ..., *,
        into: Into, **options: Any,
    ) -> int: ...
    def encode_frame(
        self,
        planes: Union[Array, Sequence[Array]],
        format: str = "nv12",
        size: Optional[tuple[int, int]] = None,
        strides: Union[None, int, Sequence[int]] = None,
        range: str = "full",
        matrix: Union[str, int] = "601",
        *,
        into: Optional[Into] = None,
        **options: Any,
    ) -> Union[bytes, int]:
        """Encodes a frame of a camera or of video, as ``velajpeg.encode_frame`` does."""
        return self._encoder.encode_frame(
            planes, format, size, strides, range, matrix, into, self._merged(options))

    @property
    def quality_used(self) -> Optional[int]:
        """Quality of the last picture, below the one given only where ``max_bytes`` asked for it.

        None before the first picture and after a failure.
        """
        return self._encoder.quality_used

    def _merged(self, options: dict[str, Any]) -> dict[str, Any]:
        return {**self._options, **options} if options else self._options


@overload
def encode(
    array: Array, *, quality: int = ..., subsampling: Optional[str] = ..., order: str = ...,
    progressive: bool = ..., restart_rows: int = ..., threads: int = ..., max_bytes: Optional[int] = ...,
    exif: Optional[ReadableBuffer] = ..., icc: Optional[ReadableBuffer] = ..., comment: Optional[str] = ...,
    density: Optional[Density] = ..., orientation: Optional[int] = ..., into: None = ...,
) -> bytes: ...
@overload
def encode(
    array: Array, *, quality: int = ..., subsampling: Optional[str] = ..., order: str = ...,
    progressive: bool = ..., restart_rows: int = ..., threads: int = ..., max_bytes: Optional[int] = ...,
    exif: Optional[ReadableBuffer] = ..., icc: Optional[ReadableBuffer] = ..., comment: Optional[str] = ...,
    density: Optional[Density] = ..., orientation: Optional[int] = ..., into: Into,
) -> int: ...
def encode(
    array: Array,
    *,
    quality: int = 75,
    subsampling: Optional[str] = None,
    order: str = "rgb",
    progressive: bool = False,
    restart_rows: int = 0,
    threads: int = 1,
    max_bytes: Optional[int] = None,
    exif: Optional[ReadableBuffer] = None,
    icc: Optional[ReadableBuffer] = None,
    comment: Optional[str] = None,
    density: Optional[Density] = None,
    orientation: Optional[int] = None,
    into: Optional[Into] = None,
) -> Union[bytes, int]:
    """Encodes an array of pixels as JPEG.

    array: uint8 samples of shape (h, w) or (h, w, 1) for gray, (h, w, 3) or (h, w, 4) for colour, 1 to 65535
        rows and columns; anything with the buffer protocol (numpy, memoryview) or ``__array_interface__``
        (PIL, of gray and RGB modes). Strides are free: crops, flipped rows and BGR views of RGB are read where
        they are; columns that are flipped or left out are brought together some rows at a time. It must not
        change meanwhile.
    quality: 0 (smallest file) to 100.
    subsampling: of chroma, '444', '422' or '420' (None).
    order: of the samples of a pixel: rgb, bgr (of four the last is left out), rgba, bgra, argb, abgr, or with
        x for a; alpha is left out.
    progressive: smaller and slower than baseline.
    restart_rows: MCU rows (8 or 16 pixel rows) for each restart interval; 0 for no restart markers but those
        that threads need, which are one for each MCU row.
    threads: that encode, 0 for as many as the machine has; for baseline, and pictures of some megapixels.
    max_bytes: the best quality, up to the one given, whose stream is not longer.
    exif: a TIFF structure, with or without "Exif" and two null bytes before it.
    icc: a colour profile.
    comment: text.
    density: dots per inch, or (x, y) of them, or (x, y, 'inch', 'cm' or 'aspect').
    orientation: 1 to 8 as Exif counts, not beside exif.
    into: a writable buffer, or an object with a method ``write``, which is called while encoding goes on and
        gives None or, where it takes less, the number of bytes that it took.

    Returns the stream, or with ``into`` the number of its bytes. Raises TypeError and ValueError, which name
    the argument; Error with the encoder's words and status; and what ``write`` raises. After a failure
    ``into`` has a part of the stream, or nothing.
    """
    return _velajpeg.Encoder().encode(array, order, into, {
        "quality": quality, "subsampling": subsampling, "progressive": progressive,
        "restart_rows": restart_rows, "threads": threads, "max_bytes": max_bytes, "exif": exif, "icc": icc,
        "comment": comment, "density": density, "orientation": orientation})


@overload
def encode_frame(
    planes: Union[Array, Sequence[Array]], format: str = ..., size: tuple[int, int] = ...,
    strides: Union[None, int, Sequence[int]] = ..., range: str = ..., matrix: Union[str, int] = ..., *,
    into: None = ..., **options: Any,
) -> bytes: ...
@overload
def encode_frame(
    planes: Union[Array, Sequence[Array]], format: str = ..., size: tuple[int, int] = ...,
    strides: Union[None, int, Sequence[int]] = ..., range: str = ..., matrix: Union[str, int] = ..., *,
    into: Into, **options: Any,
) -> int: ...
def encode_frame(
    planes: Union[Array, Sequence[Array]],
    format: str = "nv12",
    size: Optional[tuple[int, int]] = None,
    strides: Union[None, int, Sequence[int]] = None,
    range: str = "full",
    matrix: Union[str, int] = "601",
    *,
    into: Optional[Into] = None,
    **options: Any,
) -> Union[bytes, int]:
    """Encodes a frame as a camera or video gives it.

    planes: uint8 samples. One buffer with all planes one after another: flat, or two-dimensional with the rows
        of all of them, such as (h * 3 / 2, stride) of YUV 4:2:0, where the rows of halved planes lie two in
        one. Or a list with a buffer for each plane: flat, or (rows, bytes, ..) with rows as far apart as the
        array says.
    format: gray8, rgb24, bgr24, rgbx32, bgrx32, xrgb32, xbgr32, rgb565, rgb555, i420, yv12, i422, i444, nv12,
        nv21, nv16, nv61, yuyv, yvyu, uyvy, vyuy, or a usual other name of them. Chroma that is halved has
        (size + 1) // 2 columns or rows.
    size: (width, height) of the picture in pixels.
    strides: of flat buffers, bytes from row to row: one for each plane, or the first plane's, from which the
        others follow; None for rows without gaps.
    range: 'full' (0 to 255) or 'limited' (16 to 235; video and HDMI), which becomes full.
    matrix: '601' or '709' (high definition), which becomes 601.

    Options and what is returned and raised are those of ``encode``.
    """
    return _velajpeg.Encoder().encode_frame(planes, format, size, strides, range, matrix, into, options)
