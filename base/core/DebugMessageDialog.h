//===- base/core/DebugMessageDialog.h - Asking the developer ---------------===//
//
// A multiple-choice question from a process without a user interface of its own. show()
// runs an outside command, MESSAGE_DIALOG_COMMAND or else `qmessage`, found along PATH:
//
//   COMMAND -geometry WxH [-title "TITLE (pid = N)"] -buttons "A,B,C" [-default B] MESSAGE
//
// and reads the choice from its exit code, 101 for the first button, 102 for the second
// and so on. Any other code, or a command that cannot be started, falls back to a
// question on the terminal (getOut() and getIn()). Without a title no -title goes out.
//
//===----------------------------------------------------------------------===//
#ifndef BASE_CORE_DEBUGMESSAGEDIALOG_H
#define BASE_CORE_DEBUGMESSAGEDIALOG_H

#include "base/core/String.h"

#include <vector>

namespace base::core {

class DebugMessageDialog {
public:
  [[nodiscard]] String getMessage() const { return _message; }
  void setMessage(const String &message) { _message = message; }
  [[nodiscard]] String getTitle() const { return _title; }
  void setTitle(const String &title) { _title = title; }
  void addOption(const String &label, int id);
  [[nodiscard]] bool hasDefaultOption() const { return _hasDefault; }
  [[nodiscard]] int getDefaultOptionId() const { return _defaultOptionId; }
  void setDefaultOptionId(int id);
  /// The first option with the default id; 0 when none has it.
  [[nodiscard]] int getDefaultOptionIndex() const;
  [[nodiscard]] int getWidth() const { return _width; }
  [[nodiscard]] int getHeight() const { return _height; }
  void setSize(int width, int height);
  /// The chosen option's id, by the dialog command or else the terminal.
  int show();
  /// The chosen option's id, asked on the terminal. With fewer than two options it waits
  /// for Enter. At the end of the input an empty line is read: it takes the default when
  /// there is one, and otherwise the options are shown again, for as long as it lasts.
  int showInTerminal();

private:
  String _title;
  String _message;
  std::vector<String> _options;
  std::vector<int> _optionIds;
  int _width = 400;
  int _height = 300;
  bool _hasDefault = false;
  int _defaultOptionId = 0;
};

/// Whether a tracer (a debugger) is attached to this process, by TracerPid in
/// /proc/self/status; looked up once per process.
[[nodiscard]] bool checkHasAttachedDebugger();
/// didAttachDebugger.
[[nodiscard]] bool hasAttachedDebugger();
/// Starts `launch-debugger PID` from PATH without waiting, then asks the developer to
/// confirm the attach; true when confirmed.
bool launchDebugger();
/// Asks until a debugger is attached: Break (one is), Launch Debugger, or Abort.
void launchDebuggerIfNeeded();
/// Empty on this platform.
void checkForDebugModeStartup(const char *argument);

} // namespace base::core

#endif // BASE_CORE_DEBUGMESSAGEDIALOG_H
