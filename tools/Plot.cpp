//===- tools/Plot.cpp - The waveform and transients of a file as SVG -------===//
#include "Plot.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace tools {

void Overview::add(float sample) {
  if (!std::isfinite(sample))
    sample = 0.0f; // an SVG number is finite
  if (_min.empty() || _fill == _span) {
    if (_min.size() == 2 * Columns) {
      for (std::size_t c = 0; c < Columns; ++c) {
        _min[c] = std::min(_min[2 * c], _min[2 * c + 1]);
        _max[c] = std::max(_max[2 * c], _max[2 * c + 1]);
      }
      _min.resize(Columns);
      _max.resize(Columns);
      _span *= 2;
    }
    _min.push_back(0.0f);
    _max.push_back(0.0f);
    _fill = 0;
  }
  _min.back() = std::min(_min.back(), sample);
  _max.back() = std::max(_max.back(), sample);
  ++_fill;
  ++_samples;
}

std::string svgPlot(const FileTransients &f, const Overview &overview) {
  const int width = 1200, height = 360, left = 50, right = 20, top = 30, wave = 200, axis = 300;
  const double seconds = f.sampleRate > 0 ? static_cast<double>(overview.samples()) / f.sampleRate : 0.0;
  const double samples = std::max(1.0, static_cast<double>(overview.samples()));
  std::string svg;
  char buf[256];
  std::snprintf(buf, sizeof buf,
                "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%d\" height=\"%d\" "
                "viewBox=\"0 0 %d %d\" font-family=\"sans-serif\" font-size=\"12\">\n",
                width, height, width, height);
  svg += buf;
  svg += "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
  svg += "<text x=\"" + std::to_string(left) + "\" y=\"18\" font-size=\"14\">" + xmlEscape(f.file) + ": " +
         std::to_string(f.transients.size()) + " transients</text>\n";
  const double plotWidth = width - left - right;
  const double mid = top + wave / 2.0;
  // The waveform: one vertical stroke per column from its minimum to its maximum, at the
  // middle of the samples it holds.
  svg += "<path stroke=\"#7a9cc6\" stroke-width=\"1\" fill=\"none\" d=\"";
  for (std::size_t c = 0; c < overview.columns(); ++c) {
    const double first = static_cast<double>(c) * static_cast<double>(overview.span());
    const double end = std::min(samples, first + static_cast<double>(overview.span()));
    std::snprintf(buf, sizeof buf, "M%.1f %.1fV%.1f", left + (first + end) / 2.0 / samples * plotWidth,
                  mid - overview.max(c) * wave / 2.0, mid - overview.min(c) * wave / 2.0);
    svg += buf;
  }
  svg += "\"/>\n";
  for (const Transient &t : f.transients) {
    const double x = left + t.seconds / std::max(seconds, 1e-9) * plotWidth;
    const double strength = std::isfinite(t.strength) ? std::min(2.0, static_cast<double>(t.strength)) : 0.0;
    const double h = strength / 2.0 * (axis - top - 10);
    std::snprintf(buf, sizeof buf,
                  "<line x1=\"%.1f\" y1=\"%d\" x2=\"%.1f\" y2=\"%.1f\" stroke=\"#d62728\" stroke-width=\"1.5\"/>"
                  "<circle cx=\"%.1f\" cy=\"%.1f\" r=\"2.5\" fill=\"#d62728\"/>\n",
                  x, axis, x, axis - h, x, axis - h);
    svg += buf;
  }
  // The time axis with about ten labelled ticks at round steps.
  std::snprintf(buf, sizeof buf, "<line x1=\"%d\" y1=\"%d\" x2=\"%d\" y2=\"%d\" stroke=\"black\"/>\n", left, axis,
                width - right, axis);
  svg += buf;
  double step = 1e-3;
  for (double s : {0.001, 0.002, 0.005, 0.01, 0.02, 0.05, 0.1, 0.2, 0.5, 1.0, 2.0, 5.0, 10.0, 20.0, 30.0,
                   60.0, 120.0, 300.0, 600.0, 1200.0, 1800.0, 3600.0}) {
    step = s;
    if (seconds / s <= 12)
      break;
  }
  for (double t = 0; t <= seconds + 1e-9; t += step) {
    const double x = left + t / std::max(seconds, 1e-9) * plotWidth;
    std::snprintf(buf, sizeof buf,
                  "<line x1=\"%.1f\" y1=\"%d\" x2=\"%.1f\" y2=\"%d\" stroke=\"black\"/>"
                  "<text x=\"%.1f\" y=\"%d\" text-anchor=\"middle\">%g s</text>\n",
                  x, axis, x, axis + 5, x, axis + 20, t);
    svg += buf;
  }
  std::snprintf(buf, sizeof buf,
                "<text x=\"%d\" y=\"%d\" fill=\"#d62728\">marker height: strength, 0 to 2</text>\n", left,
                height - 12);
  svg += buf;
  svg += "</svg>\n";
  return svg;
}

} // namespace tools
