//===- tools/Options.cpp - The command line of detect-transients -----------===//
#include "Options.h"

#include "ToolSupport.h"

#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <thread>
#include <unistd.h>

namespace tools {

namespace {

const char *const Usage =
    "usage: detect-transients [options] [--] FILE...\n"
    "\n"
    "Prints the transients of each audio file (WAV, AIFF, FLAC, Ogg and the other formats\n"
    "libsndfile reads; - reads a WAV stream from standard input): time in seconds, sample\n"
    "frame and strength (0 to 2). Multichannel files are mixed to mono (the mean of the\n"
    "channels) unless --channel picks one. -- ends the options: what follows are files.\n"
    "\n"
    "  --threshold PERCENT   attack threshold, 0 to 100 (default 12)\n"
    "  --noise-floor DB      noise floor in decibels, -100 to -20 (default -60)\n"
    "  --dither [DB]         add quiet noise before analysing, DB above the noise floor,\n"
    "                        -30 to 40 (default -1): transients after long digital silence\n"
    "                        are found (the output of --slice stays the original audio)\n"
    "  --block-size N        samples per block, 1 to 1048576 (default 65536)\n"
    "  --step-size N         samples per step, 1 to the block size (default: the block size)\n"
    "  --channel N           analyse channel N (1 is the first) instead of the mix\n"
    "  --format FORMAT       text (default), csv, json, labels (Audacity), sv (Sonic\n"
    "                        Visualiser) or midi (a Standard MIDI File, a note per\n"
    "                        transient); labels, sv and midi hold one input file\n"
    "  --midi-note N         the note that midi plays on channel 10 (default 36, a kick)\n"
    "  -o, --output FILE     write there instead of standard output\n"
    "  --files-from LIST     also analyse the files listed in LIST, one per line (- reads\n"
    "                        the list from standard input)\n"
    "  --output-dir DIR      write one output per input file into DIR, named after it with\n"
    "                        the format's extension (.txt, .csv, .json, .labels.txt, .svl,\n"
    "                        .mid); an output that exists already is kept and its input\n"
    "                        skipped when it was made from the same input, and is an error\n"
    "                        when it was made from another\n"
    "  --mirror              with --output-dir or --slice: keep the inputs' folders below the\n"
    "                        deepest folder they share\n"
    "  --relative-to DIR     the same below DIR, which holds every input: runs of one file\n"
    "                        each mirror alike\n"
    "  --force               with --output-dir: analyse and write over existing outputs\n"
    "  --shard K/N           take only every N-th input file from the K-th (K from 0)\n"
    "  --slice DIR           also cut each input at its transients into DIR: NAME-000 (what\n"
    "                        comes before the first), NAME-001 (from the first to the\n"
    "                        second) and so on, in the input's own format\n"
    "  --pre-roll MS         with --slice: cut that many milliseconds before each transient\n"
    "  --plot FILE.svg       draw the waveform with a marker per transient (one input file)\n"
    "  -j, --jobs N          files analysed at once (default: the number of cores)\n"
    "  -q, --quiet           no progress display and no summary\n"
    "  --provenance          text and csv begin with a comment line giving the versions,\n"
    "                        parameters, block and step size (json always has them)\n"
    "  --version             the versions of this tool, of the plug-in (and where it was\n"
    "                        found) and of libsndfile\n"
    "  -h, --help            this text\n"
    "\n"
    "With --output-dir a summary line at the end gives the files done, skipped and failed,\n"
    "the hours of audio and the speed. Without it, several files make one document, in the\n"
    "order given: text has a line \"# FILE\" before each file's transients, csv a first\n"
    "column \"file\", and json is an array of the per-file objects (one file gives its\n"
    "object alone). One input prints each transient as soon as it is found.\n"
    "\n"
    "No output ever replaces an input. Files are written under a temporary name and renamed\n"
    "when complete; a link is followed and stays a link; a terminal, /dev/null or a named\n"
    "pipe is written directly.\n"
    "\n"
    "Exit status: 0 when every file was analysed and written; 1 when a file could not be\n"
    "analysed or an output not written (the other files are still analysed and written);\n"
    "2 for a usage error (nothing is analysed).\n";

double number(const std::string &option, const char *text, double least, double most) {
  double v = 0.0;
  std::string problem;
  if (!parseNumber(text, least, most, v, problem))
    usageError(option + ": " + problem);
  return v;
}

long integer(const std::string &option, const char *text, long least, long most) {
  const double v = number(option, text, static_cast<double>(least), static_cast<double>(most));
  if (v != std::floor(v))
    usageError(option + ": '" + text + "' is not a whole number");
  return static_cast<long>(v);
}

// Whether `name` is one of the slices of `prefixName` (a slice prefix's last part) for an
// input with `extension`: PREFIX-NNN.EXT with three digits or more.
bool isSliceName(const std::string &name, const std::string &prefixName, const std::string &extension) {
  const size_t digits = prefixName.size() + 1;
  if (name.size() < digits + 3 + extension.size() || name.compare(0, prefixName.size(), prefixName) != 0 ||
      name[prefixName.size()] != '-' || name.compare(name.size() - extension.size(), extension.size(), extension) != 0)
    return false;
  const std::string number = name.substr(digits, name.size() - digits - extension.size());
  return number.size() >= 3 && number.find_first_not_of("0123456789") == std::string::npos;
}

// No output may land on an input, by whatever name: the recording would be lost. Outputs
// are compared with the inputs by device and inode, so that "./a.wav", "a.wav" and a link
// to it are one file; the whole list counts, since every share must refuse alike.
void refuseOutputsOnInputs(const Options &o) {
  std::map<FileId, const std::string *> inputs;
  std::map<FileId, std::vector<size_t>> inputsInFolder;
  for (size_t i = 0; i < o.files.size(); ++i) {
    FileId id;
    if (fileIdOf(o.files[i], id))
      inputs.emplace(id, &o.files[i]);
    if (o.files[i] != "-" && !o.sliceDir.empty() && fileIdOf(folderOf(o.files[i]), id))
      inputsInFolder[id].push_back(i);
  }
  auto refuse = [&](const std::string &what, const std::string &path) {
    FileId id;
    const auto it = fileIdOf(path, id) ? inputs.find(id) : inputs.end();
    if (it != inputs.end())
      usageError(what + " '" + path + "' is the input '" + *it->second +
                 "': writing it would destroy the recording; choose another name");
  };
  for (const auto &[option, path] : {std::make_pair("-o", &o.output), std::make_pair("--plot", &o.plot)}) {
    if (path->empty())
      continue;
    refuse(option, *path);
    const OutputTarget target = resolveOutput(*path);
    if (target.kind == OutputTarget::Kind::Folder)
      usageError(std::string(option) + ": '" + *path + "' is a folder; give a file name");
    if (target.kind == OutputTarget::Kind::BlockDevice)
      usageError(std::string(option) + ": '" + *path + "' is a block device; give a file name");
  }
  FileId a, b;
  if (!o.output.empty() && !o.plot.empty() &&
      (o.output == o.plot || (fileIdOf(o.output, a) && fileIdOf(o.plot, b) && a == b)))
    usageError("-o and --plot name the same file '" + o.output + "': the plot would replace the transients");
  for (size_t i = 0; i < o.outputs.size(); ++i)
    refuse("the output of '" + o.files[i] + "',", o.outputs[i]);
  // A slice of one input may be named as another input is: PREFIX-NNN.EXT in its folder.
  for (size_t i = 0; i < o.slicePrefixes.size(); ++i) {
    FileId folder;
    if (!fileIdOf(folderOf(o.slicePrefixes[i]), folder) || !inputsInFolder.count(folder))
      continue;
    const std::string prefixName = baseName(o.slicePrefixes[i]), extension = extensionOf(o.files[i]);
    for (size_t j : inputsInFolder[folder])
      if (isSliceName(baseName(o.files[j]), prefixName, extension))
        usageError("--slice: a slice of '" + o.files[i] + "' would be written as '" + o.files[j] +
                   "', an input; slice into another folder");
  }
}

} // namespace

void usageError(const std::string &message) {
  std::fprintf(stderr, "detect-transients: %s\n(run detect-transients --help for the options)\n", message.c_str());
  std::exit(2);
}

Options parseOptions(int argc, char **argv) {
  Options o;
  o.analysis.stepSize = 0; // until the block size is known
  bool mirror = false, filesOnly = false;
  for (int i = 1; i < argc; ++i) {
    std::string a = argv[i];
    // --name=VALUE, and -jN and -oFILE, as other tools take them.
    std::string attached;
    const size_t equals = a.find('=');
    const bool hasAttached = !filesOnly && ((a.rfind("--", 0) == 0 && equals != std::string::npos) ||
                                            (a.size() > 2 && (a.rfind("-j", 0) == 0 || a.rfind("-o", 0) == 0)));
    if (hasAttached) {
      const size_t cut = a[1] == '-' ? equals : 2;
      attached = a.substr(cut + (a[1] == '-' ? 1 : 0));
      a.resize(cut);
    }
    const char *value = hasAttached ? attached.c_str() : i + 1 < argc ? argv[i + 1] : nullptr;
    auto takes = [&]() {
      if (!hasAttached)
        ++i;
      return value;
    };
    auto flag = [&]() {
      if (hasAttached)
        usageError(a + " takes no value");
      return true;
    };
    auto name = [&](const char *what) {
      const char *f = takes();
      if (!f || !*f)
        usageError(a + ": a " + what + " name is missing");
      return std::string(f);
    };
    if (filesOnly || a == "-" || a.empty() || a[0] != '-') {
      o.files.push_back(a);
    } else if (a == "--") {
      filesOnly = true;
    } else if ((a == "-h" || a == "--help") && flag()) {
      std::fputs(Usage, stdout);
      std::exit(0);
    } else if (a == "--version" && flag()) {
      const PluginIdentity &plugin = identifyPlugin();
      std::printf("%s\n", toolVersion().c_str());
      if (plugin.library.empty())
        std::printf("plug-in: %s\n", plugin.error.c_str());
      else
        std::printf("plug-in %s version %d, %s\n", PluginKey, plugin.version, plugin.library.c_str());
      std::printf("%s\n", sf_version_string());
      std::exit(plugin.library.empty() ? 1 : 0);
    } else if (a == "--provenance" && flag()) {
      o.provenance = true;
    } else if (a == "--threshold") {
      o.analysis.threshold = static_cast<float>(number(a, takes(), 0.0, 100.0));
    } else if (a == "--noise-floor") {
      o.analysis.noiseFloor = static_cast<float>(number(a, takes(), -100.0, -20.0));
    } else if (a == "--dither") {
      // The level is optional: a next argument that reads as a number is taken as one.
      double level = 0.0;
      std::string problem;
      o.analysis.dither = true;
      if (hasAttached)
        o.analysis.ditherDb = number(a, value, -30.0, 40.0);
      else if (value && parseNumber(value, -1e300, 1e300, level, problem))
        o.analysis.ditherDb = number(a, takes(), -30.0, 40.0);
    } else if (a == "--block-size") {
      o.analysis.blockSize = integer(a, takes(), 1, 1 << 20);
    } else if (a == "--step-size") {
      o.analysis.stepSize = integer(a, takes(), 1, 1 << 20);
    } else if (a == "--channel") {
      o.analysis.channel = static_cast<int>(integer(a, takes(), 1, 1024));
    } else if (a == "--format") {
      const char *f = takes();
      o.formatName = f ? f : "";
      if (!parseFormat(o.formatName, o.format))
        usageError("--format: '" + o.formatName + "' is not one of text, csv, json, labels, sv, midi");
    } else if (a == "--slice") {
      o.sliceDir = name("folder");
    } else if (a == "--pre-roll") {
      o.preRollMs = number(a, takes(), 0.0, 10000.0);
    } else if (a == "--midi-note") {
      o.midiNote = static_cast<int>(integer(a, takes(), 0, 127));
    } else if (a == "-o" || a == "--output") {
      o.output = name("file");
    } else if (a == "--plot") {
      o.plot = name("file");
    } else if (a == "-j" || a == "--jobs") {
      o.jobs = static_cast<unsigned>(integer(a, takes(), 1, 256));
    } else if ((a == "-q" || a == "--quiet") && flag()) {
      o.quiet = true;
    } else if (a == "--files-from") {
      std::string error;
      if (!readFileList(name("file"), o.files, error))
        usageError("--files-from: " + error);
    } else if (a == "--output-dir") {
      o.naming.dir = name("folder");
    } else if (a == "--mirror" && flag()) {
      mirror = true;
    } else if (a == "--relative-to") {
      o.naming.relativeTo = name("folder");
    } else if (a == "--force" && flag()) {
      o.force = true;
    } else if (a == "--shard") {
      const char *f = takes();
      std::string problem;
      if (!f || !parseShard(f, o.shardK, o.shardN, problem))
        usageError("--shard: " + (f ? problem : std::string("a value is missing")));
    } else {
      usageError("unknown option '" + a + "'" + (access(a.c_str(), F_OK) == 0 ? " (a file of that name goes after --)" : ""));
    }
  }
  if (o.files.empty())
    usageError("no input file given");
  const bool writesEach = !o.naming.dir.empty(), slices = !o.sliceDir.empty();
  if (!writesEach && o.force)
    usageError("--force goes with --output-dir");
  if (!writesEach && !slices && (mirror || !o.naming.relativeTo.empty()))
    usageError(std::string(mirror ? "--mirror" : "--relative-to") + " goes with --output-dir or --slice");
  o.naming.mirror = mirror;
  const bool readsStandardInput = std::find(o.files.begin(), o.files.end(), "-") != o.files.end();
  if (writesEach) {
    if (!o.output.empty() || !o.plot.empty())
      usageError(std::string(o.output.empty() ? "--plot" : "--output") +
                 " writes one file: with --output-dir each input has its own output");
    if (readsStandardInput)
      usageError("--output-dir names each output after its input: standard input has no name");
  }
  if (o.analysis.stepSize > o.analysis.blockSize)
    usageError("--step-size: " + std::to_string(o.analysis.stepSize) + " is larger than the block size " +
               std::to_string(o.analysis.blockSize));
  if (o.analysis.stepSize == 0)
    o.analysis.stepSize = o.analysis.blockSize;
  if (o.analysis.stepSize < 64)
    o.warnings.push_back("a step size of " + std::to_string(o.analysis.stepSize) +
                         " is below 64: the analysis costs many times the CPU of larger steps "
                         "(a step of 1 about 13 times that of the default)");
  if (o.provenance && o.format != Format::Text && o.format != Format::Csv && o.format != Format::Json)
    usageError("--provenance: --format " + o.formatName + " has no place for it (text, csv and json have)");
  if (o.files.size() > 1 && !o.plot.empty() && !writesEach)
    usageError("--plot draws one file: give it one input file at a time");
  if (o.files.size() > 1 && !holdsSeveralFiles(o.format) && !writesEach)
    usageError("--format " + o.formatName +
               " holds the transients of one file: give one input file at a time, or use --format csv or "
               "--format json for several");
  if (slices && readsStandardInput)
    usageError("--slice reads each input a second time: standard input cannot be read again");
  if (!slices && o.preRollMs > 0.0)
    usageError("--pre-roll goes with --slice");
  // Outputs are named over the whole list, before a share is taken: every share then
  // mirrors alike and refuses a clash alike.
  std::string error;
  if (writesEach) {
    OutputNaming naming = o.naming;
    naming.extension = formatExtension(o.format);
    if (!outputPaths(o.files, naming, o.outputs, error))
      usageError("--output-dir: " + error);
  }
  if (slices) {
    OutputNaming naming = o.naming;
    naming.dir = o.sliceDir;
    if (!outputPaths(o.files, naming, o.slicePrefixes, error))
      usageError("--slice: " + error);
  }
  o.share = shardOf(o.files.size(), o.shardK, o.shardN);
  if (o.format == Format::Midi && o.output.empty() && !writesEach && isatty(STDOUT_FILENO))
    usageError("--format midi writes a binary file: give -o FILE.mid");
  refuseOutputsOnInputs(o);
  if (o.jobs == 0)
    o.jobs = std::max(1u, std::thread::hardware_concurrency());
  return o;
}

} // namespace tools
