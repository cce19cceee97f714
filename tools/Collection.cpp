//===- tools/Collection.cpp - Many input files, one output each ------------===//
#include "Collection.h"

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

// The folders of an absolute form of `path`, without "." and with ".." applied, as
// written: links are not followed, so that the outputs mirror the names the user gave.
std::vector<std::string> folders(const std::string &path) {
  std::string full = path;
  if (full.empty() || full[0] != '/') {
    char cwd[PATH_MAX];
    full = std::string(getcwd(cwd, sizeof cwd) ? cwd : ".") + "/" + full;
  }
  std::vector<std::string> parts;
  size_t start = 0;
  while (start <= full.size()) {
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
  if (!parts.empty())
    parts.pop_back(); // the file's own name
  return parts;
}

std::string baseName(const std::string &path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string stem(const std::string &name) {
  const size_t dot = name.rfind('.');
  return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}

} // namespace

bool readFileList(const std::string &listFile, std::vector<std::string> &files, std::string &error) {
  std::ifstream file;
  if (listFile != "-") {
    file.open(listFile);
    if (!file) {
      error = "cannot read the file list '" + listFile + "': " + std::strerror(errno);
      return false;
    }
  }
  std::istream &in = listFile == "-" ? std::cin : file;
  for (std::string line; std::getline(in, line);) {
    if (!line.empty() && line.back() == '\r')
      line.pop_back();
    if (!line.empty())
      files.push_back(line);
  }
  if (in.bad()) {
    error = "cannot read the file list '" + listFile + "'";
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
  if (nn == 0 || kk >= nn || nn > 1000000) {
    problem = "'" + text + "' is out of range (K from 0 to N - 1, N from 1 to 1000000)";
    return false;
  }
  k = static_cast<unsigned>(kk);
  n = static_cast<unsigned>(nn);
  return true;
}

std::vector<std::string> shardOf(const std::vector<std::string> &files, unsigned k, unsigned n) {
  std::vector<std::string> share;
  for (size_t i = k; i < files.size(); i += n)
    share.push_back(files[i]);
  return share;
}

bool outputPaths(const std::vector<std::string> &files, const std::string &dir, const std::string &extension,
                 bool mirror, std::vector<std::string> &paths, std::string &error) {
  std::vector<std::vector<std::string>> where;
  size_t shared = SIZE_MAX;
  for (const std::string &f : files) {
    where.push_back(mirror ? folders(f) : std::vector<std::string>());
    size_t common = 0;
    while (common < where.back().size() && common < where.front().size() &&
           where.back()[common] == where.front()[common])
      ++common;
    shared = std::min(shared, common);
  }
  paths.clear();
  std::map<std::string, const std::string *> writer;
  for (size_t i = 0; i < files.size(); ++i) {
    std::string path = dir;
    for (size_t j = shared; j < where[i].size(); ++j)
      path += "/" + where[i][j];
    path += "/" + stem(baseName(files[i])) + extension;
    const auto [it, fresh] = writer.emplace(path, &files[i]);
    if (!fresh) {
      error = "'" + *it->second + "' and '" + files[i] + "' would both write '" + path + "'" +
              (mirror ? "" : " (--mirror keeps their folders apart)");
      return false;
    }
    paths.push_back(path);
  }
  return true;
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
