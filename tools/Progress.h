//===- tools/Progress.h - What detect-transients shows while it works ------===//
//
// One line on standard error, when it is a terminal: for one file a bar, for a batch the
// files done of all, the hours of audio and the time left. It is redrawn at most ten times
// a second, however small the blocks. Everything else the tool says on standard error, and
// results that go to the same terminal, pass through it, so that they never land inside
// the line. Safe to call from several threads.
//
//===----------------------------------------------------------------------===//
#ifndef TOOLS_PROGRESS_H
#define TOOLS_PROGRESS_H

#include <chrono>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>

namespace tools {

class Progress {
public:
  /// `show`: draw the line at all; `files`: how many this run analyses (the batch form
  /// above one).
  Progress(bool show, std::size_t files);
  ~Progress();

  /// One file's share done, 0 to 1.
  void file(const std::string &name, double fraction);
  /// One more file of the batch finished (analysed, skipped or failed), with its audio.
  void fileDone(double audioSeconds);
  /// "detect-transients: TEXT" on a line of its own.
  void message(const std::string &text);
  /// Runs `write` with the line erased, for output to the same terminal.
  void around(const std::function<void()> &write);
  /// Erases the line for good.
  void clear();

private:
  void draw(bool force); // under _lock
  void erase();          // under _lock

  const bool _show;
  const std::size_t _files;
  std::mutex _lock;
  std::string _line; // what the terminal shows; empty when nothing
  std::string _name;
  double _fraction = 0.0;
  std::size_t _done = 0;
  double _audioSeconds = 0.0;
  std::chrono::steady_clock::time_point _start, _drawn;
};

} // namespace tools

#endif // TOOLS_PROGRESS_H
