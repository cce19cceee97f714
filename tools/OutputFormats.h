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

/// The format called `name` (text, csv, json, labels, sv, midi); false for any other name.
bool parseFormat(const std::string &name, Format &format);

/// The file name extension of a document of `format`: .txt, .csv, .json, .labels.txt
/// (Audacity reads labels from .txt files), .svl or .mid.
const char *formatExtension(Format format);

/// Whether one document of `format` can hold the transients of several files: text,
/// CSV and JSON can; an Audacity label track, a Sonic Visualiser layer and MIDI cannot.
bool holdsSeveralFiles(Format format);

/// One document of the transients of `files`, in their order. `several` says that more
/// than one input file was given (some may have failed and be missing from `files`); it
/// fixes the document's shape whatever the number of files that made it:
///   text    a "# FILE" line before each file's "time<TAB>frame<TAB>strength" lines;
///   csv     one header, with a first column "file";
///   json    an array of the per-file objects {"file", "sampleRate", "transients"},
///           where one file gives the object alone.
/// Precondition: `several` or at most one file; labels, sv and midi hold exactly one file.
/// MIDI plays note `midiNote` on channel 10 (drums) for each transient.
std::string formatTransients(Format format, const std::vector<const FileTransients *> &files,
                             bool several, int midiNote = 36);

/// `s` fit for XML text and double-quoted attribute values.
std::string xmlEscape(const std::string &s);

} // namespace tools

#endif // TOOLS_OUTPUTFORMATS_H
