# Read by cpack for each generator. A Debian package puts its files under /usr, and the
# plug-in's folder and the multiarch library folder were fixed when the build was
# configured: a build for /usr/local would make a package with the wrong layout.
if(CPACK_GENERATOR STREQUAL "DEB" AND NOT CPACK_BUILD_INSTALL_PREFIX STREQUAL "/usr")
  message(FATAL_ERROR "a Debian package needs a build configured with -DCMAKE_INSTALL_PREFIX=/usr "
                      "(this one installs into ${CPACK_BUILD_INSTALL_PREFIX}); tools/make-packages.sh makes one")
endif()
