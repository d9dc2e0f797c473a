# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause

# find_package(quorra) gives the target quorra::quorra.
include("${CMAKE_CURRENT_LIST_DIR}/quorra-targets.cmake")

# A program finds the library also after its own installation, which otherwise removes the run path.
# A project that has its own mind about that sets the variable before.
if(NOT DEFINED CMAKE_INSTALL_RPATH_USE_LINK_PATH)
  set(CMAKE_INSTALL_RPATH_USE_LINK_PATH ON)
endif()
