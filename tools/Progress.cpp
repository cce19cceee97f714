//===- tools/Progress.cpp - What detect-transients shows while it works ----===//
#include "Progress.h"

#include <cstdio>

namespace tools {

namespace {
constexpr std::chrono::milliseconds Interval(100);

std::string duration(double seconds) {
  const long s = static_cast<long>(seconds + 0.5);
  char text[32];
  if (s >= 3600)
    std::snprintf(text, sizeof text, "%ld:%02ld:%02ld", s / 3600, s / 60 % 60, s % 60);
  else
    std::snprintf(text, sizeof text, "%ld:%02ld", s / 60, s % 60);
  return text;
}
} // namespace

Progress::Progress(bool show, std::size_t files)
    : _show(show), _files(files), _start(std::chrono::steady_clock::now()), _drawn(_start - Interval) {}

Progress::~Progress() { clear(); }

void Progress::file(const std::string &name, double fraction) {
  if (!_show || _files > 1)
    return;
  std::lock_guard<std::mutex> guard(_lock);
  _name = name;
  _fraction = fraction;
  draw(false);
}

void Progress::fileDone(double audioSeconds) {
  std::lock_guard<std::mutex> guard(_lock);
  ++_done;
  _audioSeconds += audioSeconds;
  if (_show && _files > 1)
    draw(_done == 1);
}

void Progress::message(const std::string &text) {
  around([&text] { std::fprintf(stderr, "detect-transients: %s\n", text.c_str()); });
}

void Progress::around(const std::function<void()> &write) {
  std::lock_guard<std::mutex> guard(_lock);
  const std::string shown = _line;
  erase();
  write();
  std::fflush(stderr);
  if (!shown.empty()) {
    std::fputs(shown.c_str(), stderr);
    std::fflush(stderr);
    _line = shown;
  }
}

void Progress::clear() {
  std::lock_guard<std::mutex> guard(_lock);
  erase();
}

void Progress::draw(bool force) {
  const auto now = std::chrono::steady_clock::now();
  if (!force && now - _drawn < Interval)
    return;
  _drawn = now;
  char line[160];
  if (_files > 1) {
    const double elapsed = std::chrono::duration<double>(now - _start).count();
    const std::string left = _done ? duration(elapsed * static_cast<double>(_files - _done) / static_cast<double>(_done)) : "?";
    std::snprintf(line, sizeof line, "\r%zu/%zu files, %.3f hours of audio, %s left", _done, _files,
                  _audioSeconds / 3600.0, left.c_str());
  } else {
    const int width = 30, filled = static_cast<int>(_fraction * width);
    std::snprintf(line, sizeof line, "\r%-30.30s [%.*s%*s] %3d%%", _name.c_str(), filled,
                  "##############################", width - filled, "", static_cast<int>(_fraction * 100));
  }
  erase();
  _line = line;
  std::fputs(line, stderr);
  std::fflush(stderr);
}

void Progress::erase() {
  if (_line.empty())
    return;
  std::fputs("\r\033[K", stderr);
  _line.clear();
}

} // namespace tools
