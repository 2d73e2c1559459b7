# SPDX-License-Identifier: MIT
# An overlay port inside of the sources that it builds: vcpkg install quillmark --overlay-ports=packaging/vcpkg
cmake_path(SET source NORMALIZE "${CMAKE_CURRENT_LIST_DIR}/../..")
vcpkg_cmake_configure(SOURCE_PATH "${source}" OPTIONS -DQUILLMARK_BUILD_HOST=OFF -DCMAKE_INSTALL_LIBDIR=lib)
vcpkg_cmake_install()
vcpkg_cmake_config_fixup(CONFIG_PATH lib/cmake/quillmark)
vcpkg_fixup_pkgconfig()
file(REMOVE_RECURSE "${CURRENT_PACKAGES_DIR}/debug/include" "${CURRENT_PACKAGES_DIR}/debug/share")
vcpkg_install_copyright(FILE_LIST "${source}/LICENSE")
