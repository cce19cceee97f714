//===- base/core/System.cpp - Process streams, environment, clocks, processes ===//
#include "base/core/System.h"

#include "base/core/Base64.h"
#include "base/core/Exception.h"
#include "base/core/MD5.h"
#include "base/core/Platform.h"
#include "base/core/StdStreams.h"
#include "base/core/StringBuilder.h"

#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iostream>

namespace base::core {

namespace {

// Each holds one count of its stream. Plain pointers rather than handles, so that they
// are null before load and again after the exit handler: a caller that comes before the
// initialiser or after the handler gets a stream made on the spot.
OutputStream *outPtr = nullptr;
OutputStream *errorPtr = nullptr;
InputStream *inPtr = nullptr;
// The clock at load, set by the initialiser.
unsigned long long TIME_AT_START = 0;

template <class Stream> void release(Stream *&stream) {
  if (stream != nullptr)
    stream->decrementRefCount();
  stream = nullptr;
}

// Makes the stream only for an empty slot: a caller before the initialiser may have
// filled it already.
template <class Stream, class Make> Stream *held(Stream *&slot, Make make) {
  if (slot == nullptr) {
    slot = make();
    slot->incrementRefCount();
  }
  return slot;
}

OutputStream *makeOut() {
  return held(outPtr, [] { return new StdOutputStream(&std::cout, false); });
}
OutputStream *makeError() {
  return held(errorPtr, [] { return new StdOutputStream(&std::cerr, false); });
}
InputStream *makeIn() {
  return held(inPtr, [] { return new StdInputStream(&processInput(), false); });
}

class SystemStaticInitializer {
public:
  SystemStaticInitializer() {
    std::atexit([] {
      release(outPtr);
      release(errorPtr);
      release(inPtr);
      releaseProcessInput();
    });
    (void)makeError();
    (void)makeOut();
    (void)makeIn();
    TIME_AT_START = monotonicNanos();
  }
};

// Load order: the plug-in's adapter (200), Debug (201), String (202), this (203).
__attribute__((init_priority(203))) const SystemStaticInitializer systemStaticInitializer;


// A null-terminated argument array of UTF-8 copies, made before fork so that the child
// touches nothing but execvp.
class ArgumentArray {
public:
  explicit ArgumentArray(const std::vector<String> &arguments) {
    for (const String &a : arguments)
      _items.push_back(strdup(a.getStdString().c_str()));
    _items.push_back(nullptr);
  }
  ~ArgumentArray() {
    for (char *item : _items)
      std::free(item);
  }
  ArgumentArray(const ArgumentArray &) = delete;
  ArgumentArray &operator=(const ArgumentArray &) = delete;
  [[nodiscard]] char *const *get() const { return _items.data(); }
  [[nodiscard]] bool empty() const { return _items.size() == 1; }

private:
  std::vector<char *> _items;
};

// fork and execvp; the child that cannot start its program ends with 255.
pid_t startChild(const ArgumentArray &arguments) {
  const pid_t pid = fork();
  if (pid == 0) {
    // With no program there is nothing to run: the same as a program that is missing.
    if (!arguments.empty())
      execvp(arguments.get()[0], arguments.get());
    _exit(255);
  }
  return pid;
}

} // namespace

OutputStream *getOut() { return outPtr != nullptr ? outPtr : makeOut(); }
OutputStream *getError() { return errorPtr != nullptr ? errorPtr : makeError(); }
InputStream *getIn() { return inPtr != nullptr ? inPtr : makeIn(); }

String getEnvVar(const String &name, bool *found) {
  const char *value = std::getenv(name.getStdString().c_str());
  if (found != nullptr)
    *found = value != nullptr;
  return value != nullptr ? String(value) : String::EMPTY;
}

String getStringEnvVar(const String &name, const String &defaultValue) {
  bool found = false;
  String value = getEnvVar(name, &found);
  return found ? value : defaultValue;
}

bool getBoolEnvVar(const String &name, bool defaultValue) {
  bool found = false;
  const String value = getEnvVar(name, &found);
  return found ? value.compareTo("true") == 0 : defaultValue;
}

int getInt32EnvVar(const String &name, int defaultValue) {
  bool found = false;
  const String value = getEnvVar(name, &found);
  return found ? value.asInt32(10) : defaultValue;
}

void setEnvVar(const String &name, const String &value) {
  (void)setenv(name.getStdString().c_str(), value.getStdString().c_str(), 1);
}

void deleteEnvVar(const String &name) { (void)unsetenv(name.getStdString().c_str()); }

void setProcessName(const String &) {}

unsigned long long currentTimeMillis() {
  timeval now{};
  gettimeofday(&now, nullptr);
  return static_cast<unsigned long long>(now.tv_sec) * 1000 +
         static_cast<unsigned long long>(now.tv_usec) / 1000;
}

unsigned long long getHighResolutionClockTimeNanos(bool) { return monotonicNanos(); }
unsigned long long audioTimeToHighResTime(unsigned long long audioTime) { return audioTime; }
unsigned long long highResTimeToAudioTime(unsigned long long highResTime) { return highResTime; }

unsigned long long getTimeMicrosSinceApplicationStart() {
  return (monotonicNanos() - TIME_AT_START) / 1000;
}

String formatProcessTime(unsigned long long t) {
  const unsigned long long h = t / 3600000000000ull;
  const unsigned long long m = t / 60000000000ull - 60 * h;
  const unsigned long long s = t / 1000000000ull - 60 * (t / 60000000000ull);
  const unsigned long long ms = t / 1000000ull - 1000 * (t / 1000000000ull);
  return StringBuilder("[") + h + ":" + m + ":" + s + "." + ms + "]";
}

String getTimeMicrosSinceApplicationStartFormatted() {
  return formatProcessTime(monotonicNanos() - TIME_AT_START);
}

void logWithProcessTime(const String &text) {
  StringBuilder line;
  line + getTimeMicrosSinceApplicationStartFormatted() + " " + text;
  getOut()->writeLine(line);
}

int execAndWait(const std::vector<String> &arguments) {
  const ArgumentArray argv(arguments);
  const pid_t pid = startChild(argv);
  if (pid < 0)
    throw ProcessException("Could not fork child process");
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  if ((status & 0x7F) != 0)
    throw ProcessException("Process did not exit normally");
  return (status >> 8) & 0xFF;
}

void exec(const std::vector<String> &arguments) {
  const ArgumentArray argv(arguments);
  if (startChild(argv) < 0)
    throw ProcessException("Error forking child process");
}

String getUserName() { return getEnvVar("USER", nullptr); }

String getSystemError() {
  char area[256];
  // The GNU strerror_r may return a static text instead of filling the area.
  return String(strerror_r(errno, area, sizeof area));
}

std::string getSharedResourceName(const String &name) {
  const std::string bytes = String(StringBuilder() + getEnvVar("USER") + "-" + name).getStdString();
  MD5 md5;
  md5.appendData(bytes.c_str(), std::strlen(bytes.c_str()));
  unsigned char digest[16];
  md5.calculate(digest);
  int length = 0;
  char *encoded = base64Encode(digest, sizeof digest, &length,
                               "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+-");
  std::string result = encoded != nullptr ? std::string(encoded, size_t(length)) : std::string();
  std::free(encoded);
  return result;
}

} // namespace base::core
