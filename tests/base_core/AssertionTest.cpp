//===- tests/base_core/AssertionTest.cpp - The assertion route and atomics -===//
#include "base/core/Atomic.h"
#include "base/core/Debug.h"
#include "base/core/DebugMessageDialog.h"
#include "base/core/Exception.h"
#include "base/core/Platform.h"
#include "tests/support/FakeDialog.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <cstring>
#include <functional>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>
#include <thread>

using namespace base::core;

namespace {

const std::string kTrace = "(stack trace not available on this platform)";

std::string pid() { return std::to_string(currentProcessId()); }

// The debugger flag and the mode stack as a test sets them, put back afterwards.
class RouteState {
public:
  RouteState(std::optional<AssertionInteractionMode> mode, bool debugger, const char *interactive)
      : _debugger(didAttachDebugger), _pushed(mode.has_value()) {
    if (mode)
      pushAssertionInteractionMode(*mode);
    didAttachDebugger = debugger;
    if (interactive)
      setenv("INTERACTIVE_ASSERTS", interactive, 1);
    else
      unsetenv("INTERACTIVE_ASSERTS");
  }
  ~RouteState() {
    if (_pushed)
      popAssertionInteractionMode();
    didAttachDebugger = _debugger;
    unsetenv("INTERACTIVE_ASSERTS");
  }

private:
  bool _debugger, _pushed;
};

enum class Outcome { Throws, Breaks, Continues };

Outcome fail(bool *ignoreAlways) {
  try {
    return assertionFailed(String("a == b"), String("text"), "f.cpp", 7, ignoreAlways)
               ? Outcome::Breaks
               : Outcome::Continues;
  } catch (const AssertionFailedException &e) {
    EXPECT_EQ(e.getMessage(), getAssertionErrorMessage(String("a == b"), String("text"), "f.cpp", 7));
    return Outcome::Throws;
  }
}

} // namespace

TEST(Assertion, ReportFormat) {
  EXPECT_EQ(getAssertionErrorMessage(String("1 + 1 == 3"), String("arithmetic"), "f.cpp", 12),
            ("Assertion failed in process " + pid() +
             "\n\nCondition: 1 + 1 == 3\narithmetic\n\nFile: f.cpp\nLine: 12\n\n" + kTrace)
                .c_str());
  // Without a message, only the blank line of "\n\nFile: " follows the condition.
  EXPECT_EQ(getAssertionErrorMessage(String("x"), String::EMPTY, "f.cpp", 7),
            ("Assertion failed in process " + pid() + "\n\nCondition: x\n\nFile: f.cpp\nLine: 7\n\n" +
             kTrace)
                .c_str());
}

// Who is told, and what happens, by the mode on top, the debugger and the environment.
TEST(Assertion, RouteByModeDebuggerAndEnvironment) {
  const std::optional<AssertionInteractionMode> none = AssertionInteractionModeNone,
                                                always = AssertionInteractionModeAlways,
                                                unset = std::nullopt;
  const struct {
    const char *name;
    std::optional<AssertionInteractionMode> mode;
    bool debugger;
    const char *interactive;
    bool ignoreAlways;
    std::vector<int> answers; // exit codes of the dialog command, in order
    bool printed;
    Outcome outcome;
    size_t dialogs;
  } cases[] = {
      {"plain", unset, false, nullptr, false, {}, true, Outcome::Throws, 0},
      {"silent", none, false, nullptr, false, {}, false, Outcome::Throws, 0},
      {"silent, debugger", none, true, nullptr, false, {}, false, Outcome::Breaks, 0},
      {"TRUE is not true", unset, false, "TRUE", false, {}, true, Outcome::Throws, 0},
      {"ignored always", unset, false, "true", true, {}, true, Outcome::Continues, 0},
      {"ignored always, silent", none, true, nullptr, true, {}, false, Outcome::Continues, 0},
      {"asked: Skip", unset, false, "true", false, {101}, true, Outcome::Continues, 1},
      {"asked: Throw", unset, false, "true", false, {103}, true, Outcome::Throws, 1},
      {"debugger asks: Break", unset, true, nullptr, false, {105}, true, Outcome::Breaks, 1},
      {"always asks", always, false, nullptr, false, {101}, true, Outcome::Continues, 1},
      // Break without a debugger asks for one; "Break" there says it is attached.
      {"Break, then attach", unset, false, "true", false, {105, 102}, true, Outcome::Breaks, 2},
      // Launch Debugger starts launch-debugger (missing here, unnoticed), then Ok.
      {"Break, launch, Ok", unset, false, "true", false, {105, 103, 101}, true, Outcome::Breaks, 3},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    testsupport::FakeDialog dialog(c.answers);
    RouteState state(c.mode, c.debugger, c.interactive);
    bool ignoreAlways = c.ignoreAlways;
    testing::internal::CaptureStderr();
    const Outcome outcome = fail(&ignoreAlways);
    const std::string printed = testing::internal::GetCapturedStderr();
    EXPECT_EQ(outcome, c.outcome);
    EXPECT_EQ(printed.empty(), !c.printed) << printed;
    EXPECT_EQ(dialog.calls().size(), c.dialogs);
  }
}

TEST(Assertion, DialogArgumentsAndSkipAlways) {
  testsupport::FakeDialog dialog({102});
  RouteState state(std::nullopt, false, "true");
  int failures = 0;
  testing::internal::CaptureStderr();
  for (int i = 0; i < 2; ++i) {
    BASE_ASSERT(failures < 0, "count " + std::to_string(i));
    ++failures;
  }
  const std::string err = testing::internal::GetCapturedStderr();
  EXPECT_EQ(failures, 2);
  ASSERT_EQ(dialog.calls().size(), 1u); // the second failure is only reported
  EXPECT_EQ(dialog.calls()[0].rfind("-geometry|800x400|-title|Assertion Failed (pid = " + pid() +
                                        ")|-buttons|Skip,Skip Always,Throw,Abort,Break|"
                                        "-default|Break|Assertion failed in process ",
                                    0),
            0u)
      << dialog.calls()[0];
  EXPECT_NE(err.find("Assertion ignored: Assertion failed in process " + pid() +
                     "\n\nCondition: failures < 0\ncount 1\n"),
            std::string::npos)
      << err;

  // The derived forms carry their prefix; the default route throws.
  unsetenv("INTERACTIVE_ASSERTS");
  testing::internal::CaptureStderr();
  try {
    BASE_ILLEGAL_STATE("Unknown mode");
    ADD_FAILURE();
  } catch (const AssertionFailedException &e) {
    EXPECT_NE(e.getMessage().getStdString().find("Condition: false\nIllegal state: Unknown mode\n"),
              std::string::npos);
  }
  EXPECT_THROW(BASE_FATAL_STATE("pthread_mutex_init failed"), AssertionFailedException);
  (void)testing::internal::GetCapturedStderr();
}

TEST(Assertion, ModeStack) {
  EXPECT_EQ(getAssertionInteractionMode(), AssertionInteractionModeDefault);
  disableInteractiveAsserts();
  pushAssertionInteractionMode(AssertionInteractionModeAlways);
  EXPECT_EQ(getAssertionInteractionMode(), AssertionInteractionModeAlways);
  popAssertionInteractionMode();
  EXPECT_EQ(getAssertionInteractionMode(), AssertionInteractionModeNone);
  popAssertionInteractionMode();
  popAssertionInteractionMode(); // empty: stays empty
  EXPECT_EQ(getAssertionInteractionMode(), AssertionInteractionModeDefault);
  EXPECT_EQ(getStackTrace(), kTrace.c_str());
}

TEST(Atomic, AddReturnsTheNewValueAndWraps) {
  std::atomic<int32_t> v{5};
  EXPECT_EQ(atomicAdd32Barrier(3, v), 8);
  EXPECT_EQ(atomicAdd32Barrier(-8, v), 0);
  v = INT_MAX;
  EXPECT_EQ(atomicAdd32Barrier(1, v), INT_MIN);
  EXPECT_FALSE(atomicCompareAndSwap32Barrier(0, 1, v));
  EXPECT_TRUE(atomicCompareAndSwap32Barrier(INT_MIN, 1, v));
  EXPECT_EQ(v.load(), 1);

  std::atomic<int32_t> count{0};
  auto add = [&count] {
    for (int i = 0; i < 50000; ++i)
      atomicAdd32Barrier(1, count);
  };
  std::thread a(add), b(add);
  a.join();
  b.join();
  EXPECT_EQ(count.load(), 100000);
}

namespace {

// Runs `ask` in a child process whose standard input is a pipe holding `input`; returns
// its choice and what it wrote on its standard output and error streams.
struct Asked {
  int choice = -1;
  std::string out, err;
};

std::string drain(int fd) {
  std::string text;
  char block[4096];
  for (ssize_t n; (n = read(fd, block, sizeof block)) > 0;)
    text.append(block, size_t(n));
  close(fd);
  return text;
}

Asked inChild(const std::string &input, const std::function<int()> &ask) {
  int in[2], out[2], err[2], result[2];
  if (pipe(in) != 0 || pipe(out) != 0 || pipe(err) != 0 || pipe(result) != 0)
    return {};
  if (write(in[1], input.data(), input.size()) != ssize_t(input.size()))
    return {};
  close(in[1]);
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    dup2(in[0], 0);
    dup2(out[1], 1);
    dup2(err[1], 2);
    const int choice = ask();
    std::cout.flush();
    std::cerr.flush();
    (void)!write(result[1], &choice, sizeof choice);
    _exit(0);
  }
  for (int fd : {in[0], out[1], err[1], result[1]})
    close(fd);
  Asked asked;
  asked.out = drain(out[0]);
  asked.err = drain(err[0]);
  const std::string choice = drain(result[0]);
  if (choice.size() == sizeof asked.choice)
    std::memcpy(&asked.choice, choice.data(), sizeof asked.choice);
  waitpid(child, nullptr, 0);
  return asked;
}

DebugMessageDialog threeOptions(const char *title, std::optional<int> defaultId) {
  DebugMessageDialog dialog;
  dialog.setTitle(String(title));
  dialog.setMessage(String("Pick one"));
  dialog.addOption(String("A"), 10);
  dialog.addOption(String("B"), 20);
  dialog.addOption(String("C"), 30);
  if (defaultId)
    dialog.setDefaultOptionId(*defaultId);
  return dialog;
}

} // namespace

TEST(DebugMessageDialog, CommandContract) {
  const struct {
    const char *title;
    std::optional<int> defaultId;
    int exitCode;
    const char *arguments;
    int choice; // -1: the terminal was asked
  } cases[] = {
      {"Foo", 20, 103, "-geometry|400x300|-title|Foo (pid = PID)|-buttons|A,B,C|-default|B|Pick one|", 30},
      // No title, no -title: neither the default text nor the pid goes out.
      {"", std::nullopt, 101, "-geometry|400x300|-buttons|A,B,C|Pick one|", 10},
      // A default that no option has names the first label.
      {"T", 99, 102, "-geometry|400x300|-title|T (pid = PID)|-buttons|A,B,C|-default|A|Pick one|", 20},
      {"T", std::nullopt, 104, nullptr, -1},
      {"T", std::nullopt, 100, nullptr, -1},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.exitCode);
    testsupport::FakeDialog fake({c.exitCode});
    DebugMessageDialog dialog = threeOptions(c.title, c.defaultId);
    // The command's answers are taken here; a fall-back reads "2" from a child's input.
    const Asked asked = c.choice < 0 ? inChild("2\n", [&] { return dialog.show(); })
                                     : Asked{dialog.show(), "", ""};
    EXPECT_EQ(asked.choice, c.choice < 0 ? 20 : c.choice);
    if (c.arguments != nullptr) {
      std::string expected = c.arguments;
      if (const size_t at = expected.find("PID"); at != std::string::npos)
        expected.replace(at, 3, pid());
      EXPECT_EQ(fake.calls(), std::vector<std::string>{expected});
    } else {
      EXPECT_EQ(asked.err, "Error invoking " + fake.command() + ": " + fake.command() +
                               " returned a bad exit code\n");
    }
  }

  // The default command, missing here, ends in the terminal too.
  unsetenv("MESSAGE_DIALOG_COMMAND");
  DebugMessageDialog dialog = threeOptions("T", 30);
  const Asked asked = inChild("\n", [&] { return dialog.show(); });
  EXPECT_EQ(asked.choice, 30);
  EXPECT_EQ(asked.err, "Error invoking qmessage: qmessage returned a bad exit code\n");
}

TEST(DebugMessageDialog, TerminalQuestions) {
  const struct {
    const char *input;
    std::optional<int> defaultId;
    int choice;
    const char *out;
  } cases[] = {
      {"2\n", std::nullopt, 20, "T\n\nPick one\n    1: A\n    2: B\n    3: C\n"},
      {"0\n4\n3\n", std::nullopt, 30,
       "T\n\nPick one\n    1: A\n    2: B\n    3: C\nPlease enter a valid choice\n"
       "    1: A\n    2: B\n    3: C\nPlease enter a valid choice\n    1: A\n    2: B\n    3: C\n"},
      {"x\n1\n", std::nullopt, 10,
       "T\n\nPick one\n    1: A\n    2: B\n    3: C\nInvalid choice: Invalid number: x\n"
       "    1: A\n    2: B\n    3: C\n"},
      // The end of the input reads as an empty line, which takes the default.
      {"", 20, 20, "T\n\nPick one\n    1: A\n    2: B\n    3: C\n"},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.input);
    DebugMessageDialog dialog = threeOptions("T", c.defaultId);
    const Asked asked = inChild(c.input, [&] { return dialog.showInTerminal(); });
    EXPECT_EQ(asked.choice, c.choice);
    EXPECT_EQ(asked.out, c.out);
  }

  DebugMessageDialog single;
  single.setMessage(String("Done"));
  single.addOption(String("Ok"), 7);
  const Asked asked = inChild("\n", [&] { return single.showInTerminal(); });
  EXPECT_EQ(asked.choice, 7);
  EXPECT_EQ(asked.out, "Done\nPress enter to continue\n");
  EXPECT_FALSE(checkHasAttachedDebugger()); // the tests run untraced
}
