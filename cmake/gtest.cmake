# GoogleTest is compiled from its sources, with this build's compiler and
# sanitizers. Two files are all of it.
set(LAUNCHER_GOOGLETEST_DIR
    /usr/src/googletest
    CACHE PATH "Folder with GoogleTest's sources (Debian: package googletest)")
if(NOT EXISTS "${LAUNCHER_GOOGLETEST_DIR}/googletest/src/gtest-all.cc")
  message(FATAL_ERROR "No GoogleTest sources in ${LAUNCHER_GOOGLETEST_DIR}: set "
                      "LAUNCHER_GOOGLETEST_DIR, or LAUNCHER_BUILD_TESTS=OFF")
endif()

find_package(Threads REQUIRED)
add_library(launcher_gtest STATIC EXCLUDE_FROM_ALL
  "${LAUNCHER_GOOGLETEST_DIR}/googletest/src/gtest-all.cc"
  "${LAUNCHER_GOOGLETEST_DIR}/googlemock/src/gmock-all.cc"
  "${LAUNCHER_GOOGLETEST_DIR}/googlemock/src/gmock_main.cc")
target_include_directories(launcher_gtest SYSTEM
  PUBLIC "${LAUNCHER_GOOGLETEST_DIR}/googletest/include"
         "${LAUNCHER_GOOGLETEST_DIR}/googlemock/include")
target_include_directories(launcher_gtest
  PRIVATE "${LAUNCHER_GOOGLETEST_DIR}/googletest" "${LAUNCHER_GOOGLETEST_DIR}/googlemock")
target_link_libraries(launcher_gtest PUBLIC Threads::Threads)
# Compiled here once, for the test programs to use. GCC takes it only with the same
# -Wpedantic; GoogleTest's own warnings are not this project's.
if(NOT MSVC)
  target_compile_options(launcher_gtest PRIVATE -Wpedantic -w)
endif()
target_precompile_headers(launcher_gtest PRIVATE <gmock/gmock.h> <gtest/gtest.h>)
set_source_files_properties(
  "${LAUNCHER_GOOGLETEST_DIR}/googletest/src/gtest-all.cc"
  "${LAUNCHER_GOOGLETEST_DIR}/googlemock/src/gmock-all.cc"
  PROPERTIES SKIP_PRECOMPILE_HEADERS ON)

# launcher_add_gtest(<target> [SHARDS <n>] [TIMEOUT <seconds>] [EXCLUSIVE] [GUARDED] [LEFT_OUT <pattern>])
#
# Runs the tests of an executable as <n> ctest entries, each a process with its
# share of the tests: a process for every single test would cost more than the
# tests. EXCLUSIVE entries use what there is once per Windows installation (the
# registry, pipe names, the list of processes) and never run at the same time. GUARDED adds a second run
# in which every block of memory ends at a page that cannot be accessed (tests/support/guard_pages.h),
# without the tests of other programs and those that let one allocation fail after the other. LEFT_OUT names
# tests that say nothing about this build, for GoogleTest's filter.
function(launcher_add_gtest target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "EXCLUSIVE;GUARDED" "SHARDS;TIMEOUT;LEFT_OUT" "")
  if(NOT arg_SHARDS)
    set(arg_SHARDS 1)
  endif()
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 120)
  endif()
  math(EXPR last "${arg_SHARDS} - 1")
  set(runs ${target})
  if(arg_GUARDED)
    list(APPEND runs guarded.${target})
  endif()
  foreach(run IN LISTS runs)
    foreach(shard RANGE ${last})
      set(name "${LAUNCHER_TEST_PREFIX}${run}.${shard}")
      set(environment GTEST_TOTAL_SHARDS=${arg_SHARDS} GTEST_SHARD_INDEX=${shard})
      set(left_out ${arg_LEFT_OUT})
      if(run MATCHES "^guarded")
        list(APPEND environment LAUNCHER_GUARD_PAGES=1)
        list(APPEND left_out "*Fault*" "DemoHost*" "Kit*")
      endif()
      if(left_out)
        list(JOIN left_out ":" pattern)
        list(APPEND environment "GTEST_FILTER=-${pattern}")
      endif()
      add_test(NAME ${name} COMMAND ${target})
      set_tests_properties(${name} PROPERTIES ENVIRONMENT "${environment}" TIMEOUT ${arg_TIMEOUT})
      if(arg_EXCLUSIVE)
        set_tests_properties(${name} PROPERTIES RESOURCE_LOCK windows_installation)
      endif()
    endforeach()
  endforeach()
endfunction()
