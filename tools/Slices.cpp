//===- tools/Slices.cpp - A recording cut at its transients ----------------===//
#include "Slices.h"

#include "ToolSupport.h"

#include <sndfile.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>

namespace tools {

namespace {

using SoundFile = std::unique_ptr<SNDFILE, int (*)(SNDFILE *)>;

// Samples move through the type that holds the file's own ones without change: 32-bit
// integers for integer formats (libsndfile aligns them to the top bits and back), float
// and double for those.
enum class Carrier { Int, Float, Double };

Carrier carrierOf(int format) {
  switch (format & SF_FORMAT_SUBMASK) {
  case SF_FORMAT_FLOAT:
  case SF_FORMAT_VORBIS:
  case SF_FORMAT_OPUS:
    return Carrier::Float;
  case SF_FORMAT_DOUBLE:
    return Carrier::Double;
  default:
    return Carrier::Int;
  }
}

constexpr sf_count_t Chunk = 4096; // frames a copy moves at once

// Copies `count` frames from `in` to `out` through `buffer`, Chunk frames of doubles (room
// for any carrier).
bool copyFrames(SNDFILE *in, SNDFILE *out, sf_count_t count, Carrier carrier, std::vector<double> &buffer) {
  while (count > 0) {
    const sf_count_t n = std::min(count, Chunk);
    sf_count_t got = 0, put = 0;
    switch (carrier) {
    case Carrier::Int: {
      auto *p = reinterpret_cast<int *>(buffer.data());
      got = sf_readf_int(in, p, n);
      put = got > 0 ? sf_writef_int(out, p, got) : 0;
      break;
    }
    case Carrier::Float: {
      auto *p = reinterpret_cast<float *>(buffer.data());
      got = sf_readf_float(in, p, n);
      put = got > 0 ? sf_writef_float(out, p, got) : 0;
      break;
    }
    case Carrier::Double:
      got = sf_readf_double(in, buffer.data(), n);
      put = got > 0 ? sf_writef_double(out, buffer.data(), got) : 0;
      break;
    }
    if (got < 0 || put != got)
      return false;
    if (got == 0)
      return true; // the file ended before its header said: the last slice ends there too
    count -= got;
  }
  return true;
}

} // namespace

bool writeSlices(const std::string &file, const std::vector<long> &frames, long preRoll, const std::string &prefix,
                 std::string &error) {
  SF_INFO info{};
  SoundFile in(sf_open(file.c_str(), SFM_READ, &info), sf_close);
  if (!in) {
    error = "cannot read '" + file + "' to slice it: " + sf_strerror(nullptr);
    return false;
  }
  // The cuts: 0, each transient moved back by the pre-roll, and the end; in order.
  std::vector<sf_count_t> cuts{0};
  for (long f : frames)
    cuts.push_back(std::clamp<sf_count_t>(f - preRoll, cuts.back(), info.frames));
  cuts.push_back(std::max<sf_count_t>(cuts.back(), info.frames));
  const Carrier carrier = carrierOf(info.format);
  const std::string extension = extensionOf(file);
  std::vector<double> buffer(static_cast<size_t>(Chunk * info.channels));
  std::vector<std::string> written;
  auto fail = [&written] {
    for (const std::string &path : written)
      std::remove(path.c_str());
    return false;
  };
  // As many digits as the last number needs, at least three: name order is time order.
  const size_t width = std::max<size_t>(3, std::to_string(cuts.size() - 2).size());
  for (size_t k = 0; k + 1 < cuts.size(); ++k) {
    const std::string number = std::to_string(k);
    const std::string path = prefix + "-" + std::string(width - std::min(width, number.size()), '0') + number + extension;
    SF_INFO outInfo{};
    outInfo.samplerate = info.samplerate;
    outInfo.channels = info.channels;
    outInfo.format = info.format;
    TemporaryFile out;
    if (!out.open(path, error))
      return fail();
    // The temporary's descriptor, which libsndfile writes and leaves open for the commit.
    SNDFILE *writer = sf_open_fd(fileno(out.file()), SFM_WRITE, &outInfo, SF_FALSE);
    bool wrote = writer && copyFrames(in.get(), writer, cuts[k + 1] - cuts[k], carrier, buffer);
    const std::string why = sf_strerror(writer);
    if (writer && sf_close(writer) != 0)
      wrote = false;
    if (!out.commit(wrote, error)) {
      error += " (" + why + ")";
      return fail();
    }
    written.push_back(path);
  }
  return true;
}

} // namespace tools
