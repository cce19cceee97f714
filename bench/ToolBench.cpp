//===- bench/ToolBench.cpp - detect-transients against vamp-simple-host ----===//
//
// Whole runs of the command-line host over one generated recording, ten minutes of
// 44.1 kHz 16-bit mono from make-example-recording, against vamp-simple-host running the
// same plug-in over the same file: what a user waits for, start-up, reading and the
// plug-in's work included. Each run is a child process writing its results to /dev/null;
// ours is `detect-transients -q FILE`. The work is done in the children, so the pair is
// compared by the clock. Counters: x_realtime, seconds of audio per second of the clock;
// child_cpu, the children's CPU seconds per run. Unless the command line says otherwise,
// five repetitions in random interleaving, so that the busy moments of a shared machine
// fall on both alike.
//
//===----------------------------------------------------------------------===//
#include "RatioReporter.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <spawn.h>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char **environ;

namespace {

constexpr double Seconds = 600.0;

// Runs `args` with standard output into `out` and standard error discarded. Returns the
// exit status (-1 when it could not start or was killed) and adds its CPU seconds to `cpu`.
int spawn(const std::vector<std::string> &args, const std::string &out, double &cpu) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  std::vector<char *> argv;
  for (const std::string &a : args)
    argv.push_back(const_cast<char *>(a.c_str()));
  argv.push_back(nullptr);
  pid_t pid;
  const int failed = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (failed)
    return -1;
  int status = 0;
  struct rusage usage {};
  if (wait4(pid, &status, 0, &usage) != pid)
    return -1;
  cpu += static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
         static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::vector<std::string> command(bool ours, const std::string &file) {
  if (ours)
    return {TOOL, "-q", file};
  return {VAMP_SIMPLE_HOST, "transient-detector:TransientDetector", file};
}

size_t lines(const std::string &path) {
  std::ifstream in(path);
  size_t n = 0;
  for (std::string line; std::getline(in, line);)
    n += !line.empty();
  return n;
}

// The recording, made once; and a first run of each program, which must find the same
// number of transients, or the two would not be doing the same work.
struct Recording {
  std::string folder, path, problem;

  Recording() {
    setenv("VAMP_PATH", PLUGIN_DIR, 1);
    char pattern[] = "/tmp/tool_bench_XXXXXX";
    if (!mkdtemp(pattern)) {
      problem = "cannot make a temporary folder";
      return;
    }
    folder = pattern;
    path = folder + "/ten.wav";
    double cpu = 0.0;
    if (spawn({MAKER, path, "--seconds", std::to_string(static_cast<int>(Seconds))}, "/dev/null", cpu) != 0) {
      problem = "make-example-recording failed";
      return;
    }
    size_t found[2] = {0, 0};
    for (bool ours : {true, false}) {
      const std::string out = folder + (ours ? "/ours.txt" : "/host.txt");
      if (spawn(command(ours, path), out, cpu) != 0) {
        problem = command(ours, path)[0] + " failed";
        return;
      }
      found[ours] = lines(out);
      unlink(out.c_str());
    }
    if (found[0] != found[1] || found[0] == 0)
      problem = "detect-transients found " + std::to_string(found[1]) + " transients, vamp-simple-host " +
                std::to_string(found[0]);
  }

  ~Recording() {
    if (folder.empty())
      return;
    unlink(path.c_str());
    rmdir(folder.c_str());
  }
};

const Recording &recording() {
  static const Recording r;
  return r;
}

void run(benchmark::State &state, bool ours) {
  const Recording &r = recording();
  if (!r.problem.empty()) {
    state.SkipWithError(r.problem.c_str());
    return;
  }
  double cpu = 0.0;
  const auto start = std::chrono::steady_clock::now();
  for (auto _ : state)
    if (spawn(command(ours, r.path), "/dev/null", cpu) != 0) {
      state.SkipWithError((command(ours, r.path)[0] + " failed").c_str());
      return;
    }
  const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  const double runs = static_cast<double>(state.iterations());
  state.counters["x_realtime"] = runs * Seconds / wall;
  state.counters["child_cpu"] = cpu / runs;
}

const bool registered = [] {
  for (bool ours : {true, false})
    benchmark::RegisterBenchmark(ours ? "Tool_10min/ours" : "Tool_10min/vamp-simple-host",
                                 [ours](benchmark::State &st) { run(st, ours); })
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime()
        ->Iterations(2);
  return true;
}();

} // namespace

int main(int argc, char **argv) {
  std::vector<char *> args(argv, argv + argc);
  const auto given = [&](const char *flag) {
    for (int i = 1; i < argc; ++i)
      if (!std::strncmp(argv[i], flag, std::strlen(flag)))
        return true;
    return false;
  };
  static char repetitions[] = "--benchmark_repetitions=5";
  static char interleaving[] = "--benchmark_enable_random_interleaving=true";
  if (!given("--benchmark_repetitions"))
    args.push_back(repetitions);
  if (!given("--benchmark_enable_random_interleaving"))
    args.push_back(interleaving);
  int count = static_cast<int>(args.size());
  args.push_back(nullptr);
  benchmark::Initialize(&count, args.data());
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
