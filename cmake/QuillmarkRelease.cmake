# SPDX-License-Identifier: MIT
# packaging/debian/changelog says which release this is: QUILLMARK_RELEASE is the revision of its Debian
# packages, QUILLMARK_RELEASE_DATE such as "21 Nov 2026".
set(changelog ${PROJECT_SOURCE_DIR}/packaging/debian/changelog)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${changelog})
file(STRINGS ${changelog} newest LIMIT_COUNT 1)
if(NOT newest MATCHES "^quillmark \\(([0-9.]+)-([0-9]+)\\) " OR NOT CMAKE_MATCH_1 STREQUAL PROJECT_VERSION)
  message(FATAL_ERROR "${changelog}: expected an entry \"quillmark (${PROJECT_VERSION}-REVISION)\" "
                      "at its top, found \"${newest}\"")
endif()
set(QUILLMARK_RELEASE ${CMAKE_MATCH_2})
file(STRINGS ${changelog} signature LIMIT_COUNT 1 REGEX "^ -- ")
if(NOT signature MATCHES "  [A-Z][a-z][a-z], ([0-9]+ [A-Z][a-z][a-z] [0-9]+) ")
  message(FATAL_ERROR "${changelog}: expected a line \" -- NAME <ADDRESS>  DAY, DATE TIME\", found \"${signature}\"")
endif()
set(QUILLMARK_RELEASE_DATE ${CMAKE_MATCH_1})
