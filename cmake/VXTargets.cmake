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

# vx_configure_test_code(<target>): like vx_configure_target, for what only tests. It is not looked
# through for undefined behaviour: in the many small expectations that takes half of the time to build.
function(vx_configure_test_code target)
  vx_configure_target(${target})
  if(VX_SANITIZE MATCHES "undefined")
    target_compile_options(${target} PRIVATE -fno-sanitize=undefined)
  endif()
endfunction()

# vx_precompile(<target> <header>...): compiles once what nearly all sources of the target include. Only
# under the sanitizers, whose builds come on top of the one that is shipped: there every source still
# has to include what it uses.
function(vx_precompile target)
  if(VX_SANITIZE)
    target_precompile_headers(${target} PRIVATE ${ARGN})
  endif()
endfunction()

# vx_discover_tests(<name> <parts>): makes the tests of a GoogleTest program known to CTest, one by
# one, or with VX_TESTS_IN_PARTS as so many parts of about the same number of tests.
function(vx_discover_tests name parts)
  if(NOT VX_TESTS_IN_PARTS)
    # Without the values: a test is called by the name that it gives each, not by the bytes of it.
    gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST NO_PRETTY_VALUES PROPERTIES TIMEOUT 300)
    return()
  endif()
  foreach(part RANGE 1 ${parts})
    math(EXPR index "${part} - 1")
    add_test(NAME ${name}.${part}of${parts} COMMAND ${name})
    set_tests_properties(${name}.${part}of${parts} PROPERTIES
                         TIMEOUT 300
                         ENVIRONMENT "GTEST_TOTAL_SHARDS=${parts};GTEST_SHARD_INDEX=${index}")
  endforeach()
endfunction()

# vx_add_test(<name> <source>...): one GoogleTest program and its tests; where those run in parts, as
# many as there are sources. What is tested is compiled as it is shipped. The tests themselves are
# not optimized and share one precompiled header (vx_test_main's): that halves the time to build them.
function(vx_add_test name)
  add_executable(${name} ${ARGN})
  vx_configure_test_code(${name})
  target_compile_options(${name} PRIVATE -O0 -g1)
  target_precompile_headers(${name} REUSE_FROM vx_test_main)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/tests)
  target_link_libraries(${name} PRIVATE VXVideoRecorder GTest::gmock vx_test_main)
  list(LENGTH ARGN parts)
  vx_discover_tests(${name} ${parts})
endfunction()

# vx_add_memory_test(<name> <source>... [LIBRARIES <target>...]): like vx_add_test, with an allocator
# that fails on demand (tests/support/failing_memory.h) and therefore a program of its own. Clang's
# thread sanitizer has an allocator that gives way to no other, so its build is without these tests.
function(vx_add_memory_test name)
  if(VX_SANITIZE MATCHES "thread" AND CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    return()
  endif()
  cmake_parse_arguments(PARSE_ARGV 1 memory_test "" "" "LIBRARIES")
  vx_add_test(${name} "${PROJECT_SOURCE_DIR}/tests/support/failing_memory.cpp"
              ${memory_test_UNPARSED_ARGUMENTS})
  target_link_libraries(${name} PRIVATE ${memory_test_LIBRARIES})
endfunction()

# vx_install_program(<target>): a program of the tools, with the manual page NAME.1 and the
# completions NAME.bash, _NAME and NAME.fish that lie in its folder or in completions/ below it.
function(vx_install_program target)
  if(NOT VX_INSTALL)
    return()
  endif()
  # Where it is installed to is known only then, so it always looks for the library beside itself.
  # The Debian packages do without (packaging/remove-search-path.cmake).
  file(RELATIVE_PATH libraries "${CMAKE_INSTALL_FULL_BINDIR}" "${CMAKE_INSTALL_FULL_LIBDIR}")
  set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN/${libraries}")
  install(TARGETS ${target} COMPONENT tools)
  set(folder "${CMAKE_CURRENT_SOURCE_DIR}")
  file(GLOB pages CONFIGURE_DEPENDS "${folder}/${target}.1" "${folder}/man/${target}.1")
  foreach(page IN LISTS pages)
    set(compressed "${CMAKE_CURRENT_BINARY_DIR}/${target}.1.gz")
    add_custom_command(OUTPUT "${compressed}" DEPENDS "${page}" VERBATIM
                       COMMAND sh -c "gzip -9nc \"$0\" >\"$1\"" "${page}" "${compressed}")
    add_custom_target(${target}_manual ALL DEPENDS "${compressed}")
    install(FILES "${compressed}" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT tools)
  endforeach()
  foreach(pair IN ITEMS "${target}.bash,bash-completion/completions,${target}"
                        "_${target},zsh/vendor-completions,_${target}"
                        "${target}.fish,fish/vendor_completions.d,${target}.fish")
    string(REPLACE "," ";" pair "${pair}")
    list(GET pair 0 name)
    list(GET pair 1 place)
    list(GET pair 2 installed)
    file(GLOB files CONFIGURE_DEPENDS "${folder}/${name}" "${folder}/completions/${name}")
    foreach(file IN LISTS files)
      install(FILES "${file}" DESTINATION "${CMAKE_INSTALL_DATADIR}/${place}"
              RENAME "${installed}" COMPONENT tools)
    endforeach()
  endforeach()
endfunction()
