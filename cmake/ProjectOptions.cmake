# Compiler settings shared by every target of the project.
#
# Floating point: no contraction into fused multiply-add and no fast-math, so that the
# results of every float loop are the same on every x86-64 processor; SSE2 is the baseline
# that x86-64 guarantees, so no -march flag is needed or wanted.
add_library(project_options INTERFACE)
target_compile_options(project_options INTERFACE
  -Wall -Wextra -Wshadow -Wconversion
  # The same warnings from clang as from g++, whose -Wconversion leaves out signedness.
  $<$<CXX_COMPILER_ID:Clang>:-Wno-sign-conversion>
  -ffp-contract=off -fno-fast-math
  $<$<BOOL:${WARNINGS_AS_ERRORS}>:-Werror>)

if(ENABLE_ASAN_UBSAN)
  set(sanitizer_flags -fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
  target_compile_options(project_options INTERFACE ${sanitizer_flags})
  target_link_options(project_options INTERFACE ${sanitizer_flags})
endif()

if(BUILD_FUZZERS)
  # Coverage for the fuzzer in every library; only the fuzz targets link its main.
  target_compile_options(project_options INTERFACE -fsanitize=fuzzer-no-link)
endif()

if(ENABLE_TSAN)
  set(tsan_flags -fsanitize=thread -fno-omit-frame-pointer)
  target_compile_options(project_options INTERFACE ${tsan_flags})
  target_link_options(project_options INTERFACE ${tsan_flags})
endif()

set(CMAKE_POSITION_INDEPENDENT_CODE ON)

# The assertions name their source file by __FILE__; relative to the source folder, so that
# the archives, and the plug-in and programs built from them, hold no path of the machine
# they were built on.
target_compile_options(project_options INTERFACE -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=
                                                 -fmacro-prefix-map=${PROJECT_BINARY_DIR}/=)
