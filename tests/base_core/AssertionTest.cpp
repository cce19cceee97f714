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
#include <functional>
#include <iostream>
#include <optional>
#include <string>
#include <tuple>

using namespace base::core;

namespace {

std::string pid() { return std::to_string(currentProcessId()); }

std::string report(const char *message, int line) {
  return "Assertion failed in process " + pid() + "\n\nCondition: a == b" + message +
         "\n\nFile: f.cpp\nLine: " + std::to_string(line) +
         "\n\n(stack trace not available on this platform)";
}

// Runs `ask` in a child process whose standard input holds `input`; returns its answer (as
// its exit code), what it wrote on its standard output and error streams, and its pid.
std::tuple<int, std::string, pid_t> inChild(const std::string &input,
                                            const std::function<int()> &ask) {
  int in[2], out[2];
  if (pipe(in) != 0 || pipe(out) != 0 ||
      write(in[1], input.data(), input.size()) != ssize_t(input.size()))
    return {-1, "", 0};
  close(in[1]);
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    dup2(in[0], 0);
    dup2(out[1], 1);
    dup2(out[1], 2);
    const int answer = ask();
    std::cout.flush();
    _exit(answer);
  }
  close(in[0]);
  close(out[1]);
  std::string text;
  char block[4096];
  for (ssize_t n; (n = read(out[0], block, sizeof block)) > 0;)
    text.append(block, size_t(n));
  close(out[0]);
  int status = 0;
  waitpid(child, &status, 0);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, text, child};
}

} // namespace

// Who is told, and what happens, by the mode on top, the debugger and the environment.
TEST(Assertion, RouteByModeDebuggerAndEnvironment) {
  enum Outcome { Throws, Breaks, Continues };
  const struct {
    const char *name;
    int mode; // on top of the stack, -1 for none; mode 0 alone prints nothing
    bool debugger;
    const char *interactive;
    bool ignoreAlways;
    std::vector<int> answers; // exit codes of the dialog command, in order
    Outcome outcome;
  } cases[] = {
      {"plain", -1, false, nullptr, false, {}, Throws},
      {"silent", 0, false, nullptr, false, {}, Throws},
      {"silent, debugger", 0, true, nullptr, false, {}, Breaks},
      {"TRUE is not true", -1, false, "TRUE", false, {}, Throws},
      {"ignored always", -1, false, "true", true, {}, Continues},
      {"ignored always, silent", 0, true, nullptr, true, {}, Continues},
      {"asked: Skip", -1, false, "true", false, {101}, Continues},
      {"asked: Throw", -1, false, "true", false, {103}, Throws},
      {"debugger asks: Break", -1, true, nullptr, false, {105}, Breaks},
      {"always asks", 2, false, nullptr, false, {101}, Continues},
      // Break without a debugger asks for one; "Break" there says it is attached.
      {"Break, then attach", -1, false, "true", false, {105, 102}, Breaks},
      // Launch Debugger starts launch-debugger (missing here, unnoticed), then Ok.
      {"Break, launch, Ok", -1, false, "true", false, {105, 103, 101}, Breaks},
  };
  const bool debugger = didAttachDebugger;
  for (const auto &c : cases) {
    testsupport::FakeDialog dialog(c.answers);
    if (c.mode >= 0)
      pushAssertionInteractionMode(AssertionInteractionMode(c.mode));
    didAttachDebugger = c.debugger;
    if (c.interactive)
      setenv("INTERACTIVE_ASSERTS", c.interactive, 1);
    bool ignoreAlways = c.ignoreAlways;
    Outcome outcome = Throws;
    testing::internal::CaptureStderr();
    try {
      outcome = assertionFailed(String("a == b"), String("text"), "f.cpp", 7, &ignoreAlways)
                    ? Breaks
                    : Continues;
    } catch (const AssertionFailedException &e) {
      EXPECT_EQ(e.getMessage(), report("\ntext", 7).c_str()) << c.name;
    }
    const std::string printed = testing::internal::GetCapturedStderr();
    if (c.mode >= 0)
      popAssertionInteractionMode();
    didAttachDebugger = debugger;
    unsetenv("INTERACTIVE_ASSERTS");
    EXPECT_EQ(outcome, c.outcome) << c.name;
    EXPECT_EQ(printed.empty(), c.mode == 0) << c.name << printed;
    EXPECT_EQ(dialog.calls().size(), c.answers.size()) << c.name;
  }
}

// Skip Always silences the site: later failures there are reported, never asked about.
TEST(Assertion, SkipAlwaysAtASite) {
  testsupport::FakeDialog dialog({102});
  setenv("INTERACTIVE_ASSERTS", "true", 1);
  testing::internal::CaptureStderr();
  for (int i = 0; i < 2; ++i)
    BASE_ASSERT(i < 0, "count " + std::to_string(i));
  const std::string err = testing::internal::GetCapturedStderr();
  unsetenv("INTERACTIVE_ASSERTS");
  ASSERT_EQ(dialog.calls().size(), 1u);
  const std::string asked = "-geometry|800x400|-title|Assertion Failed (pid = " + pid() +
                            ")|-buttons|Skip,Skip Always,Throw,Abort,Break|-default|Break|"
                            "Assertion failed in process ";
  EXPECT_EQ(dialog.calls()[0].substr(0, asked.size()), asked);
  EXPECT_NE(err.find("Assertion ignored: Assertion failed in process " + pid() +
                     "\n\nCondition: i < 0\ncount 1\n"),
            std::string::npos)
      << err;
}

TEST(Assertion, ModeStackReportAndFatalState) {
  disableInteractiveAsserts();
  EXPECT_EQ(getAssertionInteractionMode(), AssertionInteractionModeNone);
  popAssertionInteractionMode();
  popAssertionInteractionMode(); // empty: stays empty
  EXPECT_EQ(getAssertionInteractionMode(), AssertionInteractionModeDefault);
  // Without a message, only the blank line of "\n\nFile: " follows the condition.
  EXPECT_EQ(getAssertionErrorMessage(String("a == b"), String::EMPTY, "f.cpp", 12),
            report("", 12).c_str());

  // The derived forms differ only in their prefix (the illegal one: see the streams).
  testing::internal::CaptureStderr();
  EXPECT_THROW(BASE_FATAL_STATE("pthread_mutex_init failed"), AssertionFailedException);
  EXPECT_NE(testing::internal::GetCapturedStderr().find(
                "Condition: false\nFatal state: pthread_mutex_init failed\n"),
            std::string::npos);
}

// Counting across threads is exercised by the sample store's holders.
TEST(Atomic, AddReturnsTheNewValueAndWraps) {
  std::atomic<int32_t> v{INT_MAX};
  EXPECT_EQ(atomicAdd32Barrier(1, v), INT_MIN);
  EXPECT_EQ(atomicAdd32Barrier(-1, v), INT_MAX);
  EXPECT_FALSE(atomicCompareAndSwap32Barrier(0, 1, v));
  EXPECT_TRUE(atomicCompareAndSwap32Barrier(INT_MAX, 1, v));
  EXPECT_EQ(v.load(), 1);
}

// The command's exit code picks the option; a bad one falls back to the terminal.
TEST(DebugMessageDialog, CommandThenTerminal) {
  const std::string menu = "    1: A\n    2: B\n    3: C\n", shown = "T\n\nPick one\n" + menu,
                    invalid = "Please enter a valid choice\n" + menu;
  const struct {
    const char *title;
    std::optional<int> defaultId, exitCode; // no exit code: the default command, missing here
    const char *arguments;                  // null: the command failed
    std::string input, out;
    int choice;
  } cases[] = {
      {"Foo", 20, 103, "-geometry|400x300|-title|Foo (pid = PID)|-buttons|A,B,C|-default|B|Pick one|", "", "", 30},
      // No title, no -title: neither the default text nor the pid goes out.
      {"", std::nullopt, 101, "-geometry|400x300|-buttons|A,B,C|Pick one|", "", "", 10},
      // A default that no option has names the first label.
      {"T", 99, 102, "-geometry|400x300|-title|T (pid = PID)|-buttons|A,B,C|-default|A|Pick one|", "", "", 20},
      {"T", std::nullopt, 104, nullptr, "0\n4\n3\n", shown + invalid + invalid, 30},
      {"T", std::nullopt, 100, nullptr, "x\n1\n", shown + "Invalid choice: Invalid number: x\n" + menu, 10},
      // The end of the input reads as an empty line, which takes the default.
      {"T", 20, std::nullopt, nullptr, "", shown, 20},
  };
  for (const auto &c : cases) {
    std::optional<testsupport::FakeDialog> fake;
    if (c.exitCode)
      fake.emplace(std::vector<int>{*c.exitCode});
    else
      unsetenv("MESSAGE_DIALOG_COMMAND");
    DebugMessageDialog dialog;
    dialog.setTitle(String(c.title));
    dialog.setMessage(String("Pick one"));
    int id = 0;
    for (const char *label : {"A", "B", "C"})
      dialog.addOption(String(label), id += 10);
    if (c.defaultId)
      dialog.setDefaultOptionId(*c.defaultId);
    const auto [choice, out, child] = inChild(c.input, [&] { return dialog.show(); });
    EXPECT_EQ(choice, c.choice) << c.input;
    if (c.arguments != nullptr) {
      std::string expected = c.arguments;
      if (const size_t at = expected.find("PID"); at != std::string::npos)
        expected.replace(at, 3, std::to_string(child));
      EXPECT_EQ(fake->calls(), std::vector<std::string>{expected});
      EXPECT_EQ(out, "");
    } else {
      const std::string command = fake ? fake->command() : "qmessage";
      EXPECT_EQ(out, "Error invoking " + command + ": " + command + " returned a bad exit code\n" + c.out);
    }
  }

  DebugMessageDialog single;
  single.setMessage(String("Done"));
  single.addOption(String("Ok"), 7);
  const auto [choice, out, child] = inChild("\n", [&] { return single.showInTerminal(); });
  EXPECT_EQ(choice, 7);
  EXPECT_EQ(out, "Done\nPress enter to continue\n");
  EXPECT_FALSE(checkHasAttachedDebugger()); // the tests run untraced
}
