# Tests: velp_add_test(NAME LABEL [TIMEOUT seconds] sources...) makes one GoogleTest program and
# registers its cases. A case that hangs is ended after 120 seconds, or after the time-out given.
# Programs with a time-out of their own are slow: they start first, so that nothing waits for them.
#
# Test programs link the libraries' objects statically, so that they reach what the shared libraries
# hide and can wrap system calls with -Wl,--wrap.

if(VELP_GTEST_FROM_SOURCE)
  set(INSTALL_GTEST OFF)
  add_subdirectory(/usr/src/googletest ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
else()
  find_package(GTest REQUIRED)
endif()
include(GoogleTest)

function(velp_add_test name label)
  cmake_parse_arguments(PARSE_ARGV 2 test "" TIMEOUT "")
  set(limits TIMEOUT 120)
  if(test_TIMEOUT)
    set(limits TIMEOUT ${test_TIMEOUT} COST ${test_TIMEOUT})
  endif()
  add_executable(${name} ${test_UNPARSED_ARGUMENTS})
  target_link_libraries(${name} PRIVATE
    velp_options velpmsg_testing velp_test_support GTest::gmock_main)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/tests)
  if(VELP_COVERAGE)
    target_sources(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests/support/keepCounters.cpp)
    target_link_options(${name} PRIVATE
      -Wl,--wrap=abort -Wl,--wrap=_exit -Wl,--wrap=_Exit)
  endif()
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 DISCOVERY_MODE PRE_TEST
    PROPERTIES LABELS ${label} ${limits})
endfunction()
