# SPDX-License-Identifier: MIT
# The Debian packages, one for each component of the installation; packaging/build-packages makes them.
# docs/packages.md says what is in which.

# What every package has in addition to the files of `cmake --install`: its licence, its changelog, and the remarks of
# lintian that do not apply to it, with the reasons.
set(doc_files ${PROJECT_BINARY_DIR}/packages)
set(debian_folder ${PROJECT_SOURCE_DIR}/packaging/debian)
file(MAKE_DIRECTORY ${doc_files})
add_custom_command(OUTPUT ${doc_files}/changelog.Debian.gz DEPENDS ${debian_folder}/changelog
                   COMMAND gzip --best --no-name --stdout ${debian_folder}/changelog > ${doc_files}/changelog.Debian.gz
                   VERBATIM)
add_custom_target(quillmark_package_files DEPENDS ${doc_files}/changelog.Debian.gz)
file(READ ${PROJECT_SOURCE_DIR}/LICENSE licence)
string(REGEX REPLACE ".*(Permission is hereby.*)" "\\1" licence "${licence}")
string(REGEX REPLACE "\n+$" "" licence "${licence}")
string(REGEX REPLACE "\n\n" "\n.\n" licence "${licence}")
string(REGEX REPLACE "\n" "\n " licence "${licence}")
configure_file(${debian_folder}/copyright.in ${doc_files}/copyright @ONLY)

# The remarks of lintian that do not apply to a package.
foreach(name libquillmark0 libquillmark-dev libquillmark-host0 libquillmark-host-dev quillmark-tools python3-quillmark)
  file(WRITE ${doc_files}/overrides/${name}
       "# These packages are not meant for Debian's own archive, so there is no request to package them.\n"
       "initial-upload-closes-no-bugs\n")
endforeach()
foreach(name libquillmark0 libquillmark-host0)
  file(APPEND ${doc_files}/overrides/${name}
       "# CPack calls ldconfig in scripts of its own and cannot be told not to; the trigger is there as well.\n"
       "maintscript-calls-ldconfig [postinst]\n"
       "maintscript-calls-ldconfig [postrm]\n")
endforeach()
file(APPEND ${doc_files}/overrides/libquillmark-dev
     "# The licence is also where an installation without packages has it.\n"
     "extra-license-file\n"
     "# The pages link to it by the name that it has in the sources.\n"
     "wrong-name-for-upstream-changelog\n")

# quillmark_package(COMPONENT NAME SECTION SUMMARY DESCRIPTION [DEPENDS]): the component as a package.
function(quillmark_package component name section summary description)
  install(FILES ${doc_files}/copyright ${doc_files}/changelog.Debian.gz
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name} COMPONENT ${component} EXCLUDE_FROM_ALL)
  install(FILES ${doc_files}/overrides/${name}
          DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides COMPONENT ${component} EXCLUDE_FROM_ALL)
  string(TOUPPER ${component} upper)
  set(CPACK_COMPONENTS_ALL ${CPACK_COMPONENTS_ALL} ${component} PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name} PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS "${ARGN}" PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "${summary}\n${description}" PARENT_SCOPE)
endfunction()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME quillmark)
set(CPACK_PACKAGE_VENDOR "Quillmark developers")
set(CPACK_PACKAGE_CONTACT "Quillmark developers <developers@quillmark.invalid>")
set(CPACK_DEBIAN_PACKAGE_SOURCE quillmark)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${QUILLMARK_RELEASE})
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/QuillmarkPackageFiles.cmake)
# Debian's tools read what a program needs out of it; the library of this build is not installed.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/src ${PROJECT_BINARY_DIR}/host)
set(same_version "(= ${PROJECT_VERSION}-${QUILLMARK_RELEASE})")
set(same_library "libquillmark0 ${same_version}")
set(same_host_library "libquillmark-host0 ${same_version}")

quillmark_package(
  runtime libquillmark0 libs "Documents that reprogram vehicle ECUs, shared library"
  "Builds, checks and streams the XML documents by which a diagnostic
application reprograms the memory of a vehicle ECU over KWP2000-style
services: on CAN, behind a CAN gateway, and on a K line. The application
runs the documents on its own bus.")
# What is built against a library needs this version or a later one of the same binary interface, and the
# loader must be told that there is a new library.
foreach(library quillmark quillmark-host)
  set(package lib${library}${PROJECT_VERSION_MAJOR})
  set(needed "${package} (>= ${PROJECT_VERSION})")
  if(library STREQUAL "quillmark-host" AND PROJECT_VERSION_MAJOR EQUAL 0)
    # Its promise, in docs/abi.md, ends with the second number.
    math(EXPR next "${PROJECT_VERSION_MINOR} + 1")
    string(APPEND needed ", ${package} (<< 0.${next})")
  endif()
  file(WRITE ${doc_files}/${library}/shlibs "lib${library} ${PROJECT_VERSION_MAJOR} ${needed}\n")
  file(WRITE ${doc_files}/${library}/triggers "activate-noawait ldconfig\n")
endforeach()
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${doc_files}/quillmark/shlibs ${doc_files}/quillmark/triggers)
set(CPACK_DEBIAN_HOST_RUNTIME_PACKAGE_CONTROL_EXTRA ${doc_files}/quillmark-host/shlibs
                                                    ${doc_files}/quillmark-host/triggers)

quillmark_package(
  development libquillmark-dev libdevel "Documents that reprogram vehicle ECUs, development files"
  "Headers, CMake package, pkg-config file, reference and examples for a
diagnostic application that reprograms vehicle ECUs with libquillmark,
in C++20."
  "${same_library}")

quillmark_package(
  host_runtime libquillmark-host0 libs "Reprogramming of vehicle ECUs, shared library"
  "Drives whole sessions with an ECU, on slcan, SocketCAN and K line
adapters: identification, security access, erase, download, check and
verification, with image files, traces, reports and a simulated ECU."
  "${same_library}")

quillmark_package(
  host_development libquillmark-host-dev libdevel "Reprogramming of vehicle ECUs, development files"
  "Headers, CMake package and pkg-config file for an application that
reprograms vehicle ECUs with libquillmark-host, in C++20."
  "${same_host_library}, libquillmark-dev ${same_version}")

quillmark_package(
  tools quillmark-tools utils "Command-line tool that reprograms vehicle ECUs"
  "Plans, writes, reads back and explains the reprogramming of a vehicle
ECU through slcan, SocketCAN and K line adapters, keeps traces that
can-utils and Wireshark read, and simulates an ECU to try it all on."
  "${same_host_library}")

# Loaded where a server is named for the records.
set(CPACK_DEBIAN_TOOLS_PACKAGE_SUGGESTS libpq5)

# Something to try at once.
install(FILES ${PROJECT_SOURCE_DIR}/docs/samples/hello.srec
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/quillmark-tools/examples COMPONENT tools EXCLUDE_FROM_ALL)

if(QUILLMARK_BUILD_PYTHON)
  # Built for one Python; what its interpreter compiles and keeps beside the modules goes with the package.
  quillmark_package(
    python python3-quillmark python "Documents that reprogram vehicle ECUs, for Python 3"
    "The Python package quillmark: the component with its members' own names,
image files, a runner of documents on slcan, SocketCAN and K line
adapters, and a simulated ECU."
    "${same_library}, python3 (>= 3.11), python3 (<< 3.12)")
  install(FILES ${PROJECT_SOURCE_DIR}/examples/python/flash.py ${PROJECT_SOURCE_DIR}/examples/python/host.py
                ${PROJECT_SOURCE_DIR}/docs/samples/hello.srec
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/python3-quillmark/examples COMPONENT python EXCLUDE_FROM_ALL)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA ${debian_folder}/python3-quillmark/postinst
                                                ${debian_folder}/python3-quillmark/prerm)
endif()

include(CPack)
