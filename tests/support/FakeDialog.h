//===- tests/support/FakeDialog.h - A dialog command that answers by script ===//
//
// Stands in for the developer dialog: MESSAGE_DIALOG_COMMAND points at a shell script
// that records its arguments, one call a line with "|" after each argument, and exits
// with the next of the answers given.
//
//===----------------------------------------------------------------------===//
#ifndef TESTS_SUPPORT_FAKEDIALOG_H
#define TESTS_SUPPORT_FAKEDIALOG_H

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace testsupport {

class FakeDialog {
public:
  explicit FakeDialog(const std::vector<int> &answers = {}) {
    char dir[] = "/tmp/fake_dialog_XXXXXX";
    _dir = mkdtemp(dir);
    std::ofstream(_dir + "/dialog") << "#!/bin/sh\n"
                                       "for a in \"$@\"; do printf '%s|' \"$a\" | tr '\\n' '~'; done >> '"
                                    << _dir << "/calls'\n"
                                    << "echo >> '" << _dir << "/calls'\n"
                                    << "code=$(head -n 1 '" << _dir << "/answers')\n"
                                    << "sed -i 1d '" << _dir << "/answers'\n"
                                    << "exit ${code:-1}\n";
    chmod();
    answer(answers);
    setenv("MESSAGE_DIALOG_COMMAND", (_dir + "/dialog").c_str(), 1);
  }
  ~FakeDialog() {
    unsetenv("MESSAGE_DIALOG_COMMAND");
    for (const char *f : {"/dialog", "/calls", "/answers"})
      std::remove((_dir + f).c_str());
    rmdir(_dir.c_str());
  }
  FakeDialog(const FakeDialog &) = delete;
  FakeDialog &operator=(const FakeDialog &) = delete;

  void answer(const std::vector<int> &answers) {
    std::ofstream out(_dir + "/answers", std::ios::app);
    for (int a : answers)
      out << a << "\n";
  }
  /// One line a call, its arguments each followed by "|", line feeds in them as "~".
  [[nodiscard]] std::vector<std::string> calls() const {
    std::ifstream in(_dir + "/calls");
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);)
      lines.push_back(line);
    return lines;
  }
  [[nodiscard]] std::string command() const { return _dir + "/dialog"; }

private:
  void chmod() const { ::chmod((_dir + "/dialog").c_str(), 0755); }
  std::string _dir;
};

} // namespace testsupport

#endif // TESTS_SUPPORT_FAKEDIALOG_H
