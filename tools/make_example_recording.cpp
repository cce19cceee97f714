//===- tools/make_example_recording.cpp - A synthetic drum recording -------===//
//
// Writes a mono 16-bit WAV file of a short drum pattern: kick, snare and hi-hat hits
// over a quiet sustained chord, every sample computed here, and prints the time of each
// hit, so the detector's output can be set beside what was played. With --train, it
// writes instead what sample packs, drum-machine renders and gated takes are made of:
// plucked notes (0.4 s, fading out over the last 0.3 s) or drum hits (cut off as a
// one-shot sample ends), each followed by GAP seconds of digital silence, or, with
// --noise, of white noise at that level (in dB below full scale, added throughout); the
// first hit comes after --lead seconds of the same (0.5).
//
//   make-example-recording OUT.wav [--rate HZ] [--seconds S] [--seed N]
//       [--train pluck|drums --gap GAP [--hits N] [--lead S] [--noise DB]]
//
//===----------------------------------------------------------------------===//
#include "ToolSupport.h"

#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr double Pi = 3.141592653589793;

struct Options {
  std::string output;
  double rate = 44100.0;
  double seconds = 12.0;
  unsigned long seed = 1;
  std::string train; // empty: the drum pattern over a chord
  double gap = 0.0;
  double lead = 0.5; // silence before the first hit
  int hits = 20;
  double noiseDb = 0.0; // 0: none
};

[[noreturn]] void fail(const std::string &message) {
  std::fprintf(stderr, "make-example-recording: %s\n", message.c_str());
  std::exit(1);
}

double number(const char *option, const char *text, double least, double most) {
  double v = 0.0;
  std::string problem;
  if (!tools::parseNumber(text, least, most, v, problem))
    fail(std::string(option) + ": " + problem);
  return v;
}

Options parse(int argc, char **argv) {
  Options o;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    const char *value = i + 1 < argc ? argv[i + 1] : nullptr;
    if (arg == "--rate") {
      o.rate = number("--rate", value, 8000, 192000), ++i;
    } else if (arg == "--seconds") {
      o.seconds = number("--seconds", value, 1, 3600), ++i;
    } else if (arg == "--seed") {
      o.seed = static_cast<unsigned long>(number("--seed", value, 0, 4294967295.0)), ++i;
    } else if (arg == "--train") {
      if (!value || (std::strcmp(value, "pluck") && std::strcmp(value, "drums")))
        fail("--train: give pluck or drums");
      o.train = value, ++i;
    } else if (arg == "--gap") {
      o.gap = number("--gap", value, 0, 600), ++i;
    } else if (arg == "--lead") {
      o.lead = number("--lead", value, 0, 600), ++i;
    } else if (arg == "--hits") {
      o.hits = static_cast<int>(number("--hits", value, 1, 100000)), ++i;
    } else if (arg == "--noise") {
      o.noiseDb = number("--noise", value, -140, -1), ++i;
    } else if (!arg.empty() && arg[0] == '-') {
      fail("unknown option '" + arg + "'");
    } else if (o.output.empty()) {
      o.output = arg;
    } else {
      fail("more than one output file given ('" + o.output + "', '" + arg + "')");
    }
  }
  if (o.output.empty())
    fail("usage: make-example-recording OUT.wav [--rate HZ] [--seconds S] [--seed N] "
         "[--train pluck|drums --gap GAP [--hits N] [--lead S] [--noise DB]]");
  return o;
}

// A small linear congruential generator: the same noise on every platform.
struct Noise {
  uint32_t state;
  float next() {
    state = state * 1664525u + 1013904223u;
    return static_cast<float>(static_cast<int32_t>(state)) * (1.0f / 2147483648.0f);
  }
};

enum class Drum { Kick, Snare, HiHat };

// How long each drum sounds, in seconds; a one-shot sample ends there.
double lengthOf(Drum drum) { return drum == Drum::Kick ? 0.45 : drum == Drum::Snare ? 0.3 : 0.08; }

void addHit(std::vector<float> &out, double rate, std::size_t start, Drum drum, float gain,
            Noise &noise) {
  const std::size_t n = static_cast<std::size_t>(lengthOf(drum) * rate);
  double phase = 0.0;
  float lowpassed = 0.0f, previous = 0.0f;
  for (std::size_t i = 0; i < n && start + i < out.size(); ++i) {
    const double t = static_cast<double>(i) / rate;
    float v = 0.0f;
    if (drum == Drum::Kick) {
      // A sine falling from 150 Hz to 50 Hz, with a short click on top.
      phase += 2.0 * Pi * (50.0 + 100.0 * std::exp(-t * 30.0)) / rate;
      v = static_cast<float>(std::sin(phase) * std::exp(-t * 9.0)) +
          0.3f * noise.next() * static_cast<float>(std::exp(-t * 400.0));
    } else if (drum == Drum::Snare) {
      phase += 2.0 * Pi * 190.0 / rate;
      v = static_cast<float>(0.5 * std::sin(phase) * std::exp(-t * 25.0)) +
          0.6f * noise.next() * static_cast<float>(std::exp(-t * 18.0));
    } else {
      // High-passed noise: the difference of successive samples.
      const float white = noise.next();
      lowpassed = white - previous;
      previous = white;
      v = 0.5f * lowpassed * static_cast<float>(std::exp(-t * 60.0));
    }
    out[start + i] += gain * v;
  }
}

// A plucked string (Karplus-Strong) at middle C: a burst of noise circulating in a delay
// line of one period, averaged on each pass; 0.4 s long, fading linearly to zero over its
// last 0.3 s, as "synth 0.4 pluck C4 fade 0 0.4 0.3" makes it in sox.
void addPluck(std::vector<float> &out, double rate, std::size_t start, Noise &noise) {
  const auto period = static_cast<std::size_t>(std::lround(rate / 261.63));
  const auto n = static_cast<std::size_t>(0.4 * rate), fadeFrom = static_cast<std::size_t>(0.1 * rate);
  std::vector<float> line(period);
  for (float &v : line)
    v = noise.next();
  float previous = 0.0f;
  for (std::size_t i = 0; i < n && start + i < out.size(); ++i) {
    float &slot = line[i % period];
    const float v = slot;
    slot = 0.498f * (v + previous);
    previous = v;
    const float fade = i < fadeFrom ? 1.0f : static_cast<float>(n - i) / static_cast<float>(n - fadeFrom);
    out[start + i] += 0.7f * v * fade;
  }
}

void put16(std::FILE *f, uint16_t v) {
  const unsigned char b[2] = {static_cast<unsigned char>(v), static_cast<unsigned char>(v >> 8)};
  std::fwrite(b, 1, 2, f);
}
void put32(std::FILE *f, uint32_t v) {
  put16(f, static_cast<uint16_t>(v));
  put16(f, static_cast<uint16_t>(v >> 16));
}

bool writeWav(std::FILE *f, const std::vector<float> &samples, uint32_t rate) {
  const uint32_t dataBytes = static_cast<uint32_t>(samples.size() * 2);
  std::fwrite("RIFF", 1, 4, f);
  put32(f, 36 + dataBytes);
  std::fwrite("WAVEfmt ", 1, 8, f);
  put32(f, 16);
  put16(f, 1); // PCM
  put16(f, 1); // mono
  put32(f, rate);
  put32(f, rate * 2);
  put16(f, 2);
  put16(f, 16);
  std::fwrite("data", 1, 4, f);
  put32(f, dataBytes);
  for (float s : samples) {
    const float clipped = s > 1.0f ? 1.0f : s < -1.0f ? -1.0f : s;
    put16(f, static_cast<uint16_t>(static_cast<int16_t>(std::lround(clipped * 32767.0f))));
  }
  return !std::ferror(f);
}

// Writes the file through a temporary and a rename (a failed write leaves nothing behind)
// and prints the hits.
int finish(const Options &o, const std::vector<float> &out, uint32_t rate, const std::string &hits) {
  tools::removeTemporariesOnSignal();
  std::string error;
  if (!tools::writeThroughTemporary(
          o.output, [&](std::FILE *f) { return writeWav(f, out, rate); }, error))
    fail(error);
  std::fputs(hits.c_str(), stdout);
  return 0;
}

} // namespace

int main(int argc, char **argv) {
  const Options o = parse(argc, argv);
  const auto rate = static_cast<uint32_t>(o.rate);
  std::vector<float> out(static_cast<std::size_t>(o.seconds * o.rate), 0.0f);
  Noise noise{static_cast<uint32_t>(o.seed)};
  if (!o.train.empty()) {
    // Each hit begins a whole number of frames in, so that the hit times are exact.
    const bool pluck = o.train == "pluck";
    const Drum kit[] = {Drum::Kick, Drum::Snare, Drum::HiHat};
    std::vector<std::size_t> starts;
    std::size_t at = static_cast<std::size_t>(o.lead * o.rate);
    for (int h = 0; h < o.hits; ++h) {
      starts.push_back(at);
      const double length = pluck ? 0.4 : lengthOf(kit[h % 3]);
      at += static_cast<std::size_t>(length * o.rate) + static_cast<std::size_t>(o.gap * o.rate);
    }
    out.assign(at, 0.0f);
    std::string hits = "# hits of " + o.output + " (seconds, " + (pluck ? "note" : "drum") + ")\n";
    for (std::size_t h = 0; h < starts.size(); ++h) {
      const Drum drum = kit[h % 3];
      if (pluck)
        addPluck(out, o.rate, starts[h], noise);
      else
        addHit(out, o.rate, starts[h], drum, drum == Drum::HiHat ? 0.5f : 0.8f, noise);
      char line[64];
      std::snprintf(line, sizeof line, "%.6f\t%s\n", static_cast<double>(starts[h]) / o.rate,
                    pluck ? "C4" : drum == Drum::Kick ? "kick" : drum == Drum::Snare ? "snare" : "hi-hat");
      hits += line;
    }
    if (o.noiseDb != 0.0) {
      // Uniform noise of that RMS level: its peak is sqrt(3) times the RMS.
      const float peak = static_cast<float>(std::sqrt(3.0) * std::pow(10.0, o.noiseDb / 20.0));
      for (float &v : out)
        v += peak * noise.next();
    }
    return finish(o, out, rate, hits);
  }

  // A soft A minor chord underneath, so the hits stand on a signal rather than silence.
  const double chord[] = {220.0, 261.63, 329.63};
  for (std::size_t i = 0; i < out.size(); ++i) {
    const double t = static_cast<double>(i) / o.rate;
    double v = 0.0;
    for (double f : chord)
      v += std::sin(2.0 * Pi * f * t);
    out[i] = static_cast<float>(0.01 * v);
  }

  // Two bars a pattern at 100 beats per minute: kick on 1 and 3, snare on 2 and 4,
  // hi-hat on the off-beats, starting half a second in.
  const double beat = 0.6;
  std::string hits = "# hits of " + o.output + " (seconds, drum)\n";
  for (int step = 0;; ++step) {
    const double t = 0.5 + step * beat / 2.0;
    if (t + 0.5 > o.seconds)
      break;
    const int inBar = step % 8;
    Drum drum = Drum::HiHat;
    float gain = 0.25f;
    if (inBar == 0 || inBar == 4)
      drum = Drum::Kick, gain = 0.8f;
    else if (inBar == 2 || inBar == 6)
      drum = Drum::Snare, gain = 0.6f;
    addHit(out, o.rate, static_cast<std::size_t>(t * o.rate), drum, gain, noise);
    char line[64];
    std::snprintf(line, sizeof line, "%.3f\t%s\n", t,
                  drum == Drum::Kick ? "kick" : drum == Drum::Snare ? "snare" : "hi-hat");
    hits += line;
  }

  return finish(o, out, rate, hits);
}
