# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause

# The target uninstall takes away what the last `cmake --install` has put in place. Included before
# anything is installed, it sees which folders are not there yet.
if(PROJECT_IS_TOP_LEVEL)
  install(CODE "set(quorra_build \"${PROJECT_BINARY_DIR}\")")
  install(SCRIPT "${CMAKE_CURRENT_LIST_DIR}/uninstall/NoteFolders.cmake")
  add_custom_target(uninstall
    COMMAND "${CMAKE_COMMAND}" -D "quorra_build=${PROJECT_BINARY_DIR}"
      -P "${CMAKE_CURRENT_LIST_DIR}/uninstall/Uninstall.cmake"
    COMMENT "Uninstalling"
    VERBATIM)
endif()
