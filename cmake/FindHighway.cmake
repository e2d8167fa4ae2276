# Highway's headers: portable vector operations, needed at build time only. Nothing is linked.
# Their place comes from Highway's own CMake package where there is one.
find_package(hwy CONFIG QUIET)
if(TARGET hwy::hwy)
  get_target_property(_highway_include hwy::hwy INTERFACE_INCLUDE_DIRECTORIES)
endif()
find_path(Highway_INCLUDE_DIR hwy/highway.h HINTS ${_highway_include})
if(Highway_INCLUDE_DIR)
  foreach(_header highway.h base.h)
    if(EXISTS ${Highway_INCLUDE_DIR}/hwy/${_header})
      file(STRINGS ${Highway_INCLUDE_DIR}/hwy/${_header} _lines
           REGEX "^#define HWY_(MAJOR|MINOR|PATCH) [0-9]+")
      string(REGEX MATCHALL "[0-9]+" _numbers "${_lines}")
      if(_numbers)
        list(JOIN _numbers "." Highway_VERSION)
      endif()
    endif()
  endforeach()
endif()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Highway REQUIRED_VARS Highway_INCLUDE_DIR
  VERSION_VAR Highway_VERSION
  REASON_FAILURE_MESSAGE "install the Debian package libhwy-dev")
if(Highway_FOUND AND NOT TARGET Highway::headers)
  add_library(Highway::headers INTERFACE IMPORTED)
  # Static dispatch without Highway's library: its headers are all that is used. Its assertions of
  # debug builds would call the library.
  set_target_properties(Highway::headers PROPERTIES
    INTERFACE_INCLUDE_DIRECTORIES "${Highway_INCLUDE_DIR}"
    INTERFACE_COMPILE_DEFINITIONS HWY_IS_DEBUG_BUILD=0)
endif()
mark_as_advanced(Highway_INCLUDE_DIR)
