# What every target of this project shares: warnings, include root, and one line to declare a
# library, a test or a fuzz target.

add_library(sorrelwind_flags INTERFACE)
target_include_directories(sorrelwind_flags INTERFACE "${PROJECT_SOURCE_DIR}")
target_compile_options(sorrelwind_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
  $<$<BOOL:${SORRELWIND_WERROR}>:-Werror>)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # False positives of g++ 12 when it inlines the standard library under the sanitizers.
  target_compile_options(sorrelwind_flags INTERFACE -Wno-maybe-uninitialized -Wno-restrict)
endif()

# What is installed reads bytes of strangers: checked buffers, guarded stacks, tables that are read
# only once the program runs, and an address that nobody knows beforehand.
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
target_compile_options(sorrelwind_flags INTERFACE
  "$<$<CONFIG:Release>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2;-fstack-protector-strong>")
target_link_options(sorrelwind_flags INTERFACE "$<$<CONFIG:Release>:-Wl,-z,relro,-z,now>")

# sorrelwind_library(NAME SOURCES … LINK …): one static library per folder, called sorrelwind_NAME.
function(sorrelwind_library name)
  cmake_parse_arguments(ARG "NO_MOC" "" "SOURCES;LINK" ${ARGN})
  add_library(sorrelwind_${name} STATIC ${ARG_SOURCES})
  target_link_libraries(sorrelwind_${name} PUBLIC sorrelwind_flags ${ARG_LINK})
  if(NOT ARG_NO_MOC)
    set_target_properties(sorrelwind_${name} PROPERTIES AUTOMOC ON)
    target_compile_definitions(sorrelwind_${name} PUBLIC QT_NO_CAST_TO_ASCII QT_NO_KEYWORDS)
  endif()
endfunction()

# sorrelwind_test(NAME SOURCES … LINK … [TIMEOUT s]): a GoogleTest program, one ctest entry.
function(sorrelwind_test name)
  cmake_parse_arguments(ARG "NO_MAIN;NO_MOC" "TIMEOUT" "SOURCES;LINK;LABELS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE sorrelwind_flags ${ARG_LINK} GTest::gtest)
  if(NOT ARG_NO_MAIN)
    target_link_libraries(${name} PRIVATE GTest::gtest_main)
  endif()
  if(NOT ARG_NO_MOC)
    set_target_properties(${name} PROPERTIES AUTOMOC ON)
  endif()
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 120)
  endif()
  target_compile_definitions(${name} PRIVATE
    SORRELWIND_BIN_DIR="${CMAKE_RUNTIME_OUTPUT_DIRECTORY}"
    SORRELWIND_VECTORS_DIR="${PROJECT_SOURCE_DIR}/tests/vectors")
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/tests/bin")
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES TIMEOUT ${ARG_TIMEOUT} LABELS "${ARG_LABELS}")
endfunction()

# sorrelwind_fuzz(NAME SOURCES … LINK …): a fuzz target NAME.cpp with LLVMFuzzerTestOneInput and a
# corpus folder corpus/NAME. In an ordinary build it replays and mutates the corpus as a test;
# with SORRELWIND_LIBFUZZER it is a libFuzzer program.
function(sorrelwind_fuzz name)
  cmake_parse_arguments(ARG "" "" "LINK" ${ARGN})
  add_executable(${name} ${name}.cpp)
  target_link_libraries(${name} PRIVATE sorrelwind_flags ${ARG_LINK})
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/fuzz/bin")
  if(SORRELWIND_LIBFUZZER)
    target_link_options(${name} PRIVATE -fsanitize=fuzzer)
  else()
    target_sources(${name} PRIVATE "${PROJECT_SOURCE_DIR}/fuzz/replay_main.cpp")
    add_test(NAME ${name} COMMAND ${name} "${CMAKE_CURRENT_SOURCE_DIR}/corpus/${name}")
    set_tests_properties(${name} PROPERTIES TIMEOUT 120 LABELS fuzz)
  endif()
endfunction()
