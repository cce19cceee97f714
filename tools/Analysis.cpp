//===- tools/Analysis.cpp - One recording through the plug-in --------------===//
#include "Analysis.h"

#include "Plot.h"

#include "base/core/Platform.h"
#include "engine/core/dsp/Conversions.h"

#include <vamp-hostsdk/PluginLoader.h>

#include <sndfile.h>

#include <emmintrin.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <mutex>
#include <sys/stat.h>
#include <unistd.h>

namespace tools {

namespace {

const char *const Multiarch = MULTIARCH; // empty where the platform has no multiarch folders

// Frames asked of libsndfile at a time: few enough that what it decoded is still in the
// cache when it is cleaned and mixed, enough that its per-call cost vanishes.
constexpr size_t ReadFrames = 8192;

struct DeleteUnderLock {
  void operator()(Vamp::Plugin *p) const {
    std::lock_guard<std::mutex> guard(libraryLock());
    delete p;
  }
};

// A file descriptor, closed when it goes.
class FileDescriptor {
public:
  explicit FileDescriptor(int fd) : _fd(fd) {}
  FileDescriptor(const FileDescriptor &) = delete;
  FileDescriptor &operator=(const FileDescriptor &) = delete;
  ~FileDescriptor() {
    if (_fd >= 0)
      close(_fd);
  }
  int get() const { return _fd; }

private:
  int _fd;
};

// Sets NaN and infinities in x[0, n) to 0 and returns how many there were. With
// PositiveZero, -0 becomes +0 as well, as the mean of one channel, summed from +0, gives
// it. An exponent field of all ones is what marks a float non-finite;
// each lane counts its own by subtracting the all-ones compare.
template <bool PositiveZero> size_t cleanSamples(float *x, size_t n) {
  const __m128i exponent = _mm_set1_epi32(0x7F800000);
  __m128i counts = _mm_setzero_si128();
  size_t i = 0;
  for (; i + 4 <= n; i += 4) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(x + i));
    const __m128i nonFinite = _mm_cmpeq_epi32(_mm_and_si128(v, exponent), exponent);
    counts = _mm_sub_epi32(counts, nonFinite);
    __m128 clean = _mm_castsi128_ps(_mm_andnot_si128(nonFinite, v));
    if (PositiveZero)
      clean = _mm_add_ps(clean, _mm_setzero_ps());
    _mm_storeu_ps(x + i, clean);
  }
  alignas(16) uint32_t lanes[4];
  _mm_store_si128(reinterpret_cast<__m128i *>(lanes), counts);
  size_t bad = size_t{lanes[0]} + lanes[1] + lanes[2] + lanes[3];
  for (; i < n; ++i) {
    if (!std::isfinite(x[i])) {
      x[i] = 0.0f;
      ++bad;
    }
    if (PositiveZero)
      x[i] += 0.0f;
  }
  return bad;
}

// The mean of the channels, summed in double from +0 and divided there, then rounded to
// float once. A file's transients depend on these exact values, so the order of the sums
// stays fixed.
void mixFrames(const float *in, size_t frames, int channels, float *out) {
  if (channels == 2) {
    for (size_t i = 0; i < frames; ++i)
      out[i] = static_cast<float>((0.0 + static_cast<double>(in[2 * i]) + static_cast<double>(in[2 * i + 1])) / 2.0);
    return;
  }
  const size_t stride = static_cast<size_t>(channels);
  const double count = channels;
  for (size_t i = 0; i < frames; ++i) {
    double sum = 0.0;
    for (size_t c = 0; c < stride; ++c)
      sum += static_cast<double>(in[i * stride + c]);
    out[i] = static_cast<float>(sum / count);
  }
}

// The frames of an open sound file as one channel, the mean of its channels or one of
// them (`channel`, 1 the first), with its non-finite samples set to 0 and counted.
class MonoReader {
public:
  MonoReader(SNDFILE *sf, int channels, int channel) : _sf(sf), _channels(channels), _channel(channel) {
    if (channels > 1)
      _frames.resize(ReadFrames * static_cast<size_t>(channels));
  }

  // Up to `frames` frames into `out`; fewer only at the end of the file (or on an error,
  // which sf_error then gives).
  size_t read(float *out, size_t frames) {
    size_t done = 0;
    while (done < frames) {
      const size_t want = std::min(frames - done, ReadFrames);
      const size_t got = _channels == 1 ? readFrames(out + done, want) : readMixed(out + done, want);
      done += got;
      if (got < want)
        break;
    }
    return done;
  }

  long long nonFinite() const { return _nonFinite; }

private:
  size_t readFrames(float *out, size_t frames) {
    const sf_count_t got = sf_readf_float(_sf, out, static_cast<sf_count_t>(frames));
    const size_t n = got > 0 ? static_cast<size_t>(got) : 0;
    _nonFinite += static_cast<long long>((_channel == 0 ? cleanSamples<true>(out, n) : cleanSamples<false>(out, n)));
    return n;
  }

  size_t readMixed(float *out, size_t frames) {
    const sf_count_t got = sf_readf_float(_sf, _frames.data(), static_cast<sf_count_t>(frames));
    const size_t n = got > 0 ? static_cast<size_t>(got) : 0;
    const size_t stride = static_cast<size_t>(_channels);
    if (_channel == 0) {
      _nonFinite += static_cast<long long>(cleanSamples<false>(_frames.data(), n * stride));
      mixFrames(_frames.data(), n, _channels, out);
    } else {
      const float *in = _frames.data() + _channel - 1;
      for (size_t i = 0; i < n; ++i)
        out[i] = in[i * stride];
      _nonFinite += static_cast<long long>(cleanSamples<false>(out, n));
    }
    return n;
  }

  SNDFILE *_sf;
  int _channels, _channel;
  std::vector<float> _frames; // interleaved, for files of several channels
  long long _nonFinite = 0;
};

// 10^(db/20) from the four basic operations alone, which IEEE arithmetic rounds alike
// everywhere: the dither's level must be the same bits on every machine, and the C
// library's pow may differ in its last bit. e^y = (e^(y/2^k))^(2^k), with a series for the
// small e^(y/2^k).
double gainOf(double db) {
  double y = db / 20.0 * 2.302585092994046;
  int halvings = 0;
  for (; y > 0.5 || y < -0.5; ++halvings)
    y /= 2.0;
  double term = 1.0, sum = 1.0;
  for (int i = 1; i < 20; ++i)
    sum += (term *= y / i);
  while (halvings-- > 0)
    sum *= sum;
  return sum;
}

// An integer hash with good avalanche (every input bit moves every output bit with odds
// near one half), so that consecutive frame numbers give independent noise.
uint32_t scramble(uint32_t x) {
  x ^= x >> 16;
  x *= 0x7feb352dU;
  x ^= x >> 15;
  x *= 0x846ca68bU;
  x ^= x >> 16;
  return x;
}

// The low 32 bits of a * b in each lane (SSE2 multiplies only the even lanes, to 64 bits).
__m128i multiplyLanes(__m128i a, __m128i b) {
  const __m128i even = _mm_mul_epu32(a, b);
  const __m128i odd = _mm_mul_epu32(_mm_srli_epi64(a, 32), _mm_srli_epi64(b, 32));
  return _mm_unpacklo_epi32(_mm_shuffle_epi32(even, _MM_SHUFFLE(0, 0, 2, 0)),
                            _mm_shuffle_epi32(odd, _MM_SHUFFLE(0, 0, 2, 0)));
}

// scramble() in four lanes.
__m128i scrambleLanes(__m128i x) {
  x = _mm_xor_si128(x, _mm_srli_epi32(x, 16));
  x = multiplyLanes(x, _mm_set1_epi32(0x7feb352d));
  x = _mm_xor_si128(x, _mm_srli_epi32(x, 15));
  x = multiplyLanes(x, _mm_set1_epi32(static_cast<int32_t>(0x846ca68bU)));
  return _mm_xor_si128(x, _mm_srli_epi32(x, 16));
}

// Watches the analysed signal for stretches no louder than the noise floor, where the
// detector's envelopes settle on the floor and its curves can go exactly flat: a curve
// without a dip before the next rise leaves that rise measured from long before, too
// shallow to count, and the transient is lost.
class SilenceWatch {
public:
  // Silence from the start is measured from the envelopes' start at zero, which settle on
  // the floor after some 34,000 frames at any floor (measured as freezingSilenceFrames is).
  SilenceWatch(float noiseFloorDb)
      : _floor(static_cast<float>(engine::decibelToMagnitude(noiseFloorDb))),
        _least(freezingSilenceFrames(noiseFloorDb)), _leastFromStart(std::max<long long>(_least, 30000)) {}

  void add(const float *x, size_t n) {
    const __m128 floor = _mm_set1_ps(_floor), magnitude = _mm_castsi128_ps(_mm_set1_epi32(0x7FFFFFFF));
    size_t i = 0;
    while (i < n) {
      // Four quiet samples at a time while the run goes on, one at a time where it may end.
      if (i + 4 <= n &&
          _mm_movemask_ps(_mm_cmple_ps(_mm_and_ps(_mm_loadu_ps(x + i), magnitude), floor)) == 0xF) {
        _run += 4;
        i += 4;
        continue;
      }
      const size_t end = std::min(n, i + 4);
      for (; i < end; ++i)
        step(x[i], i);
    }
    _seen += static_cast<long long>(n);
  }

  long long stretches = 0, frames = 0; // the long stretches followed by sound
  long long firstEnd = -1;             // where the first of them ends

private:
  void step(float v, size_t i) {
    if (std::fabs(v) <= _floor) {
      ++_run;
      return;
    }
    const bool fromStart = _run == _seen + static_cast<long long>(i);
    if (_run >= (fromStart ? _leastFromStart : _least)) {
      ++stretches;
      frames += _run;
      if (firstEnd < 0)
        firstEnd = _seen + static_cast<long long>(i);
    }
    _run = 0;
  }

  const float _floor; // as the plug-in rounds it
  const long long _least, _leastFromStart;
  long long _run = 0, _seen = 0;
};

// libsndfile refuses a header that gives a sample rate of 0 with an internal message
// ("SF_INFO struct incomplete"). The headers most often written by hand or by broken
// recorders say their rate at a fixed place: WAV (RIFF, RIFX, RF64) in its "fmt " chunk,
// AU at byte 16, CAF in its first chunk, "desc", as a double.
bool headerGivesRateZero(int fd) {
  unsigned char h[4096];
  const ssize_t got = pread(fd, h, sizeof h, 0);
  const size_t n = got > 0 ? static_cast<size_t>(got) : 0;
  const auto is = [&](size_t at, const char *tag) { return at + 4 <= n && !std::memcmp(h + at, tag, 4); };
  const auto zeros = [&](size_t at, size_t count) {
    return at + count <= n && std::all_of(h + at, h + at + count, [](unsigned char b) { return b == 0; });
  };
  if (is(0, ".snd") || is(0, "dns."))
    return zeros(16, 4);
  if (is(0, "caff"))
    return is(8, "desc") && zeros(20, 8);
  if (!(is(0, "RIFF") || is(0, "RIFX") || is(0, "RF64")) || !is(8, "WAVE"))
    return false;
  const bool big = is(0, "RIFX");
  // Chunks: a four-letter name, a 32-bit size, the body padded to an even length.
  for (size_t at = 12; at + 8 <= n;) {
    if (is(at, "fmt "))
      return zeros(at + 12, 4); // after the format tag and the channel count
    const unsigned char *p = h + at + 4;
    const uint64_t size = big ? (uint64_t{p[0]} << 24 | uint64_t{p[1]} << 16 | uint64_t{p[2]} << 8 | p[3])
                              : (uint64_t{p[3]} << 24 | uint64_t{p[2]} << 16 | uint64_t{p[1]} << 8 | p[0]);
    at += 8 + static_cast<size_t>((size + 1) & ~uint64_t{1});
  }
  return false;
}

// The system's words for `error`, in lower case to follow "cannot read 'FILE': ".
std::string reason(int error) {
  if (error == ENOENT || error == ENOTDIR)
    return "no such file";
  char buffer[256];
  std::string text = strerror_r(error, buffer, sizeof buffer); // analyses run on several threads
  if (!text.empty())
    text[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
  return text;
}

} // namespace

void addDither(float *x, size_t n, long long firstFrame, float noiseFloorDb, double levelDb, int sampleRate) {
  // White noise spreads its power evenly up to half the rate; only the share below the
  // detector's top band edge, 5 kHz, reaches its bands. The total is scaled so that this
  // share has the level asked for, at any rate.
  const double analysed = 5000.0, nyquist = sampleRate / 2.0;
  const double rms = gainOf(noiseFloorDb) * gainOf(levelDb) * std::sqrt(nyquist > analysed ? nyquist / analysed : 1.0);
  // The sum of two uniform 16-bit numbers, less its mean, is triangular over +-65535
  // with a variance of 65535^2 / 6.
  const float scale = static_cast<float>(rms * std::sqrt(6.0) / 65535.0);
  constexpr uint32_t Seed = 0x5EED0D17U;
  const __m128 scales = _mm_set1_ps(scale);
  const __m128i low16 = _mm_set1_epi32(0xFFFF), mean = _mm_set1_epi32(65535);
  size_t i = 0;
  while (i < n) {
    const uint64_t frame = static_cast<uint64_t>(firstFrame) + i;
    const uint32_t key = scramble(static_cast<uint32_t>(frame >> 32) + Seed);
    const uint32_t low = static_cast<uint32_t>(frame);
    // Four frames at a time while they share the upper half of their number; the same
    // integer steps and the one rounding multiply as the single frames below.
    if (i + 4 <= n && low <= 0xFFFFFFFCU) {
      const __m128i h = scrambleLanes(_mm_xor_si128(
          _mm_add_epi32(_mm_set1_epi32(static_cast<int32_t>(low)), _mm_set_epi32(3, 2, 1, 0)),
          _mm_set1_epi32(static_cast<int32_t>(key))));
      const __m128i triangular = _mm_sub_epi32(_mm_add_epi32(_mm_and_si128(h, low16), _mm_srli_epi32(h, 16)), mean);
      _mm_storeu_ps(x + i, _mm_add_ps(_mm_loadu_ps(x + i), _mm_mul_ps(_mm_cvtepi32_ps(triangular), scales)));
      i += 4;
      continue;
    }
    const uint32_t h = scramble(low ^ key);
    const auto triangular = static_cast<int32_t>(h & 0xFFFFU) + static_cast<int32_t>(h >> 16) - 65535;
    x[i] += static_cast<float>(triangular) * scale;
    ++i;
  }
}

long long freezingSilenceFrames(float noiseFloorDb) {
  // Measured (frames from the end of a pluck or a drum hit until the slow curve stopped
  // moving, the shortest at each floor, at 44.1, 48 and 96 kHz): 7,100 at -40 dB, 16,000
  // at -60 dB, 22,200 at -70 dB, 30,700 at -100 dB. The envelopes fall towards the floor
  // by a fixed share per hop, so a lower floor takes longer; these lines lie just below
  // the measurements.
  const double belowDefault = -60.0 - noiseFloorDb;
  const double frames = 16000.0 + (belowDefault < 0.0 ? 450.0 : 350.0) * belowDefault;
  return std::max(1000LL, static_cast<long long>(frames));
}

std::mutex &libraryLock() {
  static std::mutex lock;
  return lock;
}

std::vector<std::string> pluginFolders() {
  std::vector<std::string> folders;
  auto add = [&folders](const std::string &folder) {
    if (!folder.empty() && std::find(folders.begin(), folders.end(), folder) == folders.end())
      folders.push_back(folder);
  };
  // The program's own place first, so that a tool finds the plug-in it was installed with;
  // nothing of the machine it was built on is compiled in.
  const std::string self = base::core::executableFolder();
  if (!self.empty()) {
    const std::string prefix = self.substr(0, self.rfind('/'));
    add(prefix + "/lib/vamp");
    if (*Multiarch)
      add(prefix + "/lib/" + Multiarch + "/vamp");
    struct stat cache;
    if (stat((prefix + "/CMakeCache.txt").c_str(), &cache) == 0) // a build tree: build/tools/
      add(prefix + "/transient-detector");
  }
  if (const char *path = std::getenv("VAMP_PATH")) {
    const std::string list(path);
    for (size_t start = 0, end; start <= list.size(); start = end + 1) {
      end = std::min(list.find(':', start), list.size());
      add(list.substr(start, end - start));
    }
  }
  const char *home = std::getenv("HOME");
  if (home && *home) {
    add(std::string(home) + "/vamp");
    add(std::string(home) + "/.vamp");
  }
  add("/usr/local/lib/vamp");
  add("/usr/lib/vamp");
  if (*Multiarch)
    add(std::string("/usr/lib/") + Multiarch + "/vamp");
  return folders;
}

void searchPluginFolders() {
  std::string path;
  for (const std::string &folder : pluginFolders())
    path += (path.empty() ? "" : ":") + folder;
  setenv("VAMP_PATH", path.c_str(), 1);
}

namespace {

PluginIdentity findPlugin() {
  PluginIdentity identity;
  std::lock_guard<std::mutex> guard(libraryLock());
  Vamp::HostExt::PluginLoader *loader = Vamp::HostExt::PluginLoader::getInstance();
  const std::unique_ptr<Vamp::Plugin> plugin(loader->loadPlugin(PluginKey, 44100.0f, 0));
  if (plugin) {
    identity.library = loader->getLibraryPathForPlugin(PluginKey);
    identity.version = plugin->getPluginVersion();
    return identity;
  }
  identity.error = std::string("cannot load the plug-in ") + PluginKey + " (transient-detector.so) from any of ";
  const char *path = std::getenv("VAMP_PATH");
  for (const char *c = path ? path : ""; *c; ++c)
    identity.error += *c == ':' ? std::string(", ") : std::string(1, *c);
  return identity;
}

} // namespace

const PluginIdentity &identifyPlugin() {
  // Once: a missing plug-in then costs each file of a batch neither a search nor the
  // loader's message.
  static const PluginIdentity identity = findPlugin();
  return identity;
}

void prepareAnalysis() { Vamp::HostExt::PluginLoader::getInstance(); }

// The file is read until its end, whatever frame count its header gives: a stream's
// header may not know its length (libsndfile then reports the largest count).
AnalysisResult analyse(const std::string &file, const AnalysisSettings &o, const AnalysisHooks &hooks) {
  AnalysisResult r;
  const std::string quoted = "'" + file + "'";
  // A named file is looked at here first, so that what is wrong with it can be said in
  // plain words rather than the decoder's; standard input goes to libsndfile as it is, a
  // pipe or not. libsndfile opens the file by its name all the same: it guesses some
  // headerless formats from the name's extension.
  FileDescriptor fd(file == "-" ? -1 : open(file.c_str(), O_RDONLY | O_CLOEXEC));
  if (file != "-") {
    struct stat st;
    if (fd.get() < 0 || fstat(fd.get(), &st) != 0) {
      const int error = errno;
      r.error = "cannot read " + quoted + ": " + reason(error);
      return r;
    }
    if (S_ISDIR(st.st_mode)) {
      r.error = quoted + " is a folder, not a recording";
      return r;
    }
    if (S_ISREG(st.st_mode) && st.st_size == 0) {
      r.error = quoted + " is empty (0 bytes)";
      return r;
    }
  }
  SF_INFO info{};
  SNDFILE *sf;
  {
    std::lock_guard<std::mutex> guard(libraryLock());
    sf = sf_open(file.c_str(), SFM_READ, &info);
    if (!sf)
      r.error = "cannot read " + quoted + ": " + sf_strerror(nullptr);
  }
  if (!sf) {
    if (fd.get() >= 0 && headerGivesRateZero(fd.get()))
      r.error = quoted + " gives a sample rate of 0";
    return r;
  }
  std::unique_ptr<SNDFILE, int (*)(SNDFILE *)> closer(sf, sf_close);
  if (o.channel > info.channels) {
    r.error = "--channel " + std::to_string(o.channel) + ": " + quoted + " has " +
              std::to_string(info.channels) + " channel" + (info.channels == 1 ? "" : "s");
    return r;
  }
  if (info.samplerate < 8000 || info.samplerate > 192000)
    r.warnings.push_back(quoted + ": a sample rate of " + std::to_string(info.samplerate) +
                         " Hz is outside 8 to 192 kHz, where the detector is meant to work");
  if (hooks.opened)
    hooks.opened(info.samplerate);

  const PluginIdentity &identity = identifyPlugin();
  std::unique_ptr<Vamp::Plugin, DeleteUnderLock> plugin;
  if (!identity.library.empty()) {
    std::lock_guard<std::mutex> guard(libraryLock());
    plugin.reset(Vamp::HostExt::PluginLoader::getInstance()->loadPlugin(
        PluginKey, static_cast<float>(info.samplerate), 0));
  }
  if (!plugin) {
    r.error = identity.library.empty()
                  ? identity.error
                  : std::string("cannot load the plug-in ") + PluginKey + " from " + identity.library + " for " + quoted;
    return r;
  }
  plugin->setParameter("RaiseThreshold", o.threshold);
  plugin->setParameter("NoiseFloor", o.noiseFloor);
  const size_t block = static_cast<size_t>(o.blockSize), step = static_cast<size_t>(o.stepSize);
  if (!plugin->initialise(1, step, block)) {
    r.error = "the plug-in refused block size " + std::to_string(block) + " and step size " + std::to_string(step);
    return r;
  }

  const unsigned rate = static_cast<unsigned>(info.samplerate);
  auto collect = [&hooks](const Vamp::Plugin::FeatureSet &fs, unsigned sampleRate) {
    auto it = fs.find(0);
    if (it == fs.end() || !hooks.found)
      return;
    for (const auto &f : it->second)
      hooks.found({f.timestamp.sec + f.timestamp.nsec / 1e9, Vamp::RealTime::realTime2Frame(f.timestamp, sampleRate),
                   f.values.empty() ? 0.0f : f.values[0]});
  };

  // window[head, tail) holds the samples read and not yet stepped past; each block is the
  // `block` samples from head, zeros past the end. The room beyond a block lets the samples
  // still wanted move to the front only once in a block's worth of steps, however small
  // the step. Reading stops as soon as a block is there, give or take one read: a live
  // stream's transients come out as soon as its samples do.
  MonoReader reader(sf, info.channels, o.channel);
  SilenceWatch silence(o.noiseFloor);
  std::vector<float> window(block + std::max(block, ReadFrames));
  size_t head = 0, tail = 0;
  bool ended = false;
  long long read = 0;
  // Each block starts `step` frames after the one before; the last starts before the end.
  for (long long position = 0;; position += static_cast<long long>(step)) {
    if (head + block > window.size()) {
      std::copy(window.begin() + static_cast<long>(head), window.begin() + static_cast<long>(tail), window.begin());
      tail -= head;
      head = 0;
    }
    while (!ended && tail - head < block) {
      const size_t want = std::min(window.size() - tail, std::max(head + block - tail, ReadFrames));
      const size_t got = reader.read(window.data() + tail, want);
      if (hooks.overview)
        for (size_t i = tail; i < tail + got; ++i)
          hooks.overview->add(window[i]);
      if (o.dither)
        addDither(window.data() + tail, got, read, o.noiseFloor, o.ditherDb, info.samplerate);
      else
        silence.add(window.data() + tail, got);
      tail += got;
      read += static_cast<long long>(got);
      ended = got == 0;
    }
    if (head == tail)
      break;
    if (tail - head < block)
      std::fill(window.begin() + static_cast<long>(tail), window.begin() + static_cast<long>(head + block), 0.0f);
    const float *buffers[] = {window.data() + head};
    collect(plugin->process(buffers, Vamp::RealTime::frame2RealTime(static_cast<long>(position), rate)), rate);
    head += std::min(step, tail - head);
    if (hooks.progress)
      hooks.progress(std::min<long long>(position + static_cast<long long>(step), read), info.frames);
  }
  if (sf_error(sf) != SF_ERR_NO_ERROR) {
    r.error = "cannot read " + quoted + ": " + sf_strerror(sf);
    return r;
  }
  if (read == 0) {
    r.error = quoted + " holds no audio";
    return r;
  }
  collect(plugin->getRemainingFeatures(), rate);
  if (const long long bad = reader.nonFinite())
    r.warnings.push_back(quoted + ": " + std::to_string(bad) +
                         (bad == 1 ? " sample was not a number (NaN or infinite) and was taken as 0"
                                   : " samples were not numbers (NaN or infinite) and were taken as 0"));
  if (silence.stretches) {
    char text[320];
    std::snprintf(text, sizeof text,
                  ": %.1f s of silence (no louder than the noise floor, %g dB) in %lld stretch%s of %.2f s or "
                  "more; transients after %.2f s may be missed, as the detector stalls in long silence "
                  "(--dither avoids this)",
                  static_cast<double>(silence.frames) / rate, static_cast<double>(o.noiseFloor), silence.stretches,
                  silence.stretches == 1 ? "" : "es", static_cast<double>(freezingSilenceFrames(o.noiseFloor)) / rate,
                  static_cast<double>(silence.firstEnd) / rate);
    r.warnings.push_back(quoted + text);
    r.silenceWarned = true;
  }
  r.seconds = static_cast<double>(read) / rate;
  return r;
}

} // namespace tools
