//===- tests/base_core/ThreadTest.cpp - Threads and semaphores --------------===//
#include "base/core/Exception.h"
#include "base/core/Semaphore.h"
#include "base/core/System.h"
#include "base/core/Thread.h"
#include "tests/support/Expect.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <functional>
#include <string>

using namespace base::core;
using testsupport::expectIOException;

namespace {

// What the new thread saw of itself.
struct Seen {
  std::string comm;
  int nice = 99;
  int policy = -1;
};

class Probe : public Thread {
public:
  Probe(const char *name, ThreadPriority priority) : Thread(name, priority) {}
  ~Probe() override { join(); }
  Seen seen;

protected:
  void run() override {
    std::ifstream("/proc/thread-self/comm") >> seen.comm;
    errno = 0;
    seen.nice = getpriority(PRIO_PROCESS, static_cast<id_t>(syscall(SYS_gettid)));
    seen.policy = sched_getscheduler(0);
  }
};

Seen runProbe(const char *name, ThreadPriority priority) {
  Probe probe(name, priority);
  probe.allocatedOnStack();
  probe.start();
  probe.join();
  return probe.seen;
}

} // namespace

TEST(Thread, NamesAndPriorities) {
  const struct {
    const char *name, *comm;
    ThreadPriority priority;
    int nice;
  } cases[] = {
      {"worker", "worker", ThreadPriorityNormal, 0},
      {"a-name-longer-than-fifteen", "a-name-longer-t", ThreadPriorityLow, 4},
      {"\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9", "\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9",
       ThreadPriorityLower, 7}, // cut before a character, not inside it
      {"lowest", "lowest", ThreadPriorityLowest, 10},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    const Seen seen = runProbe(c.name, c.priority);
    EXPECT_EQ(seen.comm, c.comm);
    EXPECT_EQ(seen.nice, c.nice);
    EXPECT_EQ(seen.policy, SCHED_OTHER);
  }

  // Real time where the system permits it; else the error, its code as four bytes, and
  // the highest time-sharing priority the system allows.
  testing::internal::CaptureStderr();
  const Seen realtime = runProbe("audio", ThreadPriorityRealtime1ms);
  const std::string err = testing::internal::GetCapturedStderr();
  if (realtime.policy == SCHED_FIFO) {
    EXPECT_EQ(err, "");
  } else {
    EXPECT_EQ(err.substr(0, 34), "Err or setting realtime priority.\n");
    EXPECT_EQ(err.size(), 38u);
  }
}

TEST(Thread, RealtimeConstraints) {
  const struct {
    ThreadPriority priority;
    double period; // seconds
    RealtimeConstraint expected;
  } cases[] = {
      {ThreadPriorityRealtime1ms, 0.0, {1000000, 500000, 1000000}},
      {ThreadPriorityRealtime, 0.0, {0, 0, 0}},
      {ThreadPriorityRealtime, 512.0 / 44100.0, {11609977, 3000000, 11609977}}, // the 3 ms cap
      {ThreadPriorityRealtime, 0.004, {4000000, 2000000, 4000000}},
      {ThreadPriorityNormal, 0.004, {0, 0, 0}},
  };
  for (const auto &c : cases) {
    THREAD_PROCESSING_PERIOD_IN_SECONDS = c.period;
    const RealtimeConstraint got = realtimeConstraint(c.priority);
    EXPECT_EQ(got.period, c.expected.period);
    EXPECT_EQ(got.computation, c.expected.computation);
    EXPECT_EQ(got.constraint, c.expected.constraint);
  }
  setRealtimeThreadProcessingPeriod(512, 44100);
  EXPECT_NEAR(THREAD_PROCESSING_PERIOD_IN_SECONDS, 0.01161, 1e-5);
  THREAD_PROCESSING_PERIOD_IN_SECONDS = 0.0;
}

TEST(Thread, LifecycleAndJoining) {
  std::atomic<bool> done{false};
  struct Slow {
    std::atomic<bool> *done;
  } slow{&done};
  {
    GenericThread thread(
        [](void *argument) {
          Thread::sleepFor(0.05);
          static_cast<Slow *>(argument)->done->store(true);
        },
        &slow, "slow");
    thread.allocatedOnStack();
    EXPECT_FALSE(thread.isCompleted());
    thread.start();
    EXPECT_FALSE(thread.isThisThreadActive());
    EXPECT_FALSE(thread.isCompleted()); // only join completes it
  } // the destructor waits for run() to return
  EXPECT_TRUE(done.load());

  GenericThread never([](void *) {}, nullptr, "never");
  never.allocatedOnStack();
  never.join();
  EXPECT_TRUE(never.isCompleted());

  const auto start = std::chrono::steady_clock::now();
  Thread::sleepFor(0.0);
  Thread::sleepFor(-5.0);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
  EXPECT_EQ(Thread::getNumHardwareThreads(), static_cast<int>(sysconf(_SC_NPROCESSORS_ONLN)));
  EXPECT_EQ(ThreadId(Thread::getCurrentThreadId()), ThreadId(pthread_self()));
}

template <class S> void countingRules(S &semaphore) {
  EXPECT_FALSE(semaphore.tryWait());
  semaphore.release(0);
  semaphore.release(-1);
  EXPECT_FALSE(semaphore.tryWait());
  semaphore.release(2);
  EXPECT_TRUE(semaphore.tryWait());
  semaphore.wait();
  EXPECT_FALSE(semaphore.tryWait());
}

TEST(Semaphore, BothFormsCount) {
  NamedSemaphore unnamed(0);
  countingRules(unnamed);
  Semaphore local(0);
  countingRules(local);

  expectIOException([&] { unnamed.timedWait(1.0); },
                    "timed-wait for POSIX semaphores is not available on OSX.");
  expectIOException([&] { unnamed.timedWaitUntil(1); },
                    "timed-wait for POSIX semaphores is not available on OSX.");
  expectIOException([] { delete Semaphore::createServer(String("x"), 0); },
                    "Use NamedSemaphore::createServer instead.");
  expectIOException([] { delete Semaphore::createClient(String("x")); },
                    "Use NamedSemaphore::createClient instead.");
}

TEST(Semaphore, TimedWaits) {
  Semaphore semaphore(0);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(semaphore.timedWait(0.05));
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(50));
  EXPECT_FALSE(semaphore.timedWaitUntil(1000000)); // 1 ms from now, whatever the name says
  EXPECT_FALSE(semaphore.timedWait(0.0));
  EXPECT_FALSE(semaphore.timedWait(-1.0));

  GenericThread releaser([](void *s) { static_cast<Semaphore *>(s)->release(1); }, &semaphore,
                         "releaser");
  releaser.allocatedOnStack();
  releaser.start();
  EXPECT_TRUE(semaphore.timedWait(10.0));
}

TEST(Semaphore, NamedBetweenProcesses) {
  const String name(("base-core-test-" + std::to_string(getpid())).c_str());
  const std::string system = "/" + getSharedResourceName(name);

  // A semaphore left behind by a crashed server is removed by the next one.
  sem_t *stale = sem_open(system.c_str(), O_CREAT, 0600, 5u);
  ASSERT_NE(stale, SEM_FAILED);
  sem_close(stale);
  NamedSemaphore *server = NamedSemaphore::createServer(name, 0);
  EXPECT_FALSE(server->tryWait()); // the new one, with its own count

  const pid_t child = fork();
  if (child == 0) {
    NamedSemaphore *client = NamedSemaphore::createClient(name);
    client->release(3);
    delete client;
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  for (int i = 0; i < 3; ++i)
    EXPECT_TRUE(server->tryWait());
  EXPECT_FALSE(server->tryWait());
  delete server; // unlinks

  expectIOException([&] { delete NamedSemaphore::createClient(name); },
                    "Could not create named client semaphore");
}
