//===- tests/base_core/SystemTest.cpp - Environment, clocks, processes ------===//
#include "base/core/Exception.h"
#include "base/core/System.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <regex>
#include <thread>

using namespace base::core;

TEST(System, EnvironmentParsingRules) {
  const struct {
    const char *value; // null: unset
    bool asBool;       // with the default true
    const char *asString; // with the default "default"
    int asInt; // with the default 7; -1: it throws
  } cases[] = {
      {nullptr, true, "default", 7}, {"true", true, "true", -1}, {"TRUE", false, "TRUE", -1},
      {"1", false, "1", 1},          {"yes", false, "yes", -1},  {" 42 ", false, " 42 ", 42},
      {"", false, "", -1}, // set but empty is not the default
  };
  const String name("BASE_CORE_SYSTEM_TEST");
  for (const auto &c : cases) {
    SCOPED_TRACE(c.value ? c.value : "(unset)");
    if (c.value)
      setEnvVar(name, String(c.value));
    else
      deleteEnvVar(name);
    bool found = !c.value;
    EXPECT_EQ(getEnvVar(name, &found), c.value ? c.value : "");
    EXPECT_EQ(found, c.value != nullptr);
    EXPECT_EQ(getBoolEnvVar(name, true), c.asBool);
    EXPECT_EQ(getStringEnvVar(name, String("default")), c.asString);
    if (c.asInt >= 0)
      EXPECT_EQ(getInt32EnvVar(name, 7), c.asInt);
    else
      EXPECT_THROW((void)getInt32EnvVar(name, 7), NumberFormatException);
  }
  deleteEnvVar(name);
}

TEST(System, ClocksAndProcessTime) {
  // Down to milliseconds, whatever the name says, and without zero-filling.
  EXPECT_EQ(formatProcessTime(3661002000000ull), "[1:1:1.2]");
  EXPECT_EQ(formatProcessTime(1005000000ull), "[0:0:1.5]");
  EXPECT_EQ(formatProcessTime(999999ull), "[0:0:0.0]");
  EXPECT_EQ(formatProcessTime(90000000000000ull), "[25:0:0.0]");

  const unsigned long long before = getTimeMicrosSinceApplicationStart();
  std::this_thread::sleep_for(std::chrono::milliseconds(2));
  EXPECT_GE(getTimeMicrosSinceApplicationStart() - before, 2000u);
  const auto wall = std::chrono::system_clock::now().time_since_epoch();
  EXPECT_NEAR(double(currentTimeMillis()), double(wall / std::chrono::milliseconds(1)), 1000.0);

  testing::internal::CaptureStdout();
  logWithProcessTime(String("hello"));
  const std::string line = testing::internal::GetCapturedStdout();
  EXPECT_TRUE(std::regex_match(line, std::regex(R"(\[0:0:\d+\.\d+\] hello\n)"))) << line;
}

TEST(System, ChildProcesses) {
  const auto run = [](std::vector<const char *> words) {
    return execAndWait(std::vector<String>(words.begin(), words.end()));
  };
  EXPECT_EQ(run({"sh", "-c", "exit 3"}), 3);
  EXPECT_EQ(run({"no-such-program-anywhere"}), 255);
  EXPECT_EQ(run({}), 255);
  try {
    (void)run({"sh", "-c", "kill -9 $$"});
    ADD_FAILURE();
  } catch (const ProcessException &e) {
    EXPECT_EQ(e.getMessage(), "Process did not exit normally");
  }

  // exec returns before the child has run.
  const std::string marker = "/tmp/base_core_exec_" + std::to_string(getpid());
  exec({String("sh"), String("-c"), String(("sleep 0.1; touch " + marker).c_str())});
  EXPECT_NE(access(marker.c_str(), F_OK), 0);
  for (int i = 0; i < 500 && access(marker.c_str(), F_OK) != 0; ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  EXPECT_EQ(std::remove(marker.c_str()), 0);
}

TEST(System, NamesAndErrors) {
  const String saved = getUserName();
  const struct {
    const char *user, *name, *expected;
  } cases[] = {
      {"alice", "sem", "gJusF3J1WFDlPMbUe7HOmA=="},
      {"bob", "sem", "4uyqTMMsassc+UxDhzGWhQ=="},
      {"alice", "sem6", "am9iZnqg-nUSbVK7pBxsjg=="}, // "-" where base64 has "/"
      {nullptr, "sem", "sMsBGdIn+2YWOQ+ZQmBNTw=="},  // no USER: the text starts with "-"
  };
  for (const auto &c : cases) {
    if (c.user != nullptr)
      setEnvVar(String("USER"), String(c.user));
    else
      deleteEnvVar(String("USER"));
    EXPECT_EQ(getSharedResourceName(String(c.name)), c.expected);
  }
  setEnvVar(String("USER"), saved);

  errno = ENOENT;
  EXPECT_EQ(getSystemError(), "No such file or directory");
}
