//===- base/core/DebugMessageDialog.cpp - Asking the developer -------------===//
#include "base/core/DebugMessageDialog.h"

#include "base/core/Debug.h"
#include "base/core/Exception.h"
#include "base/core/Platform.h"
#include "base/core/StringBuilder.h"
#include "base/core/System.h"

#include <cstdlib>
#include <fstream>
#include <mutex>
#include <string>

namespace base::core {

namespace {

String decimal(int value) { return StringBuilder() + value; }

} // namespace

void DebugMessageDialog::addOption(const String &label, int id) {
  _options.push_back(label);
  _optionIds.push_back(id);
}

void DebugMessageDialog::setDefaultOptionId(int id) {
  _defaultOptionId = id;
  _hasDefault = true;
}

int DebugMessageDialog::getDefaultOptionIndex() const {
  for (size_t i = 0; i < _optionIds.size(); ++i)
    if (_optionIds[i] == _defaultOptionId)
      return static_cast<int>(i);
  return 0;
}

void DebugMessageDialog::setSize(int width, int height) {
  _width = width;
  _height = height;
}

int DebugMessageDialog::show() {
  const String command = getStringEnvVar(String("MESSAGE_DIALOG_COMMAND"), String("qmessage"));
  try {
    std::vector<String> arguments{command, String("-geometry"),
                                  StringBuilder() + _width + "x" + _height};
    StringBuilder title;
    title + _title;
    if (title.getLength() == 0)
      title + "Debug Message Dialog";
    title + " (pid = " + currentProcessId() + ")";
    // Without a title of its own the dialog gets no -title at all, default text and pid
    // included: the dialog commands in use rely on that.
    if (!_title.isEmpty()) {
      arguments.emplace_back("-title");
      arguments.emplace_back(title);
    }
    StringBuilder labels;
    for (const String &label : _options) {
      if (labels.getLength() != 0)
        labels + ",";
      labels + label;
    }
    arguments.emplace_back("-buttons");
    arguments.emplace_back(labels);
    // With no options there is no label to name: reading one would be out of bounds.
    if (_hasDefault && !_options.empty()) {
      arguments.emplace_back("-default");
      arguments.push_back(_options[size_t(getDefaultOptionIndex())]);
    }
    arguments.push_back(_message);

    const int index = execAndWait(arguments) - 101;
    if (index >= 0 && index < static_cast<int>(_options.size()))
      return _optionIds[size_t(index)];
    throw ProcessException(StringBuilder() + command + " returned a bad exit code");
  } catch (const ProcessException &e) {
    // The builder form: the text, flush, a line feed, flush.
    getError()->writeLine(StringBuilder("Error invoking ") + command + ": " + e.getMessage());
  }
  return showInTerminal();
}

int DebugMessageDialog::showInTerminal() {
  OutputStream *out = getOut();
  if (!_title.isEmpty()) {
    out->writeString(_title);
    out->writeString("\n\n");
  }
  out->writeLine(_message);
  if (_options.size() < 2) {
    out->writeLine("Press enter to continue");
    out->flush();
    (void)getIn()->readLine();
    return _optionIds.empty() ? 0 : _optionIds[0];
  }
  for (;;) {
    for (size_t i = 0; i < _options.size(); ++i)
      out->writeLine(StringBuilder("    ") + int(i + 1) + ": " + _options[i]);
    out->flush();
    const String line = getIn()->readLine();
    if (line.isEmpty() && _hasDefault)
      return _defaultOptionId;
    int choice = 0;
    try {
      choice = line.asInt32(10);
    } catch (const NumberFormatException &e) {
      out->writeLine(StringBuilder("Invalid choice: ") + e.getMessage());
      continue;
    }
    if (choice >= 1 && choice <= static_cast<int>(_options.size()))
      return _optionIds[size_t(choice - 1)];
    out->writeLine("Please enter a valid choice");
  }
}

bool checkHasAttachedDebugger() {
  static std::once_flag debuggerPredicate;
  static bool debuggerIsAttached = false;
  std::call_once(debuggerPredicate, [] {
    // Linux names the tracing process in the status file; 0 is none.
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line))
      if (line.rfind("TracerPid:", 0) == 0) {
        debuggerIsAttached = std::atoi(line.c_str() + 10) != 0;
        break;
      }
  });
  return debuggerIsAttached;
}

bool hasAttachedDebugger() { return didAttachDebugger; }

bool launchDebugger() {
  try {
    exec({String("launch-debugger"), decimal(currentProcessId())});
  } catch (const ProcessException &e) {
    getError()->writeLine(StringBuilder("Error launching debugger") + e.getMessage());
    return false;
  }
  DebugMessageDialog dialog;
  dialog.setTitle(String("Waiting for debugger to connect"));
  dialog.setMessage(String("Click ok once the debugger has attached itself"));
  dialog.addOption(String("Ok"), 0);
  dialog.addOption(String("Cancel"), 1);
  return dialog.show() == 0;
}

void launchDebuggerIfNeeded() {
  while (!didAttachDebugger) {
    DebugMessageDialog dialog;
    dialog.setTitle(String("Attach debugger"));
    dialog.setMessage(
        StringBuilder("You can now attach a debugger to process ") + currentProcessId() +
        ":\n\nClick Break if you have manually attached a debugger to this process\n\n"
        "Click Launch Debugger to launch a debugger and connect to this process.\n\n"
        "Note: Launch Debugger requires that a script 'launch-debugger' be present on your "
        "path and accepts the pid as first argument.");
    dialog.addOption(String("Abort"), 0);
    dialog.addOption(String("Break"), 1);
    dialog.addOption(String("Launch Debugger"), 2);
    switch (const int choice = dialog.show()) {
    case 0:
      std::abort();
    case 1:
      didAttachDebugger = true;
      break;
    case 2:
      didAttachDebugger = launchDebugger();
      break;
    default:
      getError()->writeLine(StringBuilder("Invalid choice chosen: ") + choice);
    }
  }
}

void checkForDebugModeStartup(const char *) {}

} // namespace base::core
