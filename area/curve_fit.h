// One of the three grid fits run on a curve, with everything a caller shows:
// the window's result text, the winning grid values and the best cost as
// name=value pairs, the 95% interval of the rate, and the fit curve. The
// region window and the command line's area and fit commands share it.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace lumetra {

enum class FitModel { kBleaching, kRecovery, kSpots };

// "bleaching", "recovery", "spots".
std::optional<FitModel> FitModelFromName(std::string_view name);

struct CurveFitResult {
  FitModel model = FitModel::kBleaching;
  bool found = false;        // some grid combination beat the start cost
  std::string text;          // "Bleach rate=0.37 s-1"
  std::string interval;      // " (95%: 0.35 - 0.39)", the graph's third note line
  std::vector<std::pair<std::string, std::string>> params;  // A, B, k (or tau, a), cost, interval
  std::vector<float> curve;  // the curve fitted (recovery: rewritten in percent)
  std::vector<float> fit;    // the fit curve, one value per point
  std::string problem;       // why nothing was fitted, or a warning about the curve
};

// Runs the fit. `values` is copied; the recovery result holds it rewritten.
CurveFitResult RunCurveFit(FitModel model, const std::vector<float>& time,
                           const std::vector<float>& values);

}  // namespace lumetra
