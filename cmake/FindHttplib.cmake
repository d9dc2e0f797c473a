# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause

# cpp-httplib as a shared library: the target Httplib::Httplib. Its header looks different with each of
# the options that the library was built with, and pkg-config knows these.
include(FindPackageHandleStandardArgs)
find_package(PkgConfig QUIET)
if(PkgConfig_FOUND)
  pkg_check_modules(HTTPLIB QUIET IMPORTED_TARGET GLOBAL cpp-httplib)
endif()
find_package_handle_standard_args(Httplib
  REQUIRED_VARS HTTPLIB_LIBRARIES
  VERSION_VAR HTTPLIB_VERSION)
if(Httplib_FOUND AND NOT TARGET Httplib::Httplib)
  add_library(Httplib::Httplib ALIAS PkgConfig::HTTPLIB)
endif()
