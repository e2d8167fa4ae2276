# Targets for programs that use a part of the static library and link only what that part needs. A
# static library's linker takes the object files that a program refers to.
if(NOT TARGET kelvra_cv::core)
  foreach(part core frames contours)
    add_library(kelvra_cv::${part} INTERFACE IMPORTED ${kelvra_cv_parts_scope})
  endforeach()
  get_target_property(kelvra_cv_type kelvra_cv::kelvra_cv TYPE)
  if(kelvra_cv_type STREQUAL "STATIC_LIBRARY")
    target_compile_features(kelvra_cv::core INTERFACE cxx_std_17)
    target_include_directories(kelvra_cv::core INTERFACE
      $<TARGET_PROPERTY:kelvra_cv::kelvra_cv,INTERFACE_INCLUDE_DIRECTORIES>)
    target_link_libraries(kelvra_cv::core INTERFACE
      $<TARGET_FILE:kelvra_cv::kelvra_cv> Threads::Threads)
    # After them, as linkers read archives in order.
    target_link_libraries(kelvra_cv::frames INTERFACE kelvra_cv::core LibYuv::yuv)
    target_link_libraries(kelvra_cv::contours INTERFACE
      kelvra_cv::core OpenCVParts::imgproc OpenCVParts::core)
  else()
    target_link_libraries(kelvra_cv::core INTERFACE kelvra_cv::kelvra_cv)
    target_link_libraries(kelvra_cv::frames INTERFACE kelvra_cv::kelvra_cv)
    target_link_libraries(kelvra_cv::contours INTERFACE kelvra_cv::kelvra_cv)
  endif()
endif()
