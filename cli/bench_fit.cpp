// lumetra-cli bench fit: the region window's three grid fits on simulated
// curves, the fast search beside the plain loop over every combination and
// point (the results must agree bit for bit), against a floor measured in the
// same run: exp(-k t) once for every grid rate and point. Then the coverage
// of the bleaching rate's 95% interval over simulated noisy curves.
#include <cmath>
#include <iostream>
#include <vector>

#include "area/fit_extras.h"
#include "area/grid_fits.h"
#include "cli/bench_common.h"
#include "cli/cli_common.h"
#include "common/parallel.h"
#include "common/random.h"
#include "common/text_format.h"

namespace lumetra::cli {
namespace {

template <class Body>
double MedianMs(int repeats, Body&& body) {
  std::vector<double> t;
  for (int r = 0; r < repeats; ++r) {
    const auto t0 = Clock::now();
    body();
    t.push_back(Seconds(t0, Clock::now()) * 1e3);
  }
  return Median(t);
}

}  // namespace

int BenchFit(const std::vector<std::string>& args) {
  ArgParser p("bench fit",
              "Times the three grid fits on simulated curves (noisy bleaching, a dip and\n"
              "its recovery, a decaying spot count): the fast search (one core) and the\n"
              "plain loop over every combination and point, checks that both give the same\n"
              "winner and cost bit for bit, and prints each against a floor: exp(-k t) once\n"
              "for every grid rate and point. Then the coverage of the bleaching rate's 95%\n"
              "interval over simulated noisy curves with a known rate.");
  p.Option("points", "N", "points per curve", "1000")
      .Option("repeats", "N", "runs of the fast search to take the median of", "5")
      .Option("curves", "N", "noisy curves for the interval coverage (0: none)", "1000")
      .Flag("no-plain", "leave out the plain loop (it takes seconds)");
  if (auto code = ParseOrExit(p, args)) return *code;
  std::string error;
  int64_t points = 1000, repeats = 5, curves = 1000;
  if (!p.Int("points", points, error, 5, 100000) || !p.Int("repeats", repeats, error, 1, 100) ||
      !p.Int("curves", curves, error, 0, 100000))
    return Fail("bench", error, 2);
  const int32_t n = static_cast<int32_t>(points);
  Rng rng(42);
  std::vector<float> t(static_cast<size_t>(n)), bleach(t.size()), dip(t.size()), spots(t.size());
  const double span = 20.0;  // seconds
  for (int32_t i = 0; i < n; ++i) {
    t[i] = static_cast<float>(span * i / n);
    bleach[i] = static_cast<float>(800 * std::exp(-0.3 * t[i]) + 200 + 10 * rng.Normal());
    dip[i] = static_cast<float>(t[i] < 2 ? 1000 + 10 * rng.Normal()
                                         : 400 + 300 * (1 - std::exp(-(t[i] - 2) / 3.0)) +
                                               10 * rng.Normal());
    spots[i] = static_cast<float>(rng.Poisson(40 * std::exp(-0.15 * t[i]) + 3));
  }
  float sink = 0;
  const std::vector<float> ks = BleachingKGrid();
  const double floor_ms = MedianMs(static_cast<int>(repeats), [&] {
    for (float k : ks)
      for (int32_t i = 0; i < n; ++i) sink += std::exp(-k * t[i]);
  });
  std::cout << "curves of " << n << " points; floor, exp(-k t) for " << ks.size()
            << " rates and every point: " << FormatFixed(floor_ms, 2) << " ms\n";
  bool all_equal = true;
  auto report = [&](const char* name, double fast_ms, double all_ms, double plain_ms, bool equal,
                    const std::string& text) {
    std::cout << name << ": fast, one core " << FormatFixed(fast_ms, 2) << " ms ("
              << FormatFixed(fast_ms / floor_ms, 2) << "x the floor), all cores "
              << FormatFixed(all_ms, 2) << " ms";
    if (plain_ms >= 0)
      std::cout << ", plain loop " << FormatFixed(plain_ms, 1) << " ms ("
                << FormatFixed(plain_ms / fast_ms, 1) << "x the fast time), "
                << (equal ? "equal bit for bit" : "DIFFERENT");
    std::cout << "; " << text << '\n';
    all_equal = all_equal && equal;
  };
  const bool plain = !p.Has("no-plain");
  {
    BleachingFit fast, slow, all;
    const double f = MedianMs(static_cast<int>(repeats),
                              [&] { fast = FitBleaching(t.data(), bleach.data(), n); });
    const double a = MedianMs(static_cast<int>(repeats), [&] {
      all = FitBleaching(t.data(), bleach.data(), n, FitMethod::kFast, 0);
    });
    const double s =
        plain ? MedianMs(1, [&] {
          slow = FitBleaching(t.data(), bleach.data(), n, FitMethod::kPlain);
        })
              : -1;
    report("FitBleaching", f, a, s,
           (!plain || (fast.A == slow.A && fast.B == slow.B && fast.k == slow.k &&
                       fast.cost == slow.cost)) &&
               all.k == fast.k && all.A == fast.A && all.B == fast.B && all.cost == fast.cost,
           BleachingText(fast));
  }
  {
    RecoveryFit fast, slow, all;
    std::vector<float> a, b;
    const double f = MedianMs(static_cast<int>(repeats), [&] {
      a = dip;
      fast = FitRecovery(t.data(), a.data(), n);
    });
    const double al = MedianMs(static_cast<int>(repeats), [&] {
      b = dip;
      all = FitRecovery(t.data(), b.data(), n, FitMethod::kFast, 0);
    });
    const double s = plain ? MedianMs(1, [&] {
      b = dip;
      slow = FitRecovery(t.data(), b.data(), n, FitMethod::kPlain);
    })
                           : -1;
    report("FitRecovery", f, al, s,
           (!plain || (fast.tau == slow.tau && fast.a == slow.a && fast.cost == slow.cost)) &&
               all.tau == fast.tau && all.a == fast.a && all.cost == fast.cost,
           RecoveryText(fast));
  }
  {
    SpotsFit fast, slow, all;
    const double f = MedianMs(static_cast<int>(repeats),
                              [&] { fast = FitSpotsCurve(t.data(), spots.data(), n); });
    const double a = MedianMs(static_cast<int>(repeats), [&] {
      all = FitSpotsCurve(t.data(), spots.data(), n, FitMethod::kFast, 0);
    });
    const double s =
        plain ? MedianMs(1, [&] {
          slow = FitSpotsCurve(t.data(), spots.data(), n, FitMethod::kPlain);
        })
              : -1;
    report("FitSpotsCurve", f, a, s,
           (!plain || (fast.A == slow.A && fast.B == slow.B && fast.k == slow.k &&
                       fast.cost == slow.cost)) &&
               all.k == fast.k && all.A == fast.A && all.B == fast.B && all.cost == fast.cost,
           SpotsText(fast));
  }
  if (curves > 0) {
    const Coverage c = BleachingIntervalCoverage(static_cast<int32_t>(curves), 7);
    std::cout << "95% interval of the bleaching rate: holds the true rate in " << c.covered
              << " of " << c.curves << " noisy curves (" << FormatFixed(100 * c.Fraction(), 1)
              << "%), mean width " << FormatFixed(c.mean_width, 3) << " s-1\n";
  }
  std::cout << "(" << WorkerCount() << " cores; median of " << repeats << " runs; checksum "
            << (static_cast<int64_t>(sink) & 0xff) << ")\n";
  return all_equal ? 0 : 1;
}

}  // namespace lumetra::cli
