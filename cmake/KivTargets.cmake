# One place for language level, warnings, sanitizers and the shapes of our targets.
include_guard()

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "" FORCE)
endif()

find_program(KIV_CCACHE ccache)
if(KIV_CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER "${KIV_CCACHE}")
endif()

# Flags of every target of ours. No fused multiply-add: the same source gives the same bits on every machine.
add_library(kiv_flags INTERFACE)
target_include_directories(kiv_flags INTERFACE "${PROJECT_SOURCE_DIR}")
target_compile_options(kiv_flags INTERFACE -Wall -Wextra -Wconversion -Wshadow -Werror -ffp-contract=off)
if(KIV_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # In code that a sanitizer has rewritten g++ 12 sees overlaps and overruns inside std::string that cannot happen. The
  # other trees keep an eye on what these warnings are for.
  target_compile_options(kiv_flags INTERFACE -Wno-array-bounds -Wno-maybe-uninitialized -Wno-restrict
                                             -Wno-stringop-overflow -Wno-stringop-overread)
endif()
if(KIV_SANITIZE)
  target_compile_options(kiv_flags INTERFACE -fsanitize=${KIV_SANITIZE} -fno-omit-frame-pointer
                                             -fno-sanitize-recover=all)
  target_link_options(kiv_flags INTERFACE -fsanitize=${KIV_SANITIZE})
endif()
if(KIV_FUZZ)
  target_compile_options(kiv_flags INTERFACE -fsanitize=fuzzer-no-link)
endif()

# kiv_library(NAME [DEPENDS lib...]): a static library of every .cpp file of the current folder. A folder is a layer.
function(kiv_library name)
  cmake_parse_arguments(ARG "" "" "DEPENDS" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/*.cpp")
  add_library(${name} STATIC ${sources})
  target_link_libraries(${name} PUBLIC kiv_flags ${ARG_DEPENDS})
endfunction()

# kiv_test(NAME [LIBS lib...] [LABELS label...] [FOLDER dir] [TIMEOUT s] [SERIAL]): every *_test.cpp of the folder, one
# CTest test for each. Labels:
#   unit     the default: no display, no sound server, no network, no sleeping; runs in every tree
#   sound    starts a sound server of its own; runs alone; in the sanitizer trees only with the label short as well
#   desktop  starts a display of its own; the same
#   soak     only run by hand, see scripts/soak
function(kiv_test name)
  cmake_parse_arguments(ARG "SERIAL" "FOLDER;TIMEOUT" "LIBS;LABELS" ${ARGN})
  if(NOT ARG_FOLDER)
    set(ARG_FOLDER "${CMAKE_CURRENT_SOURCE_DIR}")
  endif()
  if(NOT ARG_LABELS)
    set(ARG_LABELS unit)
  endif()
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 120)
  endif()
  file(GLOB sources CONFIGURE_DEPENDS "${ARG_FOLDER}/*_test.cpp")
  add_executable(${name} ${sources})
  target_link_libraries(${name} PRIVATE kiv_flags kiv_test_support ${ARG_LIBS} GTest::gmock GTest::gtest_main)
  target_precompile_headers(${name} PRIVATE <gmock/gmock.h> <gtest/gtest.h> <string> <vector>)
  if(KIV_CCACHE)  # Without these the compiler cache cannot see through a precompiled header.
    target_compile_options(${name} PRIVATE $<IF:$<CXX_COMPILER_ID:Clang>,SHELL:-Xclang -fno-pch-timestamp,-fpch-preprocess>)
  endif()
  set(serial FALSE)
  if(ARG_SERIAL OR ARG_LABELS MATCHES "(^|;)(sound|desktop)(;|$)")
    set(serial TRUE)
  endif()
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
                       PROPERTIES TIMEOUT ${ARG_TIMEOUT} RUN_SERIAL ${serial})
  # Set after the discovery, which would take a list of labels apart.
  set(labels_file "${CMAKE_CURRENT_BINARY_DIR}/${name}_labels.cmake")
  file(WRITE "${labels_file}" "if(${name}_TESTS)
  set_tests_properties(\${${name}_TESTS} PROPERTIES LABELS \"${ARG_LABELS}\")
endif()
")
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES "${labels_file}")
endfunction()

# kiv_fuzz(NAME [LIBS lib...]): fuzz/NAME.cpp holds LLVMFuzzerTestOneInput; fuzz/corpus/NAME its seeds and every input
# that once broke something. With KIV_FUZZ it is a fuzzer; always it replays its corpus as a unit test.
function(kiv_fuzz name)
  cmake_parse_arguments(ARG "" "" "LIBS" ${ARGN})
  set(corpus "${CMAKE_CURRENT_SOURCE_DIR}/corpus/${name}")
  add_executable(fuzz_${name} ${name}.cpp)
  target_link_libraries(fuzz_${name} PRIVATE kiv_flags ${ARG_LIBS})
  if(KIV_FUZZ)
    target_link_options(fuzz_${name} PRIVATE -fsanitize=fuzzer)
    add_test(NAME fuzz_${name}_corpus COMMAND fuzz_${name} -runs=0 "${corpus}")
    set_tests_properties(fuzz_${name}_corpus PROPERTIES LABELS unit TIMEOUT 120)
    add_test(NAME fuzz_${name}_20s COMMAND fuzz_${name} -max_total_time=20 -timeout=10 -rss_limit_mb=2048
                                           -artifact_prefix=${CMAKE_CURRENT_BINARY_DIR}/ "${CMAKE_CURRENT_BINARY_DIR}/work_${name}" "${corpus}")
    file(MAKE_DIRECTORY "${CMAKE_CURRENT_BINARY_DIR}/work_${name}")
    set_tests_properties(fuzz_${name}_20s PROPERTIES LABELS fuzz TIMEOUT 120)
  else()
    target_sources(fuzz_${name} PRIVATE replay_main.cpp)
    add_test(NAME fuzz_${name}_corpus COMMAND fuzz_${name} "${corpus}")
    set_tests_properties(fuzz_${name}_corpus PROPERTIES LABELS unit TIMEOUT 120)
  endif()
endfunction()

# kiv_bench(NAME [LIBS lib...]): bench/NAME.cpp as a Google Benchmark program.
function(kiv_bench name)
  cmake_parse_arguments(ARG "" "" "LIBS" ${ARGN})
  add_executable(bench_${name} ${name}.cpp)
  target_link_libraries(bench_${name} PRIVATE kiv_flags ${ARG_LIBS} benchmark::benchmark benchmark::benchmark_main)
endfunction()
