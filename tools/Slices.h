//===- tools/Slices.h - A recording cut at its transients ------------------===//
//
// The audio between consecutive transients as files of their own, in the recording's own
// format and sample type, so that the slices joined give back the recording sample for
// sample.
//
//===----------------------------------------------------------------------===//
#ifndef TOOLS_SLICES_H
#define TOOLS_SLICES_H

#include <string>
#include <vector>

namespace tools {

/// Cuts `file` at `frames` (the transients' sample frames, in order), each cut moved
/// `preRoll` frames earlier, and writes the pieces as `prefix`-000 (the lead-in before the
/// first cut), `prefix`-001 (from the first cut to the second) and so on, each with the
/// input's extension and format; the numbers get the digits the last one needs, at least
/// three, so that the order of the names is the order in time. Every piece is written under a temporary name and renamed
/// when complete. On failure returns false, having removed the pieces it wrote, and
/// `error` names the file and the cause.
bool writeSlices(const std::string &file, const std::vector<long> &frames, long preRoll, const std::string &prefix,
                 std::string &error);

} // namespace tools

#endif // TOOLS_SLICES_H
