import io

import pytest

numpy = pytest.importorskip("numpy")
Image = pytest.importorskip("PIL.Image")


@pytest.fixture(scope="session")
def photo():
    """Colours that are smooth enough to come back nearly as they were, (99, 150, 3)."""
    y, x = numpy.mgrid[0:99, 0:150]
    return numpy.stack(
        [128 + 100 * numpy.sin(x / 25), 128 + 100 * numpy.cos(y / 20), (x + y) % 256 * 0.6 + 40], axis=2
    ).astype(numpy.uint8)


def decoded(jpeg, mode=None):
    """The picture, by a decoder that others wrote."""
    image = Image.open(io.BytesIO(jpeg))
    image.load()
    return numpy.asarray(image if mode is None else image.convert(mode))


def distance(a, b):
    """Root of the mean square."""
    assert a.shape == b.shape
    return float(numpy.sqrt(((a.astype(float) - b.astype(float)) ** 2).mean()))
