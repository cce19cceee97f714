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

/// Writes `path` through `path`.part: `write` fills the open file and returns false if it
/// could not. On failure nothing is left behind and `error` names the file and the cause.
bool writeThroughTemporary(const std::string &path, const std::function<bool(std::FILE *)> &write,
                           std::string &error);

/// Has SIGINT and SIGTERM remove the temporaries of writes in progress before the process
/// ends as the signal would end it.
void removeTemporariesOnSignal();

} // namespace tools

#endif // TOOLS_TOOLSUPPORT_H
