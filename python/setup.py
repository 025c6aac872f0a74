"""The extension is built by CMake: Little CMS, pybind11, CMake and a C++20 compiler must be there."""

import os
import re
import subprocess
import sys
from pathlib import Path

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

HERE = Path(__file__).resolve().parent


class CMakeBuild(build_ext):
    def build_extension(self, ext):
        target = Path(self.get_ext_fullpath(ext.name)).resolve()
        build = Path(self.build_temp).resolve()
        build.mkdir(parents=True, exist_ok=True)
        options = [f"-DPython_EXECUTABLE={sys.executable}", *os.environ.get("CMAKE_ARGS", "").split()]
        subprocess.run(["cmake", "-S", HERE, "-B", build, *options], check=True)
        subprocess.run(["cmake", "--build", build, "--parallel", "--target", "zep3_python"], check=True)
        (built,) = (build / "zep3").glob("_core.*so")
        self.copy_file(str(built), str(target))


version = re.search(r"project\(zep3 VERSION ([0-9.]+)", (HERE.parent / "CMakeLists.txt").read_text()).group(1)
setup(version=version, ext_modules=[Extension("zep3._core", [])], cmdclass={"build_ext": CMakeBuild})
