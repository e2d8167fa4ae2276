# Single OpenCV modules. Each requested component becomes a target such as OpenCVParts::imgproc: out
# of OpenCV's own CMake package where there is one, else by the modules' headers and libraries, which
# Debian packages one by one without CMake files.
find_package(OpenCV CONFIG QUIET COMPONENTS ${OpenCVParts_FIND_COMPONENTS})
if(OpenCV_FOUND)
  set(OpenCVParts_VERSION ${OpenCV_VERSION})
  set(OpenCVParts_INCLUDE_DIR ${OpenCV_INCLUDE_DIRS})
else()
  find_path(OpenCVParts_INCLUDE_DIR opencv2/core.hpp PATH_SUFFIXES opencv4)
  find_path(OpenCVParts_CONFIG_DIR opencv2/cvconfig.h PATH_SUFFIXES opencv4)
  mark_as_advanced(OpenCVParts_INCLUDE_DIR OpenCVParts_CONFIG_DIR)
  set(_opencv_version ${OpenCVParts_INCLUDE_DIR}/opencv2/core/version.hpp)
  if(EXISTS ${_opencv_version})
    file(STRINGS ${_opencv_version} _lines
         REGEX "^#define CV_VERSION_(MAJOR|MINOR|REVISION) +[0-9]+")
    string(REGEX MATCHALL "[0-9]+" _numbers "${_lines}")
    list(JOIN _numbers "." OpenCVParts_VERSION)
  endif()
endif()

set(_opencv_packages "")
foreach(_part IN LISTS OpenCVParts_FIND_COMPONENTS)
  string(APPEND _opencv_packages " libopencv-${_part}-dev")
  if(TARGET opencv_${_part})
    set(OpenCVParts_${_part}_FOUND TRUE)
    if(NOT TARGET OpenCVParts::${_part})
      add_library(OpenCVParts::${_part} INTERFACE IMPORTED)
      set_target_properties(OpenCVParts::${_part} PROPERTIES
        INTERFACE_LINK_LIBRARIES opencv_${_part}
        INTERFACE_INCLUDE_DIRECTORIES "${OpenCVParts_INCLUDE_DIR}")
    endif()
  else()
    find_library(OpenCVParts_${_part}_LIBRARY opencv_${_part})
    mark_as_advanced(OpenCVParts_${_part}_LIBRARY)
  endif()
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
  VERSION_VAR OpenCVParts_VERSION HANDLE_VERSION_RANGE HANDLE_COMPONENTS
  REASON_FAILURE_MESSAGE "install the Debian packages${_opencv_packages}")
