# SPDX-License-Identifier: MIT
# Run by CPack on the files of all packages before it closes them. Programs are stripped as Debian does it.
# A program finds its library in the system's own folder, so the path relative to the program, which is for a moved
# prefix, is removed. Debian's own Python packages are in one folder for all versions of Python 3.
file(GLOB python_folder "${CPACK_TEMPORARY_DIRECTORY}/python/usr/lib/python3.*")
if(python_folder)
  file(RENAME ${python_folder} ${CPACK_TEMPORARY_DIRECTORY}/python/usr/lib/python3)
endif()
file(GLOB_RECURSE files LIST_DIRECTORIES false "${CPACK_TEMPORARY_DIRECTORY}/*")
foreach(file ${files})
  if(file MATCHES "/bin/[^/]+$|\\.so[^/]*$" AND NOT IS_SYMLINK ${file})
    file(RPATH_REMOVE FILE ${file})
    execute_process(COMMAND strip --strip-unneeded --remove-section=.comment --remove-section=.note ${file}
                    COMMAND_ERROR_IS_FATAL ANY)
  endif()
endforeach()
