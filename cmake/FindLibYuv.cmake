# libyuv: the frame operations of src/frame. Its place comes from its pkg-config file where there is
# one. The version is the number in libyuv/version.h.
find_package(PkgConfig QUIET)
if(PkgConfig_FOUND)
  pkg_check_modules(LibYuv_PC QUIET libyuv)
endif()
find_path(LibYuv_INCLUDE_DIR libyuv.h HINTS ${LibYuv_PC_INCLUDE_DIRS})
find_library(LibYuv_LIBRARY yuv HINTS ${LibYuv_PC_LIBRARY_DIRS})
if(LibYuv_INCLUDE_DIR AND EXISTS ${LibYuv_INCLUDE_DIR}/libyuv/version.h)
  file(STRINGS ${LibYuv_INCLUDE_DIR}/libyuv/version.h _line REGEX "^#define LIBYUV_VERSION [0-9]+")
  string(REGEX MATCH "[0-9]+$" LibYuv_VERSION "${_line}")
endif()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(LibYuv REQUIRED_VARS LibYuv_LIBRARY LibYuv_INCLUDE_DIR
  VERSION_VAR LibYuv_VERSION
  REASON_FAILURE_MESSAGE "install the Debian package libyuv-dev")
if(LibYuv_FOUND AND NOT TARGET LibYuv::yuv)
  add_library(LibYuv::yuv UNKNOWN IMPORTED)
  set_target_properties(LibYuv::yuv PROPERTIES
    IMPORTED_LOCATION "${LibYuv_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${LibYuv_INCLUDE_DIR}")
endif()
mark_as_advanced(LibYuv_INCLUDE_DIR LibYuv_LIBRARY)
