//===- base/core/Locks.h - Mutexes, a spin lock, conditions and events -----===//
//
// Thin layers over POSIX mutexes and condition variables, a spin lock with exponential
// back-off, a scoped guard and a signal event without memory.
//
//===----------------------------------------------------------------------===//
#ifndef BASE_CORE_LOCKS_H
#define BASE_CORE_LOCKS_H

#include <atomic>
#include <cstdint>
#include <ctime>
#include <pthread.h>

namespace base::core {

/// What a LockGuard needs of a lock.
class AbstractMutex {
public:
  AbstractMutex() = default;
  AbstractMutex(const AbstractMutex &) = delete;
  AbstractMutex &operator=(const AbstractMutex &) = delete;
  virtual ~AbstractMutex() = default;

  virtual void lock() = 0;
  /// Mind the sense: see the implementations.
  virtual bool tryLock() = 0;
  virtual void unlock() = 0;
  [[nodiscard]] virtual bool isRecursive() const = 0;
};

/// A POSIX mutex with default attributes. A failure to create it is reported as a fatal
/// state and leaves it unusable.
class Mutex : public AbstractMutex {
public:
  Mutex();
  ~Mutex() override;
  void lock() override;
  /// True when the lock was taken.
  bool tryLock() override;
  void unlock() override;
  [[nodiscard]] bool isRecursive() const override { return false; }
  [[nodiscard]] pthread_mutex_t *getLowLevelMutex() { return &_mutex; }

private:
  pthread_mutex_t _mutex;
};

/// A POSIX mutex that its owner may lock again.
class RecursiveMutex : public AbstractMutex {
public:
  RecursiveMutex();
  ~RecursiveMutex() override;
  void lock() override;
  /// True when the lock was NOT taken: the opposite of Mutex::tryLock, kept for the
  /// callers written against it.
  bool tryLock() override;
  void unlock() override;
  [[nodiscard]] bool isRecursive() const override { return true; }
  [[nodiscard]] pthread_mutex_t *getLowLevelMutex() { return &_mutex; }

private:
  pthread_mutex_t _mutex;
};

/// A spin lock for very short sections: between failed attempts it pauses 1, 2, 4, ...
/// times, up to maxSpins; it never yields or sleeps.
class SpinMutex {
public:
  explicit SpinMutex(int maxSpins);
  SpinMutex(const SpinMutex &) = delete;
  SpinMutex &operator=(const SpinMutex &) = delete;

  void lock();
  /// One attempt; true when the lock was taken.
  bool tryLock();
  void unlock();
  /// The back-off: the pauses after `spins` pauses, min(2 * spins, maxSpins).
  [[nodiscard]] static int nextSpins(int spins, int maxSpins) {
    return 2 * spins < maxSpins ? 2 * spins : maxSpins;
  }

private:
  std::atomic<int32_t> _locked;
  int32_t _maxSpins;
};

/// Locks on construction, unlocks on destruction.
class LockGuard {
public:
  explicit LockGuard(AbstractMutex &mutex) : _mutex(mutex) { _mutex.lock(); }
  ~LockGuard() { _mutex.unlock(); }
  LockGuard(const LockGuard &) = delete;
  LockGuard &operator=(const LockGuard &) = delete;
  [[nodiscard]] AbstractMutex &getMutex() { return _mutex; }

private:
  AbstractMutex &_mutex;
};

/// A POSIX condition variable. Waits take a guard that holds a Mutex (or a
/// RecursiveMutex locked once); a guard on another lock makes them return at once.
class ConditionVariable {
public:
  ConditionVariable();
  ~ConditionVariable();
  ConditionVariable(const ConditionVariable &) = delete;
  ConditionVariable &operator=(const ConditionVariable &) = delete;

  void notifyOne();
  void notifyAll();
  void wait(LockGuard &guard);
  /// Waits at most `seconds`; true when notified (or woken spuriously), false on a
  /// time-out.
  bool timedWait(LockGuard &guard, double seconds);
  /// `seconds` as whole seconds and nanoseconds: 1.5 gives {1, 500000000}. Negative and
  /// undefined values give 0, values beyond the range of time_t its largest.
  [[nodiscard]] static timespec toTimespec(double seconds);

private:
  pthread_cond_t _condition;
};

/// A wake-up call without memory: a fire with nobody waiting is lost, and a spurious
/// wake-up returns from wait as a fire does. Callers that need more keep a flag.
class SignalEvent {
public:
  /// Wakes one waiter for a count below 2, all of them otherwise.
  void fire(int count);
  void wait();

private:
  ConditionVariable _condition;
  Mutex _mutex;
};

} // namespace base::core

#endif // BASE_CORE_LOCKS_H
