# Installs the library, its header, the CMake package and the pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS kelvra_cv EXPORT kelvra_cv
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES ${PROJECT_SOURCE_DIR}/include/kelvra_cv.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

set(kelvra_cv_cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/kelvra_cv)
install(EXPORT kelvra_cv NAMESPACE kelvra_cv:: FILE kelvra_cv-targets.cmake
  DESTINATION ${kelvra_cv_cmake_dir})
configure_package_config_file(
  ${PROJECT_SOURCE_DIR}/cmake/kelvra_cv-config.cmake.in
  ${PROJECT_BINARY_DIR}/kelvra_cv-config.cmake
  INSTALL_DESTINATION ${kelvra_cv_cmake_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/kelvra_cv-config-version.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/kelvra_cv-config.cmake
  ${PROJECT_BINARY_DIR}/kelvra_cv-config-version.cmake
  DESTINATION ${kelvra_cv_cmake_dir})
# A static library leaves its own dependencies to the consumer, who finds them the way we do.
install(FILES
  ${PROJECT_SOURCE_DIR}/cmake/FindLibYuv.cmake
  ${PROJECT_SOURCE_DIR}/cmake/FindOpenCVParts.cmake
  DESTINATION ${kelvra_cv_cmake_dir})

configure_file(${PROJECT_SOURCE_DIR}/cmake/kelvra_cv.pc.in ${PROJECT_BINARY_DIR}/kelvra_cv.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kelvra_cv.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
