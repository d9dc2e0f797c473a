# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause

cmake_minimum_required(VERSION 3.25)

# Removes the files that install_manifest.txt names, and then the folders that are empty without them
# and were not there before.
set(manifest "${quorra_build}/install_manifest.txt")
set(notes "${quorra_build}/install_folders.txt")
if(NOT EXISTS "${manifest}")
  message(FATAL_ERROR "Nothing was installed from ${quorra_build}: it has no install_manifest.txt.")
endif()
file(STRINGS "${manifest}" files)
set(made "")
if(EXISTS "${notes}")
  file(STRINGS "${notes}" made)
endif()

set(folders "")
set(left FALSE)
foreach(file IN LISTS files)
  set(file "$ENV{DESTDIR}${file}")
  file(REMOVE "${file}")
  if(EXISTS "${file}" OR IS_SYMLINK "${file}")
    message(SEND_ERROR "This file could not be removed: ${file}")
    set(left TRUE)
  endif()
  # The folder, and those above it, as far as they were made, or are in one that was.
  cmake_path(GET file PARENT_PATH folder)
  set(candidates "")
  while(folder AND NOT folder STREQUAL "/")
    list(APPEND candidates "${folder}")
    if(folder IN_LIST made)
      list(APPEND folders ${candidates})
      set(candidates "")
    endif()
    cmake_path(GET folder PARENT_PATH folder)
  endwhile()
endforeach()
if(left)
  message(FATAL_ERROR "Not all is uninstalled.")
endif()

# The innermost first: a folder stands behind the one that it is in.
list(REMOVE_DUPLICATES folders)
list(SORT folders ORDER DESCENDING)
foreach(folder IN LISTS folders)
  execute_process(COMMAND rmdir -- "${folder}" ERROR_QUIET)
endforeach()
file(REMOVE "${manifest}" "${notes}")
list(LENGTH files count)
message(STATUS "Uninstalled ${count} files.")
