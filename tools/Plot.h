//===- tools/Plot.h - The waveform and transients of a file as SVG ---------===//
//
// detect-transients --plot: the waveform of the analysed signal, drawn from an overview
// gathered while it is read, with a marker per transient and a time axis.
//
//===----------------------------------------------------------------------===//
#ifndef TOOLS_PLOT_H
#define TOOLS_PLOT_H

#include "OutputFormats.h"

#include <cstddef>
#include <vector>

namespace tools {

/// The outline of a signal of unknown length: the minimum and maximum of consecutive runs
/// ("columns") of span() samples each, zero included in both. Up to 2 * Columns samples,
/// each sample is a column; beyond, there are Columns to 2 * Columns columns: when all
/// are in use, neighbours merge and the span doubles. No length is needed in advance, so
/// a header that miscounts its frames cannot push it out of its arrays.
class Overview {
public:
  static constexpr std::size_t Columns = 1000;

  void add(float sample);

  std::size_t columns() const { return _min.size(); }
  float min(std::size_t column) const { return _min[column]; }
  float max(std::size_t column) const { return _max[column]; }
  /// Samples per column; the last column may hold fewer.
  long span() const { return _span; }
  /// All samples added.
  long samples() const { return _samples; }

private:
  std::vector<float> _min, _max;
  long _span = 1;
  long _fill = 0; // samples in the last column
  long _samples = 0;
};

/// An SVG drawing, 1200 by 360 units, of the waveform of `overview` (full scale ±1) with a
/// marker per transient of `f`, its height the strength (2 reaches the top), under the
/// title "FILE: N transients". The time axis spans overview.samples() frames at
/// f.sampleRate.
std::string svgPlot(const FileTransients &f, const Overview &overview);

} // namespace tools

#endif // TOOLS_PLOT_H
