# SPDX-License-Identifier: MIT
# Libraries of headers alone, for a build for Windows: they are the same everywhere, but lie among the
# headers of this machine's own system, which must stay out of sight.
set(quillmark_header_folder ${PROJECT_BINARY_DIR}/headers)

# quillmark_add_header_library(TARGET FOLDER HEADER): FOLDER/HEADER and its neighbours.
function(quillmark_add_header_library target folder header)
  find_path(found ${folder}/${header} NO_CMAKE_FIND_ROOT_PATH NO_CACHE REQUIRED)
  file(MAKE_DIRECTORY ${quillmark_header_folder})
  file(CREATE_LINK ${found}/${folder} ${quillmark_header_folder}/${folder} SYMBOLIC)
  add_library(${target} INTERFACE IMPORTED GLOBAL)
  target_include_directories(${target} SYSTEM INTERFACE ${quillmark_header_folder})
endfunction()

quillmark_add_header_library(nlohmann_json::nlohmann_json nlohmann json.hpp)
quillmark_add_header_library(fmt::fmt-header-only fmt format.h)
target_compile_definitions(fmt::fmt-header-only INTERFACE FMT_HEADER_ONLY=1)
