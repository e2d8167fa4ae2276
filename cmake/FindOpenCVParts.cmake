# Single OpenCV modules, which Debian packages without their CMake files. Each requested component
# becomes a target such as OpenCVParts::imgproc.
find_path(OpenCVParts_INCLUDE_DIR opencv2/core.hpp PATH_SUFFIXES opencv4)
find_path(OpenCVParts_CONFIG_DIR opencv2/cvconfig.h PATH_SUFFIXES opencv4)
set(_opencv_packages "")
foreach(_part IN LISTS OpenCVParts_FIND_COMPONENTS)
  find_library(OpenCVParts_${_part}_LIBRARY opencv_${_part})
  mark_as_advanced(OpenCVParts_${_part}_LIBRARY)
  string(APPEND _opencv_packages " libopencv-${_part}-dev")
  if(OpenCVParts_${_part}_LIBRARY AND OpenCVParts_INCLUDE_DIR)
    set(OpenCVParts_${_part}_FOUND TRUE)
    if(NOT TARGET OpenCVParts::${_part})
      add_library(OpenCVParts::${_part} UNKNOWN IMPORTED)
      set_target_properties(OpenCVParts::${_part} PROPERTIES
        IMPORTED_LOCATION "${OpenCVParts_${_part}_LIBRARY}"
        INTERFACE_INCLUDE_DIRECTORIES
          "${OpenCVParts_INCLUDE_DIR};$<$<BOOL:${OpenCVParts_CONFIG_DIR}>:${OpenCVParts_CONFIG_DIR}>")
    endif()
  endif()
endforeach()
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(OpenCVParts REQUIRED_VARS OpenCVParts_INCLUDE_DIR
  HANDLE_COMPONENTS
  REASON_FAILURE_MESSAGE "install the Debian packages${_opencv_packages}")
mark_as_advanced(OpenCVParts_INCLUDE_DIR OpenCVParts_CONFIG_DIR)
