# SPDX-License-Identifier: MIT
# quillmark.dll, a COM server: it exports the entry points of one and nothing else.
target_link_libraries(quillmark_objects PRIVATE quillmark_com quillmark_idl)

add_library(quillmark SHARED $<TARGET_OBJECTS:quillmark_objects>)
set_target_properties(quillmark PROPERTIES PREFIX "")
target_link_libraries(quillmark PRIVATE quillmark_options quillmark_com Threads::Threads)
add_subdirectory(component/com)

if(QUILLMARK_BUILD_TESTS)
  add_library(quillmark_internal STATIC $<TARGET_OBJECTS:quillmark_objects>)
  target_include_directories(quillmark_internal PUBLIC ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(quillmark_internal PUBLIC quillmark_options quillmark_com quillmark_idl
                                                  Threads::Threads)
endif()
