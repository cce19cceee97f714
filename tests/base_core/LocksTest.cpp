//===- tests/base_core/LocksTest.cpp - Mutexes, spin lock, conditions, events ===//
#include "base/core/Locks.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <thread>
#include <vector>

using namespace base::core;

namespace {
// Repeats `act` until `done` holds, for at most ten seconds (a guard against a hang, not a
// measurement).
template <class Act, class Done> bool until(Act act, Done done) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!done()) {
    if (std::chrono::steady_clock::now() > deadline)
      return false;
    act();
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}
} // namespace

// tryLock's two senses: true means taken for Mutex, not taken for RecursiveMutex.
TEST(Locks, TryLockSensesAndTheGuard) {
  Mutex plain;
  EXPECT_TRUE(plain.tryLock());
  bool again = true;
  std::thread([&] { again = plain.tryLock(); }).join();
  EXPECT_FALSE(again);
  plain.unlock();
  {
    LockGuard guard(plain);
    EXPECT_EQ(&guard.getMutex(), &plain);
  }
  EXPECT_TRUE(plain.tryLock());
  plain.unlock();

  RecursiveMutex recursive;
  EXPECT_FALSE(recursive.tryLock()); // taken
  EXPECT_FALSE(recursive.tryLock()); // and again, by its owner
  bool notTaken = false;
  std::thread([&] { notTaken = recursive.tryLock(); }).join();
  EXPECT_TRUE(notTaken);
  recursive.unlock();
  recursive.unlock();
  EXPECT_TRUE(recursive.isRecursive());
  EXPECT_FALSE(plain.isRecursive());
}

TEST(Locks, SpinMutexBacksOffAndExcludes) {
  std::vector<int> pauses;
  for (int spins = 1, i = 0; i < 7; ++i, spins = SpinMutex::nextSpins(spins, 16))
    pauses.push_back(spins);
  EXPECT_EQ(pauses, (std::vector<int>{1, 2, 4, 8, 16, 16, 16}));
  EXPECT_EQ(SpinMutex::nextSpins(1, 0), 0); // no pauses after the first
  EXPECT_EQ(SpinMutex::nextSpins(0, -3), -3);

  SpinMutex spin(16);
  EXPECT_TRUE(spin.tryLock());
  EXPECT_FALSE(spin.tryLock());
  spin.unlock();
  long counter = 0;
  auto add = [&] {
    for (int i = 0; i < 100000; ++i) {
      spin.lock();
      ++counter;
      spin.unlock();
    }
  };
  std::thread a(add), b(add);
  a.join();
  b.join();
  EXPECT_EQ(counter, 200000);
}

TEST(Locks, ConditionWaitsAndTimeouts) {
  const timespec t = ConditionVariable::toTimespec(1.5);
  EXPECT_EQ(t.tv_sec, 1);
  EXPECT_EQ(t.tv_nsec, 500000000);
  for (double odd : {-2.0, std::nan(""), 0.0}) {
    const timespec z = ConditionVariable::toTimespec(odd);
    EXPECT_TRUE(z.tv_sec == 0 && z.tv_nsec == 0) << odd;
  }
  EXPECT_GT(ConditionVariable::toTimespec(1e300).tv_sec, 0);

  Mutex mutex;
  ConditionVariable condition;
  {
    LockGuard guard(mutex);
    EXPECT_FALSE(condition.timedWait(guard, 0.01));
  }
  std::atomic<bool> woken{false};
  std::thread waiter([&] {
    LockGuard guard(mutex);
    while (!condition.timedWait(guard, 0.05)) {
    }
    woken = true;
  });
  EXPECT_TRUE(until([&] { condition.notifyOne(); }, [&] { return woken.load(); }));
  waiter.join();
}

// A fire with nobody waiting is lost, so the waiters are fired at until they wake.
TEST(Locks, SignalEventWakesOneOrAll) {
  SignalEvent event;
  std::atomic<int> woken{0};
  std::vector<std::thread> waiters;
  for (int i = 0; i < 3; ++i)
    waiters.emplace_back([&] {
      event.wait();
      ++woken;
    });
  EXPECT_TRUE(until([&] { event.fire(1); }, [&] { return woken >= 1; }));
  EXPECT_LT(woken.load(), 3); // one a fire, not all
  EXPECT_TRUE(until([&] { event.fire(2); }, [&] { return woken == 3; }));
  for (std::thread &t : waiters)
    t.join();
}
