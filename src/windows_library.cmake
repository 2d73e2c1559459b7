# quillmark.dll, a COM server: it exports the entry points of one and nothing else.
set(quillmark_system_libraries ole32 oleaut32 uuid advapi32)
target_link_libraries(quillmark_objects PRIVATE quillmark_idl)

add_library(quillmark SHARED $<TARGET_OBJECTS:quillmark_objects>)
set_target_properties(quillmark PROPERTIES PREFIX "")
target_link_libraries(quillmark PRIVATE quillmark_options Threads::Threads ${quillmark_system_libraries})
add_subdirectory(component/com)

if(QUILLMARK_BUILD_TESTS)
  add_library(quillmark_internal STATIC $<TARGET_OBJECTS:quillmark_objects>)
  target_include_directories(quillmark_internal PUBLIC ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(quillmark_internal PUBLIC quillmark_options quillmark_idl Threads::Threads
                                                  ${quillmark_system_libraries})
endif()
