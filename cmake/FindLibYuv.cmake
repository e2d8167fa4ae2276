# libyuv: the frame operations of src/frame.
find_path(LibYuv_INCLUDE_DIR libyuv.h)
find_library(LibYuv_LIBRARY yuv)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(LibYuv REQUIRED_VARS LibYuv_LIBRARY LibYuv_INCLUDE_DIR
  REASON_FAILURE_MESSAGE "install the Debian package libyuv-dev")
if(LibYuv_FOUND AND NOT TARGET LibYuv::yuv)
  add_library(LibYuv::yuv UNKNOWN IMPORTED)
  set_target_properties(LibYuv::yuv PROPERTIES
    IMPORTED_LOCATION "${LibYuv_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${LibYuv_INCLUDE_DIR}")
endif()
mark_as_advanced(LibYuv_INCLUDE_DIR LibYuv_LIBRARY)
