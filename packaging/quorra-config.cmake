# find_package(quorra) gives the target quorra::quorra.
include("${CMAKE_CURRENT_LIST_DIR}/quorra-targets.cmake")
