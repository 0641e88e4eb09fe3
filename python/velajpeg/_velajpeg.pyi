from typing import Any, Union

__version__: str

class Encoder:
    def __init__(self) -> None: ...
    def encode(self, array: Any, order: str, into: Any, options: dict[str, Any]) -> Union[bytes, int]: ...
    def encode_frame(
        self,
        planes: Any,
        format: str,
        size: Any,
        strides: Any,
        range: Any,
        matrix: Any,
        into: Any,
        options: dict[str, Any],
    ) -> Union[bytes, int]: ...
    @property
    def quality_used(self) -> Union[int, None]: ...
