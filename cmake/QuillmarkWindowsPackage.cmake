# SPDX-License-Identifier: MIT
# The zip for Windows: what was built for 64-bit and for 32-bit hosts and adapters, each in a folder of its own. `cpack` in
# the 64-bit build tree packs both; the 32-bit tree lies beside it and was built before.
install(TARGETS quillmark quillmark_tool quillmark_vantrel quillmark_script_host RUNTIME DESTINATION ${QUILLMARK_WINDOWS_BITS})

if(QUILLMARK_WINDOWS_BITS EQUAL 64)
  set(generated ${PROJECT_BINARY_DIR}/generated/component/com)
  install(FILES ${generated}/quillmark.tlb ${generated}/quillmark_com.h LICENSE DESTINATION .)
  install(FILES packaging/windows/README.txt packaging/windows/register.cmd packaging/windows/unregister.cmd
          DESTINATION .)
  install(FILES docs/workshop.md docs/windows-identify.png docs/windows-flash.png docs/windows-done.png
                docs/windows-report.png DESTINATION docs)
  install(FILES examples/windows/example.vbs examples/windows/example.cpp DESTINATION examples)
  install(FILES examples/csharp/Quillmark.cs examples/csharp/Host.cs DESTINATION examples/csharp)
endif()

set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_FILE_NAME ${PROJECT_NAME}-${PROJECT_VERSION}-windows)
set(CPACK_STRIP_FILES ON)
cmake_path(GET PROJECT_BINARY_DIR PARENT_PATH build_trees)
set(CPACK_INSTALL_CMAKE_PROJECTS ${PROJECT_BINARY_DIR} ${PROJECT_NAME} ALL /
                                 ${build_trees}/mingw32 ${PROJECT_NAME} ALL /)
include(CPack)
