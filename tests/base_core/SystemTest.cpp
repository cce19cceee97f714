//===- tests/base_core/SystemTest.cpp - Environment, clocks, processes ------===//
#include "base/core/Exception.h"
#include "base/core/System.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <optional>
#include <regex>
#include <thread>

using namespace base::core;

TEST(System, EnvironmentParsingRules) {
  const struct {
    std::optional<const char *> value; // unset when empty
    bool asBool;                       // with the default true
    const char *asString;              // with the default "default"
    std::optional<int> asInt;          // with the default 7; none: it throws
  } cases[] = {
      {std::nullopt, true, "default", 7},
      {"true", true, "true", std::nullopt},
      {"TRUE", false, "TRUE", std::nullopt},
      {"1", false, "1", 1},
      {"yes", false, "yes", std::nullopt},
      {"", false, "", std::nullopt}, // set but empty is not the default
      {" 42 ", false, " 42 ", 42},
      {"abc", false, "abc", std::nullopt},
  };
  const String name("BASE_CORE_SYSTEM_TEST");
  for (const auto &c : cases) {
    SCOPED_TRACE(c.value.value_or("(unset)"));
    if (c.value)
      setEnvVar(name, String(*c.value));
    else
      deleteEnvVar(name);
    bool found = !c.value;
    EXPECT_EQ(getEnvVar(name, &found), c.value ? *c.value : "");
    EXPECT_EQ(found, c.value.has_value());
    EXPECT_EQ(getBoolEnvVar(name, true), c.asBool);
    EXPECT_EQ(getStringEnvVar(name, String("default")), c.asString);
    if (c.asInt)
      EXPECT_EQ(getInt32EnvVar(name, 7), *c.asInt);
    else
      EXPECT_THROW((void)getInt32EnvVar(name, 7), NumberFormatException);
  }
  deleteEnvVar(name);
}

TEST(System, ProcessTimeReadsInMilliseconds) {
  EXPECT_EQ(formatProcessTime(3661002000000ull), "[1:1:1.2]");
  EXPECT_EQ(formatProcessTime(1005000000ull), "[0:0:1.5]");
  EXPECT_EQ(formatProcessTime(999999ull), "[0:0:0.0]");
  EXPECT_EQ(formatProcessTime(90000000000000ull), "[25:0:0.0]");

  const unsigned long long before = getTimeMicrosSinceApplicationStart();
  std::this_thread::sleep_for(std::chrono::milliseconds(2));
  EXPECT_GE(getTimeMicrosSinceApplicationStart() - before, 2000u);
  EXPECT_EQ(highResTimeToAudioTime(audioTimeToHighResTime(123)), 123u);
  const auto wall = std::chrono::duration_cast<std::chrono::milliseconds>(
                        std::chrono::system_clock::now().time_since_epoch())
                        .count();
  EXPECT_NEAR(double(currentTimeMillis()), double(wall), 1000.0);

  testing::internal::CaptureStdout();
  logWithProcessTime(String("hello"));
  const std::string line = testing::internal::GetCapturedStdout();
  EXPECT_TRUE(std::regex_match(line, std::regex(R"(\[0:0:\d+\.\d+\] hello\n)"))) << line;
}

TEST(System, ChildProcesses) {
  const auto run = [](std::vector<const char *> words) {
    std::vector<String> arguments;
    for (const char *w : words)
      arguments.emplace_back(w);
    return execAndWait(arguments);
  };
  EXPECT_EQ(run({"true"}), 0);
  EXPECT_EQ(run({"sh", "-c", "exit 3"}), 3);
  EXPECT_EQ(run({"no-such-program-anywhere"}), 255);
  EXPECT_EQ(run({}), 255);
  try {
    (void)run({"sh", "-c", "kill -9 $$"});
    ADD_FAILURE();
  } catch (const ProcessException &e) {
    EXPECT_EQ(e.getMessage(), "Process did not exit normally");
  }

  // exec returns at once; the child's file appears when it has run.
  char path[] = "/tmp/base_core_exec_XXXXXX";
  ASSERT_NE(mkdtemp(path), nullptr);
  const std::string marker = std::string(path) + "/ran";
  exec({String("sh"), String("-c"), String(("sleep 0.1; touch " + marker).c_str())});
  struct stat info {};
  EXPECT_NE(stat(marker.c_str(), &info), 0);
  for (int i = 0; i < 500 && stat(marker.c_str(), &info) != 0; ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  EXPECT_EQ(stat(marker.c_str(), &info), 0);
  std::remove(marker.c_str());
  rmdir(path);
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
  EXPECT_EQ(getUserName(), saved);

  errno = ENOENT;
  EXPECT_EQ(getSystemError(), "No such file or directory");
  EXPECT_EQ(getOut(), getOut());
  EXPECT_NE(getError(), getOut());
  EXPECT_NE(getIn(), nullptr);
}
