# Debian packages, by `cpack -G DEB` in a build with the preset `package`: the library, what developers need
# beside it and, where they are built, the command line and the Python package.

set(CPACK_PACKAGE_NAME kelvra-cv)
set(CPACK_PACKAGE_CONTACT "The kelvra_cv developers <kelvra-cv@localhost>")
set(CPACK_PACKAGE_VENDOR "kelvra_cv")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_COMPONENTS_ALL runtime development)

set(kelvra_cv_package libkelvra-cv${PROJECT_VERSION_MAJOR})
set(kelvra_cv_this_version "${kelvra_cv_package} (= ${PROJECT_VERSION}-1)")

# kelvra_cv_debian(COMPONENT PACKAGE SECTION DEPENDS CONTENTS)
macro(kelvra_cv_debian component package section depends contents)
  string(TOUPPER ${component} name)
  set(CPACK_DEBIAN_${name}_PACKAGE_NAME ${package})
  set(CPACK_DEBIAN_${name}_PACKAGE_SECTION ${section})
  set(CPACK_DEBIAN_${name}_PACKAGE_DEPENDS "${depends}")
  set(CPACK_DEBIAN_${name}_DESCRIPTION "${contents}")
endmacro()

kelvra_cv_debian(runtime ${kelvra_cv_package} libs ""
  "The shared library.")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
# Packages that link the library learn from this file which version of it they need.
file(STRINGS ${PROJECT_SOURCE_DIR}/tests/install/symbols.txt exported)
set(va_list P13__va_list_tag)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "aarch64|arm64")
  set(va_list St9__va_list)
endif()
list(TRANSFORM exported REPLACE "VA_LIST" ${va_list})
list(TRANSFORM exported REPLACE "(.*)@@(.*)" " \\1@\\2 ${PROJECT_VERSION}")
list(JOIN exported "\n" exported)
file(WRITE ${PROJECT_BINARY_DIR}/debian/symbols
  "libkelvra_cv.so.${PROJECT_VERSION_MAJOR} ${kelvra_cv_package} #MINVER#\n"
  " KELVRA_CV_${PROJECT_VERSION_MAJOR}@KELVRA_CV_${PROJECT_VERSION_MAJOR} ${PROJECT_VERSION}\n${exported}\n")
# The same in short. CPack would write a line for each level's library.
file(WRITE ${PROJECT_BINARY_DIR}/debian/shlibs
  "libkelvra_cv ${PROJECT_VERSION_MAJOR} ${kelvra_cv_this_version}\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
  ${PROJECT_BINARY_DIR}/debian/symbols ${PROJECT_BINARY_DIR}/debian/shlibs)

kelvra_cv_debian(development libkelvra-cv-dev libdevel "${kelvra_cv_this_version}"
  "The header, the CMake package and the pkg-config file, for programs that link the library.")

# What is installed beside the library is linked to it as it lies in the build folder.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/src)
if(TARGET kelvra)
  list(APPEND CPACK_COMPONENTS_ALL tool)
  kelvra_cv_debian(tool kelvra graphics "${kelvra_cv_this_version}"
    "The command line, with its manual page and completions for bash and zsh.")
  set(CPACK_DEBIAN_TOOL_PACKAGE_SHLIBDEPS ON)
endif()
if(TARGET kelvra_cv_python)
  list(APPEND CPACK_COMPONENTS_ALL python)
  get_directory_property(minor DIRECTORY ${PROJECT_SOURCE_DIR}/python DEFINITION Python_VERSION_MINOR)
  math(EXPR next "${minor} + 1")
  set(this_python "python3 (>= 3.${minor}), python3 (<< 3.${next}~)")
  kelvra_cv_debian(python python3-kelvra-cv python
    "${kelvra_cv_this_version}, ${this_python}, python3-numpy"
    "The Python package, over numpy arrays.")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SHLIBDEPS ON)
  # Python's byte code comes and goes with the package.
  set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA
    ${PROJECT_SOURCE_DIR}/packaging/debian/postinst ${PROJECT_SOURCE_DIR}/packaging/debian/prerm)
  set(python_dir lib/python3/dist-packages/kelvra_cv)
  install(TARGETS kelvra_cv_python LIBRARY DESTINATION ${python_dir} COMPONENT python)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/python/kelvra_cv/ DESTINATION ${python_dir} COMPONENT python
    FILES_MATCHING PATTERN "*.py" PATTERN "*.pyi" PATTERN "py.typed" PATTERN "__pycache__" EXCLUDE)
endif()
include(CPack)
