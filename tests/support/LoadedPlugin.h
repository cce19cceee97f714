//===- tests/support/LoadedPlugin.h - The built plug-in, loaded as hosts load it ===//
// transient-detector.so through the host SDK's loader, from PLUGIN_DIR.
#ifndef TESTS_SUPPORT_LOADEDPLUGIN_H
#define TESTS_SUPPORT_LOADEDPLUGIN_H

#include <vamp-hostsdk/PluginLoader.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <vector>

namespace testsupport {

/// An instance as the host SDK hands it over, initialised for one channel unless `block` is 0.
inline std::unique_ptr<Vamp::Plugin> ready(float rate = 44100.0f, std::size_t block = 4096,
                                           std::size_t step = 0) {
  static Vamp::HostExt::PluginLoader *loader =
      (setenv("VAMP_PATH", PLUGIN_DIR, 1), Vamp::HostExt::PluginLoader::getInstance());
  std::unique_ptr<Vamp::Plugin> p(loader->loadPlugin("transient-detector:TransientDetector", rate, 0));
  if (!p || (block && !p->initialise(1, step ? step : block, block)))
    ADD_FAILURE() << "cannot load and initialise the plug-in at " << rate << " Hz";
  return p;
}

/// One value in [0, 2] per feature, times strictly increasing within [start, end].
inline void expectWellFormed(const std::vector<Vamp::Plugin::Feature> &features,
                             double start = -1e300, double end = 1e300) {
  double last = -1e300;
  for (const auto &f : features) {
    ASSERT_TRUE(f.hasTimestamp && f.values.size() == 1u) << f.values.size();
    EXPECT_TRUE(f.values[0] >= 0.0f && f.values[0] <= 2.0f) << f.values[0];
    const double t = f.timestamp.sec + f.timestamp.nsec * 1e-9;
    EXPECT_TRUE(t > last && t >= start && t <= end) << t << " after " << last;
    last = t;
  }
}

} // namespace testsupport

#endif // TESTS_SUPPORT_LOADEDPLUGIN_H
