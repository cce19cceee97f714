//===- tools/detect_transients.cpp - Transients of audio files -------------===//
//
// A command-line Vamp host for the transient detector: it loads transient-detector.so
// through the host SDK's loader, as any host does, reads audio with libsndfile, and
// prints one line per transient (time in seconds, sample frame, strength), or writes
// CSV, JSON, an Audacity label track, a Sonic Visualiser layer or a MIDI file
// (OutputFormats.h), an SVG plot (Plot.h) and the recording cut at its transients
// (Slices.h). Files are analysed in parallel; their results come out in input order as
// one document, or with --output-dir as one file each (Collection.h).
//
//===----------------------------------------------------------------------===//
#include "Analysis.h"
#include "Collection.h"
#include "OutputFormats.h"
#include "Plot.h"
#include "Slices.h"
#include "ToolSupport.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

const char *const Usage =
    "usage: detect-transients [options] FILE...\n"
    "\n"
    "Prints the transients of each audio file (WAV, AIFF, FLAC, Ogg and the other formats\n"
    "libsndfile reads; - reads a WAV stream from standard input): time in seconds, sample\n"
    "frame and strength (0 to 2). Multichannel files are mixed to mono (the mean of the\n"
    "channels) unless --channel picks one.\n"
    "\n"
    "  --threshold PERCENT   attack threshold, 0 to 100 (default 12)\n"
    "  --noise-floor DB      noise floor in decibels, -100 to -20 (default -60)\n"
    "  --block-size N        samples per block, 1 to 1048576 (default 65536)\n"
    "  --step-size N         samples per step, 1 to the block size (default: the block size)\n"
    "  --channel N           analyse channel N (1 is the first) instead of the mix\n"
    "  --format FORMAT       text (default), csv, json, labels (Audacity), sv (Sonic\n"
    "                        Visualiser) or midi (a Standard MIDI File, a note per\n"
    "                        transient); labels, sv and midi hold one input file\n"
    "  --midi-note N         the note that midi plays on channel 10 (default 36, a kick)\n"
    "  -o, --output FILE     write there instead of standard output\n"
    "  --files-from LIST     also analyse the files listed in LIST, one per line (- reads\n"
    "                        the list from standard input)\n"
    "  --output-dir DIR      write one output per input file into DIR, named after it with\n"
    "                        the format's extension (.txt, .csv, .json, .labels.txt, .svl,\n"
    "                        .mid); an output that exists already is kept and its input\n"
    "                        skipped\n"
    "  --mirror              with --output-dir: keep the inputs' folders below the deepest\n"
    "                        folder they share\n"
    "  --force               with --output-dir: analyse and write over existing outputs\n"
    "  --shard K/N           take only every N-th input file from the K-th (K from 0)\n"
    "  --slice DIR           also cut each input at its transients into DIR: NAME-000 (what\n"
    "                        comes before the first), NAME-001 (from the first to the\n"
    "                        second) and so on, in the input's own format\n"
    "  --pre-roll MS         with --slice: cut that many milliseconds before each transient\n"
    "  --plot FILE.svg       draw the waveform with a marker per transient (one input file)\n"
    "  -j, --jobs N          files analysed at once (default: the number of cores)\n"
    "  -q, --quiet           no progress bar\n"
    "  -h, --help            this text\n"
    "\n"
    "With --output-dir a summary line at the end gives the files done, skipped and failed,\n"
    "the hours of audio and the speed. Without it, several files make one document, in the\n"
    "order given: text has a line \"# FILE\" before\n"
    "each file's transients, csv a first column \"file\", and json is an array of the\n"
    "per-file objects (one file gives its object alone).\n"
    "\n"
    "Exit status: 0 when every file was analysed and written; 1 when a file could not be\n"
    "analysed or an output not written (the other files are still analysed and written);\n"
    "2 for a usage error (nothing is analysed).\n";

struct Options {
  std::vector<std::string> files;
  tools::AnalysisSettings analysis = {12.0f, -60.0f, 65536, 0, 0}; // step 0 until parse(): the block size
  tools::Format format = tools::Format::Text;
  std::string output;
  std::string plot;
  unsigned jobs = 0;
  bool quiet = false;
  std::string outputDir;
  bool mirror = false, force = false;
  unsigned shardK = 0, shardN = 1;
  int midiNote = 36;
  std::string sliceDir;
  double preRollMs = 0.0;
  std::vector<std::string> slicePrefixes; // per input file, with --slice
};

struct Result {
  std::string error; // empty on success
  double seconds = 0.0; // of audio
  tools::FileTransients transients;
  tools::Overview overview; // for the plot
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
  std::string formatName = "text";
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    const char *value = i + 1 < argc ? argv[i + 1] : nullptr;
    auto takes = [&]() { ++i; return value; };
    auto name = [&](const char *what) {
      const char *f = takes();
      if (!f || !*f)
        usageError(a + ": a " + what + " name is missing");
      return std::string(f);
    };
    if (a == "-h" || a == "--help") {
      std::fputs(Usage, stdout);
      std::exit(0);
    } else if (a == "--threshold") {
      o.analysis.threshold = static_cast<float>(number(a, takes(), 0.0, 100.0));
    } else if (a == "--noise-floor") {
      o.analysis.noiseFloor = static_cast<float>(number(a, takes(), -100.0, -20.0));
    } else if (a == "--block-size") {
      o.analysis.blockSize = integer(a, takes(), 1, 1 << 20);
    } else if (a == "--step-size") {
      o.analysis.stepSize = integer(a, takes(), 1, 1 << 20);
    } else if (a == "--channel") {
      o.analysis.channel = static_cast<int>(integer(a, takes(), 1, 1024));
    } else if (a == "--format") {
      const char *f = takes();
      formatName = f ? f : "";
      if (!tools::parseFormat(formatName, o.format))
        usageError("--format: '" + formatName + "' is not one of text, csv, json, labels, sv, midi");
    } else if (a == "--slice") {
      o.sliceDir = name("folder");
    } else if (a == "--pre-roll") {
      o.preRollMs = number(a, takes(), 0.0, 10000.0);
    } else if (a == "--midi-note") {
      o.midiNote = static_cast<int>(integer(a, takes(), 0, 127));
    } else if (a == "-o" || a == "--output") {
      o.output = name("file");
    } else if (a == "--plot") {
      o.plot = name("file");
    } else if (a == "-j" || a == "--jobs") {
      o.jobs = static_cast<unsigned>(integer(a, takes(), 1, 256));
    } else if (a == "-q" || a == "--quiet") {
      o.quiet = true;
    } else if (a == "--files-from") {
      std::string error;
      if (!tools::readFileList(name("file"), o.files, error))
        usageError("--files-from: " + error);
    } else if (a == "--output-dir") {
      o.outputDir = name("folder");
    } else if (a == "--mirror") {
      o.mirror = true;
    } else if (a == "--force") {
      o.force = true;
    } else if (a == "--shard") {
      const char *f = takes();
      std::string problem;
      if (!f || !tools::parseShard(f, o.shardK, o.shardN, problem))
        usageError("--shard: " + (f ? problem : std::string("a value is missing")));
    } else if (a.size() > 1 && a[0] == '-') {
      usageError("unknown option '" + a + "'");
    } else {
      o.files.push_back(a);
    }
  }
  if (o.files.empty())
    usageError("no input file given");
  o.files = tools::shardOf(o.files, o.shardK, o.shardN);
  if (o.outputDir.empty() && (o.mirror || o.force))
    usageError(std::string(o.mirror ? "--mirror" : "--force") + " goes with --output-dir");
  if (!o.outputDir.empty()) {
    if (!o.output.empty() || !o.plot.empty())
      usageError(std::string(o.output.empty() ? "--plot" : "--output") +
                 " writes one file: with --output-dir each input has its own output");
    if (std::find(o.files.begin(), o.files.end(), "-") != o.files.end())
      usageError("--output-dir names each output after its input: standard input has no name");
  }
  if (o.analysis.stepSize > o.analysis.blockSize)
    usageError("--step-size: " + std::to_string(o.analysis.stepSize) + " is larger than the block size " +
               std::to_string(o.analysis.blockSize));
  if (o.analysis.stepSize == 0)
    o.analysis.stepSize = o.analysis.blockSize;
  if (o.files.size() > 1 && !o.plot.empty() && o.outputDir.empty())
    usageError("--plot draws one file: give it one input file at a time");
  if (o.files.size() > 1 && !tools::holdsSeveralFiles(o.format) && o.outputDir.empty())
    usageError("--format " + formatName +
               " holds the transients of one file: give one input file at a time, or use --format csv or "
               "--format json for several");
  if (!o.sliceDir.empty() && std::find(o.files.begin(), o.files.end(), "-") != o.files.end())
    usageError("--slice reads each input a second time: standard input cannot be read again");
  if (o.sliceDir.empty() && o.preRollMs > 0.0)
    usageError("--pre-roll goes with --slice");
  std::string error;
  if (!o.sliceDir.empty() && !tools::outputPaths(o.files, o.sliceDir, "", false, o.slicePrefixes, error))
    usageError("--slice: " + error);
  if (o.format == tools::Format::Midi && o.output.empty() && o.outputDir.empty() && isatty(STDOUT_FILENO))
    usageError("--format midi writes a binary file: give -o FILE.mid");
  if (o.jobs == 0)
    o.jobs = std::max(1u, std::thread::hardware_concurrency());
  return o;
}

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

Result analyse(const std::string &file, const Options &o, bool showProgress, const std::string &slicePrefix) {
  Result r;
  r.transients.file = file;
  tools::AnalysisHooks hooks;
  hooks.opened = [&r](int rate) { r.transients.sampleRate = rate; };
  hooks.found = [&r](const tools::Transient &t) { r.transients.transients.push_back(t); };
  hooks.progress = [&](long long done, long long total) {
    progress(file, total > 0 ? std::min(1.0, static_cast<double>(done) / static_cast<double>(total)) : 0.0, showProgress);
  };
  if (!o.plot.empty())
    hooks.overview = &r.overview;
  const tools::AnalysisResult a = tools::analyse(file, o.analysis, hooks);
  r.error = a.error;
  r.seconds = a.seconds;
  if (!r.error.empty())
    return r;
  progress(file, 1.0, showProgress);
  if (!slicePrefix.empty()) {
    std::vector<long> frames;
    for (const tools::Transient &t : r.transients.transients)
      frames.push_back(t.frame);
    const long rate = r.transients.sampleRate;
    // libsndfile's errors pass through one global: one file is sliced at a time.
    std::lock_guard<std::mutex> guard(tools::libraryLock());
    if (!tools::writeSlices(file, frames, std::lround(o.preRollMs * static_cast<double>(rate) / 1000.0), slicePrefix, r.error))
      r.transients.transients.clear();
  }
  return r;
}

bool writeAll(tools::TemporaryFile &out, const std::string &text) {
  std::string error;
  if (out.commit(std::fwrite(text.data(), 1, text.size(), out.file()) == text.size(), error))
    return true;
  std::fprintf(stderr, "detect-transients: %s\n", error.c_str());
  return false;
}

// Runs `work` for each index below `count` on `jobs` threads.
void inParallel(size_t count, unsigned jobs, const std::function<void(size_t)> &work) {
  std::atomic<size_t> next{0};
  std::vector<std::thread> pool;
  for (unsigned t = 0; t < std::min<size_t>(jobs, count); ++t)
    pool.emplace_back([&] {
      for (size_t i; (i = next++) < count;)
        work(i);
    });
  for (auto &t : pool)
    t.join();
}

// One output per input, each written as soon as its file is done: a run stopped part way
// keeps what it finished, and the next one skips it.
int writeEach(const Options &o) {
  std::vector<std::string> paths;
  std::string error;
  if (!tools::outputPaths(o.files, o.outputDir, tools::formatExtension(o.format), o.mirror, paths, error))
    usageError("--output-dir: " + error);
  if (!tools::makeDirectories(o.outputDir, error)) {
    std::fprintf(stderr, "detect-transients: %s\n", error.c_str());
    return 1;
  }
  std::vector<size_t> todo;
  for (size_t i = 0; i < paths.size(); ++i) {
    struct stat st;
    if (o.force || stat(paths[i].c_str(), &st) != 0)
      todo.push_back(i);
  }
  const auto start = std::chrono::steady_clock::now();
  std::atomic<size_t> done{0}, failed{0};
  std::mutex sum;
  double audioSeconds = 0.0;
  inParallel(todo.size(), o.jobs, [&](size_t t) {
    const size_t i = todo[t];
    const Result r = analyse(o.files[i], o, false, o.sliceDir.empty() ? std::string() : o.slicePrefixes[i]);
    std::string problem = r.error;
    if (problem.empty()) {
      const std::string document = tools::formatTransients(o.format, {&r.transients}, false, o.midiNote);
      const size_t slash = paths[i].rfind('/');
      if (tools::makeDirectories(paths[i].substr(0, slash), problem) &&
          tools::writeThroughTemporary(
              paths[i], [&](std::FILE *f) { return std::fwrite(document.data(), 1, document.size(), f) == document.size(); },
              problem)) {
        ++done;
        std::lock_guard<std::mutex> guard(sum);
        audioSeconds += r.seconds;
        return;
      }
    }
    ++failed;
    std::lock_guard<std::mutex> guard(progressLock);
    std::fprintf(stderr, "detect-transients: %s\n", problem.c_str());
  });
  const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  if (!o.quiet)
    std::fprintf(stderr, "detect-transients: %zu done, %zu skipped, %zu failed; %.3f hours of audio in %.2f s (%.0f x real time)\n",
                 done.load(), paths.size() - todo.size(), failed.load(), audioSeconds / 3600.0, wall,
                 wall > 0.0 ? audioSeconds / wall : 0.0);
  return failed ? 1 : 0;
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
  std::string error;
  if (!o.sliceDir.empty() && !tools::makeDirectories(o.sliceDir, error)) {
    std::fprintf(stderr, "detect-transients: %s\n", error.c_str());
    return 1;
  }
  if (!o.outputDir.empty()) {
    tools::prepareAnalysis(); // before the threads
    return writeEach(o);
  }
  // Opened before the analysis, so that an unwritable path fails at once rather than
  // after a long batch; their temporaries are removed on every way out but success.
  tools::TemporaryFile output, plot;
  if ((!o.output.empty() && !output.open(o.output, error)) || (!o.plot.empty() && !plot.open(o.plot, error))) {
    std::fprintf(stderr, "detect-transients: %s\n", error.c_str());
    return 1;
  }
  tools::prepareAnalysis(); // before the threads

  // Long files show a progress bar when standard error is a terminal and one file runs.
  const bool showProgress = !o.quiet && isatty(STDERR_FILENO) && o.files.size() == 1;
  std::vector<Result> results(o.files.size());
  inParallel(o.files.size(), o.jobs, [&](size_t i) {
    results[i] = analyse(o.files[i], o, showProgress, o.sliceDir.empty() ? std::string() : o.slicePrefixes[i]);
  });

  bool failed = false;
  std::vector<const tools::FileTransients *> analysed;
  for (const Result &r : results) {
    if (r.error.empty()) {
      analysed.push_back(&r.transients);
    } else {
      std::fprintf(stderr, "detect-transients: %s\n", r.error.c_str());
      failed = true;
    }
  }
  if (analysed.empty())
    return 1;
  const std::string document = tools::formatTransients(o.format, analysed, o.files.size() > 1, o.midiNote);
  if (o.output.empty())
    std::fwrite(document.data(), 1, document.size(), stdout);
  else if (!writeAll(output, document))
    failed = true;
  if (!o.plot.empty() && !writeAll(plot, tools::svgPlot(results[0].transients, results[0].overview)))
    failed = true;
  if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
    std::fprintf(stderr, "detect-transients: cannot write standard output: %s\n", std::strerror(errno));
    failed = true;
  }
  return failed ? 1 : 0;
}
