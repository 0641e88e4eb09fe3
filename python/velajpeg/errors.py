"""What velajpeg raises beside TypeError and ValueError."""


class Error(Exception):
    """A picture could not be encoded.

    ``status`` is the number that vela/easy.h and vela/jpegenc.h give it: -20 the stream could not be written
    (``into`` is too short), -22 no quality gives a stream of at most ``max_bytes``, -5 and -10 a refused
    argument (then it is an ArgumentError), -4 no memory.
    """

    def __init__(self, text: str, status: int) -> None:
        super().__init__(text)
        self.status = status

    def __reduce__(self) -> tuple[type["Error"], tuple[str, int]]:
        return type(self), (str(self), self.status)


class ArgumentError(Error, ValueError):
    """An argument has the right type, but not a value that the encoder takes."""
