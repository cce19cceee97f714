//===- tools/ToolSupport.cpp - What the command-line tools share -----------===//
#include "ToolSupport.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <random>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace tools {

namespace {
// Temporaries of writes in progress, readable from a signal handler: room for one per
// job of detect-transients (at most 256), its outputs, and a few more.
constexpr int Slots = 264;
char temporaries[Slots][PATH_MAX + 64];
std::mutex temporariesLock;

const char *const InputAttribute = "user.detect-transients.input";

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

// FILE.PID-RANDOM.part: the random part differs between processes that share a pid (on
// two machines writing one shared folder) and the counter within one process.
std::string temporaryName(const std::string &target) {
  static const unsigned long long seed = [] {
    std::random_device device;
    return (static_cast<unsigned long long>(device()) << 32) ^ device();
  }();
  static std::atomic<unsigned long long> counter{0};
  char part[64];
  std::snprintf(part, sizeof part, ".%ld-%08llx.part", static_cast<long>(getpid()),
                (seed + 0x9E3779B97F4A7C15ull * counter++) >> 32);
  return target + part;
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
    problem = text + std::string(" is out of range (") + plainNumber(least) + " to " + plainNumber(most) + ")";
    return false;
  }
  return true;
}

std::string plainNumber(double value) {
  char text[64];
  std::snprintf(text, sizeof text, "%.15g", value);
  return text;
}

bool fileIdOf(const std::string &path, FileId &id) {
  struct stat st;
  if ((path == "-" ? fstat(STDIN_FILENO, &st) : stat(path.c_str(), &st)) != 0 ||
      (path == "-" && !S_ISREG(st.st_mode)))
    return false;
  id.device = st.st_dev;
  id.inode = st.st_ino;
  return true;
}

std::string folderOf(const std::string &path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
}

std::string baseName(const std::string &path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string extensionOf(const std::string &path) {
  const size_t slash = path.rfind('/'), dot = path.rfind('.');
  return dot == std::string::npos || (slash != std::string::npos && dot < slash) ? std::string() : path.substr(dot);
}

OutputTarget resolveOutput(const std::string &path) {
  OutputTarget t;
  t.path = path;
  struct stat st;
  const bool special = path.rfind("/dev/", 0) == 0 || path.rfind("/proc/", 0) == 0;
  if (stat(path.c_str(), &st) == 0) {
    t.kind = S_ISDIR(st.st_mode)   ? OutputTarget::Kind::Folder
             : S_ISBLK(st.st_mode) ? OutputTarget::Kind::BlockDevice
             : S_ISREG(st.st_mode) && !special ? OutputTarget::Kind::Regular
                                               : OutputTarget::Kind::Stream;
    char real[PATH_MAX];
    if (t.kind == OutputTarget::Kind::Regular && realpath(path.c_str(), real))
      t.path = real;
    return t;
  }
  // Nothing there, or a link to nothing yet: the file is made where the links end, as the
  // shell's ">" would make it.
  for (int depth = 0; depth < 40; ++depth) {
    char link[PATH_MAX];
    const ssize_t n = readlink(t.path.c_str(), link, sizeof link - 1);
    if (n <= 0)
      break;
    const std::string to(link, static_cast<size_t>(n));
    t.path = to[0] == '/' ? to : folderOf(t.path) + "/" + to;
  }
  return t;
}

TemporaryFile::~TemporaryFile() { discard(); }

bool TemporaryFile::open(const std::string &path, std::string &error) {
  discard();
  _path = path;
  const OutputTarget target = resolveOutput(path);
  _target = target.path;
  if (target.kind == OutputTarget::Kind::Folder || target.kind == OutputTarget::Kind::BlockDevice) {
    error = "cannot write '" + path + "': it is a " +
            (target.kind == OutputTarget::Kind::Folder ? "folder" : "block device");
    return false;
  }
  int fd;
  if (target.kind == OutputTarget::Kind::Stream) {
    fd = ::open(_target.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  } else {
    _temporary = temporaryName(_target);
    _slot = claim(_temporary);
    fd = ::open(_temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    struct stat st;
    if (fd >= 0 && target.kind == OutputTarget::Kind::Regular && stat(_target.c_str(), &st) == 0)
      (void)fchmod(fd, st.st_mode & 07777); // the replacement keeps what others may do with it
  }
  if (fd >= 0 && !(_file = fdopen(fd, "wb")))
    close(fd);
  if (!_file) {
    error = "cannot write '" + path + "': " + std::strerror(errno);
    if (fd >= 0 && !_temporary.empty())
      unlink(_temporary.c_str());
    release(_slot);
    _slot = -1;
    _temporary.clear();
  }
  return _file != nullptr;
}

void TemporaryFile::recordInput(const std::string &input) {
  if (_file && !_temporary.empty())
    (void)fsetxattr(fileno(_file), InputAttribute, input.data(), input.size(), 0);
}

bool TemporaryFile::commit(bool wrote, std::string &error) {
  bool ok = wrote && std::fflush(_file) == 0 && !std::ferror(_file);
  int code = ok ? 0 : errno;
  if (std::fclose(_file) != 0 && ok) {
    ok = false;
    code = errno;
  }
  _file = nullptr;
  if (ok && !_temporary.empty() && std::rename(_temporary.c_str(), _target.c_str()) != 0) {
    ok = false;
    code = errno;
  }
  if (!ok) {
    if (!_temporary.empty())
      std::remove(_temporary.c_str());
    error = "cannot write '" + _path + "': " + std::strerror(code ? code : EIO);
  }
  release(_slot);
  _slot = -1;
  _temporary.clear();
  return ok;
}

void TemporaryFile::discard() {
  if (_file) {
    std::fclose(_file);
    _file = nullptr;
    if (!_temporary.empty())
      std::remove(_temporary.c_str());
  }
  release(_slot);
  _slot = -1;
  _temporary.clear();
}

bool writeThroughTemporary(const std::string &path, const std::function<bool(std::FILE *)> &write,
                           std::string &error) {
  TemporaryFile out;
  return out.open(path, error) && out.commit(write(out.file()), error);
}

std::string recordedInput(const std::string &path) {
  char value[PATH_MAX];
  const ssize_t n = getxattr(path.c_str(), InputAttribute, value, sizeof value);
  return n > 0 ? std::string(value, static_cast<size_t>(n)) : std::string();
}

void removeTemporariesOnSignal() {
  for (int sig : {SIGINT, SIGTERM, SIGHUP, SIGQUIT})
    std::signal(sig, onSignal);
  std::signal(SIGPIPE, SIG_IGN);
}

} // namespace tools
