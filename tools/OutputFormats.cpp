//===- tools/OutputFormats.cpp - The output formats of detect-transients ---===//
#include "OutputFormats.h"

#include "engine/core/dsp/Conversions.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>

namespace tools {

namespace {

std::string jsonString(const std::string &s) {
  std::string out = "\"";
  for (unsigned char c : s) {
    if (c == '"' || c == '\\') {
      out += '\\';
      out += static_cast<char>(c);
    } else if (c < 0x20) {
      char esc[8];
      std::snprintf(esc, sizeof esc, "\\u%04x", c);
      out += esc;
    } else {
      out += static_cast<char>(c);
    }
  }
  return out + "\"";
}

std::string csvField(const std::string &s) {
  std::string out = "\"";
  for (char c : s)
    out += c == '"' ? std::string("\"\"") : std::string(1, c);
  return out + "\"";
}

std::string jsonObject(const FileTransients &f) {
  std::string out = "{\"file\": " + jsonString(f.file) + ", \"sampleRate\": " + std::to_string(f.sampleRate) +
                    ", \"transients\": [";
  char line[160];
  bool first = true;
  for (const Transient &t : f.transients) {
    std::snprintf(line, sizeof line, "%s\n  {\"time\": %.6f, \"frame\": %ld, \"strength\": %.6f}",
                  first ? "" : ",", t.seconds, t.frame, static_cast<double>(t.strength));
    out += line;
    first = false;
  }
  return out + "\n]}";
}

std::string svLayer(const FileTransients &f) {
  std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE sonic-visualiser>\n<sv>\n<data>\n";
  const long end = f.transients.empty() ? 0 : f.transients.back().frame;
  out += "  <model id=\"1\" name=\"Transients: " + xmlEscape(f.file) + "\" sampleRate=\"" +
         std::to_string(f.sampleRate) + "\" start=\"0\" end=\"" + std::to_string(end) +
         "\" type=\"sparse\" dimensions=\"2\" resolution=\"1\" notifyOnAdd=\"true\" dataset=\"0\" "
         "subtype=\"\" minimum=\"0\" maximum=\"2\" units=\"\"/>\n";
  out += "  <dataset id=\"0\" dimensions=\"2\">\n";
  char line[160];
  for (const Transient &t : f.transients) {
    std::snprintf(line, sizeof line, "    <point frame=\"%ld\" value=\"%.6f\" label=\"\"/>\n", t.frame,
                  static_cast<double>(t.strength));
    out += line;
  }
  return out + "  </dataset>\n</data>\n<display>\n  <layer id=\"2\" type=\"timevalues\" name=\"Transients\" "
               "model=\"1\"/>\n</display>\n</sv>\n";
}

// A Standard MIDI File of type 0: at 500 ticks a quarter note and 500000 microseconds a
// quarter (120 beats a minute), a tick is a millisecond, so every note starts on its
// transient's millisecond. Each note is 50 ms long, or ends where the next one starts.
// The velocity is the strength, 0 to 2, scaled to 0..1.
std::string midiFile(const FileTransients &f, int note) {
  constexpr int Ticks = 500, Length = 50;
  constexpr unsigned char NoteOn = 0x99, NoteOff = 0x89; // channel 10
  std::string track;
  auto bytes = [&track](std::initializer_list<int> b) {
    for (int x : b)
      track += static_cast<char>(x);
  };
  long now = 0;
  auto at = [&](long tick) { // the delta time as a variable-length quantity
    const unsigned long delta = static_cast<unsigned long>(std::max(0L, tick - now));
    now = std::max(now, tick);
    char groups[5];
    int n = 0;
    unsigned long rest = delta;
    do {
      groups[n++] = static_cast<char>(rest & 0x7F);
      rest >>= 7;
    } while (rest);
    while (n--)
      track += static_cast<char>(groups[n] | (n ? 0x80 : 0));
  };
  at(0);
  bytes({0xFF, 0x51, 0x03, 0x07, 0xA1, 0x20}); // tempo: 500000 us a quarter note
  const std::string name = "Transients: " + f.file.substr(0, 100);
  at(0);
  bytes({0xFF, 0x03, static_cast<int>(name.size())});
  track += name;
  const auto &ts = f.transients;
  for (size_t i = 0; i < ts.size(); ++i) {
    const long on = std::max(0L, std::lround(ts[i].seconds * 1000.0));
    long off = on + Length;
    if (i + 1 < ts.size())
      off = std::min(off, std::max(on, std::lround(ts[i + 1].seconds * 1000.0)));
    at(on);
    bytes({NoteOn, note, engine::normalizedToMidiVelocity(ts[i].strength * 0.5f)});
    at(off);
    bytes({NoteOff, note, 0x40});
  }
  at(now);
  bytes({0xFF, 0x2F, 0x00});
  auto be32 = [](uint32_t v) {
    return std::string{static_cast<char>(v >> 24), static_cast<char>(v >> 16), static_cast<char>(v >> 8),
                       static_cast<char>(v)};
  };
  return std::string("MThd", 4) + be32(6) + std::string("\0\0\0\1", 4) + static_cast<char>(Ticks >> 8) +
         static_cast<char>(Ticks & 0xFF) + "MTrk" + be32(static_cast<uint32_t>(track.size())) + track;
}

} // namespace

namespace {
const struct {
  const char *name;
  Format format;
  const char *extension;
  bool several; // one document holds several files
} Formats[] = {{"text", Format::Text, ".txt", true},      {"csv", Format::Csv, ".csv", true},
               {"json", Format::Json, ".json", true},     {"labels", Format::Labels, ".labels.txt", false},
               {"sv", Format::Sv, ".svl", false},          {"midi", Format::Midi, ".mid", false}};

const auto &entry(Format format) {
  for (const auto &f : Formats)
    if (f.format == format)
      return f;
  return Formats[0];
}
} // namespace

bool parseFormat(const std::string &name, Format &format) {
  for (const auto &f : Formats)
    if (name == f.name) {
      format = f.format;
      return true;
    }
  return false;
}

const char *formatExtension(Format format) { return entry(format).extension; }

bool holdsSeveralFiles(Format format) { return entry(format).several; }

std::string formatTransients(Format format, const std::vector<const FileTransients *> &files, bool several,
                             int midiNote) {
  std::string out;
  char line[160];
  if (format == Format::Csv)
    out += several ? "file,time,frame,strength\n" : "time,frame,strength\n";
  if (format == Format::Json && several)
    out += "[\n";
  for (const FileTransients *f : files) {
    switch (format) {
    case Format::Text:
      if (several)
        out += "# " + f->file + "\n";
      for (const Transient &t : f->transients) {
        std::snprintf(line, sizeof line, "%.6f\t%ld\t%.6f\n", t.seconds, t.frame, static_cast<double>(t.strength));
        out += line;
      }
      break;
    case Format::Csv:
      for (const Transient &t : f->transients) {
        std::snprintf(line, sizeof line, "%.6f,%ld,%.6f\n", t.seconds, t.frame, static_cast<double>(t.strength));
        out += (several ? csvField(f->file) + "," : std::string()) + line;
      }
      break;
    case Format::Json:
      out += (several && f != files.front() ? ",\n" : "") + jsonObject(*f) + (several ? "" : "\n");
      break;
    case Format::Labels: // Audacity: start, end and text, tab-separated; a point label
      for (const Transient &t : f->transients) {
        std::snprintf(line, sizeof line, "%.6f\t%.6f\t%.3f\n", t.seconds, t.seconds, static_cast<double>(t.strength));
        out += line;
      }
      break;
    case Format::Sv: // a Sonic Visualiser time-value layer
      out += svLayer(*f);
      break;
    case Format::Midi:
      out += midiFile(*f, midiNote);
      break;
    }
  }
  if (format == Format::Json && several)
    out += "\n]\n";
  return out;
}

std::string xmlEscape(const std::string &s) {
  std::string out;
  for (char c : s) {
    switch (c) {
    case '&': out += "&amp;"; break;
    case '<': out += "&lt;"; break;
    case '>': out += "&gt;"; break;
    case '"': out += "&quot;"; break;
    default: out += c;
    }
  }
  return out;
}

} // namespace tools
