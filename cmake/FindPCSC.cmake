# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause

# The headers for drivers of pcscd: the target PCSC::driver.
include(FindPackageHandleStandardArgs)
find_path(PCSC_INCLUDE_DIR NAMES PCSC/ifdhandler.h)
mark_as_advanced(PCSC_INCLUDE_DIR)
find_package_handle_standard_args(PCSC REQUIRED_VARS PCSC_INCLUDE_DIR)
if(PCSC_FOUND AND NOT TARGET PCSC::driver)
  add_library(PCSC::driver INTERFACE IMPORTED GLOBAL)
  # The headers include one another without the name of their folder.
  target_include_directories(PCSC::driver SYSTEM INTERFACE
    "${PCSC_INCLUDE_DIR}" "${PCSC_INCLUDE_DIR}/PCSC")
endif()
