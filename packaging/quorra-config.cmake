# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause

# find_package(quorra) gives the target quorra::quorra.
include("${CMAKE_CURRENT_LIST_DIR}/quorra-targets.cmake")

# A program finds the library also after its own installation, which otherwise removes the run path.
# A project that has its own mind about that sets one of these variables before.
if(NOT DEFINED CMAKE_INSTALL_RPATH_USE_LINK_PATH)
  set(CMAKE_INSTALL_RPATH_USE_LINK_PATH ON)
endif()
if(CMAKE_INSTALL_RPATH_USE_LINK_PATH AND NOT CMAKE_SKIP_RPATH AND NOT CMAKE_SKIP_INSTALL_RPATH)
  # Targets look at the first variable when they are made, which may have been before. The installation
  # removes the path that CMake has set itself, and leaves one that is a link option.
  get_filename_component(quorra_library_dir "${CMAKE_CURRENT_LIST_DIR}/../.." ABSOLUTE)
  # Where every program looks.
  string(REGEX REPLACE "/${CMAKE_LIBRARY_ARCHITECTURE}$" "" quorra_usual_dir "${quorra_library_dir}")
  if(NOT quorra_usual_dir IN_LIST CMAKE_PLATFORM_IMPLICIT_LINK_DIRECTORIES)
    set_property(TARGET quorra::quorra PROPERTY
      INTERFACE_LINK_OPTIONS "LINKER:-rpath,${quorra_library_dir}")
  endif()
  unset(quorra_library_dir)
  unset(quorra_usual_dir)
endif()
