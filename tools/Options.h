//===- tools/Options.h - The command line of detect-transients -------------===//
//
// What the user asked for, checked before any work: a usage error prints its message
// and ends the program with status 2, so that nothing is analysed and nothing written
// when an option or a combination is wrong, or when an output would land on an input.
//
//===----------------------------------------------------------------------===//
#ifndef TOOLS_OPTIONS_H
#define TOOLS_OPTIONS_H

#include "Analysis.h"
#include "Collection.h"
#include "OutputFormats.h"

#include <cstddef>
#include <string>
#include <vector>

namespace tools {

struct Options {
  std::vector<std::string> files; ///< the whole list, in its order
  std::vector<std::size_t> share; ///< indices into files: what this run analyses (--shard)
  AnalysisSettings analysis;
  Format format = Format::Text;
  std::string formatName = "text";
  int midiNote = 36;
  std::string output; ///< -o; empty: standard output
  std::string plot;
  unsigned jobs = 0;
  bool quiet = false;
  bool provenance = false; ///< text and CSV begin with a comment line on the run
  OutputNaming naming;               ///< --output-dir, --mirror, --relative-to
  std::vector<std::string> outputs;  ///< per file of the whole list, with --output-dir
  bool force = false;
  unsigned shardK = 0, shardN = 1;
  std::string sliceDir;
  double preRollMs = 0.0;
  std::vector<std::string> slicePrefixes; ///< per file of the whole list, with --slice
  std::vector<std::string> warnings;      ///< about options that work, but badly
};

/// The options of `argv`, checked; exits with status 2 and a message naming the option on
/// a usage error, with 0 after --help, and after --version with 0, or 1 when the plug-in
/// cannot be loaded. The plug-in's folders must be set (searchPluginFolders).
Options parseOptions(int argc, char **argv);

/// Prints "detect-transients: MESSAGE" and the pointer to --help, and exits with status 2.
[[noreturn]] void usageError(const std::string &message);

} // namespace tools

#endif // TOOLS_OPTIONS_H
