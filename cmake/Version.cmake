# The version reaches the code through one generated header, base/core/Version.h, which is
# installed with the libraries' headers.
set(TRANSIENT_DETECTOR_GENERATED_INCLUDE_DIR ${PROJECT_BINARY_DIR}/include)
configure_file(${CMAKE_CURRENT_LIST_DIR}/Version.h.in
               ${TRANSIENT_DETECTOR_GENERATED_INCLUDE_DIR}/base/core/Version.h @ONLY)
