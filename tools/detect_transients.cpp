//===- tools/detect_transients.cpp - Transients of audio files -------------===//
//
// A command-line Vamp host for the transient detector: it loads transient-detector.so
// through the host SDK's loader, as any host does, reads audio with libsndfile, and
// prints one line per transient (time in seconds, sample frame, strength), or writes
// CSV, JSON, an Audacity label track or a Sonic Visualiser layer, and an SVG plot.
//
//===----------------------------------------------------------------------===//
#include "ToolSupport.h"

#include <vamp-hostsdk/PluginLoader.h>

#include <sndfile.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

const char *const Key = "transient-detector:TransientDetector";

const char *const Usage =
    "usage: detect-transients [options] FILE...\n"
    "\n"
    "Prints the transients of each audio file (WAV, AIFF, FLAC, Ogg and the other formats\n"
    "libsndfile reads): time in seconds, sample frame and strength (0 to 2).\n"
    "Multichannel files are mixed to mono (the mean of the channels) unless --channel picks one.\n"
    "\n"
    "  --threshold PERCENT   attack threshold, 0 to 100 (default 12)\n"
    "  --noise-floor DB      noise floor in decibels, -100 to -20 (default -60)\n"
    "  --block-size N        samples per block, 1 to 1048576 (default 65536)\n"
    "  --step-size N         samples per step, 1 to the block size (default: the block size)\n"
    "  --channel N           analyse channel N (1 is the first) instead of the mix\n"
    "  --format FORMAT       text (default), csv, json, labels (Audacity) or sv (Sonic Visualiser)\n"
    "  -o, --output FILE     write there instead of standard output (one input file only)\n"
    "  --plot FILE.svg       draw the waveform with a marker per transient (one input file only)\n"
    "  -j, --jobs N          files analysed at once (default: the number of cores)\n"
    "  -q, --quiet           no progress bar\n"
    "  -h, --help            this text\n";

enum class Format { Text, Csv, Json, Labels, Sv };

struct Options {
  std::vector<std::string> files;
  float threshold = 12.0f;
  float noiseFloor = -60.0f;
  long blockSize = 65536;
  long stepSize = 0; // 0: the block size
  int channel = 0;   // 0: mix
  Format format = Format::Text;
  std::string output;
  std::string plot;
  unsigned jobs = 0;
  bool quiet = false;
};

struct Transient {
  double seconds;
  long frame;
  float strength;
};

struct Result {
  std::string text;  // the formatted transients
  std::string error; // empty on success
  std::vector<Transient> transients;
  std::vector<float> overviewMin, overviewMax; // for the plot
  double seconds = 0.0;
  int sampleRate = 0;
};

[[noreturn]] void usageError(const std::string &message) {
  std::fprintf(stderr, "detect-transients: %s\n(run detect-transients --help for the options)\n",
               message.c_str());
  std::exit(2);
}

double number(const std::string &option, const char *text, double least, double most) {
  double v = 0.0;
  std::string problem;
  if (!tools::parseNumber(text, least, most, v, problem))
    usageError(option + ": " + problem);
  return v;
}

long integer(const std::string &option, const char *text, long least, long most) {
  const double v = number(option, text, static_cast<double>(least), static_cast<double>(most));
  if (v != std::floor(v))
    usageError(option + ": '" + text + "' is not a whole number");
  return static_cast<long>(v);
}

Options parse(int argc, char **argv) {
  Options o;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    const char *value = i + 1 < argc ? argv[i + 1] : nullptr;
    auto takes = [&]() { ++i; return value; };
    if (a == "-h" || a == "--help") {
      std::fputs(Usage, stdout);
      std::exit(0);
    } else if (a == "--threshold") {
      o.threshold = static_cast<float>(number(a, takes(), 0.0, 100.0));
    } else if (a == "--noise-floor") {
      o.noiseFloor = static_cast<float>(number(a, takes(), -100.0, -20.0));
    } else if (a == "--block-size") {
      o.blockSize = integer(a, takes(), 1, 1 << 20);
    } else if (a == "--step-size") {
      o.stepSize = integer(a, takes(), 1, 1 << 20);
    } else if (a == "--channel") {
      o.channel = static_cast<int>(integer(a, takes(), 1, 1024));
    } else if (a == "--format") {
      const char *f = takes();
      const std::string name = f ? f : "";
      if (name == "text") o.format = Format::Text;
      else if (name == "csv") o.format = Format::Csv;
      else if (name == "json") o.format = Format::Json;
      else if (name == "labels") o.format = Format::Labels;
      else if (name == "sv") o.format = Format::Sv;
      else usageError("--format: '" + name + "' is not one of text, csv, json, labels, sv");
    } else if (a == "-o" || a == "--output") {
      const char *f = takes();
      if (!f || !*f)
        usageError(a + ": a file name is missing");
      o.output = f;
    } else if (a == "--plot") {
      const char *f = takes();
      if (!f || !*f)
        usageError("--plot: a file name is missing");
      o.plot = f;
    } else if (a == "-j" || a == "--jobs") {
      o.jobs = static_cast<unsigned>(integer(a, takes(), 1, 256));
    } else if (a == "-q" || a == "--quiet") {
      o.quiet = true;
    } else if (a.size() > 1 && a[0] == '-') {
      usageError("unknown option '" + a + "'");
    } else {
      o.files.push_back(a);
    }
  }
  if (o.files.empty())
    usageError("no input file given");
  if (o.stepSize > o.blockSize)
    usageError("--step-size: " + std::to_string(o.stepSize) + " is larger than the block size " +
               std::to_string(o.blockSize));
  if (o.stepSize == 0)
    o.stepSize = o.blockSize;
  if ((!o.output.empty() || !o.plot.empty()) && o.files.size() > 1)
    usageError("-o and --plot take one input file; give them one file at a time");
  if (o.jobs == 0)
    o.jobs = std::max(1u, std::thread::hardware_concurrency());
  return o;
}

bool writeText(const std::string &path, const std::string &content, std::string &error) {
  return tools::writeThroughTemporary(
      path, [&content](std::FILE *f) { return std::fwrite(content.data(), 1, content.size(), f) == content.size(); },
      error);
}

// ---- Formats ----------------------------------------------------------------------

std::string jsonString(const std::string &s) {
  std::string out = "\"";
  for (unsigned char c : s) {
    if (c == '"' || c == '\\') {
      out += '\\';
      out += static_cast<char>(c);
    } else if (c < 0x20) {
      char esc[8];
      std::snprintf(esc, sizeof esc, "\\u%04x", c);
      out += esc;
    } else {
      out += static_cast<char>(c);
    }
  }
  return out + "\"";
}

std::string xmlEscape(const std::string &s) {
  std::string out;
  for (char c : s) {
    switch (c) {
    case '&': out += "&amp;"; break;
    case '<': out += "&lt;"; break;
    case '>': out += "&gt;"; break;
    case '"': out += "&quot;"; break;
    default: out += c;
    }
  }
  return out;
}

std::string format(const Result &r, Format f, const std::string &file, bool several) {
  std::string out;
  char line[160];
  switch (f) {
  case Format::Text:
    if (several)
      out += "# " + file + "\n";
    for (const Transient &t : r.transients) {
      std::snprintf(line, sizeof line, "%.6f\t%ld\t%.6f\n", t.seconds, t.frame, static_cast<double>(t.strength));
      out += line;
    }
    break;
  case Format::Csv:
    out += several ? "file,time,frame,strength\n" : "time,frame,strength\n";
    for (const Transient &t : r.transients) {
      std::snprintf(line, sizeof line, "%.6f,%ld,%.6f\n", t.seconds, t.frame, static_cast<double>(t.strength));
      if (several) {
        std::string quoted = "\"";
        for (char c : file)
          quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
        out += quoted + "\",";
      }
      out += line;
    }
    break;
  case Format::Json: {
    out += "{\"file\": " + jsonString(file) + ", \"sampleRate\": " + std::to_string(r.sampleRate) +
           ", \"transients\": [";
    bool first = true;
    for (const Transient &t : r.transients) {
      std::snprintf(line, sizeof line, "%s\n  {\"time\": %.6f, \"frame\": %ld, \"strength\": %.6f}",
                    first ? "" : ",", t.seconds, t.frame, static_cast<double>(t.strength));
      out += line;
      first = false;
    }
    out += "\n]}\n";
    break;
  }
  case Format::Labels: // Audacity: start, end and text, tab-separated; a point label
    for (const Transient &t : r.transients) {
      std::snprintf(line, sizeof line, "%.6f\t%.6f\t%.3f\n", t.seconds, t.seconds, static_cast<double>(t.strength));
      out += line;
    }
    break;
  case Format::Sv: { // a Sonic Visualiser time-value layer
    out += "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE sonic-visualiser>\n<sv>\n<data>\n";
    const long end = r.transients.empty() ? 0 : r.transients.back().frame;
    out += "  <model id=\"1\" name=\"Transients: " + xmlEscape(file) + "\" sampleRate=\"" +
           std::to_string(r.sampleRate) + "\" start=\"0\" end=\"" + std::to_string(end) +
           "\" type=\"sparse\" dimensions=\"2\" resolution=\"1\" notifyOnAdd=\"true\" dataset=\"0\" "
           "subtype=\"\" minimum=\"0\" maximum=\"2\" units=\"\"/>\n";
    out += "  <dataset id=\"0\" dimensions=\"2\">\n";
    for (const Transient &t : r.transients) {
      std::snprintf(line, sizeof line, "    <point frame=\"%ld\" value=\"%.6f\" label=\"\"/>\n", t.frame,
                    static_cast<double>(t.strength));
      out += line;
    }
    out += "  </dataset>\n</data>\n<display>\n  <layer id=\"2\" type=\"timevalues\" name=\"Transients\" "
           "model=\"1\"/>\n</display>\n</sv>\n";
    break;
  }
  }
  return out;
}

// ---- Plot -------------------------------------------------------------------------

std::string svgPlot(const Result &r, const std::string &file) {
  const int width = 1200, height = 360, left = 50, right = 20, top = 30, wave = 200, axis = 300;
  const int columns = static_cast<int>(r.overviewMin.size());
  std::string svg;
  char buf[256];
  std::snprintf(buf, sizeof buf,
                "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%d\" height=\"%d\" "
                "viewBox=\"0 0 %d %d\" font-family=\"sans-serif\" font-size=\"12\">\n",
                width, height, width, height);
  svg += buf;
  svg += "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
  svg += "<text x=\"" + std::to_string(left) + "\" y=\"18\" font-size=\"14\">" + xmlEscape(file) + ": " +
         std::to_string(r.transients.size()) + " transients</text>\n";
  const double plotWidth = width - left - right;
  const double mid = top + wave / 2.0;
  // The waveform: one vertical stroke per column from its minimum to its maximum.
  svg += "<path stroke=\"#7a9cc6\" stroke-width=\"1\" fill=\"none\" d=\"";
  for (int c = 0; c < columns; ++c) {
    const double x = left + (c + 0.5) * plotWidth / columns;
    std::snprintf(buf, sizeof buf, "M%.1f %.1fV%.1f", x, mid - r.overviewMax[static_cast<size_t>(c)] * wave / 2.0,
                  mid - r.overviewMin[static_cast<size_t>(c)] * wave / 2.0);
    svg += buf;
  }
  svg += "\"/>\n";
  // A marker per transient, its height the strength (2 reaches the top).
  for (const Transient &t : r.transients) {
    const double x = left + t.seconds / std::max(r.seconds, 1e-9) * plotWidth;
    const double h = std::min(2.0, static_cast<double>(t.strength)) / 2.0 * (axis - top - 10);
    std::snprintf(buf, sizeof buf,
                  "<line x1=\"%.1f\" y1=\"%d\" x2=\"%.1f\" y2=\"%.1f\" stroke=\"#d62728\" stroke-width=\"1.5\"/>"
                  "<circle cx=\"%.1f\" cy=\"%.1f\" r=\"2.5\" fill=\"#d62728\"/>\n",
                  x, axis, x, axis - h, x, axis - h);
    svg += buf;
  }
  // The time axis with about ten labelled ticks at round steps.
  std::snprintf(buf, sizeof buf, "<line x1=\"%d\" y1=\"%d\" x2=\"%d\" y2=\"%d\" stroke=\"black\"/>\n", left, axis,
                width - right, axis);
  svg += buf;
  double step = 1e-3;
  for (double s : {0.001, 0.002, 0.005, 0.01, 0.02, 0.05, 0.1, 0.2, 0.5, 1.0, 2.0, 5.0, 10.0, 20.0, 30.0,
                   60.0, 120.0, 300.0, 600.0, 1200.0, 1800.0, 3600.0})
    if (r.seconds / s <= 12) {
      step = s;
      break;
    } else {
      step = s;
    }
  for (double t = 0; t <= r.seconds + 1e-9; t += step) {
    const double x = left + t / std::max(r.seconds, 1e-9) * plotWidth;
    std::snprintf(buf, sizeof buf,
                  "<line x1=\"%.1f\" y1=\"%d\" x2=\"%.1f\" y2=\"%d\" stroke=\"black\"/>"
                  "<text x=\"%.1f\" y=\"%d\" text-anchor=\"middle\">%g s</text>\n",
                  x, axis, x, axis + 5, x, axis + 20, t);
    svg += buf;
  }
  std::snprintf(buf, sizeof buf,
                "<text x=\"%d\" y=\"%d\" fill=\"#d62728\">marker height: strength, 0 to 2</text>\n", left,
                height - 12);
  svg += buf;
  svg += "</svg>\n";
  return svg;
}

// ---- Analysis ---------------------------------------------------------------------

std::mutex progressLock;

void progress(const std::string &file, double fraction, bool show) {
  if (!show)
    return;
  std::lock_guard<std::mutex> guard(progressLock);
  const int width = 30, filled = static_cast<int>(fraction * width);
  std::fprintf(stderr, "\r%-30.30s [%.*s%*s] %3d%%", file.c_str(), filled,
               "##############################", width - filled, "", static_cast<int>(fraction * 100));
  if (fraction >= 1.0)
    std::fprintf(stderr, "\r%*s\r", 80, "");
  std::fflush(stderr);
}

Result analyse(const std::string &file, const Options &o, bool showProgress) {
  Result r;
  SF_INFO info{};
  SNDFILE *sf = sf_open(file.c_str(), SFM_READ, &info);
  if (!sf) {
    r.error = "cannot read '" + file + "': " + sf_strerror(nullptr);
    return r;
  }
  std::unique_ptr<SNDFILE, int (*)(SNDFILE *)> closer(sf, sf_close);
  if (info.frames <= 0) {
    r.error = "'" + file + "' holds no audio";
    return r;
  }
  if (o.channel > info.channels) {
    r.error = "--channel " + std::to_string(o.channel) + ": '" + file + "' has " +
              std::to_string(info.channels) + " channel" + (info.channels == 1 ? "" : "s");
    return r;
  }
  r.sampleRate = info.samplerate;
  r.seconds = static_cast<double>(info.frames) / info.samplerate;

  auto *loader = Vamp::HostExt::PluginLoader::getInstance();
  std::unique_ptr<Vamp::Plugin> plugin(loader->loadPlugin(Key, static_cast<float>(info.samplerate), 0));
  if (!plugin) {
    r.error = std::string("cannot load the plug-in ") + Key + " from " + getenv("VAMP_PATH");
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
  const int columns = 1000;
  r.overviewMin.assign(columns, 0.0f);
  r.overviewMax.assign(columns, 0.0f);
  std::vector<float> interleaved(block * static_cast<size_t>(channels));
  std::vector<float> mono(block, 0.0f);
  // The ring of the last `block` mono samples, shifted by `step` each call.
  sf_count_t position = 0, read = 0;
  std::vector<float> pending; // samples read but not yet handed over
  auto collect = [&r](const Vamp::Plugin::FeatureSet &fs, unsigned rate) {
    auto it = fs.find(0);
    if (it == fs.end())
      return;
    for (const auto &f : it->second) {
      const long frame = Vamp::RealTime::realTime2Frame(f.timestamp, rate);
      r.transients.push_back({f.timestamp.sec + f.timestamp.nsec / 1e9, frame,
                              f.values.empty() ? 0.0f : f.values[0]});
    }
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
        const size_t column = static_cast<size_t>((read + i) * columns / info.frames);
        r.overviewMin[column] = std::min(r.overviewMin[column], v);
        r.overviewMax[column] = std::max(r.overviewMax[column], v);
        pending.push_back(v);
      }
      read += n;
    }
  };
  const unsigned rate = static_cast<unsigned>(info.samplerate);
  for (position = 0; position < info.frames; position += static_cast<sf_count_t>(step)) {
    readMono(block);
    std::fill(mono.begin(), mono.end(), 0.0f);
    std::copy(pending.begin(), pending.begin() + static_cast<long>(std::min(block, pending.size())), mono.begin());
    const float *buffers[] = {mono.data()};
    collect(plugin->process(buffers, Vamp::RealTime::frame2RealTime(static_cast<long>(position), rate)), rate);
    pending.erase(pending.begin(), pending.begin() + static_cast<long>(std::min(step, pending.size())));
    progress(file, static_cast<double>(position) / static_cast<double>(info.frames), showProgress);
  }
  collect(plugin->getRemainingFeatures(), rate);
  progress(file, 1.0, showProgress);
  if (sf_error(sf) != SF_ERR_NO_ERROR) {
    r.error = "cannot read '" + file + "': " + sf_strerror(sf);
    return r;
  }
  return r;
}

} // namespace

int main(int argc, char **argv) {
  const Options o = parse(argc, argv);
  if (!getenv("VAMP_PATH")) {
    // Installed, the plug-in stands in ../lib/vamp beside this program; in the build tree,
    // in the build's own folder.
    std::string path;
    char self[4096];
    const ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
    if (n > 0) {
      std::string exe(self, static_cast<size_t>(n));
      path = exe.substr(0, exe.rfind('/')) + "/../lib/vamp:";
    }
    setenv("VAMP_PATH", (path + PLUGIN_DIR).c_str(), 1);
  }
  tools::removeTemporariesOnSignal();
  Vamp::HostExt::PluginLoader::getInstance(); // before the threads

  // Long files show a progress bar when standard error is a terminal and one file runs.
  const bool showProgress = !o.quiet && isatty(STDERR_FILENO) && o.files.size() == 1;
  std::vector<Result> results(o.files.size());
  std::atomic<size_t> next{0};
  auto worker = [&]() {
    for (size_t i; (i = next++) < o.files.size();)
      results[i] = analyse(o.files[i], o, showProgress);
  };
  std::vector<std::thread> pool;
  for (unsigned t = 0; t < std::min<size_t>(o.jobs, o.files.size()); ++t)
    pool.emplace_back(worker);
  for (auto &t : pool)
    t.join();

  int failures = 0;
  const bool several = o.files.size() > 1;
  std::string combined;
  for (size_t i = 0; i < o.files.size(); ++i) {
    Result &r = results[i];
    if (!r.error.empty()) {
      std::fprintf(stderr, "detect-transients: %s\n", r.error.c_str());
      ++failures;
      continue;
    }
    const std::string text = format(r, o.format, o.files[i], several);
    if (!o.plot.empty()) {
      std::string error;
      if (!writeText(o.plot, svgPlot(r, o.files[i]), error)) {
        std::fprintf(stderr, "detect-transients: %s\n", error.c_str());
        ++failures;
        continue;
      }
    }
    if (o.output.empty()) {
      std::fputs(text.c_str(), stdout);
    } else {
      std::string error;
      if (!writeText(o.output, text, error)) {
        std::fprintf(stderr, "detect-transients: %s\n", error.c_str());
        ++failures;
      }
    }
  }
  std::fflush(stdout);
  return std::min(failures, 125);
}
