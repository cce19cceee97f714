//===- tools/Analysis.cpp - One recording through the plug-in --------------===//
#include "Analysis.h"

#include "Plot.h"

#include <vamp-hostsdk/PluginLoader.h>

#include <sndfile.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <mutex>

namespace tools {

namespace {

const char *const Key = "transient-detector:TransientDetector";

struct DeleteUnderLock {
  void operator()(Vamp::Plugin *p) const {
    std::lock_guard<std::mutex> guard(libraryLock());
    delete p;
  }
};

} // namespace

std::mutex &libraryLock() {
  static std::mutex lock;
  return lock;
}

void prepareAnalysis() { Vamp::HostExt::PluginLoader::getInstance(); }

// The file is read until its end, whatever frame count its header gives: a stream's
// header may not know its length (libsndfile then reports the largest count).
AnalysisResult analyse(const std::string &file, const AnalysisSettings &o, const AnalysisHooks &hooks) {
  AnalysisResult r;
  SF_INFO info{};
  SNDFILE *sf;
  {
    std::lock_guard<std::mutex> guard(libraryLock());
    sf = sf_open(file.c_str(), SFM_READ, &info);
    if (!sf)
      r.error = "cannot read '" + file + "': " + sf_strerror(nullptr);
  }
  if (!sf)
    return r;
  std::unique_ptr<SNDFILE, int (*)(SNDFILE *)> closer(sf, sf_close);
  if (o.channel > info.channels) {
    r.error = "--channel " + std::to_string(o.channel) + ": '" + file + "' has " +
              std::to_string(info.channels) + " channel" + (info.channels == 1 ? "" : "s");
    return r;
  }
  if (hooks.opened)
    hooks.opened(info.samplerate);

  std::unique_ptr<Vamp::Plugin, DeleteUnderLock> plugin;
  {
    std::lock_guard<std::mutex> guard(libraryLock());
    plugin.reset(Vamp::HostExt::PluginLoader::getInstance()->loadPlugin(
        Key, static_cast<float>(info.samplerate), 0));
  }
  if (!plugin) {
    const char *path = std::getenv("VAMP_PATH");
    r.error = std::string("cannot load the plug-in ") + Key + " from " + (path ? path : "the default folders");
    return r;
  }
  plugin->setParameter("RaiseThreshold", o.threshold);
  plugin->setParameter("NoiseFloor", o.noiseFloor);
  const size_t block = static_cast<size_t>(o.blockSize), step = static_cast<size_t>(o.stepSize);
  if (!plugin->initialise(1, step, block)) {
    r.error = "the plug-in refused block size " + std::to_string(block) + " and step size " + std::to_string(step);
    return r;
  }

  const int channels = info.channels;
  const unsigned rate = static_cast<unsigned>(info.samplerate);
  std::vector<float> mono(block, 0.0f);
  std::vector<float> pending; // mono samples read but not yet handed over
  sf_count_t read = 0;
  auto collect = [&hooks](const Vamp::Plugin::FeatureSet &fs, unsigned sampleRate) {
    auto it = fs.find(0);
    if (it == fs.end() || !hooks.found)
      return;
    for (const auto &f : it->second)
      hooks.found({f.timestamp.sec + f.timestamp.nsec / 1e9, Vamp::RealTime::realTime2Frame(f.timestamp, sampleRate),
                   f.values.empty() ? 0.0f : f.values[0]});
  };
  std::vector<float> frameBuf(4096 * static_cast<size_t>(channels));
  auto readMono = [&](size_t want) {
    while (pending.size() < want) {
      const sf_count_t n = sf_readf_float(sf, frameBuf.data(), 4096);
      if (n <= 0)
        break;
      for (sf_count_t i = 0; i < n; ++i) {
        float v;
        if (o.channel > 0) {
          v = frameBuf[static_cast<size_t>(i * channels + o.channel - 1)];
        } else {
          double sum = 0.0;
          for (int c = 0; c < channels; ++c)
            sum += frameBuf[static_cast<size_t>(i * channels + c)];
          v = static_cast<float>(sum / channels);
        }
        if (hooks.overview)
          hooks.overview->add(v);
        pending.push_back(v);
      }
      read += n;
    }
  };
  // Each block starts `step` frames after the one before; the last starts before the end.
  for (sf_count_t position = 0;; position += static_cast<sf_count_t>(step)) {
    readMono(block);
    if (pending.empty())
      break;
    std::fill(mono.begin(), mono.end(), 0.0f);
    std::copy(pending.begin(), pending.begin() + static_cast<long>(std::min(block, pending.size())), mono.begin());
    const float *buffers[] = {mono.data()};
    collect(plugin->process(buffers, Vamp::RealTime::frame2RealTime(static_cast<long>(position), rate)), rate);
    pending.erase(pending.begin(), pending.begin() + static_cast<long>(std::min(step, pending.size())));
    if (hooks.progress)
      hooks.progress(std::min<long long>(position + static_cast<long long>(step), read), info.frames);
  }
  if (sf_error(sf) != SF_ERR_NO_ERROR) {
    r.error = "cannot read '" + file + "': " + sf_strerror(sf);
    return r;
  }
  if (read == 0) {
    r.error = "'" + file + "' holds no audio";
    return r;
  }
  collect(plugin->getRemainingFeatures(), rate);
  r.seconds = static_cast<double>(read) / rate;
  return r;
}

} // namespace tools
