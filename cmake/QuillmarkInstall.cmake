# SPDX-License-Identifier: MIT
# What `cmake --install` puts where: the shared library, its headers, the CMake package, the pkg-config
# file, and the command-line tool where it was built, with its manual and completion. pugixml stays inside:
# a consumer needs neither its headers nor its package. Each component becomes one Debian package.
include(CMakePackageConfigHelpers)

set(quillmark_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/quillmark)

install(TARGETS quillmark EXPORT quillmarkTargets
        LIBRARY COMPONENT runtime NAMELINK_COMPONENT development)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/quillmark DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        COMPONENT development FILES_MATCHING PATTERN "*.h")
install(EXPORT quillmarkTargets NAMESPACE quillmark:: DESTINATION ${quillmark_package_dir}
        COMPONENT development)

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/quillmarkConfig.cmake.in
                              ${PROJECT_BINARY_DIR}/quillmarkConfig.cmake
                              INSTALL_DESTINATION ${quillmark_package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/quillmarkConfigVersion.cmake
                                 COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/quillmarkConfig.cmake
              ${PROJECT_BINARY_DIR}/quillmarkConfigVersion.cmake
        DESTINATION ${quillmark_package_dir} COMPONENT development)

# The prefix is found from where the file lies, so that the installed tree can be moved.
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX
           BASE_DIRECTORY ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig OUTPUT_VARIABLE quillmark_prefix)
configure_file(${CMAKE_CURRENT_LIST_DIR}/quillmark.pc.in ${PROJECT_BINARY_DIR}/quillmark.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/quillmark.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
        COMPONENT development)

if(TARGET quillmark_tool)
  cmake_path(RELATIVE_PATH CMAKE_INSTALL_FULL_LIBDIR
             BASE_DIRECTORY ${CMAKE_INSTALL_FULL_BINDIR} OUTPUT_VARIABLE quillmark_library_path)
  set_target_properties(quillmark_tool PROPERTIES INSTALL_RPATH "$ORIGIN/${quillmark_library_path}")
  install(TARGETS quillmark_tool RUNTIME COMPONENT tools)
  get_target_property(pages quillmark_tool_pages QUILLMARK_FOLDER)
  install(DIRECTORY ${pages}/man1 DESTINATION ${CMAKE_INSTALL_MANDIR} COMPONENT tools)
  install(FILES ${pages}/quillmark.bash
          DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME quillmark COMPONENT tools)
endif()
