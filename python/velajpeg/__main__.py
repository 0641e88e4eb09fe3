"""python -m velajpeg --version. To encode files there is the command velajpeg."""

import argparse

from velajpeg import __version__

parser = argparse.ArgumentParser(
    prog="python -m velajpeg", description="JPEG encoding for Python: import velajpeg, help(velajpeg).")
parser.add_argument("--version", action="version", version=f"velajpeg {__version__}")
parser.parse_args()
parser.print_help()
