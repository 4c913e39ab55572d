# What every target of the tree shares: the warnings, and one way to declare a test.

add_library(zv_warnings INTERFACE)
target_compile_options(zv_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wvla -Wundef
                       $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual>
                       # g++ 12 warns of overlapping copies inside std::string's operator+, falsely
                       $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)

# What users get is compiled with more of them. Casts of a message's body to its record are not among
# what is warned of: the RPC library hands bodies over aligned for any record.
add_library(zv_strict_warnings INTERFACE)
target_link_libraries(zv_strict_warnings INTERFACE zv_warnings)
target_compile_options(zv_strict_warnings INTERFACE -Wconversion -Wsign-conversion -Wcast-qual -Wformat=2
                       -Wdouble-promotion -Wimplicit-fallthrough
                       $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast -Wextra-semi -Wmissing-declarations>
                       $<$<CXX_COMPILER_ID:GNU>:-Wduplicated-cond -Wduplicated-branches -Wlogical-op>
                       # clang does not see that these functions are declared to take a format
                       $<$<CXX_COMPILER_ID:Clang>:-Wno-format-nonliteral>)

# The daemon's parts are small and call each other for every rule of a batch: linked as one program, a
# write of 20 rules takes a fifth fewer instructions. Its libraries carry ordinary code too, for the tests.
set(zv_release_gcc $<AND:$<CONFIG:Release>,$<CXX_COMPILER_ID:GNU>>)
add_library(zv_one_program INTERFACE)
target_compile_options(zv_one_program INTERFACE $<${zv_release_gcc}:-flto=auto;-ffat-lto-objects>)

option(ZV_WERROR "Let warnings end the build: for those who develop, with the compilers of Debian 12" OFF)
if(ZV_WERROR)
  add_compile_options(-Werror)
endif()

# Two libraries made of headers, for JSON and for command lines, are most of what compiles here, again in
# every file that uses them: the files of such a target are compiled together, in a third of the time.
option(ZV_COMPILE_TOGETHER "Compile the files of some targets together: the whole builds sooner" ON)
# zv_compile_together(TARGET [FILES]): in batches of that many, in the order they are listed.
function(zv_compile_together target)
  set(files 0) # all
  if(ARGC GREATER 1)
    set(files ${ARGV1})
  endif()
  set_target_properties(${target} PROPERTIES UNITY_BUILD ${ZV_COMPILE_TOGETHER} UNITY_BUILD_BATCH_SIZE ${files})
endfunction()

option(ZV_TESTS_ONE_BY_ONE "Make each case of a test program a CTest case of its own" ON)

# zv_add_test(NAME SOURCES a.cpp b.cpp LIBRARIES x y [PROPERTIES ...])
# One GoogleTest program whose cases become CTest cases "NAME.Suite.Case", so that they run in
# parallel and in any order; or, under the sanitizers, where starting a program is dear, one case.
function(zv_add_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES;PROPERTIES" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  zv_compile_together(${name} 4)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name} PRIVATE ${ARG_LIBRARIES} GTest::gtest GTest::gtest_main zv_warnings)
  if(TARGET zv_test_headers AND NOT ARG_SOURCES MATCHES "[.]c(;|$)")
    target_precompile_headers(${name} REUSE_FROM zv_test_headers)
    target_link_libraries(${name} PRIVATE zv_json_once)
  endif()
  if(ZV_TESTS_ONE_BY_ONE)
    gtest_discover_tests(${name} TEST_PREFIX "${name}." DISCOVERY_TIMEOUT 60
                         PROPERTIES TIMEOUT 300 ${ARG_PROPERTIES})
  else()
    add_test(NAME ${name} COMMAND ${name})
    set_tests_properties(${name} PROPERTIES TIMEOUT 900 ${ARG_PROPERTIES})
  endif()
endfunction()
