//===- tools/Collection.h - Many input files, one output each --------------===//
//
// What detect-transients needs to work through a collection: the list of files, the
// share of it that one of several machines takes, the output path of each file, and
// whether an output that exists already was made from the same input.
//
//===----------------------------------------------------------------------===//
#ifndef TOOLS_COLLECTION_H
#define TOOLS_COLLECTION_H

#include <cstddef>
#include <string>
#include <vector>

namespace tools {

/// The longest line readFileList takes: a path longer than this is no path Linux opens.
constexpr std::size_t MaxListLine = 4096;

/// Appends the paths in `listFile`, one per line ("-": standard input); blank lines are
/// skipped and a carriage return before the line end dropped. On failure (unreadable, a
/// NUL byte, which no path holds and every binary file does, or a line longer than
/// MaxListLine) returns false and `error` names the list, the line and the cause.
bool readFileList(const std::string &listFile, std::vector<std::string> &files, std::string &error);

/// Parses "K/N", 0 <= K < N: the K-th of N shares. On failure `problem` says what is wrong.
bool parseShard(const std::string &text, unsigned &k, unsigned &n, std::string &problem);

/// The indices of every n-th of `count` files, from the k-th (counted from 0): the same
/// share of the same list on every run.
std::vector<std::size_t> shardOf(std::size_t count, unsigned k, unsigned n);

/// `path` made absolute against the working folder, without "." and with ".." applied,
/// as written: links are not followed, so that outputs mirror the names the user gave.
std::string absolutePath(const std::string &path);

/// How outputs are named after their inputs.
struct OutputNaming {
  std::string dir;       ///< the folder that receives them
  std::string extension; ///< replaces the input's last one
  bool mirror = false;   ///< keep the inputs' folders below the deepest one they all share
  std::string relativeTo; ///< or, when set, below this folder
};

/// The output path of each of `files` (the whole list, before any share is taken, so that
/// every share names and checks its outputs alike). Returns false, naming both inputs in
/// `error`, when two inputs would write one output, or naming the input when it lies
/// outside naming.relativeTo.
bool outputPaths(const std::vector<std::string> &files, const OutputNaming &naming, std::vector<std::string> &paths,
                 std::string &error);

/// Where an output that exists already came from.
enum class Origin { SameInput, OtherInput, Unknown };

/// Whether the output at `path`, which exists, was made from `input`: by what the file
/// recorded of its input (see TemporaryFile::recordInput), or else by the file name that a
/// JSON document or a Sonic Visualiser layer carries. Names that differ still match when
/// they lead to the same file. `recorded` receives the input named there. Unknown where
/// neither is there (text, CSV, label and MIDI files on a file system that keeps no note
/// with a file, or copied without it).
Origin originOf(const std::string &path, const std::string &input, std::string &recorded);

/// Creates `dir` and the folders above it that are missing. On failure `error` names the
/// folder and the cause.
bool makeDirectories(const std::string &dir, std::string &error);

} // namespace tools

#endif // TOOLS_COLLECTION_H
