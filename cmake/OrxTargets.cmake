# Settings that every target of this project shares, and the helpers that rooms use.

# Warnings, as errors; sanitizers; nothing else that would differ between rooms.
add_library(orx_settings INTERFACE)
target_compile_options(orx_settings INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
if(ORX_SANITIZE STREQUAL "address")
  # The vptr check needs RTTI, which the libraries are built without; tests use their classes.
  target_compile_options(orx_settings INTERFACE
    -fsanitize=address,undefined -fno-sanitize=vptr -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(orx_settings INTERFACE -fsanitize=address,undefined)
elseif(ORX_SANITIZE STREQUAL "thread")
  target_compile_options(orx_settings INTERFACE -fsanitize=thread -fno-omit-frame-pointer)
  target_link_options(orx_settings INTERFACE -fsanitize=thread)
endif()

# Fuzzing is led by what the code under test does, not by the tests that share it.
if(ORX_BUILD_FUZZ)
  target_compile_options(orx_settings INTERFACE
    $<$<NOT:$<BOOL:$<TARGET_PROPERTY:ORX_TEST>>>:-fsanitize=fuzzer-no-link>)
endif()

# The libraries proper: no exceptions, no RTTI.
add_library(orx_library_settings INTERFACE)
target_link_libraries(orx_library_settings INTERFACE orx_settings)
target_compile_options(orx_library_settings INTERFACE
  $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti>)
target_compile_definitions(orx_library_settings INTERFACE
  $<$<CONFIG:Debug>:ZDDS_LOCK_ORDER_CHECK=1>)

# orx_settings_of_test(TARGET): what is under test is compiled as ever, the tests themselves as fast as can be; a stack
# trace tells lines. Their precompiled headers are taken by the compiler cache only when told.
function(orx_settings_of_test target)
  target_link_libraries(${target} PRIVATE orx_settings GTest::gtest GTest::gmock Threads::Threads)
  target_compile_options(${target} PRIVATE -O0 -g1
    $<$<AND:$<COMPILE_LANGUAGE:CXX>,$<CXX_COMPILER_ID:Clang>>:SHELL:-Xclang -fno-pch-timestamp>)
  set_target_properties(${target} PROPERTIES ORX_TEST ON)
  if(CMAKE_CXX_COMPILER_LAUNCHER STREQUAL "ccache")
    set_target_properties(${target} PROPERTIES
      CXX_COMPILER_LAUNCHER "env;CCACHE_SLOPPINESS=pch_defines,time_macros;ccache")
  endif()
endfunction()

# orx_room_sources(TARGET SOURCES...): the sources of a room, added to the library TARGET it belongs to.
function(orx_room_sources target)
  list(TRANSFORM ARGN PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/ OUTPUT_VARIABLE sources)
  target_sources(${target} PRIVATE ${sources})
endfunction()

# orx_add_test(NAME SOURCES... [LIBS ...] [LABELS ...] [TIMEOUT seconds] [SLOTS count] [SECONDS count] [NO_MAIN]): one
# GoogleTest program. Of the machine's eight SLOTS so many are its own while it runs: half of them unless told; a
# program that waits nearly all of its time needs few. Those that take the most SECONDS start first.
function(orx_add_test name)
  if(NOT ORX_BUILD_TESTS)
    return()
  endif()
  cmake_parse_arguments(arg "NO_MAIN" "TIMEOUT;SLOTS;SECONDS" "SOURCES;LIBS;LABELS" ${ARGN})
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 300)
  endif()
  if(NOT arg_SLOTS)
    set(arg_SLOTS 4)
  endif()
  # What only waits otherwise is at work for longer under a sanitizer, and for most of its time under that of threads.
  if(arg_SLOTS EQUAL 2 AND ORX_SANITIZE STREQUAL "thread")
    set(arg_SLOTS 4)
  elseif(arg_SLOTS EQUAL 2 AND ORX_SANITIZE)
    set(arg_SLOTS 3)
  endif()
  if(NOT arg_SECONDS)
    set(arg_SECONDS 1)
  endif()
  add_executable(${name} ${arg_SOURCES})
  target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR})
  target_link_libraries(${name} PRIVATE ${arg_LIBS})
  orx_settings_of_test(${name})
  target_precompile_headers(${name} REUSE_FROM orx_test_headers)
  if(NOT arg_NO_MAIN)
    target_link_libraries(${name} PRIVATE GTest::gtest_main)
  endif()
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES
    LABELS "${arg_LABELS}" TIMEOUT ${arg_TIMEOUT} PROCESSORS ${arg_SLOTS} COST ${arg_SECONDS}
    ENVIRONMENT "ASAN_OPTIONS=detect_stack_use_after_return=1;TSAN_OPTIONS=halt_on_error=1:suppressions=${CMAKE_SOURCE_DIR}/tests/tsan.supp;LSAN_OPTIONS=suppressions=${CMAKE_SOURCE_DIR}/tests/lsan.supp:use_poisoned=1;UBSAN_OPTIONS=print_stacktrace=1")
endfunction()

# orx_add_fuzzer(NAME SOURCES... [LIBS ...]): one libFuzzer program, called <folder>_fuzz; its corpus is the folder's
# `corpus`, which the ordinary tests replay.
function(orx_add_fuzzer name)
  cmake_parse_arguments(arg "" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR})
  target_link_libraries(${name} PRIVATE orx_settings ${arg_LIBS})
  target_link_options(${name} PRIVATE -fsanitize=fuzzer)
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/fuzz)
  add_dependencies(fuzzers ${name})
endfunction()

# A room of the middleware, and a room of the library proper: its sources join the objects of their library.
function(orx_middleware_sources)
  orx_room_sources(zddsc_objects ${ARGN})
endfunction()
function(orx_library_sources)
  orx_room_sources(orxmonitoring2d_objects ${ARGN})
endfunction()

# orx_peer_types(SOURCES_VARIABLE FOLDER): what the distribution's idlc makes of the IDL that we install, as any peer
# would have it, in FOLDER; the sources' names go into the variable.
function(orx_peer_types sources_variable folder)
  find_program(IDLC idlc REQUIRED)
  file(GLOB idl_files CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/src/dataModel/idl/*.idl)
  set(sources)
  foreach(file ${idl_files})
    get_filename_component(unit ${file} NAME_WE)
    add_custom_command(
      OUTPUT ${folder}/${unit}.c ${folder}/${unit}.h
      COMMAND ${CMAKE_COMMAND} -E make_directory ${folder}
      COMMAND ${IDLC} -f case-sensitive -W no-enum-consecutive -o ${folder} ${file}
      DEPENDS ${idl_files} COMMENT "idlc ${unit}" VERBATIM)
    list(APPEND sources ${folder}/${unit}.c)
  endforeach()
  set(${sources_variable} ${sources} PARENT_SCOPE)
endfunction()
