"""Builds the extension module with CMake, as the CMake option KELVRA_CV_PYTHON does, with the library
linked into it. The rest of the package is described in pyproject.toml."""

import re
import shutil
import subprocess
import sys
from pathlib import Path

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = Path(__file__).resolve().parent


class CMakeBuild(build_ext):
    def build_extension(self, ext: Extension) -> None:
        target = Path(self.get_ext_fullpath(ext.name)).resolve()
        build = (ROOT / self.build_temp).resolve()
        subprocess.run(
            ["cmake", "-S", ROOT, "-B", build, *(["-G", "Ninja"] if shutil.which("ninja") else []),
             "-DCMAKE_BUILD_TYPE=Release",
             "-DBUILD_SHARED_LIBS=OFF", "-DKELVRA_CV_TESTS=OFF", "-DKELVRA_CV_PYTHON=ON",
             f"-DPython_EXECUTABLE={sys.executable}"],
            check=True)
        subprocess.run(["cmake", "--build", build, "--parallel", "--target", "kelvra_cv_python"],
                       check=True)
        target.parent.mkdir(parents=True, exist_ok=True)
        self.copy_file(str(build / "python" / "kelvra_cv" / target.name), str(target))


version = re.search(r"project\(kelvra_cv VERSION ([\d.]+)", (ROOT / "CMakeLists.txt").read_text())
assert version is not None
setup(
    version=version.group(1),
    ext_modules=[Extension("kelvra_cv._core", sources=[])],
    cmdclass={"build_ext": CMakeBuild},
)
