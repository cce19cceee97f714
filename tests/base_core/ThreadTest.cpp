//===- tests/base_core/ThreadTest.cpp - Threads and semaphores --------------===//
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
#include <string>
#include <tuple>

using namespace base::core;
using testsupport::expectIOException;

namespace {

// What a new thread saw of itself.
struct Seen {
  std::string comm;
  int nice = 99, policy = -1;
};

Seen runProbe(const char *name, ThreadPriority priority) {
  Seen seen;
  GenericThread probe(
      [](void *out) {
        Seen &s = *static_cast<Seen *>(out);
        std::ifstream("/proc/thread-self/comm") >> s.comm;
        s.nice = getpriority(PRIO_PROCESS, static_cast<id_t>(syscall(SYS_gettid)));
        s.policy = sched_getscheduler(0);
      },
      &seen, name, priority);
  probe.allocatedOnStack();
  probe.start();
  probe.join();
  return seen;
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
    const Seen seen = runProbe(c.name, c.priority);
    EXPECT_EQ(seen.comm, c.comm) << c.name;
    EXPECT_EQ(seen.nice, c.nice) << c.name;
    EXPECT_EQ(seen.policy, SCHED_OTHER) << c.name;
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

  // From real time back to each time-sharing priority: the policy goes back to time
  // sharing, not only the nice value.
  for (int p = ThreadPriorityHighest; p <= ThreadPriorityLowest; ++p) {
    Seen after;
    GenericThread probe(
        [](void *out) {
          Seen &s = *static_cast<Seen *>(out);
          testing::internal::CaptureStderr();
          Thread::setThreadPriority(ThreadPriorityRealtime1ms);
          (void)testing::internal::GetCapturedStderr();
          Thread::setThreadPriority(static_cast<ThreadPriority>(s.nice));
          s.nice = getpriority(PRIO_PROCESS, static_cast<id_t>(syscall(SYS_gettid)));
          s.policy = sched_getscheduler(0);
        },
        &after, "back", ThreadPriorityNormal);
    after.nice = p; // in: the priority; out: the nice value it gave
    probe.allocatedOnStack();
    probe.start();
    probe.join();
    const int nice[] = {-10, -5, 0, 4, 7, 10}; // below 0 only where the system permits it
    EXPECT_EQ(after.policy, SCHED_OTHER) << "priority " << p;
    if (nice[p - 2] >= 0 || geteuid() == 0) {
      EXPECT_EQ(after.nice, nice[p - 2]) << "priority " << p;
    }
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
    EXPECT_EQ(std::tie(got.period, got.computation, got.constraint),
              std::tie(c.expected.period, c.expected.computation, c.expected.constraint));
  }
  setRealtimeThreadProcessingPeriod(512, 44100);
  EXPECT_EQ(THREAD_PROCESSING_PERIOD_IN_SECONDS, 512.0 / 44100.0);
  THREAD_PROCESSING_PERIOD_IN_SECONDS = 0.0;
}

TEST(Thread, LifecycleAndJoining) {
  std::atomic<bool> done{false};
  {
    GenericThread slow(
        [](void *flag) {
          Thread::sleepFor(0.05);
          static_cast<std::atomic<bool> *>(flag)->store(true);
        },
        &done, "slow");
    slow.allocatedOnStack();
    slow.start();
    EXPECT_FALSE(slow.isCompleted()); // only join completes it
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
}

// tryWait and release are shared by both forms; each has its own wait.
TEST(Semaphore, CountsAndTimedWaits) {
  Semaphore semaphore(0);
  EXPECT_FALSE(semaphore.tryWait());
  semaphore.release(0);
  semaphore.release(-1);
  EXPECT_FALSE(semaphore.tryWait());
  semaphore.release(2);
  EXPECT_TRUE(semaphore.tryWait());
  semaphore.wait();
  NamedSemaphore unnamed(1);
  unnamed.wait();
  EXPECT_FALSE(unnamed.tryWait());

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

  const char *posixOnly = "timed-wait for POSIX semaphores is not available on OSX.";
  expectIOException([&] { unnamed.timedWait(1.0); }, posixOnly);
  expectIOException([&] { unnamed.timedWaitUntil(1); }, posixOnly);
  expectIOException([] { delete Semaphore::createServer(String("x"), 0); },
                    "Use NamedSemaphore::createServer instead.");
  expectIOException([] { delete Semaphore::createClient(String("x")); },
                    "Use NamedSemaphore::createClient instead.");
}

TEST(Semaphore, NamedBetweenProcesses) {
  const String name(("base-core-test-" + std::to_string(getpid())).c_str());
  // A semaphore left behind by a crashed server is removed by the next one.
  sem_t *stale = sem_open(("/" + getSharedResourceName(name)).c_str(), O_CREAT, 0600, 5u);
  ASSERT_NE(stale, SEM_FAILED);
  sem_close(stale);
  NamedSemaphore *server = NamedSemaphore::createServer(name, 0);
  EXPECT_FALSE(server->tryWait());

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
