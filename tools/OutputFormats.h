//===- tools/OutputFormats.h - The output formats of detect-transients -----===//
//
// Turns the transients of one or several analysed files into one document: plain text,
// CSV, JSON, an Audacity label track, a Sonic Visualiser layer or a Standard MIDI File.
//
//===----------------------------------------------------------------------===//
#ifndef TOOLS_OUTPUTFORMATS_H
#define TOOLS_OUTPUTFORMATS_H

#include <string>
#include <vector>

namespace tools {

/// The plug-in's key for the host SDK's loader.
inline constexpr char PluginKey[] = "transient-detector:TransientDetector";

/// One feature of the plug-in's output.
struct Transient {
  double seconds = 0.0; ///< the feature's time stamp
  long frame = 0;       ///< the same time in sample frames of the file's rate
  float strength = 0.0f; ///< the feature's value, 0 to 2
};

/// The transients of one input file, in time order.
struct FileTransients {
  std::string file; ///< as given on the command line
  int sampleRate = 0;
  std::vector<Transient> transients;
};

enum class Format { Text, Csv, Json, Labels, Sv, Midi };

/// How the run analysed its files, as a document records it. JSON gives each file an
/// "analysis" object: {"tool": "detect-transients 2.0.0", "plugin":
/// "transient-detector:TransientDetector", "pluginVersion": 2, "parameters":
/// {"RaiseThreshold": 12, "NoiseFloor": -60}, "blockSize": 65536, "stepSize": 65536}, and
/// "ditherDb" (the level above the noise floor) when the audio was dithered. With
/// `provenance`, text begins with a line "## " and CSV with a line "# " saying the same.
struct RunNotes {
  bool dither = false;
  double ditherDb = 0.0;
  bool provenance = false;
  int pluginVersion = 0; ///< 0: the plug-in could not be loaded
  float threshold = 12.0f, noiseFloor = -60.0f;
  long blockSize = 65536, stepSize = 65536;
};

/// The tool's name and version: "detect-transients 2.0.0".
std::string toolVersion();

/// The line that --provenance puts at the head of text and CSV, without its comment mark
/// and newline.
std::string provenanceLine(const RunNotes &notes);

/// The format called `name` (text, csv, json, labels, sv, midi); false for any other name.
bool parseFormat(const std::string &name, Format &format);

/// The file name extension of a document of `format`: .txt, .csv, .json, .labels.txt
/// (Audacity reads labels from .txt files), .svl or .mid.
const char *formatExtension(Format format);

/// Whether one document of `format` can hold the transients of several files: text,
/// CSV and JSON can; an Audacity label track, a Sonic Visualiser layer and MIDI cannot.
bool holdsSeveralFiles(Format format);

/// Writes one document piece by piece, so that results go out as they come: text, CSV,
/// JSON and label tracks a transient at a time; a Sonic Visualiser layer and a MIDI file,
/// whose headers state what follows, at the end of their file. `several` says that more
/// than one input file was given (some may fail and be missing); it fixes the document's
/// shape whatever the number of files that make it:
///   text    a "# FILE" line before each file's "time<TAB>frame<TAB>strength" lines (a
///           backslash, newline or carriage return in the name written \\, \n, \r);
///   csv     one header, with a first column "file";
///   json    an array of the per-file objects {"file", "sampleRate", "transients"},
///           where one file gives the object alone.
/// A document that no file began is empty. Labels, sv and midi hold exactly one file.
/// MIDI plays note `midiNote` on channel 10 (drums) for each transient. File names that
/// are not UTF-8 stay valid: JSON writes each stray byte as \udcXX (as Python's
/// os.fsencode gives it back), XML as the text \xXX.
class DocumentWriter {
public:
  DocumentWriter(Format format, bool several, int midiNote = 36, RunNotes notes = {});

  void beginFile(const std::string &file, int sampleRate);
  void add(const Transient &t);
  void endFile();
  /// A whole file's part: beginFile, add for each transient, endFile.
  void addFile(const FileTransients &f);
  /// Closes the document.
  void finish();

  /// The bytes made since the last call.
  std::string take();

private:
  Format _format;
  bool _several;
  int _midiNote;
  RunNotes _notes;
  bool _begun = false;      // the document's start is out
  bool _firstInFile = true; // no transient of the current file yet
  FileTransients _held;     // a layer's or a MIDI file's transients until its end
  std::string _out;
};

/// One whole document of the transients of `files`, in their order, as DocumentWriter
/// makes it.
std::string formatTransients(Format format, const std::vector<const FileTransients *> &files,
                             bool several, int midiNote = 36, RunNotes notes = {});

/// The input file named at the start of a JSON document or a Sonic Visualiser layer of
/// this tool (`head`: its first bytes); empty when it names none.
std::string fileNamedIn(const std::string &head);

/// `s` fit for XML text and double-quoted attribute values.
std::string xmlEscape(const std::string &s);

} // namespace tools

#endif // TOOLS_OUTPUTFORMATS_H
