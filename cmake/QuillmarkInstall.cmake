# SPDX-License-Identifier: MIT
# What `cmake --install` puts where: the shared library, its headers, the CMake package, the pkg-config
# file, the pages and the examples that the headers refer to; the host library with the same, and the command-line tool
# with its manual and completion, where they were built. What a shared library uses stays inside it: a consumer needs
# neither its headers nor its package. Each component becomes one Debian package.
include(CMakePackageConfigHelpers)

set(quillmark_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/quillmark)

install(TARGETS quillmark EXPORT quillmarkTargets
        LIBRARY COMPONENT runtime NAMELINK_COMPONENT development
        ARCHIVE COMPONENT development)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/quillmark DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        COMPONENT development FILES_MATCHING PATTERN "*.h" PATTERN "host" EXCLUDE)
install(EXPORT quillmarkTargets NAMESPACE quillmark:: DESTINATION ${quillmark_package_dir}
        COMPONENT development)

get_target_property(quillmark_type quillmark TYPE)
string(COMPARE EQUAL "${quillmark_type}" SHARED_LIBRARY quillmark_is_shared)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/quillmarkConfig.cmake.in
                              ${PROJECT_BINARY_DIR}/quillmarkConfig.cmake
                              INSTALL_DESTINATION ${quillmark_package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/quillmarkConfigVersion.cmake
                                 COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/quillmarkConfig.cmake
              ${PROJECT_BINARY_DIR}/quillmarkConfigVersion.cmake
        DESTINATION ${quillmark_package_dir} COMPONENT development)

# Headers and pages name each other by their paths in the source tree.
set(quillmark_doc_dir ${CMAKE_INSTALL_DATADIR}/doc/libquillmark-dev)
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE ${PROJECT_SOURCE_DIR}/CHANGELOG.md DESTINATION ${quillmark_doc_dir}
        COMPONENT development)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs ${PROJECT_SOURCE_DIR}/examples DESTINATION ${quillmark_doc_dir}
        COMPONENT development PATTERN "site" EXCLUDE PATTERN "build" EXCLUDE PATTERN "__pycache__" EXCLUDE)

# quillmark_install_pkg_config(NAME COMPONENT DESCRIPTION REQUIRES PRIVATE_LIBRARIES): the pkg-config file of a library.
# The prefix is found from where the file lies, so that the installed tree can be moved.
function(quillmark_install_pkg_config name component description requires private_libraries)
  cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX
             BASE_DIRECTORY ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig OUTPUT_VARIABLE prefix)
  configure_file(${CMAKE_CURRENT_FUNCTION_LIST_DIR}/quillmark.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT ${component})
endfunction()

quillmark_install_pkg_config(quillmark development "${PROJECT_DESCRIPTION}" "" "-lpugixml -pthread")

if(TARGET quillmark_host)
  # It finds the component beside it.
  set_target_properties(quillmark_host PROPERTIES INSTALL_RPATH "$ORIGIN")
  install(TARGETS quillmark_host EXPORT quillmarkHostTargets
          LIBRARY COMPONENT host_runtime NAMELINK_COMPONENT host_development
          ARCHIVE COMPONENT host_development)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/quillmark/host DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/quillmark
          COMPONENT host_development FILES_MATCHING PATTERN "*.h")
  install(EXPORT quillmarkHostTargets NAMESPACE quillmark:: DESTINATION ${quillmark_package_dir}
          COMPONENT host_development)
  quillmark_install_pkg_config(quillmark-host host_development "Reprograms ECUs: buses, runner, images, traces, reports"
                               "quillmark = ${PROJECT_VERSION}" "-lfmt -lnettle -lsqlite3 -lz -pthread")
endif()

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
