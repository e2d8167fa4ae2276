# Highway's headers: portable vector operations, needed at build time only. Nothing is linked.
find_path(Highway_INCLUDE_DIR hwy/highway.h)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Highway REQUIRED_VARS Highway_INCLUDE_DIR
  REASON_FAILURE_MESSAGE "install the Debian package libhwy-dev")
if(Highway_FOUND AND NOT TARGET Highway::headers)
  add_library(Highway::headers INTERFACE IMPORTED)
  # Static dispatch without Highway's library: its headers are all that is used.
  set_target_properties(Highway::headers PROPERTIES
    INTERFACE_INCLUDE_DIRECTORIES "${Highway_INCLUDE_DIR}")
endif()
mark_as_advanced(Highway_INCLUDE_DIR)
