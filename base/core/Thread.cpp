//===- base/core/Thread.cpp - Named threads with priorities -----------------===//
#include "base/core/Thread.h"

#include "base/core/Debug.h"
#include "base/core/OutputStream.h"
#include "base/core/System.h"

#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

namespace base::core {

double THREAD_PROCESSING_PERIOD_IN_SECONDS = 0.0;

void setRealtimeThreadProcessingPeriod(int numerator, int denominator) {
  THREAD_PROCESSING_PERIOD_IN_SECONDS = double(numerator) / double(denominator);
}

void setRealtimeSuitableProcessPriority() {}
void restoreNormalProcessPriority() {}

namespace {

// Linux keeps 15 bytes and the terminator; a cut inside a UTF-8 sequence would leave
// an invalid name, so the cut moves back to the start of that sequence.
std::string systemThreadName(const char *name) {
  std::string cut(name);
  if (cut.size() > 15) {
    size_t end = 15;
    while (end > 0 && (static_cast<unsigned char>(cut[end]) & 0xC0) == 0x80)
      --end;
    cut.resize(end);
  }
  return cut;
}

// A double to an unsigned 32-bit count, in range: the cast alone is undefined outside it.
uint32_t toUInt32(double value) {
  return value <= 0.0 ? 0u : value >= 4294967295.0 ? UINT32_MAX : static_cast<uint32_t>(value);
}

// Nice values for the time-sharing importances 63, 48, 31, 20, 10, 0 of priorities 2 to 7,
// and for the fall-back of the real-time ones.
constexpr int kNiceOfPriority[8] = {-20, -20, -10, -5, 0, 4, 7, 10};

int setNice(int nice) {
  const auto tid = static_cast<id_t>(syscall(SYS_gettid));
  return setpriority(PRIO_PROCESS, tid, nice) == 0 ? 0 : errno;
}

} // namespace

RealtimeConstraint realtimeConstraint(ThreadPriority priority) {
  // Host time is counted in nanoseconds here: a scale of one unit per nanosecond.
  constexpr double scale = 1.0;
  RealtimeConstraint c;
  if (priority == ThreadPriorityRealtime1ms) {
    c.period = toUInt32(1000000.0 * scale);
    c.computation = toUInt32(500000.0 * scale);
  } else if (priority == ThreadPriorityRealtime) {
    const double p = THREAD_PROCESSING_PERIOD_IN_SECONDS;
    c.period = toUInt32(1000000000.0 * p * scale);
    c.computation = toUInt32(std::min(p * 500000000.0, 3000000.0) * scale);
  } else {
    return c;
  }
  c.constraint = c.period;
  return c;
}

Thread::~Thread() { join(); }

void Thread::start() {
  _state = 1;
  pthread_attr_t attributes;
  if (pthread_attr_init(&attributes) != 0)
    BASE_FATAL_STATE("pthread_attr_init() failed");
  if (pthread_attr_setstacksize(&attributes, 8388608) != 0)
    BASE_FATAL_STATE("pthread_attr_setstacksize() failed");
  if (pthread_create(&_threadId, &attributes, &thread_run_func, this) != 0)
    BASE_FATAL_STATE("pthread_create() failed");
  pthread_attr_destroy(&attributes);
}

void Thread::join() {
  if (_threadId != pthread_t{}) {
    pthread_join(_threadId, nullptr);
    _threadId = pthread_t{};
  }
  _state = 3;
}

bool Thread::isThisThreadActive() const { return pthread_equal(_threadId, pthread_self()) != 0; }

void Thread::sleepFor(double seconds) {
  const double micros = seconds * 1000000.0 + 0.5;
  // usleep takes whole microseconds; outside its range the conversion is undefined.
  usleep(micros <= 0.0 ? 0 : micros >= double(UINT_MAX) ? UINT_MAX : static_cast<useconds_t>(micros));
}

void Thread::yield() { sched_yield(); }

void Thread::setThreadName(const char *name) {
  pthread_setname_np(pthread_self(), systemThreadName(name).c_str());
}

int Thread::getNumHardwareThreads() {
  static const int count = static_cast<int>(sysconf(_SC_NPROCESSORS_ONLN));
  return count;
}

int Thread::setThreadPriority(ThreadPriority priority) {
  if (priority == ThreadPriorityRealtime1ms || priority == ThreadPriorityRealtime) {
    // First in, first out at the top priority is the nearest Linux has to a thread that
    // must do its computation within every period.
    sched_param parameters{};
    parameters.sched_priority = sched_get_priority_max(SCHED_FIFO);
    const int result = pthread_setschedparam(pthread_self(), SCHED_FIFO, &parameters);
    if (result == 0)
      return 0;
    OutputStream *error = getError();
    error->writeString("Err or setting realtime priority.\n");
    error->writeInt32(result);
  }
  // Beyond the table no importance is chosen: the thread is left as it is.
  if (priority < 0 || priority > 7)
    return 0;
  if (priority > ThreadPriorityRealtime) {
    // Time sharing again: a thread that was real time before keeps nothing of it.
    const sched_param parameters{};
    if (const int result = pthread_setschedparam(pthread_self(), SCHED_OTHER, &parameters))
      return result;
  }
  return setNice(kNiceOfPriority[priority]);
}

void Thread::initializeThread() {
  setThreadName(_name.c_str());
  setThreadPriority(_priority);
}

void *thread_run_func(void *thread) {
  auto *self = static_cast<Thread *>(thread);
  self->initializeThread();
  self->run();
  return nullptr;
}

} // namespace base::core
