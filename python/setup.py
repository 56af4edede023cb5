"""Makes the wheel: CMake builds the libraries and the extension module, and installs them with the modules of Python.

Environment: SF_BUILD_DIR is a build folder with a package that is built already, which is then taken.
"""

import os
import re
import subprocess
import sys
from pathlib import Path

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = Path(__file__).resolve().parent.parent


def version():
    header = (ROOT / "PublicInterfaces" / "SFVersion.h").read_text()
    return ".".join(re.findall(r"^#define SF_VERSION_(?:MAJOR|MINOR|PATCH) (\d+)$", header, re.MULTILINE))


class BuildWithCMake(build_ext):
    def build_extension(self, extension):
        folder = os.environ.get("SF_BUILD_DIR") or self.build_with_cmake()
        package = Path(self.get_ext_fullpath(extension.name)).resolve().parent
        subprocess.run(
            ["cmake", "--install", folder, "--component", "wheel", "--prefix", str(package.parent), "--strip"], check=True
        )

    def build_with_cmake(self):
        folder = Path(self.build_temp).resolve() / "cmake"
        options = ["-DCMAKE_BUILD_TYPE=Release", "-DSF_BUILD_PYTHON=ON", f"-DPython_EXECUTABLE={sys.executable}"]
        options += [f"-DSF_BUILD_{part}=OFF" for part in ("HOST", "EXAMPLES")] + ["-DBUILD_TESTING=OFF"]
        subprocess.run(["cmake", "-S", str(ROOT), "-B", str(folder), *options], check=True)
        jobs = str(os.cpu_count() or 1)
        subprocess.run(["cmake", "--build", str(folder), "--target", "sf_python", "-j", jobs], check=True)
        return str(folder)


setup(
    version=version(),
    ext_modules=[Extension("sf._core", sources=[])],
    cmdclass={"build_ext": BuildWithCMake},
)
