//===- tools/vecmath_accuracy.cpp - ulp error of the vector maths ----------===//
//
// Measures the largest error, in units in the last place of the float result, of every
// vector maths function against the double-precision C library, over every finite float
// (--exhaustive) or over N random bit patterns, which spread evenly over all exponents
// (--samples N, 10^8 by default). Special values must match in kind: NaN for NaN,
// infinity for a result beyond the float range.
//
//   vecmath-accuracy [--exhaustive | --samples N] [--threads T] [FUNCTION...]
//
//===----------------------------------------------------------------------===//
#include "primitives/vecmath/vecmath.h"

#include <algorithm>
#include <cerrno>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

struct Function {
  const char *name;
  IppStatus (*ours)(const float *, float *, int);
  double (*reference)(double);
  double target; // ulps
};

const Function Functions[] = {
    {"Ln", ippsLn_32f_A24, std::log, 1.5},       {"Log10", ippsLog10_32f_A24, std::log10, 1.0},
    {"Exp", ippsExp_32f_A24, std::exp, 1.0},     {"Sin", ippsSin_32f_A24, std::sin, 1.0},
    {"Cos", ippsCos_32f_A24, std::cos, 1.0},     {"Atan", ippsAtan_32f_A24, std::atan, 1.0},
    {"Tan", ippsTan_32f_A24, std::tan, 2.0},     {"Sinh", ippsSinh_32f_A24, std::sinh, 2.0},
    {"Cosh", ippsCosh_32f_A24, std::cosh, 2.0},  {"Tanh", ippsTanh_32f_A24, std::tanh, 2.0},
};

float floatOf(uint32_t u) {
  float f;
  std::memcpy(&f, &u, sizeof f);
  return f;
}

// Error of `got` against the exact value `want`, in ulps of the float format at `want`.
double ulpError(float got, double want) {
  if (std::isnan(want))
    return std::isnan(got) ? 0.0 : HUGE_VAL;
  if (std::isnan(got))
    return HUGE_VAL;
  const double maxFloat = static_cast<double>(FLT_MAX);
  const double overflow = maxFloat + std::ldexp(1.0, 103); // rounds to infinity from here
  if (std::isinf(got)) {
    if (std::fabs(want) >= overflow && std::signbit(want) == std::signbit(got))
      return 0.0;
    return HUGE_VAL;
  }
  if (std::isinf(want))
    return HUGE_VAL;
  const double a = std::fabs(want);
  int e = a > 0.0 ? std::ilogb(a) : -149;
  if (e < -126)
    e = -126;
  const double ulp = std::ldexp(1.0, e - 23);
  return std::fabs(static_cast<double>(got) - want) / ulp;
}

struct Worst {
  double ulps = 0.0;
  float at = 0.0f;
  unsigned long long count = 0;
};

void measure(const Function &f, uint64_t first, uint64_t count, bool exhaustive, uint64_t seed,
             Worst &worst, std::mutex &lock) {
  constexpr int Batch = 4096;
  std::vector<float> in(Batch), out(Batch);
  Worst local;
  uint64_t state = seed * 0x9E3779B97F4A7C15ull + 1;
  for (uint64_t done = 0; done < count;) {
    const int n = static_cast<int>(std::min<uint64_t>(Batch, count - done));
    for (int i = 0; i < n; ++i) {
      uint32_t bits;
      if (exhaustive) {
        bits = static_cast<uint32_t>(first + done + static_cast<uint64_t>(i));
      } else {
        state ^= state << 13;
        state ^= state >> 7;
        state ^= state << 17;
        bits = static_cast<uint32_t>(state >> 16);
      }
      in[static_cast<size_t>(i)] = floatOf(bits);
    }
    f.ours(in.data(), out.data(), n);
    for (int i = 0; i < n; ++i) {
      const float x = in[static_cast<size_t>(i)];
      if (std::isnan(x) || std::isinf(x))
        continue; // finite inputs only; the special values have their own tests
      const double e = ulpError(out[static_cast<size_t>(i)], f.reference(static_cast<double>(x)));
      ++local.count;
      if (e > local.ulps) {
        local.ulps = e;
        local.at = x;
      }
    }
    done += static_cast<uint64_t>(n);
  }
  std::lock_guard<std::mutex> guard(lock);
  worst.count += local.count;
  if (local.ulps > worst.ulps) {
    worst.ulps = local.ulps;
    worst.at = local.at;
  }
}

[[noreturn]] void usage(const std::string &problem) {
  std::fprintf(stderr, "vecmath-accuracy: %s\n"
                       "usage: vecmath-accuracy [--exhaustive | --samples N] [--threads T] "
                       "[FUNCTION...]\n",
               problem.c_str());
  std::exit(2);
}

uint64_t count(const char *option, const char *text) {
  if (!text)
    usage(std::string(option) + ": a value is missing");
  char *end = nullptr;
  errno = 0;
  const double v = std::strtod(text, &end);
  if (end == text || *end || errno || !(v >= 1 && v <= 1e12))
    usage(std::string(option) + ": '" + text + "' is not a count from 1 to 1e12");
  return static_cast<uint64_t>(v);
}

} // namespace

int main(int argc, char **argv) {
  bool exhaustive = false;
  uint64_t samples = 100000000;
  unsigned threads = std::max(1u, std::thread::hardware_concurrency());
  std::vector<const Function *> chosen;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    if (a == "--exhaustive") {
      exhaustive = true;
    } else if (a == "--samples") {
      samples = count("--samples", i + 1 < argc ? argv[++i] : nullptr);
    } else if (a == "--threads") {
      threads = static_cast<unsigned>(count("--threads", i + 1 < argc ? argv[++i] : nullptr));
    } else {
      const Function *found = nullptr;
      for (const Function &f : Functions)
        if (a == f.name)
          found = &f;
      if (!found)
        usage("unknown function or option '" + a + "'");
      chosen.push_back(found);
    }
  }
  if (chosen.empty())
    for (const Function &f : Functions)
      chosen.push_back(&f);

  const uint64_t total = exhaustive ? (1ull << 32) : samples;
  std::printf("%-6s %12s %14s %8s %14s\n", "func", "max ulps", "at", "target", "inputs");
  int failures = 0;
  for (const Function *f : chosen) {
    Worst worst;
    std::mutex lock;
    std::vector<std::thread> pool;
    const uint64_t share = (total + threads - 1) / threads;
    for (unsigned t = 0; t < threads; ++t) {
      const uint64_t first = share * t;
      if (first >= total)
        break;
      pool.emplace_back(measure, std::cref(*f), first, std::min(share, total - first), exhaustive,
                        static_cast<uint64_t>(t) + 1, std::ref(worst), std::ref(lock));
    }
    for (auto &th : pool)
      th.join();
    const bool ok = worst.ulps <= f->target;
    failures += ok ? 0 : 1;
    std::printf("%-6s %12.4f %14.7g %8.1f %14llu%s\n", f->name, worst.ulps,
                static_cast<double>(worst.at), f->target, worst.count, ok ? "" : "  over target");
  }
  return failures ? 1 : 0;
}
