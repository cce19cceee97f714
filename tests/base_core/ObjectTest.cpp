//===- tests/base_core/ObjectTest.cpp - Counts, exceptions, locks and events ===//
#include "base/core/Exception.h"
#include "base/core/Locks.h"
#include "base/core/Object.h"
#include "base/core/StringBuilder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <thread>
#include <tuple>
#include <type_traits>
#include <vector>

using namespace base::core;

namespace {
// Counts its deletions and can decline the last release.
struct Probe : Object {
  explicit Probe(int *deleted, bool agree = true) : _deleted(deleted), _agree(agree) {}
  ~Probe() override { ++*_deleted; }
  bool beforeDestruction() override { return _agree; }
  int *_deleted;
  bool _agree;
};

// The classes of the tree take no cause; a caller's own class may.
struct Wrapping : Exception {
  explicit Wrapping(const Exception *cause) : Exception("outer", cause) {}
  Exception *clone() const override { return new Wrapping(*this); }
};
} // namespace

// Kept: the count starts at 0, and a stack object is told apart only by its extra count.
TEST(Object, ReleaseProtocolHandlesAndContention) {
  int deleted = 0;
  auto *probe = new Probe(&deleted);
  EXPECT_EQ(probe->getRefCount(), 0);
  EXPECT_EQ(probe->incrementRefCount(), 1);
  EXPECT_EQ(probe->incrementRefCount(), 2);
  EXPECT_EQ(probe->decrementRefCount(), 1);
  EXPECT_EQ(deleted, 0);
  EXPECT_EQ(probe->decrementRefCount(), 0);
  EXPECT_EQ(deleted, 1);
  Object::deleteObject(nullptr);

  // A declined release leaves the object alive at 0, in its own hands; a stack mark keeps it at 1.
  Probe declining(&deleted, false), local(&deleted);
  { SmartPtr<Probe> handle(&declining); }
  EXPECT_EQ(declining.getRefCount(), 0);
  local.allocatedOnStack();
  { SmartPtr<Probe> handle(&local); }
  EXPECT_EQ(local.getRefCount(), 1);
  EXPECT_EQ(deleted, 1);

  // At a count of 1 the identity test must come before the release.
  auto *first = new Probe(&deleted);
  SmartPtr<Probe> handle(first), second(new Probe(&deleted));
  handle = first;
  handle = handle;
  EXPECT_EQ(first->getRefCount(), 1);
  handle = second;
  EXPECT_TRUE(deleted == 2 && second->getRefCount() == 2);
  handle = nullptr;
  second = nullptr;
  EXPECT_EQ(deleted, 3);

  // Handles and Strings copied and dropped in four threads at once: exactly one deletion, after
  // the last, and the text's count back where it was.
  SmartPtr<Probe> shared(new Probe(&deleted));
  const String text("shared");
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([handle = shared, &text] {
      for (int i = 0; i < 20000; ++i) {
        SmartPtr<Probe> copy(handle);
        String textCopy(text);
      }
    });
  shared = nullptr;
  for (std::thread &thread : threads)
    thread.join();
  EXPECT_EQ(deleted, 4);
  EXPECT_EQ(text.getStringBuffer()->getRefCount(), 1);
}

TEST(Object, NamesTextAndExceptions) {
  int deleted = 0;
  Probe a(&deleted), b(&deleted);
  EXPECT_STREQ(IOException("x").getClassName(), "N4base4core11IOExceptionE"); // kept mangled
  char expected[64];
  std::snprintf(expected, sizeof expected, "%s@%llx", a.getClassName(), (unsigned long long)(uintptr_t)&a);
  EXPECT_EQ(a.asString().getStdString(), expected);
  EXPECT_NE(a.asString(), b.asString()); // the same class, told apart behind the @
  EXPECT_EQ(String(StringBuilder() + static_cast<const Object *>(nullptr) + nullptr), "nullnullptr");

  // A clone keeps its class (a sliced one throws bad_cast here); a cause is held as a clone.
  SmartPtr<Exception> copy(NumberFormatException("12a").clone());
  EXPECT_EQ(dynamic_cast<NumberFormatException &>(*copy).getText(), "12a");
  auto *cause = new ProcessException("child");
  const Wrapping outer(cause);
  delete cause;
  ASSERT_NE(outer.getCause(), nullptr);
  EXPECT_EQ(outer.getCause()->getMessage(), "child");
  // Assertion failures stand outside the tree, so a handler for Exception lets them through.
  static_assert(!std::is_base_of_v<Exception, AssertionFailedException>);
  static_assert(std::is_base_of_v<IOException, EOSException>);
}

// Kept: tryLock's true means taken for Mutex, not taken for RecursiveMutex.
TEST(Locks, MutexesAndTheSpinLock) {
  Mutex plain;
  RecursiveMutex recursive;
  bool plainFromOther = true, recursiveFromOther = false;
  {
    LockGuard guard(plain);
    EXPECT_FALSE(recursive.tryLock()); // taken
    EXPECT_FALSE(recursive.tryLock()); // and again, by its owner
    std::thread([&] {
      plainFromOther = plain.tryLock();
      recursiveFromOther = recursive.tryLock();
    }).join();
  }
  EXPECT_TRUE(!plainFromOther && recursiveFromOther);
  EXPECT_TRUE(plain.tryLock()); // the guard has let go
  plain.unlock();
  recursive.unlock();
  recursive.unlock();

  std::vector<int> pauses{1};
  while (pauses.size() < 7)
    pauses.push_back(SpinMutex::nextSpins(pauses.back(), 16));
  EXPECT_EQ(pauses, (std::vector<int>{1, 2, 4, 8, 16, 16, 16}));
  EXPECT_EQ(SpinMutex::nextSpins(1, 0), 0); // no pauses after the first

  SpinMutex spin(16);
  EXPECT_TRUE(spin.tryLock() && !spin.tryLock());
  spin.unlock();
  long counter = 0;
  const auto add = [&] {
    for (int i = 0; i < 100000; ++i) {
      spin.lock();
      ++counter;
      spin.unlock();
    }
  };
  std::thread other(add);
  add();
  other.join();
  EXPECT_EQ(counter, 200000);
}

TEST(Locks, ConditionsAndEvents) {
  for (const auto &[seconds, whole, nanos] : {std::tuple{1.5, 1, 500000000}, {-2.0, 0, 0}, {NAN, 0, 0}}) {
    const timespec t = ConditionVariable::toTimespec(seconds);
    EXPECT_TRUE(t.tv_sec == whole && t.tv_nsec == nanos) << seconds;
  }
  EXPECT_GT(ConditionVariable::toTimespec(1e300).tv_sec, 0);

  Mutex mutex;
  ConditionVariable condition;
  std::thread notifier;
  {
    LockGuard guard(mutex);
    EXPECT_FALSE(condition.timedWait(guard, 0.01));
    notifier = std::thread([&] {
      LockGuard other(mutex);
      condition.notifyOne();
    });
    EXPECT_TRUE(condition.timedWait(guard, 10.0)); // the notifier gets the mutex only once this waits
  }
  notifier.join();

  // A fire with nobody waiting is lost, so the waiters are fired at until they wake.
  SignalEvent event;
  std::atomic<int> woken{0};
  const auto fireUntil = [&](int count, int awake) {
    for (int i = 0; woken < awake && i < 2000; ++i) { // ten seconds against a hang
      event.fire(count);
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return woken >= awake;
  };
  std::vector<std::thread> waiters;
  for (int i = 0; i < 3; ++i)
    waiters.emplace_back([&] {
      event.wait();
      ++woken;
    });
  EXPECT_TRUE(fireUntil(1, 1));
  EXPECT_LT(woken.load(), 3); // one a fire, not all
  EXPECT_TRUE(fireUntil(2, 3));
  for (std::thread &t : waiters)
    t.join();
}
