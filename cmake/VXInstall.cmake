# What is installed, by component: library, development, static and tools. Nothing that is installed
# knows the place that it was installed to, so the folder may be moved as a whole.
include(CMakePackageConfigHelpers)

set(vx_config_folder "${CMAKE_INSTALL_LIBDIR}/cmake/VXVideoRecorder")
set(vx_pkgconfig_folder "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

if(TARGET VXVideoRecorder_shared)
  install(TARGETS VXVideoRecorder_shared EXPORT VXVideoRecorder-shared
          LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT library
                  NAMELINK_COMPONENT shared)
  install(EXPORT VXVideoRecorder-shared NAMESPACE VXVideoRecorder:: COMPONENT shared
          DESTINATION "${vx_config_folder}" FILE VXVideoRecorder-shared-targets.cmake)
endif()
if(TARGET VXVideoRecorder_static)
  install(TARGETS VXVideoRecorder_static EXPORT VXVideoRecorder-static
          ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT static)
  install(EXPORT VXVideoRecorder-static NAMESPACE VXVideoRecorder:: COMPONENT static
          DESTINATION "${vx_config_folder}" FILE VXVideoRecorder-static-targets.cmake)
  install(FILES "${PROJECT_SOURCE_DIR}/cmake/FindLibYuv.cmake" COMPONENT static
          DESTINATION "${vx_config_folder}")
endif()

install(DIRECTORY "${PROJECT_SOURCE_DIR}/include/" COMPONENT development
        DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" FILES_MATCHING PATTERN "*.h")

string(REPLACE ";" " " vx_modules_text "${vx_modules}")
string(REPLACE ";" " " vx_libraries_text "${VXVideoRecorder_DEPENDENCIES_LDFLAGS}")
file(RELATIVE_PATH vx_prefix_from_pkgconfig "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig"
     "${CMAKE_INSTALL_PREFIX}")
configure_file("${PROJECT_SOURCE_DIR}/cmake/vxvideorecorder.pc.in" vxvideorecorder.pc @ONLY)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/vxvideorecorder.pc" COMPONENT development
        DESTINATION "${vx_pkgconfig_folder}")

configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/VXVideoRecorderConfig.cmake.in"
                              "${CMAKE_CURRENT_BINARY_DIR}/VXVideoRecorderConfig.cmake"
                              INSTALL_DESTINATION "${vx_config_folder}"
                              NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file("${CMAKE_CURRENT_BINARY_DIR}/VXVideoRecorderConfigVersion.cmake"
                                 COMPATIBILITY SameMajorVersion)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/VXVideoRecorderConfig.cmake"
              "${CMAKE_CURRENT_BINARY_DIR}/VXVideoRecorderConfigVersion.cmake"
        COMPONENT development DESTINATION "${vx_config_folder}")
