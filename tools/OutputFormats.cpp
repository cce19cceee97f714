//===- tools/OutputFormats.cpp - The output formats of detect-transients ---===//
#include "OutputFormats.h"

#include "ToolSupport.h"

#include "base/core/Version.h"
#include "engine/core/dsp/Conversions.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <utility>

namespace tools {

namespace {

// The length of the well-formed UTF-8 sequence at s[i] (shortest form, no surrogates, at
// most U+10FFFF); 0 where the byte starts none.
size_t utf8Length(const std::string &s, size_t i) {
  const auto byte = [&](size_t k) { return k < s.size() ? static_cast<unsigned char>(s[k]) : 0u; };
  const unsigned c = byte(i);
  const auto tail = [&](size_t k) { return (byte(k) & 0xC0) == 0x80; };
  if (c < 0x80)
    return 1;
  if (c >= 0xC2 && c <= 0xDF)
    return tail(i + 1) ? 2 : 0;
  if (c >= 0xE0 && c <= 0xEF) {
    const unsigned lo = c == 0xE0 ? 0xA0 : 0x80, hi = c == 0xED ? 0x9F : 0xBF;
    return byte(i + 1) >= lo && byte(i + 1) <= hi && tail(i + 2) ? 3 : 0;
  }
  if (c >= 0xF0 && c <= 0xF4) {
    const unsigned lo = c == 0xF0 ? 0x90 : 0x80, hi = c == 0xF4 ? 0x8F : 0xBF;
    return byte(i + 1) >= lo && byte(i + 1) <= hi && tail(i + 2) && tail(i + 3) ? 4 : 0;
  }
  return 0;
}

// `s` with each character passed through `ascii` and each byte that starts no UTF-8
// sequence through `stray`; well-formed sequences are copied.
template <class Ascii, class Stray> std::string escaped(const std::string &s, Ascii ascii, Stray stray) {
  std::string out;
  for (size_t i = 0; i < s.size();) {
    const size_t n = utf8Length(s, i);
    const auto c = static_cast<unsigned char>(s[i]);
    if (n == 0)
      out += stray(c);
    else if (n == 1)
      out += ascii(c);
    else
      out.append(s, i, n);
    i += n ? n : 1;
  }
  return out;
}

std::string hexEscape(const char *form, unsigned c) {
  char esc[8];
  std::snprintf(esc, sizeof esc, form, c);
  return esc;
}

std::string jsonString(const std::string &s) {
  return "\"" +
         escaped(
             s,
             [](unsigned c) {
               return c == '"' || c == '\\' ? std::string{'\\', static_cast<char>(c)}
                      : c < 0x20               ? hexEscape("\\u%04x", c)
                                               : std::string(1, static_cast<char>(c));
             },
             [](unsigned c) { return hexEscape("\\udc%02x", c); }) +
         "\"";
}

// A name on a line of its own in the text format.
std::string textLine(const std::string &s) {
  std::string out;
  for (char c : s)
    out += c == '\\' ? "\\\\" : c == '\n' ? "\\n" : c == '\r' ? "\\r" : std::string(1, c);
  return out;
}

std::string csvField(const std::string &s) {
  std::string out = "\"";
  for (char c : s)
    out += c == '"' ? std::string("\"\"") : std::string(1, c);
  return out + "\"";
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

// The parameter as the plug-in got it: the shortest text that reads back as the same float.
std::string floatText(float value) {
  char text[32];
  return std::string(text, std::to_chars(text, text + sizeof text, value).ptr);
}

std::string analysisObject(const RunNotes &n) {
  return "{\"tool\": \"" + toolVersion() + "\", \"plugin\": \"" + PluginKey + "\", \"pluginVersion\": " +
         (n.pluginVersion ? std::to_string(n.pluginVersion) : "null") + ", \"parameters\": {\"RaiseThreshold\": " +
         floatText(n.threshold) + ", \"NoiseFloor\": " + floatText(n.noiseFloor) +
         "}, \"blockSize\": " + std::to_string(n.blockSize) + ", \"stepSize\": " + std::to_string(n.stepSize) + "}";
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

std::string toolVersion() { return "detect-transients " TRANSIENT_DETECTOR_VERSION_STRING; }

std::string provenanceLine(const RunNotes &n) {
  std::string line = toolVersion() + ", " + PluginKey + " version " +
                     (n.pluginVersion ? std::to_string(n.pluginVersion) : std::string("unknown")) +
                     ", RaiseThreshold " + floatText(n.threshold) + ", NoiseFloor " + floatText(n.noiseFloor) +
                     ", block size " + std::to_string(n.blockSize) + ", step size " + std::to_string(n.stepSize);
  if (n.dither)
    line += ", dither " + plainNumber(n.ditherDb) + " dB above the noise floor";
  return line;
}

DocumentWriter::DocumentWriter(Format format, bool several, int midiNote, RunNotes notes)
    : _format(format), _several(several), _midiNote(midiNote), _notes(notes) {}

void DocumentWriter::beginFile(const std::string &file, int sampleRate) {
  if (!_begun) {
    if (_notes.provenance && (_format == Format::Text || _format == Format::Csv))
      _out += (_format == Format::Text ? "## " : "# ") + provenanceLine(_notes) + "\n";
    if (_format == Format::Csv)
      _out += _several ? "file,time,frame,strength\n" : "time,frame,strength\n";
    if (_format == Format::Json && _several)
      _out += "[\n";
  } else if (_format == Format::Json) {
    _out += ",\n";
  }
  _begun = true;
  _firstInFile = true;
  _held.file = file;
  _held.sampleRate = sampleRate;
  _held.transients.clear();
  if (_format == Format::Text && _several)
    _out += "# " + textLine(file) + "\n";
  if (_format == Format::Json) {
    _out += "{\"file\": " + jsonString(file) + ", \"sampleRate\": " + std::to_string(sampleRate);
    if (_notes.dither) {
      char level[32];
      std::snprintf(level, sizeof level, ", \"ditherDb\": %g", _notes.ditherDb);
      _out += level;
    }
    _out += ", \"analysis\": " + analysisObject(_notes) + ", \"transients\": [";
  }
}

void DocumentWriter::add(const Transient &t) {
  char line[160];
  const double strength = t.strength;
  switch (_format) {
  case Format::Text:
    std::snprintf(line, sizeof line, "%.6f\t%ld\t%.6f\n", t.seconds, t.frame, strength);
    break;
  case Format::Csv:
    if (_several)
      _out += csvField(_held.file) + ",";
    std::snprintf(line, sizeof line, "%.6f,%ld,%.6f\n", t.seconds, t.frame, strength);
    break;
  case Format::Json:
    std::snprintf(line, sizeof line, "%s\n  {\"time\": %.6f, \"frame\": %ld, \"strength\": %.6f}",
                  _firstInFile ? "" : ",", t.seconds, t.frame, strength);
    break;
  case Format::Labels: // Audacity: start, end and text, tab-separated; a point label
    std::snprintf(line, sizeof line, "%.6f\t%.6f\t%.3f\n", t.seconds, t.seconds, strength);
    break;
  case Format::Sv:
  case Format::Midi:
    _held.transients.push_back(t);
    return;
  }
  _out += line;
  _firstInFile = false;
}

void DocumentWriter::endFile() {
  if (_format == Format::Json)
    _out += _several ? "\n]}" : "\n]}\n";
  else if (_format == Format::Sv)
    _out += svLayer(_held);
  else if (_format == Format::Midi)
    _out += midiFile(_held, _midiNote);
  _held.transients = {};
}

void DocumentWriter::addFile(const FileTransients &f) {
  beginFile(f.file, f.sampleRate);
  for (const Transient &t : f.transients)
    add(t);
  endFile();
}

void DocumentWriter::finish() {
  if (_begun && _format == Format::Json && _several)
    _out += "\n]\n";
}

std::string DocumentWriter::take() { return std::exchange(_out, std::string()); }

std::string formatTransients(Format format, const std::vector<const FileTransients *> &files, bool several,
                             int midiNote, RunNotes notes) {
  DocumentWriter writer(format, several, midiNote, notes);
  for (const FileTransients *f : files)
    writer.addFile(*f);
  writer.finish();
  return writer.take();
}

std::string fileNamedIn(const std::string &head) {
  std::string name;
  size_t i;
  if (head.rfind("{\"file\": \"", 0) == 0) {
    for (i = 10; i < head.size() && head[i] != '"'; ++i) {
      if (head[i] != '\\') {
        name += head[i];
        continue;
      }
      if (++i >= head.size())
        return std::string();
      if (head[i] != 'u') {
        name += head[i]; // \" and \\ are all this tool writes besides \u
        continue;
      }
      unsigned code = 0;
      if (i + 4 >= head.size() || std::sscanf(head.c_str() + i + 1, "%4x", &code) != 1)
        return std::string();
      i += 4;
      if (code >= 0xDC80 && code <= 0xDCFF)
        name += static_cast<char>(code - 0xDC00); // a stray byte
      else
        name += static_cast<char>(code); // a control character
    }
    return i < head.size() ? name : std::string();
  }
  const std::string mark = "<model id=\"1\" name=\"Transients: ";
  const size_t at = head.find(mark);
  if (head.rfind("<?xml", 0) != 0 || at == std::string::npos)
    return std::string();
  const struct {
    const char *entity, *text;
  } entities[] = {{"&amp;", "&"}, {"&lt;", "<"}, {"&gt;", ">"}, {"&quot;", "\""}, {"&#9;", "\t"}, {"&#10;", "\n"}, {"&#13;", "\r"}};
  for (i = at + mark.size(); i < head.size() && head[i] != '"';) {
    bool entity = false;
    for (const auto &e : entities)
      if (head.compare(i, std::strlen(e.entity), e.entity) == 0) {
        name += e.text;
        i += std::strlen(e.entity);
        entity = true;
        break;
      }
    if (!entity)
      name += head[i++];
  }
  return i < head.size() ? name : std::string();
}

std::string xmlEscape(const std::string &s) {
  return escaped(
      s,
      [](unsigned c) {
        switch (c) {
        case '&': return std::string("&amp;");
        case '<': return std::string("&lt;");
        case '>': return std::string("&gt;");
        case '"': return std::string("&quot;");
        case '\t': return std::string("&#9;");
        case '\n': return std::string("&#10;");
        case '\r': return std::string("&#13;");
        default: return c < 0x20 ? hexEscape("\\x%02x", c) : std::string(1, static_cast<char>(c));
        }
      },
      [](unsigned c) { return hexEscape("\\x%02x", c); });
}

} // namespace tools
