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
// Temporaries of writes in progress, readable from a signal handler.
constexpr int Slots = 16;
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

bool writeThroughTemporary(const std::string &path, const std::function<bool(std::FILE *)> &write,
                           std::string &error) {
  const std::string temporary = path + ".part";
  const int slot = claim(temporary);
  std::FILE *f = std::fopen(temporary.c_str(), "wb");
  bool ok = f != nullptr;
  int code = errno;
  if (ok) {
    ok = write(f) && !std::ferror(f);
    code = errno;
    ok = std::fclose(f) == 0 && ok;
    if (ok && std::rename(temporary.c_str(), path.c_str()) != 0) {
      ok = false;
      code = errno;
    }
  }
  if (!ok) {
    std::remove(temporary.c_str());
    error = "cannot write '" + path + "': " + std::strerror(code ? code : EIO);
  }
  release(slot);
  return ok;
}

void removeTemporariesOnSignal() {
  std::signal(SIGINT, onSignal);
  std::signal(SIGTERM, onSignal);
}

} // namespace tools
