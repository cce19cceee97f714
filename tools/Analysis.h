//===- tools/Analysis.h - One recording through the plug-in ----------------===//
//
// detect-transients' host loop: a recording read with libsndfile, mixed to mono (or one
// channel picked), handed to the plug-in in blocks as any Vamp host hands it, and its
// features reported as they come.
//
//===----------------------------------------------------------------------===//
#ifndef TOOLS_ANALYSIS_H
#define TOOLS_ANALYSIS_H

#include "OutputFormats.h"

#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace tools {

class Overview;

/// The plug-in's parameters and the host's block settings.
struct AnalysisSettings {
  float threshold = 12.0f;   ///< RaiseThreshold, percent
  float noiseFloor = -60.0f; ///< NoiseFloor, dB
  long blockSize = 65536;
  long stepSize = 65536; ///< at most blockSize
  int channel = 0;       ///< 1 is the first; 0: the mean of the channels
  bool dither = false;   ///< add the noise of ditherNoise() before the plug-in sees the audio
  double ditherDb = DefaultDitherDb;

  /// The level of --dither without a value, in dB above the noise floor.
  static constexpr double DefaultDitherDb = -1.0;
};

/// The dither that keeps the detector's curves moving in digital silence: triangular
/// white noise from a fixed sequence (sample n of every file gets the same value, on every
/// run and machine), at `levelDb` above `noiseFloorDb` in the range the detector analyses
/// (up to 5 kHz), so that it does the same at every sample rate. Adds it to x[0, n), the
/// frames from `firstFrame` on.
void addDither(float *x, size_t n, long long firstFrame, float noiseFloorDb, double levelDb, int sampleRate);

/// The shortest stretch of silence, in frames at any rate, after which the detector's
/// curves may have frozen, at a noise floor of `noiseFloorDb`: measured on hits ending in
/// digital silence; a louder ending, or a lower floor, takes longer.
long long freezingSilenceFrames(float noiseFloorDb);

/// What an analysis calls on its own thread while it runs. Each may be empty.
struct AnalysisHooks {
  /// Once the file is open, before anything else: its sample rate.
  std::function<void(int sampleRate)> opened;
  /// Each transient as soon as the plug-in reports it, in time order.
  std::function<void(const Transient &)> found;
  /// After each block: frames read so far and the frame count of the file's header
  /// (0 when it gives none, and the count may be wrong for a stream).
  std::function<void(long long framesRead, long long framesInHeader)> progress;
  /// Gathers the outline of the analysed signal, for a plot; not set, nothing is kept.
  Overview *overview = nullptr;
};

/// How an analysis ended.
struct AnalysisResult {
  std::string error;                 ///< empty on success; else names the file and the cause
  std::vector<std::string> warnings; ///< things the user should know of a file that was analysed
  bool silenceWarned = false;        ///< one of them is the warning of long silence
  double seconds = 0.0;              ///< of audio analysed
};

/// Analyses `file` ("-": standard input) with a plug-in instance of its own. Safe to call
/// from several threads at once.
///
/// The plug-in sees the mean of the channels (summed in double, rounded to float) or the
/// channel picked, in blocks of settings.blockSize frames, each starting stepSize frames
/// after the one before, the last before the end, zeros past it. A NaN or infinite sample
/// is taken as 0, before the mix, and the overview only ever sees finite values.
///
/// Errors name the file: "cannot read 'FILE': ..." (missing, unreadable, or refused by
/// libsndfile, in its words), "'FILE' is a folder, not a recording", "'FILE' is empty (0
/// bytes)", "'FILE' gives a sample rate of 0" (WAV, AU and CAF headers), "'FILE' holds no
/// audio". Warnings: a sample rate outside 8 to 192 kHz; the count of samples of the
/// analysed channels that were not finite; without dither, silence (samples no louder
/// than the noise floor) lasting freezingSilenceFrames() or more before sound (30,000
/// frames at least at the start of the file), after which transients may be missed.
AnalysisResult analyse(const std::string &file, const AnalysisSettings &settings, const AnalysisHooks &hooks);

/// The folders searched for the plug-in, in order, each once: the program's own
/// ../lib/vamp and ../lib/x86_64-linux-gnu/vamp (where an installation puts it beside
/// bin/), the build's plug-in folder when the program runs in its build tree, the folders
/// of VAMP_PATH when it is set, then the Vamp SDK's defaults (~/vamp, ~/.vamp,
/// /usr/local/lib/vamp, /usr/lib/vamp) and Debian's /usr/lib/x86_64-linux-gnu/vamp.
std::vector<std::string> pluginFolders();

/// Has the host SDK's loader search pluginFolders() (through VAMP_PATH, which it reads).
/// Call once, before prepareAnalysis and before any thread starts.
void searchPluginFolders();

/// The plug-in that analyse() loads: its file and version; an empty `library` when it
/// cannot be loaded, and then `error` says why and where it was looked for. Looked for at
/// the first call, which must come after searchPluginFolders.
struct PluginIdentity {
  std::string library;
  int version = 0;
  std::string error;
};
const PluginIdentity &identifyPlugin();

/// Loads the host SDK's plug-in loader; call once before any thread analyses.
void prepareAnalysis();

/// Held by whoever opens a sound file or loads or deletes a plug-in: libsndfile reports a
/// failed open through one global, and the host SDK's loader keeps shared tables.
std::mutex &libraryLock();

} // namespace tools

#endif // TOOLS_ANALYSIS_H
