# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause

# Notes in install_folders.txt which folders the installation is about to make: the destinations that
# the scripts of the installation name, and those above them, as far as they are not there. What an
# installation before this one has made stays in the list.
cmake_policy(VERSION 3.25)
set(quorra_folders "")
if(EXISTS "${quorra_build}/install_folders.txt")
  file(STRINGS "${quorra_build}/install_folders.txt" quorra_folders)
endif()
file(GLOB_RECURSE quorra_scripts "${quorra_build}/cmake_install.cmake")
foreach(quorra_script IN LISTS quorra_scripts)
  file(READ "${quorra_script}" quorra_text)
  string(REGEX MATCHALL "INSTALL DESTINATION \"[^\"]+\"" quorra_destinations "${quorra_text}")
  foreach(quorra_folder IN LISTS quorra_destinations)
    string(REGEX REPLACE "^INSTALL DESTINATION \"|\"$" "" quorra_folder "${quorra_folder}")
    string(REPLACE "\${CMAKE_INSTALL_PREFIX}" "${CMAKE_INSTALL_PREFIX}" quorra_folder "${quorra_folder}")
    set(quorra_folder "$ENV{DESTDIR}${quorra_folder}")
    while(NOT EXISTS "${quorra_folder}")
      list(APPEND quorra_folders "${quorra_folder}")
      cmake_path(GET quorra_folder PARENT_PATH quorra_folder)
    endwhile()
  endforeach()
endforeach()
list(REMOVE_DUPLICATES quorra_folders)
list(JOIN quorra_folders "\n" quorra_folders)
file(WRITE "${quorra_build}/install_folders.txt" "${quorra_folders}")
