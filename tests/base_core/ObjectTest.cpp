//===- tests/base_core/ObjectTest.cpp - Counts, release protocol, exceptions ===//
#include "base/core/Exception.h"
#include "base/core/Object.h"
#include "base/core/StringBuilder.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

using namespace base::core;

namespace {
// Counts its deletions and can decline the last release.
class Probe : public Object {
public:
  explicit Probe(int *deleted, bool agree = true) : _deleted(deleted), _agree(agree) {}
  ~Probe() override { ++*_deleted; }
  bool beforeDestruction() override { return _agree; }

private:
  int *_deleted;
  bool _agree;
};

// The classes of the tree take no cause; a caller's own class may.
class Wrapping : public Exception {
public:
  explicit Wrapping(const Exception *cause) : Exception("outer", cause) {}
  Exception *clone() const override { return new Wrapping(*this); }
};
} // namespace

TEST(Object, ReleaseProtocol) {
  int deleted = 0;
  auto *probe = new Probe(&deleted);
  EXPECT_EQ(probe->getRefCount(), 0);
  EXPECT_EQ(probe->incrementRefCount(), 1);
  EXPECT_EQ(probe->incrementRefCount(), 2);
  EXPECT_EQ(probe->decrementRefCount(), 1);
  EXPECT_EQ(deleted, 0);
  EXPECT_EQ(probe->decrementRefCount(), 0);
  EXPECT_EQ(deleted, 1);

  // A declined release leaves the object alive at 0, in its own hands.
  Probe declining(&deleted, false);
  { SmartPtr<Probe> handle(&declining); }
  EXPECT_EQ(declining.getRefCount(), 0);
  EXPECT_EQ(deleted, 1);

  // The stack mark's extra count keeps handles from deleting a local.
  Probe local(&deleted);
  local.allocatedOnStack();
  { SmartPtr<Probe> handle(&local); }
  EXPECT_EQ(local.getRefCount(), 1);
  EXPECT_EQ(deleted, 1);

  Object::deleteObject(nullptr);
}

TEST(Object, SmartPtrAssignment) {
  int deleted = 0;
  auto *first = new Probe(&deleted);
  SmartPtr<Probe> handle(first);
  // Self-assignment at a count of 1 must not release first: the identity test comes first.
  handle = first;
  handle = handle;
  EXPECT_EQ(first->getRefCount(), 1);
  SmartPtr<Probe> second(new Probe(&deleted));
  handle = second;
  EXPECT_EQ(deleted, 1);
  EXPECT_EQ(second->getRefCount(), 2);
  SmartPtr<Probe> moved(std::move(handle));
  EXPECT_EQ(handle, nullptr);
  EXPECT_EQ(moved->getRefCount(), 2);
  moved = nullptr;
  second = nullptr;
  EXPECT_EQ(deleted, 2);
}

// Handles copied and dropped in four threads at once: exactly one deletion, after the last.
TEST(Object, CountUnderContention) {
  int deleted = 0;
  SmartPtr<Probe> shared(new Probe(&deleted));
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([handle = shared] {
      for (int i = 0; i < 20000; ++i)
        SmartPtr<Probe> copy(handle);
    });
  shared = nullptr;
  for (std::thread &thread : threads)
    thread.join();
  EXPECT_EQ(deleted, 1);
}

TEST(Object, NamesAndText) {
  int deleted = 0;
  Probe a(&deleted), b(&deleted);
  EXPECT_STREQ(IOException("x").getClassName(), "N4base4core11IOExceptionE");
  const std::string textA = a.asString().getStdString(), textB = b.asString().getStdString();
  const auto at = textA.find('@');
  ASSERT_NE(at, std::string::npos);
  EXPECT_EQ(textA.substr(0, at + 1), textB.substr(0, at + 1));
  EXPECT_NE(textA, textB);
  char address[32];
  std::snprintf(address, sizeof address, "%llx", (unsigned long long)(uintptr_t)&a);
  EXPECT_EQ(textA.substr(at + 1), address);
  EXPECT_EQ(String(StringBuilder() + static_cast<const Object *>(nullptr) + nullptr),
            "nullnullptr");
}

TEST(Exception, TreeMessagesAndClones) {
  try {
    throw EOSException();
  } catch (const IOException &e) {
    EXPECT_EQ(e.getMessage(), "End of stream");
  }
  const NumberFormatException empty{String()};
  EXPECT_EQ(empty.getMessage(), "Invalid number: ");
  EXPECT_TRUE(empty.getText().isEmpty());
  EXPECT_EQ(InvalidUUIDException("x-y").getMessage(), "Invalid UUID: x-y");
  EXPECT_EQ(InvalidUUIDException("x-y").getUUID(), "x-y");

  const NumberFormatException original("12a");
  SmartPtr<Exception> copy(original.clone());
  EXPECT_EQ(copy->getRefCount(), 1);
  auto *asNumber = dynamic_cast<NumberFormatException *>(copy.get());
  ASSERT_NE(asNumber, nullptr);
  EXPECT_EQ(asNumber->getText(), "12a");
  EXPECT_EQ(copy->getMessage().getStringBuffer(), original.getMessage().getStringBuffer());

  // The cause is a clone: the exception it came from may go first.
  auto *cause = new ProcessException("child");
  const Wrapping outer(cause);
  delete cause;
  ASSERT_NE(outer.getCause(), nullptr);
  EXPECT_EQ(outer.getCause()->getMessage(), "child");
  SmartPtr<Exception> outerCopy(outer.clone());
  EXPECT_EQ(outerCopy->getCause(), outer.getCause());
  EXPECT_EQ(outer.getCause()->getRefCount(), 2);

  bool caughtAsException = false, caughtAsAssertion = false;
  try {
    try {
      throw AssertionFailedException("broken");
    } catch (const Exception &) {
      caughtAsException = true;
    }
  } catch (const AssertionFailedException &) {
    caughtAsAssertion = true;
  }
  EXPECT_FALSE(caughtAsException);
  EXPECT_TRUE(caughtAsAssertion);
}
