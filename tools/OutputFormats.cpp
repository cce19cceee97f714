//===- tools/OutputFormats.cpp - The output formats of detect-transients ---===//
#include "OutputFormats.h"

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

} // namespace

bool parseFormat(const std::string &name, Format &format) {
  static const struct {
    const char *name;
    Format format;
  } Names[] = {{"text", Format::Text}, {"csv", Format::Csv}, {"json", Format::Json},
               {"labels", Format::Labels}, {"sv", Format::Sv}};
  for (const auto &n : Names)
    if (name == n.name) {
      format = n.format;
      return true;
    }
  return false;
}

const char *formatExtension(Format format) {
  switch (format) {
  case Format::Text:
    return ".txt";
  case Format::Csv:
    return ".csv";
  case Format::Json:
    return ".json";
  case Format::Labels:
    return ".labels.txt";
  case Format::Sv:
    return ".svl";
  }
  return ".txt";
}

bool holdsSeveralFiles(Format format) {
  return format == Format::Text || format == Format::Csv || format == Format::Json;
}

std::string formatTransients(Format format, const std::vector<const FileTransients *> &files, bool several) {
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
