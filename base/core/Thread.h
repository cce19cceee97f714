//===- base/core/Thread.h - Named threads with priorities -------------------===//
//
// A counted Object around a POSIX thread. Subclass and implement run(), or hand a
// function to GenericThread; start() runs it on a new thread with an 8 MiB stack, and the
// destructor waits for it. A subclass whose run() uses its own members calls join() in
// its own destructor, before those members go.
//
// Names: Linux keeps 15 bytes of a thread's name (/proc/self/task/*/comm); longer names
// are cut there, at a character boundary.
//
// Priorities, as the Linux scheduler gets them:
//
//   priority | asks for                                | on Linux
//   0        | real time, period 1 ms, computation 0.5 | SCHED_FIFO at the top priority; where
//   1        | real time, from the processing period   | that is not permitted, the error on
//            |                                         | getError() and nice -20 (if allowed)
//   2 .. 7   | time sharing, importance 63 48 31 20 10 0 | SCHED_OTHER (also after real
//            |                                         | time), nice -10 -5 0 4 7 10
//
// Raising a thread above nice 0 needs CAP_SYS_NICE (or a matching RLIMIT_NICE); without
// it the request fails silently and the thread keeps nice 0. The real-time numbers are
// kept (realtimeConstraint) for schedulers that can take them.
//
//===----------------------------------------------------------------------===//
#ifndef BASE_CORE_THREAD_H
#define BASE_CORE_THREAD_H

#include "base/core/Object.h"

#include <pthread.h>

#include <cstdint>
#include <string>

namespace base::core {

enum ThreadPriority : int32_t {
  ThreadPriorityRealtime1ms = 0,
  ThreadPriorityRealtime = 1,
  ThreadPriorityHighest = 2,
  ThreadPriorityHigh = 3,
  ThreadPriorityNormal = 4,
  ThreadPriorityLow = 5,
  ThreadPriorityLower = 6,
  ThreadPriorityLowest = 7,
};

/// Seconds of one processing block, which real-time threads are scheduled by; 0.0 until
/// set. Set it before such threads start.
extern double THREAD_PROCESSING_PERIOD_IN_SECONDS;
/// numerator / denominator seconds: usually frames per block over the sample rate.
void setRealtimeThreadProcessingPeriod(int numerator, int denominator);
/// Empty on this platform.
void setRealtimeSuitableProcessPriority();
void restoreNormalProcessPriority();

/// What a real-time priority asks of the scheduler, in nanoseconds: each `period`, at most
/// `computation` of work, done within `constraint`. Zero for other priorities.
struct RealtimeConstraint {
  uint32_t period = 0, computation = 0, constraint = 0;
};
[[nodiscard]] RealtimeConstraint realtimeConstraint(ThreadPriority priority);

/// Compares thread handles as the system does.
class ThreadId {
public:
  explicit ThreadId(pthread_t id) : _id(id) {}
  [[nodiscard]] bool operator==(const ThreadId &other) const { return pthread_equal(_id, other._id); }
  [[nodiscard]] bool operator!=(const ThreadId &other) const { return !(*this == other); }
  [[nodiscard]] pthread_t get() const { return _id; }

private:
  pthread_t _id;
};

class Thread;
/// The start routine of every Thread: initializeThread(), then run().
void *thread_run_func(void *thread);

class Thread : public Object {
public:
  Thread() : Thread("Unnamed thread") {}
  explicit Thread(const char *name, ThreadPriority priority = ThreadPriorityNormal)
      : _name(name), _priority(priority) {}
  /// Waits for the thread, as join().
  ~Thread() override;

  /// Runs initializeThread() and run() on a new thread. A failing system call goes
  /// through the assertion route.
  void start();
  /// Waits for the thread if it was started; the thread counts as completed from here on.
  void join();
  /// True after join(): whether the thread has been joined, not whether run() returned.
  [[nodiscard]] bool isCompleted() const { return _state == 3; }
  [[nodiscard]] const char *getName() const { return _name.c_str(); }
  /// Whether the calling thread is this one.
  [[nodiscard]] bool isThisThreadActive() const;
  [[nodiscard]] pthread_t getThreadId() const { return _threadId; }

  /// At least 0 seconds, to the nearest microsecond.
  static void sleepFor(double seconds);
  static void yield();
  /// Names the calling thread.
  static void setThreadName(const char *name);
  [[nodiscard]] static pthread_t getCurrentThreadId() { return pthread_self(); }
  [[nodiscard]] static int getNumHardwareThreads();
  /// Applies `priority` to the calling thread, as the table above says; 0 when the last
  /// request succeeded, else its error number.
  static int setThreadPriority(ThreadPriority priority);

protected:
  /// On the new thread, before run(): its name and priority.
  virtual void initializeThread();
  virtual void run() = 0;

private:
  friend void *thread_run_func(void *thread);

  pthread_t _threadId{};
  std::string _name;
  ThreadPriority _priority;
  int32_t _state = 0;
};

/// Runs `function(argument)` on its own thread.
class GenericThread : public Thread {
public:
  GenericThread(void (*function)(void *), void *argument, const char *name,
                ThreadPriority priority = ThreadPriorityNormal)
      : Thread(name, priority), _function(function), _argument(argument) {}
  ~GenericThread() override { join(); }

protected:
  void run() override { _function(_argument); }

private:
  void (*_function)(void *);
  void *_argument;
};

} // namespace base::core

#endif // BASE_CORE_THREAD_H
