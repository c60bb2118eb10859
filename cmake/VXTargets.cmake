# How every target of the project is compiled, and the short forms for tests.
find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)

# vx_configure_target(<target>): language, warnings, sanitizers.
function(vx_configure_target target)
  target_compile_features(${target} PUBLIC cxx_std_20)
  set_target_properties(${target} PROPERTIES C_STANDARD 11 C_EXTENSIONS OFF)
  set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion
                                           -Wno-sign-conversion)
  if(VX_WARNINGS_AS_ERRORS)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  if(VX_SANITIZE)
    target_compile_options(${target} PUBLIC -fsanitize=${VX_SANITIZE} -fno-omit-frame-pointer
                                            -fno-sanitize-recover=all)
    target_link_options(${target} PUBLIC -fsanitize=${VX_SANITIZE})
    # GCC's own manual warns that its sanitizers make it see uninitialised values that are not.
    target_compile_options(${target} PRIVATE
                           $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  endif()
endfunction()

# vx_add_test(<name> <source>...): one GoogleTest program; its tests run one by one under CTest.
function(vx_add_test name)
  add_executable(${name} ${ARGN})
  vx_configure_target(${name})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/tests)
  target_link_libraries(${name} PRIVATE VXVideoRecorder GTest::gmock GTest::gtest_main)
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST PROPERTIES TIMEOUT 300)
endfunction()
