//===- base/core/Semaphore.cpp - Counting semaphores ------------------------===//
#include "base/core/Semaphore.h"

#include "base/core/Exception.h"
#include "base/core/Platform.h"
#include "base/core/StringBuilder.h"
#include "base/core/System.h"

#include <fcntl.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

namespace base::core {

namespace {

// POSIX names start with a slash; the shared name may hold "+" and "-", which are fine.
std::string systemName(const String &name) { return "/" + getSharedResourceName(name); }

} // namespace

sem_t *PosixSemaphore::createUnnamed(int value) {
  auto *handle = static_cast<sem_t *>(std::malloc(sizeof(sem_t)));
  if (handle == nullptr)
    throw IOException("Failed to allocate memory for semaphore");
  if (sem_init(handle, 0, static_cast<unsigned>(value)) != 0) {
    std::free(handle);
    throw IOException("Could not initialize semaphore");
  }
  return handle;
}

void PosixSemaphore::destroyUnnamed(sem_t *handle) {
  sem_destroy(handle);
  std::free(handle);
}

bool PosixSemaphore::tryWait() { return sem_trywait(_handle) == 0; }

void PosixSemaphore::release(int count) {
  for (int i = 0; i < count; ++i)
    sem_post(_handle);
}

NamedSemaphore *NamedSemaphore::createServer(const String &name, int value) {
  const std::string system = systemName(name);
  sem_t *handle = sem_open(system.c_str(), O_CREAT | O_EXCL, 0600, static_cast<unsigned>(value));
  if (handle == SEM_FAILED) {
    sem_unlink(system.c_str());
    handle = sem_open(system.c_str(), O_CREAT | O_EXCL, 0600, static_cast<unsigned>(value));
  }
  if (handle == SEM_FAILED)
    throw IOException(StringBuilder("Could not create named server semaphore ") + system.c_str() +
                      ": " + getSystemError());
  return new NamedSemaphore(handle, String(system.c_str()), 0);
}

NamedSemaphore *NamedSemaphore::createClient(const String &name) {
  const std::string system = systemName(name);
  sem_t *handle = sem_open(system.c_str(), 0);
  if (handle == SEM_FAILED)
    throw IOException("Could not create named client semaphore");
  return new NamedSemaphore(handle, String(system.c_str()), 1);
}

NamedSemaphore::SemaphoreTemplate(int value) : SemaphoreTemplate(createUnnamed(value), String(), 2) {}

NamedSemaphore::~SemaphoreTemplate() {
  if (_kind == 2) {
    destroyUnnamed(_handle);
    return;
  }
  sem_close(_handle);
  if (_kind == 0)
    sem_unlink(_name.getStdString().c_str());
}

void NamedSemaphore::wait() {
  while (sem_wait(_handle) != 0) {
    if (errno != EINTR)
      throw IOException(StringBuilder("Error waiting for semaphore: ") + getSystemError());
  }
}

bool NamedSemaphore::timedWait(double) {
  throw IOException("timed-wait for POSIX semaphores is not available on OSX.");
}

bool NamedSemaphore::timedWaitUntil(unsigned long long) {
  throw IOException("timed-wait for POSIX semaphores is not available on OSX.");
}

Semaphore *Semaphore::createServer(const String &, int) {
  throw IOException("Use NamedSemaphore::createServer instead.");
}

Semaphore *Semaphore::createClient(const String &) {
  throw IOException("Use NamedSemaphore::createClient instead.");
}

Semaphore::SemaphoreTemplate(int value) : PosixSemaphore(createUnnamed(value), String(), 2) {}

Semaphore::~SemaphoreTemplate() { destroyUnnamed(_handle); }

void Semaphore::wait() {
  while (sem_wait(_handle) != 0 && errno == EINTR) {
  }
}

bool Semaphore::waitFor(unsigned long long nanos) {
  const timespec relative{static_cast<time_t>(nanos / 1000000000ull),
                          static_cast<long>(nanos % 1000000000ull)};
  const timespec deadline = deadlineAfter(relative);
  return sem_clockwait(_handle, CLOCK_MONOTONIC, &deadline) == 0;
}

bool Semaphore::timedWait(double seconds) {
  if (seconds == 0.0)
    return tryWait();
  const double nanos = seconds * 1000000000.0;
  // Outside a long's range the conversion is undefined; a negative time has passed.
  if (nanos <= 0.0)
    return tryWait();
  return waitFor(nanos >= 9.2e18 ? 9200000000000000000ull : static_cast<unsigned long long>(nanos));
}

bool Semaphore::timedWaitUntil(unsigned long long nanos) { return waitFor(nanos); }

} // namespace base::core
