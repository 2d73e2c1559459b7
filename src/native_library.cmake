# SPDX-License-Identifier: MIT
# The shared library that a native host links.
find_package(pugixml REQUIRED)
target_link_libraries(quillmark_objects PRIVATE pugixml::pugixml)
set(quillmark_all_objects $<TARGET_OBJECTS:quillmark_objects> $<TARGET_OBJECTS:quillmark_reference_types>)

add_library(quillmark SHARED ${quillmark_all_objects})
add_library(quillmark::quillmark ALIAS quillmark)
target_include_directories(quillmark PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
                                            $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
target_compile_features(quillmark PUBLIC cxx_std_20)
target_link_libraries(quillmark PRIVATE $<BUILD_INTERFACE:quillmark_options> $<BUILD_INTERFACE:quillmark_hardened_link>
                                        pugixml::pugixml Threads::Threads)
set_target_properties(quillmark PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})

if(QUILLMARK_BUILD_TESTS)
  add_library(quillmark_internal STATIC ${quillmark_all_objects})
  target_include_directories(quillmark_internal PUBLIC ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(quillmark_internal PUBLIC quillmark_options pugixml::pugixml Threads::Threads)
endif()
