# Debian packages: `cpack` in a build folder that was configured with the preset "package".
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VENDOR "VXVideoRecorder")
set(CPACK_PACKAGE_CONTACT "VXVideoRecorder maintainers <maintainers@users.noreply.github.com>"
    CACHE STRING "Name and address of whoever maintains the packages")
set(CPACK_PACKAGING_INSTALL_PREFIX "${CMAKE_INSTALL_PREFIX}")
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS "${PROJECT_SOURCE_DIR}/packaging/remove-search-path.cmake")
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(vx_debian_version "${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}")
set(vx_library_package "libvxvideorecorder${PROJECT_VERSION_MAJOR}")

set(CPACK_COMPONENTS_ALL library development shared static)
if(TARGET vxrecord)
  list(APPEND CPACK_COMPONENTS_ALL tools)
endif()
set(CPACK_COMPONENT_LIBRARY_GROUP library)
foreach(component IN ITEMS DEVELOPMENT SHARED STATIC)
  set(CPACK_COMPONENT_${component}_GROUP development)
endforeach()
set(CPACK_COMPONENT_TOOLS_GROUP tools)

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME "${vx_library_package}")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA "${PROJECT_SOURCE_DIR}/packaging/triggers")
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION
"recorder of a display stream into crash-safe MP4
A library that a desktop application loads to record the display stream that
it decodes and shows: H.264 video in which every frame lasts as long as the
screen showed it, and an optional AAC track. The file can be opened at any
moment while it grows, also after a crash.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libvxvideorecorder-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
"recorder of a display stream into crash-safe MP4 (development files)
A library that a desktop application loads to record the display stream that
it decodes and shows. This package has the headers for C++ and C, the static
library, and what CMake and pkg-config need to find it.")
# Whoever links the archive needs the development files of all that it calls; pkg-config asks for
# them even where the shared library is linked.
execute_process(COMMAND "${PROJECT_SOURCE_DIR}/packaging/development-packages"
                        "${LibYuv_LIBRARY}" ${vx_modules}
                OUTPUT_VARIABLE vx_development_packages OUTPUT_STRIP_TRAILING_WHITESPACE
                COMMAND_ERROR_IS_FATAL ANY)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "${vx_library_package} (= ${vx_debian_version}), ${vx_development_packages}")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME vxvideorecorder-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION video)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_BINARY_DIR}/src")
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${vx_library_package} (= ${vx_debian_version})")
set(CPACK_DEBIAN_TOOLS_DESCRIPTION
"recorder of a display stream into crash-safe MP4 (programs)
vxrecord records a file, an address, a live X display or a test picture into
an MP4 file that can be opened at any moment while it grows. vxrepair completes
recordings that were broken off.")

# What Debian's policy wants beside the files.
foreach(pair IN ITEMS "library;${vx_library_package}" "development;libvxvideorecorder-dev"
                      "tools;vxvideorecorder-tools")
  list(GET pair 0 component)
  list(GET pair 1 package)
  if(component STREQUAL "tools" AND NOT TARGET vxrecord)
    continue()
  endif()
  set(documents "${PROJECT_BINARY_DIR}/packaging/${package}")
  execute_process(COMMAND "${PROJECT_SOURCE_DIR}/packaging/write-documents"
                          "${PROJECT_SOURCE_DIR}" "${documents}" "${package}"
                          "${vx_debian_version}" "${CPACK_PACKAGE_CONTACT}"
                  COMMAND_ERROR_IS_FATAL ANY)
  install(DIRECTORY "${documents}/" DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${package}"
          COMPONENT ${component})
endforeach()
include(CPack)
