//===- tools/Collection.h - Many input files, one output each --------------===//
//
// What detect-transients needs to work through a collection: the list of files, the
// share of it that one of several machines takes, and the output path of each file.
//
//===----------------------------------------------------------------------===//
#ifndef TOOLS_COLLECTION_H
#define TOOLS_COLLECTION_H

#include <string>
#include <vector>

namespace tools {

/// Appends the paths in `listFile`, one per line ("-": standard input); blank lines are
/// skipped and a carriage return before the line end dropped. On failure returns false
/// and `error` names the list and the cause.
bool readFileList(const std::string &listFile, std::vector<std::string> &files, std::string &error);

/// Parses "K/N", 0 <= K < N: the K-th of N shares. On failure `problem` says what is wrong.
bool parseShard(const std::string &text, unsigned &k, unsigned &n, std::string &problem);

/// Every n-th of `files`, from the k-th (counted from 0), in their order: the same share
/// of the same list on every run.
std::vector<std::string> shardOf(const std::vector<std::string> &files, unsigned k, unsigned n);

/// The output path in `dir` of each of `files`: its name with its last extension replaced
/// by `extension`, and with `mirror` under the folders that lead to it from the deepest
/// folder all the inputs share. Returns false, naming both inputs in `error`, when two
/// inputs would write one output.
bool outputPaths(const std::vector<std::string> &files, const std::string &dir, const std::string &extension,
                 bool mirror, std::vector<std::string> &paths, std::string &error);

/// Creates `dir` and the folders above it that are missing. On failure `error` names the
/// folder and the cause.
bool makeDirectories(const std::string &dir, std::string &error);

} // namespace tools

#endif // TOOLS_COLLECTION_H
