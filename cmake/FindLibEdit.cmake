# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause

# The header of libedit: the target LibEdit::header. The library itself is loaded when it is needed.
include(FindPackageHandleStandardArgs)
find_path(LIBEDIT_INCLUDE_DIR NAMES histedit.h)
mark_as_advanced(LIBEDIT_INCLUDE_DIR)
find_package_handle_standard_args(LibEdit REQUIRED_VARS LIBEDIT_INCLUDE_DIR)
if(LibEdit_FOUND AND NOT TARGET LibEdit::header)
  add_library(LibEdit::header INTERFACE IMPORTED GLOBAL)
  target_include_directories(LibEdit::header SYSTEM INTERFACE "${LIBEDIT_INCLUDE_DIR}")
endif()
