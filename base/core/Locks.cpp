//===- base/core/Locks.cpp - Mutexes, a spin lock, conditions and events ---===//
#include "base/core/Locks.h"

#include "base/core/Debug.h"
#include "base/core/Platform.h"

#include <cmath>
#include <limits>

namespace base::core {

Mutex::Mutex() {
  if (pthread_mutex_init(&_mutex, nullptr) != 0)
    BASE_FATAL_STATE("pthread_mutex_init failed");
}
Mutex::~Mutex() { pthread_mutex_destroy(&_mutex); }
void Mutex::lock() { pthread_mutex_lock(&_mutex); }
bool Mutex::tryLock() { return pthread_mutex_trylock(&_mutex) == 0; }
void Mutex::unlock() { pthread_mutex_unlock(&_mutex); }

RecursiveMutex::RecursiveMutex() {
  pthread_mutexattr_t attributes;
  if (pthread_mutexattr_init(&attributes) != 0) {
    BASE_FATAL_STATE("pthread_mutexattr_init() failed");
    return;
  }
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  if (pthread_mutex_init(&_mutex, &attributes) != 0)
    BASE_FATAL_STATE("pthread_mutex_init() failed");
  pthread_mutexattr_destroy(&attributes);
}
RecursiveMutex::~RecursiveMutex() { pthread_mutex_destroy(&_mutex); }
void RecursiveMutex::lock() { pthread_mutex_lock(&_mutex); }
bool RecursiveMutex::tryLock() { return pthread_mutex_trylock(&_mutex) != 0; }
void RecursiveMutex::unlock() { pthread_mutex_unlock(&_mutex); }

SpinMutex::SpinMutex(int maxSpins) : _locked(0), _maxSpins(maxSpins) {}

void SpinMutex::lock() {
  for (int spins = 1;; spins = nextSpins(spins, _maxSpins)) {
    if (tryLock())
      return;
    for (int i = 0; i < spins; ++i)
      pauseProcessor();
  }
}

bool SpinMutex::tryLock() {
  int32_t expected = 0;
  return _locked.compare_exchange_strong(expected, 1, std::memory_order_seq_cst);
}

void SpinMutex::unlock() { _locked.store(0, std::memory_order_seq_cst); }

namespace {
// The system mutex behind a guard, if its lock has one.
pthread_mutex_t *systemMutex(LockGuard &guard) {
  AbstractMutex &mutex = guard.getMutex();
  (void)mutex.isRecursive(); // asked, as every wait does, and not acted on
  if (auto *plain = dynamic_cast<Mutex *>(&mutex))
    return plain->getLowLevelMutex();
  if (auto *recursive = dynamic_cast<RecursiveMutex *>(&mutex))
    return recursive->getLowLevelMutex();
  return nullptr;
}
} // namespace

ConditionVariable::ConditionVariable() {
  pthread_condattr_t attributes;
  if (pthread_condattr_init(&attributes) != 0) {
    BASE_FATAL_STATE("pthread_condattr_init() failed");
    return;
  }
  useDeadlineClock(attributes);
  if (pthread_cond_init(&_condition, &attributes) != 0)
    BASE_FATAL_STATE("pthread_cond_init() failed");
  pthread_condattr_destroy(&attributes);
}
ConditionVariable::~ConditionVariable() { pthread_cond_destroy(&_condition); }
void ConditionVariable::notifyOne() { pthread_cond_signal(&_condition); }
void ConditionVariable::notifyAll() { pthread_cond_broadcast(&_condition); }

void ConditionVariable::wait(LockGuard &guard) {
  if (pthread_mutex_t *mutex = systemMutex(guard))
    pthread_cond_wait(&_condition, mutex);
}

bool ConditionVariable::timedWait(LockGuard &guard, double seconds) {
  const timespec relative = toTimespec(seconds);
  pthread_mutex_t *mutex = systemMutex(guard);
  if (!mutex)
    return false;
  const timespec deadline = deadlineAfter(relative);
  return pthread_cond_timedwait(&_condition, mutex, &deadline) == 0;
}

timespec ConditionVariable::toTimespec(double seconds) {
  const double nanoseconds = seconds * 1000000000.0;
  if (!(nanoseconds > 0.0))
    return {0, 0};
  const double whole = std::floor(nanoseconds / 1000000000.0);
  // A conversion of a double beyond the integer's range is undefined: cap it first.
  if (whole >= static_cast<double>(std::numeric_limits<time_t>::max() / 2))
    return {std::numeric_limits<time_t>::max() / 2, 0};
  return {static_cast<time_t>(whole), static_cast<long>(nanoseconds - whole * 1000000000.0)};
}

void SignalEvent::fire(int count) {
  LockGuard guard(_mutex);
  if (count < 2)
    _condition.notifyOne();
  else
    _condition.notifyAll();
}

void SignalEvent::wait() {
  LockGuard guard(_mutex);
  _condition.wait(guard);
}

} // namespace base::core
