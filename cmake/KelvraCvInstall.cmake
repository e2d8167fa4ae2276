# Installs the library, its header, the CMake package and the pkg-config file. Both find the rest of
# an installation relative to themselves: it may be installed under any prefix and moved.
include(CMakePackageConfigHelpers)

install(TARGETS kelvra_cv EXPORT kelvra_cv
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
install(FILES ${PROJECT_SOURCE_DIR}/include/kelvra_cv.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  COMPONENT development)

set(kelvra_cv_cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/kelvra_cv)
install(EXPORT kelvra_cv NAMESPACE kelvra_cv:: FILE kelvra_cv-targets.cmake
  DESTINATION ${kelvra_cv_cmake_dir} COMPONENT development)
get_target_property(type kelvra_cv TYPE)
if(type STREQUAL "STATIC_LIBRARY")
  set(kelvra_cv_is_static TRUE)
endif()
configure_package_config_file(
  ${PROJECT_SOURCE_DIR}/cmake/kelvra_cv-config.cmake.in
  ${PROJECT_BINARY_DIR}/kelvra_cv-config.cmake
  INSTALL_DESTINATION ${kelvra_cv_cmake_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/kelvra_cv-config-version.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/kelvra_cv-config.cmake
  ${PROJECT_BINARY_DIR}/kelvra_cv-config-version.cmake
  ${PROJECT_SOURCE_DIR}/cmake/kelvra_cv-parts.cmake
  # A static library leaves its own dependencies to the consumer, who finds them the way we do.
  ${PROJECT_SOURCE_DIR}/cmake/FindLibYuv.cmake
  ${PROJECT_SOURCE_DIR}/cmake/FindOpenCVParts.cmake
  DESTINATION ${kelvra_cv_cmake_dir} COMPONENT development)

# Folders are relative to the prefix unless a distribution gave absolute ones.
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
set(pc_prefix ${CMAKE_INSTALL_PREFIX})
if(NOT IS_ABSOLUTE ${pkgconfig_dir})
  file(RELATIVE_PATH up /${pkgconfig_dir} /)
  string(REGEX REPLACE "/$" "" up ${up})
  set(pc_prefix "\${pcfiledir}/${up}")
endif()
foreach(dir LIBDIR INCLUDEDIR)
  set(pc_${dir} ${CMAKE_INSTALL_${dir}})
  if(NOT IS_ABSOLUTE ${pc_${dir}})
    set(pc_${dir} "\${prefix}/${pc_${dir}}")
  endif()
endforeach()
configure_file(${PROJECT_SOURCE_DIR}/cmake/kelvra_cv.pc.in ${PROJECT_BINARY_DIR}/kelvra_cv.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kelvra_cv.pc DESTINATION ${pkgconfig_dir}
  COMPONENT development)
