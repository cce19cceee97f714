//===- tools/ToolSupport.h - What the command-line tools share -------------===//
//
// Number options with their range checks; the identity of files, so that an output never
// lands on an input whatever name leads to it; and outputs written so that no user sees a
// half-written file: a regular file through a temporary beside it that is renamed when
// complete (and removed on failure, on SIGINT, SIGTERM, SIGHUP and SIGQUIT once
// removeTemporariesOnSignal() is set up), a stream (a terminal, /dev/null, a named pipe)
// directly, since there is nothing to replace. Everything here that asks the operating
// system something is in ToolSupport.cpp.
//
//===----------------------------------------------------------------------===//
#ifndef TOOLS_TOOLSUPPORT_H
#define TOOLS_TOOLSUPPORT_H

#include <cstdio>
#include <functional>
#include <string>

namespace tools {

/// Parses `text` as a finite number within [least, most]. On failure returns false and
/// sets `problem` to a phrase naming the value and what is wrong with it (the range in
/// plain numbers: "1 to 1048576").
bool parseNumber(const char *text, double least, double most, double &value, std::string &problem);

/// `value` in plain digits, without an exponent for any whole number a tool takes.
std::string plainNumber(double value);

/// What makes a file itself: the same for every name, hard link and symbolic link that
/// leads to it.
struct FileId {
  unsigned long long device = 0, inode = 0;
  bool operator==(const FileId &o) const { return device == o.device && inode == o.inode; }
  bool operator<(const FileId &o) const { return device < o.device || (device == o.device && inode < o.inode); }
};

/// The identity of what `path` names, links followed ("-": standard input, when it is
/// read from a file). False when there is nothing there.
bool fileIdOf(const std::string &path, FileId &id);

/// The folder `path` lies in, as written ("." for a bare name).
std::string folderOf(const std::string &path);
/// The last part of `path`.
std::string baseName(const std::string &path);
/// The extension of the last part of `path`, its dot included; empty when it has none.
std::string extensionOf(const std::string &path);

/// Where an output path leads once its symbolic links are followed, and what is there.
struct OutputTarget {
  enum class Kind { Missing, Regular, Folder, Stream, BlockDevice };
  Kind kind = Kind::Missing;
  std::string path; ///< the end of the links: where a regular file is written
};

/// Follows `path`'s links. Paths under /dev and /proc (/dev/stdout, /proc/self/fd/1) and
/// character devices, FIFOs and sockets are streams, written where they stand.
OutputTarget resolveOutput(const std::string &path);

/// An output file under construction. For a regular or new file, open() creates a
/// temporary beside the end of `path`'s links, named after it with the process id and a
/// random part (FILE.PID-RANDOM.part, so that runs sharing a folder never meet), and
/// commit() renames it over that end, keeping an existing file's permissions; links stay
/// links. A stream is written directly. Until commit the temporary is removed when the
/// object is destroyed, when a write fails, or on a signal that ends the process. Opening
/// early, before long work, reports an unwritable path at once. Not copyable: it owns the
/// open file and the temporary's name.
class TemporaryFile {
public:
  TemporaryFile() = default;
  TemporaryFile(const TemporaryFile &) = delete;
  TemporaryFile &operator=(const TemporaryFile &) = delete;
  ~TemporaryFile();

  /// Opens `path` for writing as above. On failure returns false and `error` names `path`
  /// and the cause; a folder or a block device is refused.
  bool open(const std::string &path, std::string &error);

  /// The open file; null before open() and after commit().
  std::FILE *file() const { return _file; }

  /// Records `input` with the file as the input it was made from (recordedInput reads it
  /// back). Where the file system keeps no such note, nothing is recorded.
  void recordInput(const std::string &input);

  /// Closes the file and renames the temporary to the path. Returns false, removing the
  /// temporary and naming the path and the cause in `error`, if any write or the rename
  /// failed. `wrote` is the writer's own verdict (false when it gave up half-way).
  bool commit(bool wrote, std::string &error);

private:
  void discard();

  std::string _path;      // as given, for messages
  std::string _target;    // where the bytes end up
  std::string _temporary; // empty when written directly
  std::FILE *_file = nullptr;
  int _slot = -1; // in the list the signal handler removes
};

/// Writes `path` through a TemporaryFile: `write` fills the open file and returns false
/// if it could not. On failure nothing is left behind and `error` names the file and the
/// cause.
bool writeThroughTemporary(const std::string &path, const std::function<bool(std::FILE *)> &write,
                           std::string &error);

/// The input recorded with `path` by TemporaryFile::recordInput; empty when none is.
std::string recordedInput(const std::string &path);

/// Has SIGINT, SIGTERM, SIGHUP and SIGQUIT remove the temporaries of writes in progress
/// before the process ends as the signal would end it, and turns a broken pipe (SIGPIPE)
/// into a write error that the writer reports.
void removeTemporariesOnSignal();

} // namespace tools

#endif // TOOLS_TOOLSUPPORT_H
