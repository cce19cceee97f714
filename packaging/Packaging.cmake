# Packages: `cpack -G DEB` makes Debian's two, as Debian splits a plug-in set with its
# libraries: transient-detector (the plug-in in /usr/lib/x86_64-linux-gnu/vamp,
# detect-transients with its manual page) and libtransient-detector-dev (headers, static
# libraries, CMake and pkg-config files). `cpack -G TGZ` makes one archive of everything.
# Configure with -DCMAKE_INSTALL_PREFIX=/usr for the Debian layout; tools/make-packages.sh
# does it all.
set(PACKAGE_MAINTAINER "transient-detector maintainers <maintainers@transient-detector.invalid>"
    CACHE STRING "The Maintainer of the Debian packages, Name <address>")
set(PACKAGE_DATE "Wed, 25 Nov 2026 12:00:00 +0000") # of this version's changelog entry

set(docs ${PROJECT_BINARY_DIR}/packaging)
configure_file(${CMAKE_CURRENT_LIST_DIR}/changelog.in ${docs}/changelog @ONLY)
# Debian keeps manual pages and changelogs compressed, without names or times inside, so
# that the package is the same from every build.
add_custom_command(OUTPUT ${docs}/changelog.gz ${docs}/detect-transients.1.gz
  COMMAND gzip -9 -n -c ${docs}/changelog > ${docs}/changelog.gz
  COMMAND gzip -9 -n -c ${CMAKE_CURRENT_LIST_DIR}/detect-transients.1 > ${docs}/detect-transients.1.gz
  DEPENDS ${docs}/changelog ${CMAKE_CURRENT_LIST_DIR}/detect-transients.1 VERBATIM)
add_custom_target(package_docs ALL DEPENDS ${docs}/changelog.gz ${docs}/detect-transients.1.gz)

if(TARGET detect-transients)
  install(FILES ${docs}/detect-transients.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT plugin)
endif()
# Each package has its copyright and changelog in its own /usr/share/doc folder.
install(FILES ${CMAKE_CURRENT_LIST_DIR}/copyright ${docs}/changelog.gz
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/transient-detector COMPONENT plugin)
install(FILES ${CMAKE_CURRENT_LIST_DIR}/copyright ${docs}/changelog.gz
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/libtransient-detector-dev COMPONENT dev)

# Strips `files` (relative to the prefix) with the options `flags` when the install asks for
# stripping, as cpack does: CPack's own strip leaves the compilers' names and versions in
# .comment and .note, which no program reads and Debian's packages go without, and it
# leaves the static archives alone.
function(strip_on_install component flags)
  install(CODE "
    if(CMAKE_INSTALL_DO_STRIP)
      foreach(file IN ITEMS ${ARGN})
        execute_process(COMMAND ${CMAKE_STRIP} ${flags} \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/\${file}\")
      endforeach()
    endif()" COMPONENT ${component})
endfunction()

set(comments --remove-section=.comment --remove-section=.note)
# The archives lose only their debugging sections, so that they still link.
set(archives)
foreach(layer IN ITEMS base-core primitives engine)
  list(APPEND archives ${CMAKE_INSTALL_LIBDIR}/libtransient-detector-${layer}.a)
endforeach()
strip_on_install(dev "--strip-debug;${comments}" ${archives})
set(binaries ${TRANSIENT_DETECTOR_VAMP_DIR}/$<TARGET_FILE_NAME:transient-detector>)
if(TARGET detect-transients)
  list(APPEND binaries ${CMAKE_INSTALL_BINDIR}/$<TARGET_FILE_NAME:detect-transients>)
endif()
strip_on_install(plugin "${comments}" ${binaries})

set(CPACK_PACKAGE_NAME transient-detector)
set(CPACK_PACKAGE_VENDOR "Kesmor GmbH")
set(CPACK_PACKAGE_CONTACT "${PACKAGE_MAINTAINER}")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
# No summary for all packages: CPack would put it above each package's own first line, and
# Debian takes that line for the package's synopsis.
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_FILE_NAME transient-detector-${PROJECT_VERSION}-${CMAKE_SYSTEM_PROCESSOR})
set(CPACK_PROJECT_CONFIG_FILE ${CMAKE_CURRENT_LIST_DIR}/CPackChecks.cmake)
set(CPACK_BUILD_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX}) # for CPackChecks.cmake

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL plugin dev)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${PACKAGE_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PLUGIN_PACKAGE_NAME transient-detector)
set(CPACK_DEBIAN_PLUGIN_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_PLUGIN_PACKAGE_ENHANCES "sonic-visualiser, audacity, vamp-examples")
set(CPACK_COMPONENT_PLUGIN_DESCRIPTION "Vamp plug-in that finds the transients in a recording
A Vamp plug-in that finds the transients in a recording: the attacks of
drums, plucked and struck notes, consonants and clicks. Sonic Visualiser,
Audacity, vamp-simple-host and any other Vamp host load it from
/usr/lib/x86_64-linux-gnu/vamp, or through its links in /usr/lib/vamp;
it reads one channel and returns one time-stamped feature per transient,
its value telling how strong the attack was.
.
The package also holds detect-transients, a command-line host that runs
the plug-in over audio files of every format libsndfile reads and writes
the transients as text, CSV, JSON, Audacity labels, a Sonic Visualiser
layer or MIDI, for one file or collections of many.")
set(CPACK_DEBIAN_DEV_PACKAGE_NAME libtransient-detector-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
# The list is not last: CPack takes the leading spaces, which make it a list, off the last
# line of a description.
set(CPACK_COMPONENT_DEV_DESCRIPTION "C++ libraries under the transient-detector Vamp plug-in
The libraries that the transient-detector plug-in is built from:
.
 * engine: audio buffers and their vector kernels, sample stores, delay
   rings, FIR design and an FFT filter bank;
 * base_core: reference-counted objects, text of 32-bit characters and its
   encodings, streams, exceptions, assertions, threads, locks and
   semaphores;
 * primitives: a real FFT with spectrum products, vector transcendental
   functions and processor dispatch, as flat C functions.
.
They come as static, position-independent archives with their headers, a
CMake package (find_package(TransientDetector 2.0 CONFIG)) and pkg-config
files.")

set(CPACK_ARCHIVE_COMPONENT_INSTALL OFF)
include(CPack)
