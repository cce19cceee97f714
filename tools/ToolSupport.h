//===- tools/ToolSupport.h - What the command-line tools share -------------===//
//
// Number options with their range checks, and files written under a temporary name and
// renamed when complete, so that a failure or an interruption (SIGINT, SIGTERM, once
// removeTemporariesOnSignal() is set up) leaves no half-written file.
//
//===----------------------------------------------------------------------===//
#ifndef TOOLS_TOOLSUPPORT_H
#define TOOLS_TOOLSUPPORT_H

#include <cstdio>
#include <functional>
#include <string>

namespace tools {

/// Parses `text` as a finite number within [least, most]. On failure returns false and
/// sets `problem` to a phrase naming the value and what is wrong with it.
bool parseNumber(const char *text, double least, double most, double &value, std::string &problem);

/// An output file under construction: open() creates `path`.part, commit() renames it to
/// `path`. Until then the temporary is removed when the object is destroyed, when a write
/// fails, or on SIGINT and SIGTERM. Opening early, before long work, reports an unwritable
/// path at once. Not copyable: it owns the open file and the temporary's name.
class TemporaryFile {
public:
  TemporaryFile() = default;
  TemporaryFile(const TemporaryFile &) = delete;
  TemporaryFile &operator=(const TemporaryFile &) = delete;
  ~TemporaryFile();

  /// Creates `path`.part for writing. On failure returns false and `error` names `path`
  /// and the cause.
  bool open(const std::string &path, std::string &error);

  /// The open temporary; null before open() and after commit().
  std::FILE *file() const { return _file; }

  /// Closes the temporary and renames it to the path. Returns false, removing the
  /// temporary and naming the path and the cause in `error`, if any write or the rename
  /// failed. `wrote` is the writer's own verdict (false when it gave up half-way).
  bool commit(bool wrote, std::string &error);

private:
  void discard();

  std::string _path;
  std::FILE *_file = nullptr;
  int _slot = -1; // in the list the signal handler removes
};

/// Writes `path` through a TemporaryFile: `write` fills the open file and returns false
/// if it could not. On failure nothing is left behind and `error` names the file and the
/// cause.
bool writeThroughTemporary(const std::string &path, const std::function<bool(std::FILE *)> &write,
                           std::string &error);

/// Has SIGINT and SIGTERM remove the temporaries of writes in progress before the process
/// ends as the signal would end it.
void removeTemporariesOnSignal();

} // namespace tools

#endif // TOOLS_TOOLSUPPORT_H
