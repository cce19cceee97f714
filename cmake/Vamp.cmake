# The Vamp SDKs, taken as the static archives of the Debian package so that the plug-in
# carries its own copy and depends on no shared Vamp library at run time.
find_path(VAMP_INCLUDE_DIR vamp-sdk/Plugin.h REQUIRED)
find_library(VAMP_SDK_STATIC NAMES libvamp-sdk.a REQUIRED)
find_library(VAMP_HOSTSDK_STATIC NAMES libvamp-hostsdk.a)

add_library(vamp_sdk STATIC IMPORTED GLOBAL)
set_target_properties(vamp_sdk PROPERTIES
  IMPORTED_LOCATION "${VAMP_SDK_STATIC}"
  INTERFACE_INCLUDE_DIRECTORIES "${VAMP_INCLUDE_DIR}")

if(VAMP_HOSTSDK_STATIC)
  add_library(vamp_hostsdk STATIC IMPORTED GLOBAL)
  set_target_properties(vamp_hostsdk PROPERTIES
    IMPORTED_LOCATION "${VAMP_HOSTSDK_STATIC}"
    INTERFACE_INCLUDE_DIRECTORIES "${VAMP_INCLUDE_DIR}"
    INTERFACE_LINK_LIBRARIES "${CMAKE_DL_LIBS}")
endif()
