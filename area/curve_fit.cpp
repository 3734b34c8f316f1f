#include "area/curve_fit.h"

#include <cmath>

#include "area/area_messages.h"
#include "area/fit_extras.h"
#include "area/grid_fits.h"
#include "common/text_format.h"

namespace lumetra {
namespace {

// Interval edges: an open lower edge is 0 (no rate is negative), an open upper one inf.
void AddInterval(CurveFitResult& r, const RateInterval& iv, const std::string& name) {
  r.interval = IntervalText(iv, name);
  if (!iv.valid) return;
  r.params.emplace_back(name + "_low95", iv.low_open ? "0" : FormatTable(iv.low, "%.6g"));
  r.params.emplace_back(name + "_high95", iv.high_open ? "inf" : FormatTable(iv.high, "%.6g"));
}

}  // namespace

std::optional<FitModel> FitModelFromName(std::string_view name) {
  if (name == "bleaching") return FitModel::kBleaching;
  if (name == "recovery") return FitModel::kRecovery;
  if (name == "spots") return FitModel::kSpots;
  return std::nullopt;
}

CurveFitResult RunCurveFit(FitModel model, const std::vector<float>& time,
                           const std::vector<float>& values) {
  CurveFitResult r;
  r.model = model;
  r.curve = values;
  const int32_t n = static_cast<int32_t>(std::min(time.size(), values.size()));
  r.fit.assign(static_cast<size_t>(n), 0.0f);
  for (float v : values)
    if (std::isnan(v)) r.problem = std::string(kCurveHasNaN);
  const float* t = time.data();
  switch (model) {
    case FitModel::kBleaching: {
      const BleachingFit f = FitBleaching(t, r.curve.data(), n, FitMethod::kFast, 0);
      BleachingCurve(f, t, n, r.fit.data());
      r.found = f.found;
      r.text = BleachingText(f);
      r.params = {{"A", FormatFloat(f.A)}, {"B", FormatFloat(f.B)}, {"k", FormatFloat(f.k)},
                  {"cost", FormatFloat(f.cost)}};
      if (f.found) AddInterval(r, BleachingRateInterval(t, r.curve.data(), n), "k");
      break;
    }
    case FitModel::kRecovery: {
      const RecoveryFit f = FitRecovery(t, r.curve.data(), n, FitMethod::kFast, 0);
      RecoveryCurve(f, t, n, r.fit.data());
      r.found = f.found;
      r.text = RecoveryText(f);
      r.params = {{"tau", FormatFloat(f.tau)}, {"a", FormatFloat(f.a)},
                  {"cost", FormatFloat(f.cost)}};
      if (f.found)
        AddInterval(r, RecoveryTauInterval(t, r.curve.data(), f.min_index, f.max_index), "tau");
      else if (n > 0 && f.max_index <= f.min_index)
        r.problem = std::string(kRecoveryNothing);
      break;
    }
    case FitModel::kSpots: {
      if (n < kSpotsFitMinPoints) {
        r.problem = std::string(kTooFewPointsSpots);
        SpotsFit none;
        r.text = SpotsText(none);
        return r;
      }
      const SpotsFit f = FitSpotsCurve(t, r.curve.data(), n, FitMethod::kFast, 0);
      SpotsCurve(f, t, n, r.fit.data());
      r.found = f.found;
      r.text = SpotsText(f);
      r.params = {{"A", FormatFloat(f.A)}, {"B", FormatFloat(f.B)}, {"k", FormatFloat(f.k)},
                  {"cost", FormatFloat(f.cost)}};
      if (f.found) AddInterval(r, SpotsRateInterval(t, r.curve.data(), n), "k");
      break;
    }
  }
  if (!r.found && r.problem.empty()) r.problem = std::string(kNothingFitted);
  return r;
}

}  // namespace lumetra
