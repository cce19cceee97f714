//===- base/core/Platform.cpp - The operating system, behind one small door ===//
#include "base/core/Platform.h"

#include <immintrin.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <streambuf>

namespace base::core {

namespace {

class DescriptorInput : public std::streambuf {
protected:
  int_type underflow() override {
    ssize_t n;
    do
      n = read(0, _area, sizeof _area);
    while (n < 0 && errno == EINTR);
    if (n <= 0)
      return traits_type::eof();
    setg(_area, _area, _area + n);
    return traits_type::to_int_type(_area[0]);
  }
  // What the descriptor holds once something arrived: -1 at its end.
  std::streamsize showmanyc() override {
    pollfd input{0, POLLIN, 0};
    while (poll(&input, 1, -1) < 0 && errno == EINTR) {
    }
    int ready = 0;
    if (ioctl(0, FIONREAD, &ready) != 0 || ready <= 0)
      return -1;
    return ready;
  }

private:
  char _area[4096];
};

std::istream *processInputStream = nullptr;

} // namespace

std::istream &processInput() {
  if (processInputStream == nullptr)
    processInputStream = new std::istream(new DescriptorInput);
  return *processInputStream;
}

void releaseProcessInput() {
  if (processInputStream != nullptr) {
    delete processInputStream->rdbuf();
    delete processInputStream;
    processInputStream = nullptr;
  }
}

int currentProcessId() noexcept { return static_cast<int>(getpid()); }

std::string executableFolder() {
  char path[4096];
  const ssize_t n = readlink("/proc/self/exe", path, sizeof path);
  if (n <= 0 || static_cast<size_t>(n) == sizeof path) // a longer path was cut
    return {};
  const std::string program(path, static_cast<size_t>(n));
  return program.substr(0, program.rfind('/'));
}

unsigned long long monotonicNanos() noexcept {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<unsigned long long>(now.tv_sec) * 1000000000ull +
         static_cast<unsigned long long>(now.tv_nsec);
}

void pauseProcessor() noexcept { _mm_pause(); }

// Condition waits time out against CLOCK_MONOTONIC, so that a change of the wall clock
// neither shortens nor stretches a relative wait.
timespec deadlineAfter(const timespec &relative) noexcept {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  timespec deadline{now.tv_sec + relative.tv_sec, now.tv_nsec + relative.tv_nsec};
  if (deadline.tv_nsec >= 1000000000L) {
    deadline.tv_nsec -= 1000000000L;
    ++deadline.tv_sec;
  }
  return deadline;
}

void useDeadlineClock(pthread_condattr_t &attributes) noexcept {
  pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
}

} // namespace base::core
