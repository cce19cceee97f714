# The libraries as a C++ developer installs them: headers under include/ at the paths the
# code includes them by, static archives, a CMake package (find_package(TransientDetector
# 2.0 CONFIG): TransientDetector::engine, ::base_core, ::primitives) and pkg-config files.
#
# Static archives, position-independent: the interfaces are young and make no promise of
# binary compatibility from one version to the next, which a shared library with a SONAME
# would have to keep; a program or a plug-in links what it uses and carries it, as the
# plug-in itself does. The warning, sanitizer and floating-point flags of this build stay
# with it (project_options is a build-only link); a consumer gets the include path, C++17
# and the threads library.
include(CMakePackageConfigHelpers)

set(TRANSIENT_DETECTOR_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/TransientDetector)
set(TRANSIENT_DETECTOR_PKGCONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# Installed archives carry the project's name: a bare libengine.a in a system folder would
# be anybody's.
foreach(layer IN ITEMS base_core primitives engine)
  string(REPLACE "_" "-" name "transient-detector-${layer}")
  set_target_properties(${layer} PROPERTIES OUTPUT_NAME ${name})
endforeach()

install(TARGETS base_core primitives engine EXPORT TransientDetectorTargets
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev)
foreach(folder IN ITEMS base/core primitives engine/core)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/${folder}/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${folder}
          COMPONENT dev FILES_MATCHING PATTERN "*.h")
endforeach()
install(FILES ${TRANSIENT_DETECTOR_GENERATED_INCLUDE_DIR}/base/core/Version.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/base/core COMPONENT dev)

install(EXPORT TransientDetectorTargets NAMESPACE TransientDetector::
        DESTINATION ${TRANSIENT_DETECTOR_CMAKE_DIR} COMPONENT dev)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/TransientDetectorConfig.cmake.in
                              ${PROJECT_BINARY_DIR}/TransientDetectorConfig.cmake
                              INSTALL_DESTINATION ${TRANSIENT_DETECTOR_CMAKE_DIR})
# A program written against 2.x builds against any later 2.x.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/TransientDetectorConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/TransientDetectorConfig.cmake
              ${PROJECT_BINARY_DIR}/TransientDetectorConfigVersion.cmake
        DESTINATION ${TRANSIENT_DETECTOR_CMAKE_DIR} COMPONENT dev)

# pkg-config: one file per library, each naming the ones it needs, so that
# `pkg-config --libs transient-detector-engine` gives all three in link order. The prefix
# is found from the file's own place, so an unpacked archive works wherever it lands.
file(RELATIVE_PATH pc_to_prefix ${CMAKE_INSTALL_PREFIX}/${TRANSIENT_DETECTOR_PKGCONFIG_DIR} ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" pc_to_prefix "${pc_to_prefix}")
set(pc_base_core_summary "text, streams, exceptions, threads, locks and semaphores")
set(pc_base_core_requires "")
set(pc_base_core_extra " -pthread")
set(pc_primitives_summary "real FFT, spectrum products, vector maths and processor dispatch")
set(pc_primitives_requires "")
set(pc_primitives_extra "")
set(pc_engine_summary "audio buffers, vector kernels, sample stores, delay rings and the FFT filter bank")
set(pc_engine_requires "transient-detector-base-core = ${PROJECT_VERSION}, transient-detector-primitives = ${PROJECT_VERSION}")
set(pc_engine_extra "")
foreach(layer IN ITEMS base_core primitives engine)
  get_target_property(pc_name ${layer} OUTPUT_NAME)
  set(pc_summary "${pc_${layer}_summary}")
  set(pc_requires "${pc_${layer}_requires}")
  set(pc_extra "${pc_${layer}_extra}")
  configure_file(${CMAKE_CURRENT_LIST_DIR}/library.pc.in ${PROJECT_BINARY_DIR}/pkgconfig/${pc_name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/pkgconfig/${pc_name}.pc DESTINATION ${TRANSIENT_DETECTOR_PKGCONFIG_DIR}
          COMPONENT dev)
endforeach()
