# SPDX-License-Identifier: MIT
# What tests need of the machine beyond what the build needs. A test that lacks something is left out, and a line
# of the configuration says so with the Debian package that has it.
set(QUILLMARK_REQUIRED_TESTS "" CACHE STRING
    "Tests that must not be left out, as a regular expression: for these a missing package is an error")

# The system's own Python, which has the modules of Debian's packages, whatever comes first in PATH.
find_program(QUILLMARK_TOOL_python3 NAMES python3 PATHS /usr/bin NO_DEFAULT_PATH)

# quillmark_leave_out(TEST PACKAGE...)
function(quillmark_leave_out test)
  list(JOIN ARGN " " packages)
  set(line "${test} is left out: it needs the packages ${packages}")
  if(QUILLMARK_REQUIRED_TESTS AND test MATCHES "${QUILLMARK_REQUIRED_TESTS}")
    message(SEND_ERROR "${line}")
  else()
    message(STATUS "${line}")
  endif()
endfunction()

# quillmark_has_tools(RESULT TEST PACKAGE:TOOL...): whether all of them are there; otherwise TEST is left out. A TOOL
# is a program, whose path is then in QUILLMARK_TOOL_<program>, or "import MODULE" for Python.
function(quillmark_has_tools result test)
  set(missing "")
  foreach(need ${ARGN})
    string(REGEX MATCH "^([^:]+):(.+)$" need "${need}")
    set(package ${CMAKE_MATCH_1})
    set(tool ${CMAKE_MATCH_2})
    if(tool MATCHES "^import ")
      execute_process(COMMAND ${QUILLMARK_TOOL_python3} -c ${tool} RESULT_VARIABLE failed OUTPUT_QUIET ERROR_QUIET)
    else()
      find_program(QUILLMARK_TOOL_${tool} ${tool})
      string(COMPARE EQUAL "${QUILLMARK_TOOL_${tool}}" QUILLMARK_TOOL_${tool}-NOTFOUND failed)
    endif()
    if(failed)
      list(APPEND missing ${package})
    endif()
  endforeach()
  if(missing)
    list(REMOVE_DUPLICATES missing)
    quillmark_leave_out(${test} ${missing})
    set(${result} OFF PARENT_SCOPE)
  else()
    set(${result} ON PARENT_SCOPE)
  endif()
endfunction()

# quillmark_add_command_test(NAME [NEEDS PACKAGE:TOOL...] [ENVIRONMENT VARIABLE=VALUE...] COMMAND word...)
function(quillmark_add_command_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "NEEDS;ENVIRONMENT;COMMAND")
  quillmark_has_tools(has_tools ${name} ${arg_NEEDS})
  if(has_tools)
    add_test(NAME ${name} COMMAND ${arg_COMMAND})
    # What it starts keeps no records among those of the user.
    set_tests_properties(${name} PROPERTIES
                         ENVIRONMENT "XDG_STATE_HOME=${PROJECT_BINARY_DIR}/state;${arg_ENVIRONMENT}")
  endif()
endfunction()
