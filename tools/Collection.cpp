//===- tools/Collection.cpp - Many input files, one output each ------------===//
#include "Collection.h"

#include "OutputFormats.h"
#include "ToolSupport.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <map>
#include <sys/stat.h>
#include <unistd.h>

namespace tools {

namespace {

// The names along an absolute form of `path`, from the root, without "." and with ".."
// applied, as written: links are not followed, so that outputs mirror the names the user
// gave.
std::vector<std::string> components(const std::string &path) {
  std::string full = path;
  if (full.empty() || full[0] != '/') {
    char cwd[PATH_MAX];
    full = std::string(getcwd(cwd, sizeof cwd) ? cwd : ".") + "/" + full;
  }
  std::vector<std::string> parts;
  for (size_t start = 0; start <= full.size();) {
    const size_t end = std::min(full.find('/', start), full.size());
    const std::string part = full.substr(start, end - start);
    if (part == "..") {
      if (!parts.empty())
        parts.pop_back();
    } else if (!part.empty() && part != ".") {
      parts.push_back(part);
    }
    start = end + 1;
  }
  return parts;
}

// The folders that lead to a file.
std::vector<std::string> folders(const std::string &path) {
  std::vector<std::string> parts = components(path);
  if (!parts.empty())
    parts.pop_back();
  return parts;
}

std::string stem(const std::string &name) {
  const size_t dot = name.rfind('.');
  return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}

} // namespace

std::string absolutePath(const std::string &path) {
  std::string out;
  for (const std::string &part : components(path))
    out += "/" + part;
  return out.empty() ? "/" : out;
}

bool readFileList(const std::string &listFile, std::vector<std::string> &files, std::string &error) {
  std::ifstream file;
  if (listFile != "-") {
    file.open(listFile, std::ios::binary);
    if (!file) {
      error = "cannot read the file list '" + listFile + "': " + std::strerror(errno);
      return false;
    }
  }
  std::istream &in = listFile == "-" ? std::cin : file;
  const std::string name = listFile == "-" ? "the file list on standard input" : "the file list '" + listFile + "'";
  std::string line;
  for (size_t number = 1;; ++number) {
    // At most one byte past the cap is read, so a file without line ends costs no memory.
    line.clear();
    int c;
    while ((c = in.get()) != EOF && c != '\n' && line.size() <= MaxListLine)
      line += static_cast<char>(c);
    if (line.size() > MaxListLine) {
      error = name + ": line " + std::to_string(number) + " is longer than " + std::to_string(MaxListLine) +
              " bytes, which no path is";
      return false;
    }
    if (line.find('\0') != std::string::npos) {
      error = name + ": line " + std::to_string(number) + " holds a NUL byte: it is not a list of file names, one per line";
      return false;
    }
    if (!line.empty() && line.back() == '\r')
      line.pop_back();
    if (!line.empty())
      files.push_back(line);
    if (c == EOF)
      break;
  }
  if (in.bad()) {
    error = "cannot read " + name;
    return false;
  }
  return true;
}

bool parseShard(const std::string &text, unsigned &k, unsigned &n, std::string &problem) {
  unsigned long kk = 0, nn = 0;
  char slash = 0, extra = 0;
  if (std::sscanf(text.c_str(), "%lu%c%lu%c", &kk, &slash, &nn, &extra) != 3 || slash != '/' ||
      text.find_first_not_of("0123456789/") != std::string::npos) {
    problem = "'" + text + "' is not K/N";
    return false;
  }
  if (nn == 0 || nn > 1000000) {
    problem = "'" + text + "': N is out of range (1 to 1000000)";
    return false;
  }
  if (kk >= nn) {
    problem = "'" + text + "': shard numbers count from 0, so K must be below N (0 to " + std::to_string(nn - 1) +
              "); a Slurm array for " + std::to_string(nn) + " shards is --array=0-" + std::to_string(nn - 1);
    return false;
  }
  k = static_cast<unsigned>(kk);
  n = static_cast<unsigned>(nn);
  return true;
}

std::vector<size_t> shardOf(size_t count, unsigned k, unsigned n) {
  std::vector<size_t> share;
  for (size_t i = k; i < count; i += n)
    share.push_back(i);
  return share;
}

bool outputPaths(const std::vector<std::string> &files, const OutputNaming &naming, std::vector<std::string> &paths,
                 std::string &error) {
  const bool mirror = naming.mirror || !naming.relativeTo.empty();
  std::vector<std::vector<std::string>> where;
  size_t shared = SIZE_MAX;
  const std::vector<std::string> base =
      naming.relativeTo.empty() ? std::vector<std::string>() : components(naming.relativeTo);
  for (const std::string &f : files) {
    where.push_back(mirror ? folders(f) : std::vector<std::string>());
    const std::vector<std::string> &against = naming.relativeTo.empty() ? where.front() : base;
    size_t common = 0;
    while (common < where.back().size() && common < against.size() && where.back()[common] == against[common])
      ++common;
    if (!naming.relativeTo.empty() && common < base.size()) {
      error = "'" + f + "' is not inside --relative-to '" + naming.relativeTo + "'";
      return false;
    }
    shared = std::min(shared, common);
  }
  paths.clear();
  std::map<std::string, const std::string *> writer;
  for (size_t i = 0; i < files.size(); ++i) {
    std::string path = naming.dir;
    for (size_t j = shared; j < where[i].size(); ++j)
      path += "/" + where[i][j];
    path += "/" + stem(baseName(files[i])) + naming.extension;
    const auto [it, fresh] = writer.emplace(path, &files[i]);
    if (!fresh) {
      const bool twice = absolutePath(*it->second) == absolutePath(files[i]);
      error = "'" + *it->second + "' and '" + files[i] + "' would both write '" + path + "'" +
              (twice ? " (the same file, listed twice)" : " (--mirror or --relative-to keeps their folders apart)");
      return false;
    }
    paths.push_back(path);
  }
  return true;
}

Origin originOf(const std::string &path, const std::string &input, std::string &recorded) {
  recorded = recordedInput(path);
  bool absolute = true;
  if (recorded.empty()) {
    std::ifstream file(path, std::ios::binary);
    std::string head(8192, '\0');
    file.read(&head[0], static_cast<std::streamsize>(head.size()));
    head.resize(static_cast<size_t>(file.gcount()));
    recorded = fileNamedIn(head);
    absolute = false; // as the command line gave it
  }
  if (recorded.empty())
    return Origin::Unknown;
  if (recorded == (absolute ? absolutePath(input) : input))
    return Origin::SameInput;
  FileId a, b;
  return fileIdOf(recorded, a) && fileIdOf(input, b) && a == b ? Origin::SameInput : Origin::OtherInput;
}

bool makeDirectories(const std::string &dir, std::string &error) {
  size_t at = 0;
  do {
    at = dir.find('/', at + 1);
    const std::string part = dir.substr(0, at);
    if (mkdir(part.c_str(), 0777) != 0 && errno != EEXIST) {
      error = "cannot make the folder '" + part + "': " + std::strerror(errno);
      return false;
    }
  } while (at != std::string::npos);
  struct stat st;
  if (stat(dir.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
    error = "'" + dir + "' is not a folder";
    return false;
  }
  return true;
}

} // namespace tools
