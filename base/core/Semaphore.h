//===- base/core/Semaphore.h - Counting semaphores --------------------------===//
//
// Two forms with the same operations:
//
//   NamedSemaphore (SemaphoreTemplate<int*>): a POSIX semaphore, named and shared
//   between the processes of one user through createServer and createClient (the
//   system name comes from getSharedResourceName), or unnamed for one process. Its
//   timed waits are not offered: they throw, as they always have for this form.
//
//   Semaphore (SemaphoreTemplate<unsigned int>): one process only, over an unnamed POSIX
//   semaphore; release() takes no lock and allocates nothing, for real-time threads.
//   Its timed waits measure on CLOCK_MONOTONIC (sem_clockwait with a deadline of now
//   plus the time); an interrupted wait counts as timed out. timedWaitUntil takes the
//   time to wait, not a point in time, despite its name.
//
//===----------------------------------------------------------------------===//
#ifndef BASE_CORE_SEMAPHORE_H
#define BASE_CORE_SEMAPHORE_H

#include "base/core/String.h"

#include <semaphore.h>

#include <cstdint>

namespace base::core {

template <class Handle> class SemaphoreTemplate;

/// What both forms share: an unnamed or named POSIX semaphore.
class PosixSemaphore {
public:
  PosixSemaphore(const PosixSemaphore &) = delete;
  PosixSemaphore &operator=(const PosixSemaphore &) = delete;
  /// True when the count was taken; never waits.
  [[nodiscard]] bool tryWait();
  /// `count` posts; none for 0 or less.
  void release(int count = 1);

protected:
  PosixSemaphore(sem_t *handle, String name, int32_t kind)
      : _handle(handle), _name(std::move(name)), _kind(kind) {}
  ~PosixSemaphore() = default;
  /// An unnamed semaphore of `value`; IOException when it cannot be made.
  static sem_t *createUnnamed(int value);
  static void destroyUnnamed(sem_t *handle);

  sem_t *_handle;
  String _name;  // the system name of a named semaphore
  int32_t _kind; // 0 named server, 1 named client, 2 unnamed
};

template <> class SemaphoreTemplate<int *> : public PosixSemaphore {
public:
  /// Creates the semaphore `name` with `value`, owned by the object (unlinked by its
  /// destructor). A semaphore left by a crashed process is removed first.
  [[nodiscard]] static SemaphoreTemplate *createServer(const String &name, int value);
  /// Opens the server's semaphore `name`.
  [[nodiscard]] static SemaphoreTemplate *createClient(const String &name);
  /// Unnamed, for one process.
  explicit SemaphoreTemplate(int value);
  ~SemaphoreTemplate();

  /// IOException "Error waiting for semaphore: " and the reason, unless interrupted.
  void wait();
  /// Not available for this form: IOException.
  bool timedWait(double seconds);
  bool timedWaitUntil(unsigned long long nanos);

private:
  SemaphoreTemplate(sem_t *handle, String name, int32_t kind)
      : PosixSemaphore(handle, std::move(name), kind) {}
};

template <> class SemaphoreTemplate<unsigned int> : public PosixSemaphore {
public:
  /// Not available for this form: IOException naming NamedSemaphore.
  [[nodiscard]] static SemaphoreTemplate *createServer(const String &name, int value);
  [[nodiscard]] static SemaphoreTemplate *createClient(const String &name);
  explicit SemaphoreTemplate(int value);
  ~SemaphoreTemplate();

  void wait();
  /// True when the count was taken within `seconds`; 0 is tryWait.
  bool timedWait(double seconds);
  /// True when the count was taken within `nanos` nanoseconds from now.
  bool timedWaitUntil(unsigned long long nanos);

private:
  bool waitFor(unsigned long long nanos);
};

using NamedSemaphore = SemaphoreTemplate<int *>;
using Semaphore = SemaphoreTemplate<unsigned int>;

} // namespace base::core

#endif // BASE_CORE_SEMAPHORE_H
