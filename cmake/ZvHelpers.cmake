# What every target of the tree shares: the warnings, and one way to declare a test.

add_library(zv_warnings INTERFACE)
target_compile_options(zv_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wvla -Wundef
                       $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual>
                       # g++ 12 warns of overlapping copies inside std::string's operator+, falsely
                       $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)

option(ZV_TESTS_ONE_BY_ONE "Make each case of a test program a CTest case of its own" ON)

# zv_add_test(NAME SOURCES a.cpp b.cpp LIBRARIES x y [PROPERTIES ...])
# One GoogleTest program whose cases become CTest cases "NAME.Suite.Case", so that they run in
# parallel and in any order; or, under the sanitizers, where starting a program is dear, one case.
function(zv_add_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES;PROPERTIES" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name} PRIVATE ${ARG_LIBRARIES} GTest::gtest GTest::gtest_main zv_warnings)
  if(ZV_TESTS_ONE_BY_ONE)
    gtest_discover_tests(${name} TEST_PREFIX "${name}." DISCOVERY_TIMEOUT 60
                         PROPERTIES TIMEOUT 300 ${ARG_PROPERTIES})
  else()
    add_test(NAME ${name} COMMAND ${name})
    set_tests_properties(${name} PROPERTIES TIMEOUT 900 ${ARG_PROPERTIES})
  endif()
endfunction()
