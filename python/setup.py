"""Builds the extension with CMake, from the library's own sources: those around this folder, or the copy of them
that a source distribution carries. CMake 3.25, a C++20 compiler and pybind11 (Debian's pybind11-dev, or the one in
this Python's environment) have to be there."""

import importlib.util
import pathlib
import re
import shutil
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext
from setuptools.command.sdist import sdist

HERE = pathlib.Path(__file__).resolve().parent
CARRIED = HERE / "library"
LIBRARY = CARRIED if CARRIED.exists() else HERE.parent

# What the extension is built of, beside this folder.
SOURCES = ["CMakeLists.txt", "LICENSE", "baseline", "cmake", "cpu", "easy", "encoder", "include", "pixel",
           "progressive", "state", "stream", "tables"]


def version():
    return re.search(r"project\(velajpeg VERSION (\S+)", (LIBRARY / "CMakeLists.txt").read_text()).group(1)


class CMakeBuild(build_ext):
    def build_extension(self, ext):
        build = pathlib.Path(self.build_temp).resolve()
        target = pathlib.Path(self.get_ext_fullpath(ext.name)).resolve().parent
        options = ["-DCMAKE_BUILD_TYPE=Release", "-DBUILD_SHARED_LIBS=OFF", "-DVELA_BUILD_PYTHON=ON",
                   "-DVELA_BUILD_COMMAND=OFF", "-DVELA_BUILD_TESTS=OFF", "-DVELA_BUILD_EXAMPLES=OFF",
                   "-DVELA_BUILD_GSTREAMER=OFF", "-DVELA_PYTHON_DIR=package", f"-DPython_EXECUTABLE={sys.executable}"]
        if importlib.util.find_spec("pybind11"):
            import pybind11
            options.append(f"-Dpybind11_DIR={pybind11.get_cmake_dir()}")
        if shutil.which("ninja"):
            options.append("-GNinja")
        subprocess.run(["cmake", "-S", LIBRARY, "-B", build, *options], check=True)
        subprocess.run(["cmake", "--build", build, "--target", "velajpeg_python", "--parallel"], check=True)
        subprocess.run(["cmake", "--install", build, "--strip", "--component", "python", "--prefix", build],
                       check=True)
        target.mkdir(parents=True, exist_ok=True)
        shutil.copy(build / "package" / "velajpeg" / pathlib.Path(self.get_ext_fullpath(ext.name)).name, target)


class SelfContained(sdist):
    """Carries the library's sources, so that the distribution builds alone."""

    def make_release_tree(self, base_dir, files):
        super().make_release_tree(base_dir, files)
        carried = pathlib.Path(base_dir, CARRIED.name)
        for name in SOURCES:
            source = LIBRARY / name
            if source.is_dir():
                shutil.copytree(source, carried / name, dirs_exist_ok=True)
            else:
                carried.mkdir(exist_ok=True)
                shutil.copy(source, carried / name)
        # CMake finds the extension where it always is.
        for path in ["CMakeLists.txt", "find.cmake", "src", "velajpeg", "velajpeg.map"]:
            source, to = HERE / path, carried / "python" / path
            if source.is_dir():
                shutil.copytree(source, to, dirs_exist_ok=True, ignore=shutil.ignore_patterns("__pycache__"))
            else:
                to.parent.mkdir(exist_ok=True)
                shutil.copy(source, to)


setup(version=version(), ext_modules=[Extension("velajpeg._velajpeg", sources=[])],
      cmdclass={"build_ext": CMakeBuild, "sdist": SelfContained})
