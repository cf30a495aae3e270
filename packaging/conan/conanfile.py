# SPDX-License-Identifier: MIT
"""The recipe for Conan 2. scripts/release.sh fills in the version, and in conandata.yml the tarball's place and digest."""
import os

from conan import ConanFile
from conan.tools.cmake import CMake, CMakeToolchain, cmake_layout
from conan.tools.files import copy, get, rmdir


class QelUnit(ConanFile):
    name = "qel_unit"
    version = "@VERSION@"
    license = "MIT"
    description = "Geometry out of Alembic files as meshes, tokens and mapped caches, behind a C interface"
    package_type = "library"
    settings = "os", "compiler", "build_type", "arch"
    options = {"shared": [True, False], "fPIC": [True, False]}
    default_options = {"shared": False, "fPIC": True}
    implements = ["auto_shared_fpic"]

    def layout(self):
        cmake_layout(self, src_folder="src")

    def source(self):
        get(self, **self.conan_data["sources"][self.version], strip_root=True)

    def generate(self):
        toolchain = CMakeToolchain(self)
        toolchain.cache_variables["BUILD_TESTING"] = False
        toolchain.cache_variables["QEL_UNIT_TOOLS"] = False
        toolchain.generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        CMake(self).install()
        copy(self, "LICENSE", src=self.source_folder, dst=os.path.join(self.package_folder, "licenses"))
        for folder in ("lib/cmake", "lib/pkgconfig", "share"):  # Conan writes its own, of package_info
            rmdir(self, os.path.join(self.package_folder, folder))

    def package_info(self):
        self.cpp_info.set_property("cmake_file_name", "qel_unit")
        for name in ("qel_unit", "qel_archive"):
            library = self.cpp_info.components[name]
            library.libs = [name]
            library.set_property("cmake_target_name", "qel_unit::" + name)
            library.set_property("pkg_config_name", name)
            if not self.options.shared:
                library.defines = ["QEL_UNIT_STATIC"]
                if self.settings.os in ("Linux", "FreeBSD"):
                    library.system_libs = ["stdc++", "m"]
