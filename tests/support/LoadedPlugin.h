//===- tests/support/LoadedPlugin.h - The built plug-in, loaded as hosts load it ===//
//
// transient-detector.so through the host SDK's loader, from the build's plug-in folder.
// For tests built with PLUGIN_DIR set to that folder.
//
//===----------------------------------------------------------------------===//
#ifndef TESTS_SUPPORT_LOADEDPLUGIN_H
#define TESTS_SUPPORT_LOADEDPLUGIN_H

#include <vamp-hostsdk/PluginLoader.h>

#include <cstdlib>
#include <memory>
#include <string>

namespace testsupport {

inline const std::string PluginKey = "transient-detector:TransientDetector";

inline Vamp::HostExt::PluginLoader *loader() {
  static Vamp::HostExt::PluginLoader *instance = [] {
    setenv("VAMP_PATH", PLUGIN_DIR, 1);
    return Vamp::HostExt::PluginLoader::getInstance();
  }();
  return instance;
}

/// A new instance at `rate`, with no adapters: the plug-in as the host SDK hands it over.
inline std::unique_ptr<Vamp::Plugin> loadPlugin(float rate = 44100.0f) {
  return std::unique_ptr<Vamp::Plugin>(loader()->loadPlugin(PluginKey, rate, 0));
}

} // namespace testsupport

#endif // TESTS_SUPPORT_LOADEDPLUGIN_H
