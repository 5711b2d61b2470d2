# SPDX-License-Identifier: MIT
"""The volmtime Python module as a wheel: the module, its type stubs and its own copy of the
VolmTime library, all built with CMake from this source tree.

    pip install --no-build-isolation .

The build needs what Debian packages: cmake, ninja-build, g++, libboost-dev, pybind11-dev,
python3-dev, python3-setuptools and python3-wheel (scripts/setup.sh installs them).
With VOLMTIME_WHEEL_BUILD_DIR set, the CMake build is kept in its folder "cmake", so that
the next pip run compiles only what changed, and setuptools' folders in "setuptools" (which
the caller empties between runs: what is there goes into the wheel).
"""

import os
import pathlib
import re
import shutil
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = pathlib.Path(__file__).resolve().parent
VERSION = re.search(r"project\(VolmTime VERSION ([0-9.]+)",
                    (ROOT / "CMakeLists.txt").read_text()).group(1)
SONAME = "libVolmTime.so." + VERSION.split(".")[0]
KEPT_BUILD = os.environ.get("VOLMTIME_WHEEL_BUILD_DIR")
SETUPTOOLS_BUILD = os.path.join(KEPT_BUILD, "setuptools") if KEPT_BUILD else None


class CMakeBuild(build_ext):
    """Builds the library and the module with the project's CMake files, nothing else."""

    def build_extension(self, ext):
        build = (pathlib.Path(KEPT_BUILD) if KEPT_BUILD
                 else pathlib.Path(self.build_temp).resolve()) / "cmake"
        configure = [
            "cmake", "-S", str(ROOT), "-B", str(build), "-G", "Ninja",
            "-DCMAKE_BUILD_TYPE=Release",
            "-DPython3_EXECUTABLE=" + sys.executable,
            "-DVOLMTIME_BUILD_PYTHON=ON", "-DVOLMTIME_PYTHON_WHEEL=ON",
            "-DVOLMTIME_BUILD_TESTS=OFF", "-DVOLMTIME_BUILD_TOOLS=OFF",
            "-DVOLMTIME_BUILD_BENCHMARKS=OFF", "-DVOLMTIME_BUILD_EXAMPLES=OFF",
            "-DVOLMTIME_INSTALL=OFF",
        ]
        subprocess.run(configure, check=True)
        jobs = os.environ.get("CMAKE_BUILD_PARALLEL_LEVEL", str(os.cpu_count() or 1))
        subprocess.run(["cmake", "--build", str(build), "-j", jobs, "--target", "volmtime_python"],
                       check=True)

        module = pathlib.Path(self.get_ext_fullpath(ext.name))
        module.parent.mkdir(parents=True, exist_ok=True)
        shutil.copyfile(build / "python" / module.name, module)
        shutil.copyfile(ROOT / "python" / "volmtime.pyi", module.parent / "volmtime.pyi")
        # The module looks for its own copy of the library in volmtime.libs beside it.
        libs = module.parent / "volmtime.libs"
        libs.mkdir(exist_ok=True)
        shutil.copyfile(build / "bin" / SONAME, libs / SONAME)


setup(
    name="volmtime",
    version=VERSION,
    description="VolmTime's time base: clocks, shared correction functions and timers",
    license="MIT",
    python_requires=">=3.9",
    ext_modules=[Extension("volmtime", sources=[])],
    cmdclass={"build_ext": CMakeBuild},
    options={"build": {"build_base": SETUPTOOLS_BUILD}, "egg_info": {"egg_base": SETUPTOOLS_BUILD}}
    if KEPT_BUILD else {},
    zip_safe=False,
)
