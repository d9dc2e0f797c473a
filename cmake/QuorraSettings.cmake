# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause

# What every target of this project shares.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 99)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Release, Debug, ..." FORCE)
endif()

option(QUORRA_SANITIZE "Build with the address and undefined-behaviour sanitizers" OFF)
option(QUORRA_COVERAGE "Build with coverage counters" OFF)

# What is delivered does not tell in which folder it was built: neither in names of files nor in the
# run path of programs, which find the library beside them.
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)
if(NOT QUORRA_COVERAGE)
  add_compile_options(
    "$<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=>")
endif()

# Whoever builds with a compiler, or options, that we have not tried may set this to OFF.
if(NOT DEFINED CMAKE_COMPILE_WARNING_AS_ERROR)
  set(CMAKE_COMPILE_WARNING_AS_ERROR ON)
endif()
add_library(quorra_warnings INTERFACE)
target_compile_options(quorra_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # GCC 12 sees overlapping copies in its own std::string where a literal is added to one.
  target_compile_options(quorra_warnings INTERFACE -Wno-restrict)
endif()

# What is compiled without optimising and with all of its symbols takes twice the time in the tests.
if(QUORRA_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all
    -O1 -fno-omit-frame-pointer -gline-tables-only)
  add_link_options(-fsanitize=address,undefined)
endif()
# The counters lie in the files themselves, one for each program, so that those of a process that is
# killed count too.
if(QUORRA_COVERAGE)
  add_compile_options(-O0 -gline-tables-only -gdwarf-4 -fcoverage-mapping
    "-fprofile-instr-generate=${PROJECT_BINARY_DIR}/counters/%m%c.profraw"
    -fprofile-update=atomic "SHELL:-mllvm -runtime-counter-relocation")
  add_link_options(-fprofile-instr-generate)
endif()

# Most of the time of compiling tests goes into the same headers.
function(quorra_precompile target)
  target_precompile_headers(${target} PRIVATE ${ARGN})
  # The compiler cache knows a header by its content.
  target_compile_options(${target} PRIVATE
    "$<$<CXX_COMPILER_ID:Clang>:SHELL:-Xclang -fno-pch-timestamp>")
endfunction()

# What is delivered shows in other builds that each file includes what it needs.
function(quorra_precompile_for_tests target)
  if(QUORRA_SANITIZE OR QUORRA_COVERAGE)
    quorra_precompile(${target}
      <algorithm> <array> <cstdint> <filesystem> <functional> <memory> <optional> <span> <string>
      <string_view> <system_error> <utility> <vector> ${ARGN})
  endif()
endfunction()

# quorra_part(NAME WHAT PACKAGE...) sets QUORRA_WITH_<NAME> from the option QUORRA_<NAME>
# (ON, OFF or AUTO) and the packages found.
function(quorra_part name what)
  set(QUORRA_${name} AUTO CACHE STRING "Build ${what}: ON, OFF or AUTO")
  set_property(CACHE QUORRA_${name} PROPERTY STRINGS AUTO ON OFF)
  set(with ON)
  if(QUORRA_${name} STREQUAL "AUTO")
    foreach(package IN LISTS ARGN)
      find_package(${package} QUIET GLOBAL)
      if(NOT ${package}_FOUND)
        message(STATUS "Not built: ${what} (${package} is missing; scripts/setup installs it)")
        set(with OFF)
      endif()
    endforeach()
  elseif(QUORRA_${name})
    foreach(package IN LISTS ARGN)
      find_package(${package} REQUIRED GLOBAL)
    endforeach()
  else()
    set(with OFF)
  endif()
  set(QUORRA_WITH_${name} ${with} PARENT_SCOPE)
endfunction()
