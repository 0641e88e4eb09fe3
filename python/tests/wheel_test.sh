#!/bin/bash
# Usage: wheel_test.sh PYTHON
# Builds the source distribution and, of that, the wheel, which must be below 250 KB; installs it in a fresh environment
# without a network, and encodes there, where there is nothing else.
set -euo pipefail
python=$1
package=$(realpath "$(dirname "$0")/..")
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
fail() { echo "FAIL $*" && exit 1; }

"$python" -m build --no-isolation --outdir "$tmp" "$package" >"$tmp/log" 2>&1 || fail "$(tail -30 "$tmp/log")"
wheel=$(ls "$tmp"/*.whl)
size=$(stat -c %s "$wheel")
echo "${wheel##*/}: $size bytes"
((size < 250000)) || fail "the wheel is too large"
"$python" -m venv "$tmp/venv"
"$tmp/venv/bin/pip" install --quiet --no-index "$wheel"
cd "$tmp"
PYTHONPATH='' "$tmp/venv/bin/python" - <<'END'
import importlib.metadata
import importlib.util
import velajpeg
assert importlib.util.find_spec("numpy") is None
assert importlib.metadata.version("velajpeg") == velajpeg.__version__
jpeg = velajpeg.encode(memoryview(bytes(range(256)) * 3).cast("B", (16, 16, 3)), quality=90)
assert jpeg[:2] == b"\xff\xd8" and jpeg[-2:] == b"\xff\xd9" and len(jpeg) > 500
try:
    velajpeg.encode(b"x")
except ValueError as error:
    assert "shape (1,)" in str(error)
else:
    raise SystemExit("accepted")
END
