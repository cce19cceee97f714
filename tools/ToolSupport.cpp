//===- tools/ToolSupport.cpp - What the command-line tools share -----------===//
#include "ToolSupport.h"

#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <unistd.h>

namespace tools {

namespace {
// Temporaries of writes in progress, readable from a signal handler: room for one per
// job of detect-transients (at most 256) and a few more.
constexpr int Slots = 264;
char temporaries[Slots][4096];
std::mutex temporariesLock;

void onSignal(int sig) {
  for (auto &t : temporaries)
    if (t[0])
      unlink(t);
  std::signal(sig, SIG_DFL);
  std::raise(sig);
}

int claim(const std::string &temporary) {
  std::lock_guard<std::mutex> guard(temporariesLock);
  if (temporary.size() >= sizeof temporaries[0])
    return -1;
  for (int i = 0; i < Slots; ++i)
    if (!temporaries[i][0]) {
      std::memcpy(temporaries[i], temporary.c_str(), temporary.size() + 1);
      return i;
    }
  return -1;
}

void release(int slot) {
  if (slot < 0)
    return;
  std::lock_guard<std::mutex> guard(temporariesLock);
  temporaries[slot][0] = '\0';
}
} // namespace

bool parseNumber(const char *text, double least, double most, double &value, std::string &problem) {
  if (!text) {
    problem = "a value is missing";
    return false;
  }
  char *end = nullptr;
  errno = 0;
  value = std::strtod(text, &end);
  if (end == text || *end != '\0' || errno == ERANGE || !std::isfinite(value)) {
    problem = std::string("'") + text + "' is not a number";
    return false;
  }
  if (value < least || value > most) {
    char range[96];
    std::snprintf(range, sizeof range, " is out of range (%g to %g)", least, most);
    problem = text + std::string(range);
    return false;
  }
  return true;
}

TemporaryFile::~TemporaryFile() { discard(); }

bool TemporaryFile::open(const std::string &path, std::string &error) {
  discard();
  _path = path;
  const std::string temporary = path + ".part";
  _slot = claim(temporary);
  _file = std::fopen(temporary.c_str(), "wb");
  if (!_file) {
    error = "cannot write '" + path + "': " + std::strerror(errno);
    release(_slot);
    _slot = -1;
  }
  return _file != nullptr;
}

bool TemporaryFile::commit(bool wrote, std::string &error) {
  const std::string temporary = _path + ".part";
  bool ok = wrote && !std::ferror(_file);
  int code = ok ? 0 : errno;
  if (std::fclose(_file) != 0 && ok) {
    ok = false;
    code = errno;
  }
  _file = nullptr;
  if (ok && std::rename(temporary.c_str(), _path.c_str()) != 0) {
    ok = false;
    code = errno;
  }
  if (!ok) {
    std::remove(temporary.c_str());
    error = "cannot write '" + _path + "': " + std::strerror(code ? code : EIO);
  }
  release(_slot);
  _slot = -1;
  return ok;
}

void TemporaryFile::discard() {
  if (_file) {
    std::fclose(_file);
    _file = nullptr;
    std::remove((_path + ".part").c_str());
  }
  release(_slot);
  _slot = -1;
}

bool writeThroughTemporary(const std::string &path, const std::function<bool(std::FILE *)> &write,
                           std::string &error) {
  TemporaryFile out;
  return out.open(path, error) && out.commit(write(out.file()), error);
}

void removeTemporariesOnSignal() {
  std::signal(SIGINT, onSignal);
  std::signal(SIGTERM, onSignal);
}

} // namespace tools
