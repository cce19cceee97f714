//===- base/core/System.h - Process streams, environment, clocks, processes ===//
//
// The free functions through which base::core talks to the operating system. Names and
// values cross to it as UTF-8.
//
//===----------------------------------------------------------------------===//
#ifndef BASE_CORE_SYSTEM_H
#define BASE_CORE_SYSTEM_H

#include "base/core/InputStream.h"
#include "base/core/OutputStream.h"
#include "base/core/String.h"

#include <string>
#include <vector>

namespace base::core {

/// The process's standard streams, UTF-8. Output and error keep each writeLine whole
/// across threads. Input reads descriptor 0 through a buffer of its own, not std::cin's,
/// so that what a pipe or a terminal delivers is reported as ready (see processInput).
[[nodiscard]] OutputStream *getOut();
[[nodiscard]] OutputStream *getError();
[[nodiscard]] InputStream *getIn();

/// The value, String::EMPTY when unset; `*found` tells which, when `found` is given.
[[nodiscard]] String getEnvVar(const String &name, bool *found = nullptr);
/// The value, also when empty; `defaultValue` only when unset.
[[nodiscard]] String getStringEnvVar(const String &name, const String &defaultValue);
/// `defaultValue` when unset; else true exactly for the text "true": "1", "TRUE" and the
/// empty value are false.
[[nodiscard]] bool getBoolEnvVar(const String &name, bool defaultValue);
/// `defaultValue` when unset; else the value by asInt32, whose NumberFormatException
/// passes through.
[[nodiscard]] int getInt32EnvVar(const String &name, int defaultValue);
/// Failures are ignored.
void setEnvVar(const String &name, const String &value);
void deleteEnvVar(const String &name);
/// Does nothing on this platform.
void setProcessName(const String &name);

/// Wall-clock milliseconds since 1970.
[[nodiscard]] unsigned long long currentTimeMillis();
/// A monotonic clock in nanoseconds (CLOCK_MONOTONIC). The argument is not used.
[[nodiscard]] unsigned long long getHighResolutionClockTimeNanos(bool unused = false);
/// Audio host time to and from the clock above. On Linux host time is counted in
/// nanoseconds on the same clock, so both are the identity.
[[nodiscard]] unsigned long long audioTimeToHighResTime(unsigned long long audioTime);
[[nodiscard]] unsigned long long highResTimeToAudioTime(unsigned long long highResTime);
/// Microseconds since the library was loaded.
[[nodiscard]] unsigned long long getTimeMicrosSinceApplicationStart();
/// "[hours:minutes:seconds.milliseconds]" since load, without zero-filling: 1 s and 5 ms
/// read "[0:0:1.5]". Milliseconds, whatever the name says.
[[nodiscard]] String getTimeMicrosSinceApplicationStartFormatted();
/// The formatted time, a space and `text`, as a line on getOut().
void logWithProcessTime(const String &text);
/// The formatted form of a time of `nanos` since load.
[[nodiscard]] String formatProcessTime(unsigned long long nanos);

/// Runs the program arguments[0], found along PATH, with the rest as its arguments, and
/// returns its exit code: 255 when it could not be started. ProcessException "Could not
/// fork child process", or "Process did not exit normally" when a signal ended it.
int execAndWait(const std::vector<String> &arguments);
/// Starts the program and returns at once; the child is never collected. ProcessException
/// "Error forking child process".
void exec(const std::vector<String> &arguments);

/// getEnvVar("USER").
[[nodiscard]] String getUserName();
/// The text of errno.
[[nodiscard]] String getSystemError();
/// A 24-character name for a resource that processes of one user share: base64 (with "-"
/// for "/") of the MD5 of "USER-name", ending in "==".
[[nodiscard]] std::string getSharedResourceName(const String &name);

} // namespace base::core

#endif // BASE_CORE_SYSTEM_H
