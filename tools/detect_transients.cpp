//===- tools/detect_transients.cpp - Transients of audio files -------------===//
//
// A command-line Vamp host for the transient detector: it loads transient-detector.so
// through the host SDK's loader, as any host does, reads audio with libsndfile
// (Analysis.h), and prints one line per transient (time in seconds, sample frame,
// strength), or writes CSV, JSON, an Audacity label track, a Sonic Visualiser layer or a
// MIDI file (OutputFormats.h), an SVG plot (Plot.h) and the recording cut at its
// transients (Slices.h). Files are analysed in parallel; their results come out in input
// order as one document, written as they come, or with --output-dir as one file each
// (Collection.h). The command line is checked first (Options.h), so that a mistake costs
// no work and no output ever replaces an input.
//
//===----------------------------------------------------------------------===//
#include "Analysis.h"
#include "Collection.h"
#include "Options.h"
#include "OutputFormats.h"
#include "Plot.h"
#include "Progress.h"
#include "Slices.h"
#include "ToolSupport.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#ifdef __GLIBC__
#include <malloc.h>
#endif
#include <mutex>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace tools;

namespace {

// One file's analysis: its transients, what went wrong and what the user should know.
struct FileResult {
  FileTransients transients;
  AnalysisResult analysis;
};

RunNotes notes; // set once in main, before any thread

RunNotes notesOf(const Options &o) {
  RunNotes n;
  n.dither = o.analysis.dither;
  n.ditherDb = o.analysis.ditherDb;
  n.provenance = o.provenance;
  n.pluginVersion = identifyPlugin().version;
  n.threshold = o.analysis.threshold;
  n.noiseFloor = o.analysis.noiseFloor;
  n.blockSize = o.analysis.blockSize;
  n.stepSize = o.analysis.stepSize;
  return n;
}

// Analyses files[i] and cuts it into slices when asked; `hooks` may add to the collection
// of transients, which this always does.
FileResult analyseFile(const Options &o, size_t i, AnalysisHooks hooks) {
  FileResult r;
  r.transients.file = o.files[i];
  const auto opened = hooks.opened;
  hooks.opened = [&r, opened](int rate) {
    r.transients.sampleRate = rate;
    if (opened)
      opened(rate);
  };
  const auto found = hooks.found;
  hooks.found = [&r, found](const Transient &t) {
    r.transients.transients.push_back(t);
    if (found)
      found(t);
  };
  r.analysis = analyse(o.files[i], o.analysis, hooks);
  std::string &error = r.analysis.error;
  if (!error.empty() || o.sliceDir.empty())
    return r;
  std::vector<long> frames;
  for (const Transient &t : r.transients.transients)
    frames.push_back(t.frame);
  const long preRoll = std::lround(o.preRollMs * r.transients.sampleRate / 1000.0);
  // libsndfile's errors pass through one global: one file is sliced at a time.
  std::lock_guard<std::mutex> guard(libraryLock());
  if (makeDirectories(folderOf(o.slicePrefixes[i]), error))
    writeSlices(o.files[i], frames, preRoll, o.slicePrefixes[i], error);
  return r;
}

// Runs `work` for each index below `count` on `jobs` threads, handing out no more once
// `stop` is set.
void inParallel(size_t count, unsigned jobs, const std::atomic<bool> &stop, const std::function<void(size_t)> &work) {
  std::atomic<size_t> next{0};
  std::vector<std::thread> pool;
  for (unsigned t = 0; t < std::min<size_t>(jobs, count); ++t)
    pool.emplace_back([&] {
      for (size_t i; !stop && (i = next++) < count;)
        work(i);
    });
  for (auto &t : pool)
    t.join();
}

// Files warned of long silence, for the line that sums them up: warnings are not progress,
// so -q keeps both.
std::atomic<size_t> silentFiles{0};

void report(Progress &progress, const AnalysisResult &a) {
  if (a.silenceWarned)
    ++silentFiles;
  for (const std::string &w : a.warnings)
    progress.message("warning: " + w);
  if (!a.error.empty())
    progress.message(a.error);
}

// One output per input, each written as soon as its file is done: a run stopped part way
// keeps what it finished, and the next one skips it, when it was made from the same input.
int writeEach(const Options &o, Progress &progress) {
  std::string error;
  if (!makeDirectories(o.naming.dir, error)) {
    progress.message(error);
    return 1;
  }
  std::vector<size_t> todo;
  size_t skipped = 0, unchecked = 0;
  std::atomic<size_t> done{0}, failed{0};
  for (size_t i : o.share) {
    struct stat st;
    if (o.force || stat(o.outputs[i].c_str(), &st) != 0) {
      todo.push_back(i);
      continue;
    }
    std::string recorded;
    switch (originOf(o.outputs[i], o.files[i], recorded)) {
    case Origin::SameInput:
      ++skipped;
      break;
    case Origin::Unknown:
      ++skipped;
      ++unchecked;
      break;
    case Origin::OtherInput:
      ++failed;
      progress.message("'" + o.outputs[i] + "' was made from '" + recorded + "', not from '" + o.files[i] +
                       "': kept, and '" + o.files[i] + "' not analysed (--force writes over it)");
      break;
    }
    progress.fileDone(0.0);
  }
  if (unchecked)
    progress.message("warning: " + std::to_string(unchecked) +
                     " existing output(s) do not say which input made them (the file system keeps no note "
                     "with a file): kept and skipped unchecked");
  const auto start = std::chrono::steady_clock::now();
  std::mutex sum;
  double audioSeconds = 0.0;
  const std::atomic<bool> never{false};
  inParallel(todo.size(), o.jobs, never, [&](size_t t) {
    const size_t i = todo[t];
    FileResult r = analyseFile(o, i, AnalysisHooks());
    std::string problem = r.analysis.error;
    if (problem.empty()) {
      const std::string document = formatTransients(o.format, {&r.transients}, false, o.midiNote, notes);
      TemporaryFile out;
      if (makeDirectories(folderOf(o.outputs[i]), problem) && out.open(o.outputs[i], problem)) {
        out.recordInput(absolutePath(o.files[i]));
        if (out.commit(std::fwrite(document.data(), 1, document.size(), out.file()) == document.size(), problem)) {
          ++done;
          std::lock_guard<std::mutex> guard(sum);
          audioSeconds += r.analysis.seconds;
        }
      }
    }
    r.analysis.error = problem;
    report(progress, r.analysis);
    if (!problem.empty())
      ++failed;
    progress.fileDone(r.analysis.seconds);
  });
  progress.clear();
  const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  if (!o.quiet)
    std::fprintf(stderr, "detect-transients: %zu done, %zu skipped, %zu failed; %.3f hours of audio in %.2f s (%.0f x real time)\n",
                 done.load(), skipped, failed.load(), audioSeconds / 3600.0, wall, wall > 0.0 ? audioSeconds / wall : 0.0);
  return failed ? 1 : 0;
}

// Where one document goes: the -o file or standard output, written as the results come.
// A failed write (a full disk, a closed pipe) stops the run.
class Sink {
public:
  Sink(std::FILE *file, bool flushEach, Progress &progress)
      : _file(file), _terminal(isatty(fileno(file)) != 0), _flushEach(flushEach), _progress(progress) {}

  void write(const std::string &bytes) {
    if (bytes.empty() || _failed)
      return;
    auto put = [&] {
      if (std::fwrite(bytes.data(), 1, bytes.size(), _file) != bytes.size() || (_flushEach && std::fflush(_file) != 0))
        fail();
    };
    _terminal ? _progress.around(put) : put();
  }
  bool finish() {
    if (!_failed && std::fflush(_file) != 0)
      fail();
    return !_failed;
  }
  bool failed() const { return _failed; }
  int code() const { return _code; }

private:
  void fail() {
    _code = errno ? errno : EIO;
    _failed = true;
  }
  std::FILE *_file;
  bool _terminal, _flushEach;
  Progress &_progress;
  bool _failed = false; // written by one thread at a time: the one that holds the order
  int _code = 0;
};

// Every input into one document, in the order given, each file's part written as soon as
// it and all before it are done; a single input streams each transient as it is found.
int writeOneDocument(const Options &o, Progress &progress) {
  // Opened before the analysis, so that an unwritable path fails at once rather than
  // after a long batch; their temporaries are removed on every way out but success.
  TemporaryFile output, plot;
  std::string error;
  if ((!o.output.empty() && !output.open(o.output, error)) || (!o.plot.empty() && !plot.open(o.plot, error))) {
    progress.message(error);
    return 1;
  }
  const bool single = o.share.size() == 1;
  Sink sink(o.output.empty() ? stdout : output.file(), single, progress);
  DocumentWriter writer(o.format, o.share.size() > 1, o.midiNote, notes);
  bool failed = false;
  size_t analysed = 0;
  std::atomic<bool> stop{false};

  if (single) {
    const size_t i = o.share[0];
    bool begun = false;
    int rate = 0;
    Overview overview;
    AnalysisHooks hooks;
    hooks.opened = [&rate](int r) { rate = r; };
    hooks.found = [&](const Transient &t) {
      if (!begun)
        writer.beginFile(o.files[i], rate);
      begun = true;
      writer.add(t);
      sink.write(writer.take());
    };
    hooks.progress = [&](long long read, long long total) {
      progress.file(o.files[i], total > 0 ? std::min(1.0, static_cast<double>(read) / static_cast<double>(total)) : 0.0);
    };
    if (!o.plot.empty())
      hooks.overview = &overview;
    const FileResult r = analyseFile(o, i, hooks);
    progress.clear();
    report(progress, r.analysis);
    if (!r.analysis.error.empty())
      return 1;
    if (!begun)
      writer.beginFile(o.files[i], rate);
    writer.endFile();
    ++analysed;
    if (!o.plot.empty() && !plot.commit(std::fputs(svgPlot(r.transients, overview).c_str(), plot.file()) >= 0, error)) {
      progress.message(error);
      failed = true;
    }
  } else {
    // Results wait here only until every file before them is out.
    std::vector<FileResult> results(o.share.size());
    std::vector<char> ready(o.share.size(), 0);
    std::mutex order;
    size_t next = 0;
    inParallel(o.share.size(), o.jobs, stop, [&](size_t k) {
      FileResult r = analyseFile(o, o.share[k], AnalysisHooks());
      std::lock_guard<std::mutex> guard(order);
      results[k] = std::move(r);
      ready[k] = 1;
      for (; next < results.size() && ready[next]; ++next) {
        FileResult &f = results[next];
        report(progress, f.analysis);
        progress.fileDone(f.analysis.seconds);
        if (!f.analysis.error.empty()) {
          failed = true;
        } else {
          ++analysed;
          writer.addFile(f.transients);
          sink.write(writer.take());
        }
        f = FileResult();
        if (sink.failed())
          stop = true;
      }
    });
    progress.clear();
  }
  writer.finish();
  sink.write(writer.take());
  if (!sink.finish()) {
    progress.message("cannot write " + (o.output.empty() ? std::string("standard output") : "'" + o.output + "'") +
                     ": " + std::strerror(sink.code()));
    return 1;
  }
  if (analysed == 0)
    return 1; // nothing to write: the -o file is not made
  if (!o.output.empty() && !output.commit(true, error)) {
    progress.message(error);
    return 1;
  }
  return failed ? 1 : 0;
}

} // namespace

int main(int argc, char **argv) {
#ifdef __GLIBC__
  // Each file's buffers (the plug-in's stores, the read window) come and go with it, and
  // its results are freed by whichever worker writes them out. glibc's defaults, an arena
  // per thread and large blocks moved from mmap into the heap once one is freed, leave
  // holes that the next files cannot use: a batch of 20,000 files grew to 100 MB and more.
  // One arena (the workers allocate little while they analyse) and large blocks always
  // from mmap keep it near what is live, about 20 MB.
  mallopt(M_ARENA_MAX, 1);
  mallopt(M_MMAP_THRESHOLD, 128 * 1024);
#endif
  searchPluginFolders();
  const Options o = parseOptions(argc, argv);
  removeTemporariesOnSignal();
  Progress progress(!o.quiet && isatty(STDERR_FILENO), o.share.size());
  for (const std::string &w : o.warnings)
    progress.message("warning: " + w);
  if (o.share.empty()) {
    std::fprintf(stderr, "detect-transients: shard %u/%u has no files (the list holds %zu): nothing to do\n", o.shardK,
                 o.shardN, o.files.size());
    return 0;
  }
  prepareAnalysis(); // before the threads
  notes = notesOf(o);
  const int status = o.naming.dir.empty() ? writeOneDocument(o, progress) : writeEach(o, progress);
  if (o.share.size() > 1 && silentFiles > 0)
    std::fprintf(stderr,
                 "detect-transients: warning: %zu of %zu files have long silence after which transients may be "
                 "missed (--dither finds them)\n",
                 silentFiles.load(), o.share.size());
  return status;
}
