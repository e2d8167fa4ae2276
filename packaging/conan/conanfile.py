"""Not tested here. A Conan 2 recipe that builds the tree it lies in."""

import os

from conan import ConanFile
from conan.tools.cmake import CMake, CMakeDeps, CMakeToolchain
from conan.tools.files import copy


class KelvraCv(ConanFile):
    name = "kelvra_cv"
    version = "1.6.3"
    description = "Compact, bit-exact image processing for photo and video editing"
    settings = "os", "arch", "compiler", "build_type"
    options = {"shared": [True, False]}
    default_options = {"shared": False}
    requires = "highway/[>=1.0.3]", "libyuv/[>=1857]", "opencv/[>=4.5 <5]"

    def export_sources(self):
        tree = os.path.join(self.recipe_folder, "..", "..")
        for pattern in ("CMakeLists.txt", "cmake/*", "include/*", "src/*", "operations/*", "tests/install/symbols.txt"):
            copy(self, pattern, tree, self.export_sources_folder)

    def generate(self):
        CMakeDeps(self).generate()
        toolchain = CMakeToolchain(self)
        toolchain.variables["KELVRA_CV_TESTS"] = False
        toolchain.generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        CMake(self).install()

    def package_info(self):
        self.cpp_info.set_property("cmake_file_name", "kelvra_cv")
        self.cpp_info.set_property("cmake_target_name", "kelvra_cv::kelvra_cv")
        self.cpp_info.libs = ["kelvra_cv"]
        self.cpp_info.requires = ["libyuv::libyuv", "opencv::opencv_imgproc", "opencv::opencv_core"]
