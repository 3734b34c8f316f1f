#include "area/area_session.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "area/area_messages.h"
#include "common/text_format.h"

namespace lumetra {
namespace {

constexpr uint32_t kBlue = 0xC00000, kRed = 0x0000D0, kGreen = 0x008000, kBlack = 0;

AreaCurve Data(std::string name, std::vector<float> y, uint32_t color, bool right = false) {
  AreaCurve c;
  c.name = std::move(name);
  c.y = std::move(y);
  c.color = color;
  c.right = right;
  c.type = kCurveLineCircle;
  return c;
}

AreaCurve Line(std::string name, std::vector<float> y, uint32_t color) {
  AreaCurve c = Data(std::move(name), std::move(y), color);
  c.type = kCurveLine;
  return c;
}

std::string Trunc(double v, double scale) {
  return FormatGeneral(std::trunc(v * scale) / scale);
}

// Values of a window around each point, NaN left out.
template <class Reduce>
std::vector<float> Windowed(const std::vector<float>& c, int32_t before, int32_t after,
                            Reduce&& reduce) {
  std::vector<float> out(c.size());
  std::vector<float> w;
  const int32_t n = static_cast<int32_t>(c.size());
  for (int32_t i = 0; i < n; ++i) {
    w.clear();
    for (int32_t j = std::max(0, i - before); j <= std::min(n - 1, i + after); ++j)
      if (!std::isnan(c[static_cast<size_t>(j)])) w.push_back(c[static_cast<size_t>(j)]);
    out[static_cast<size_t>(i)] = w.empty() ? NAN : reduce(w);
  }
  return out;
}

float MeanOf(std::vector<float>& w) {
  double s = 0;
  for (float v : w) s += v;
  return static_cast<float>(s / static_cast<double>(w.size()));
}

float MedianOf(std::vector<float>& w) {
  std::sort(w.begin(), w.end());
  const size_t m = w.size() / 2;
  return w.size() % 2 ? w[m] : 0.5f * (w[m - 1] + w[m]);
}

// Mean of the squared displacement (um2) over the pairs of points `lag` apart
// with both positions known; NaN without such a pair.
double MeanSquaredStep(const AreaTrace& t, int32_t lag) {
  double sum = 0;
  int32_t pairs = 0;
  for (int32_t i = 0; i + lag < t.Points(); ++i) {
    const double dx = (static_cast<double>(t.x_nm[i + lag]) - t.x_nm[i]) * 1e-3;
    const double dy = (static_cast<double>(t.y_nm[i + lag]) - t.y_nm[i]) * 1e-3;
    if (!std::isfinite(dx) || !std::isfinite(dy)) continue;
    sum += dx * dx + dy * dy;
    ++pairs;
  }
  return pairs ? sum / pairs : NAN;
}

std::string Cell(const std::vector<float>& c, size_t i) {
  if (i >= c.size()) return "nan";
  return std::isfinite(c[i]) ? FormatFloat(c[i]) : FormatTable(c[i]);
}

}  // namespace

void AreaSession::SetTrace(AreaTrace trace, AreaSource source, std::string description) {
  trace_ = std::move(trace);
  source_ = trace_.Points() > 0 ? source : AreaSource::kNone;
  description_ = std::move(description);
  recovery_percent_ = false;
  ClearDerived();
  // A track or bead comes from a file or the tracking window: nothing to lose.
  unsaved_ = source_ == AreaSource::kRegion;
  if (view_ == AreaView::kMsd || view_ == AreaView::kDerivative || view_ == AreaView::kNormalised)
    view_ = AreaView::kIntens;
}

void AreaSession::ClearDerived() {
  fit_kind_ = AreaFitKind::kNone;
  fit_.clear();
  derived_.clear();
  derived_name_.clear();
  msd_ = {};
  interval_note_.clear();
  result_text_.clear();
}

void AreaSession::SetResult(std::string text, std::string interval) {
  result_text_ = std::move(text);
  interval_note_ = std::move(interval);
  reporter_.Status(interval_note_.empty() ? result_text_ : result_text_ + "   " + interval_note_);
}

AreaCollectPass* AreaSession::BeginCollect(const Region& region, int32_t width, int32_t height,
                                           std::optional<Region> reference,
                                           std::optional<TrackingParams> spot_params,
                                           std::string description) {
  if (!region.active || region.right <= region.left || region.bottom <= region.top) {
    reporter_.Modal(kNoRegion);
    return nullptr;
  }
  if (region.right <= 0 || region.bottom <= 0 || region.left >= width || region.top >= height) {
    reporter_.Modal(kRegionOutside);
    return nullptr;
  }
  if (!region.FitsIn(width, height)) reporter_.Warning(kRegionClipped);
  trace_.Clear();
  ClearDerived();
  description_ = std::move(description);
  recovery_percent_ = false;
  source_ = AreaSource::kRegion;
  pass_ = std::make_unique<AreaCollectPass>(trace_, region, reference, spot_params);
  return pass_.get();
}

void AreaSession::FinishCollect(bool completed, int32_t frames) {
  pass_.reset();
  char text[160];
  if (completed)
    std::snprintf(text, sizeof text, kCollectFinished.data(), trace_.Points());
  else
    std::snprintf(text, sizeof text, kCollectStopped.data(), trace_.Points(), frames);
  reporter_.Status(text);
  if (trace_.Points() == 0) source_ = AreaSource::kNone;
  unsaved_ = trace_.Points() > 0;
}

bool AreaSession::UseTrack(const TrackSeries& track, double frame_s, AreaSource source,
                           std::string description) {
  AreaTrace t = TraceFromTrack(track, frame_s);
  if (t.Points() == 0) {
    reporter_.Modal(kNoTrack);
    return false;
  }
  SetTrace(std::move(t), source, std::move(description));
  return true;
}

bool AreaSession::NeedData() {
  if (HasData()) return true;
  reporter_.Modal(kNoData);
  return false;
}

// The MSD and diffusion commands need positions: a region's centre, a track or a bead.
bool AreaSession::NeedPositions() {
  const bool any = std::any_of(trace_.x_nm.begin(), trace_.x_nm.end(),
                               [](float v) { return std::isfinite(v); });
  if (source_ == AreaSource::kNone || !any) {
    reporter_.Modal(kWrongMode);
    return false;
  }
  return true;
}

std::optional<double> AreaSession::EvenStep() const {
  const std::vector<float>& t = trace_.time;
  if (t.size() < 2) return std::nullopt;
  const double step = (static_cast<double>(t.back()) - t.front()) / static_cast<double>(t.size() - 1);
  if (!(step > 0) || !std::isfinite(step)) return std::nullopt;
  for (size_t i = 1; i < t.size(); ++i)
    if (!(std::fabs(static_cast<double>(t[i]) - t[i - 1] - step) <= 0.1 * step))
      return std::nullopt;
  return step;
}

bool AreaSession::Show(AreaView view) {
  if (!NeedData()) return false;
  if (view == AreaView::kStage && trace_.stage_x.empty()) {
    reporter_.Modal(kNoStage);
    return false;
  }
  if (view == AreaView::kSpotInt && trace_.spots.empty()) {
    reporter_.Modal(kNoSpotCount);
    return false;
  }
  if (view == AreaView::kNormalised && derived_name_.empty()) return false;
  if (view == AreaView::kMsd && msd_.dt_s.empty()) return false;
  view_ = view;
  return true;
}

bool AreaSession::Smooth(Smoothing kind) {
  if (!NeedData()) return false;
  for (std::vector<float>* c : {&trace_.intensity, &trace_.above, &trace_.x_nm, &trace_.y_nm,
                                &trace_.spots, &trace_.reference}) {
    if (c->empty()) continue;
    switch (kind) {
      case Smoothing::kDemp5: *c = Windowed(*c, 2, 2, MeanOf); break;
      case Smoothing::kDemp10: *c = Windowed(*c, 5, 4, MeanOf); break;
      case Smoothing::kMed3: *c = Windowed(*c, 1, 1, MedianOf); break;
      case Smoothing::kMed5: *c = Windowed(*c, 2, 2, MedianOf); break;
      case Smoothing::kMed7: *c = Windowed(*c, 3, 3, MedianOf); break;
    }
  }
  ClearDerived();
  unsaved_ = true;
  return true;
}

bool AreaSession::FirstDerivativeClick() {
  if (!NeedData()) return false;
  const std::vector<float>& v = Intensity();
  const std::vector<float>& t = trace_.time;
  const size_t n = v.size();
  if (n < 2) {
    reporter_.Modal(kTooFewPoints);
    return false;
  }
  derived_.assign(n, NAN);
  for (size_t i = 0; i < n; ++i) {
    const size_t a = i == 0 ? 0 : i - 1, b = i + 1 == n ? i : i + 1;
    const double dt = static_cast<double>(t[b]) - t[a];
    if (dt > 0) derived_[i] = static_cast<float>((static_cast<double>(v[b]) - v[a]) / dt);
  }
  derived_name_ = "dI/dt";
  view_ = AreaView::kDerivative;
  return true;
}

bool AreaSession::RunFit(FitModel model) {
  if (!NeedData()) return false;
  if (model == FitModel::kSpots && trace_.spots.empty()) {
    reporter_.Modal(kNoSpotCount);
    return false;
  }
  if (model == FitModel::kSpots && trace_.Points() < kSpotsFitMinPoints) {
    reporter_.Modal(kTooFewPointsSpots);
    return false;
  }
  std::vector<float>& curve = model == FitModel::kSpots ? trace_.spots : Intensity();
  last_fit_ = RunCurveFit(model, trace_.time, curve);
  if (!last_fit_.problem.empty()) reporter_.Warning(last_fit_.problem);
  if (model == FitModel::kRecovery) {
    curve = last_fit_.curve;  // the curve stays rewritten in percent
    recovery_percent_ = true;
    unsaved_ = true;
  }
  fit_ = last_fit_.fit;
  fit_kind_ = model == FitModel::kBleaching  ? AreaFitKind::kBleaching
              : model == FitModel::kRecovery ? AreaFitKind::kRecovery
                                             : AreaFitKind::kSpots;
  view_ = model == FitModel::kSpots ? AreaView::kSpotInt : AreaView::kIntens;
  SetResult(last_fit_.text, last_fit_.interval);
  return true;
}

bool AreaSession::FitBleachingClick() {
  return RunFit(FitModel::kBleaching);
}
bool AreaSession::FitRecoveryClick() {
  return RunFit(FitModel::kRecovery);
}
bool AreaSession::FitSpotsCurveClick() {
  return RunFit(FitModel::kSpots);
}

bool AreaSession::FitDoubleBleachingClick() {
  if (!NeedData()) return false;
  const std::vector<float>& v = Intensity();
  const int32_t n = trace_.Points();
  const DoubleBleachingFit fit = FitDoubleBleaching(trace_.time.data(), v.data(), n);
  if (!fit.found) {
    reporter_.Modal(n < 5 ? kTooFewPoints : kNothingFitted);
    return false;
  }
  fit_.assign(static_cast<size_t>(n), 0.0f);
  DoubleBleachingCurve(fit, trace_.time.data(), n, fit_.data());
  fit_kind_ = AreaFitKind::kDoubleBleaching;
  view_ = AreaView::kIntens;
  SetResult(DoubleBleachingText(fit));
  return true;
}

bool AreaSession::ShowNormalised(std::optional<std::vector<float>> curve,
                                 const std::string& message, const char* name) {
  if (!curve) {
    reporter_.Modal(message);
    return false;
  }
  derived_ = std::move(*curve);
  derived_name_ = name;
  view_ = AreaView::kNormalised;
  return true;
}

bool AreaSession::FullScaleClick() {
  if (!NeedData()) return false;
  std::string message;
  auto out = FullScaleNormalised(Intensity(), message);
  return ShowNormalised(std::move(out), message, "Full scale");
}

bool AreaSession::DoubleNormClick() {
  if (!NeedData()) return false;
  std::string message;
  auto out = DoubleNormalised(trace_.above, trace_.reference, message);
  return ShowNormalised(std::move(out), message, "Double normalised");
}

bool AreaSession::MSDver_dTClick() {
  if (!NeedData() || !NeedPositions()) return false;
  const auto step = EvenStep();
  if (!step) {
    reporter_.Modal(kTimingOutOfBoundaries);
    return false;
  }
  const int32_t n = trace_.Points();
  if (n < 3) {
    reporter_.Modal(kTooFewPoints);
    return false;
  }
  const int32_t lags = std::min(n - 1, std::max(4, n / 4));
  msd_ = {};
  for (int32_t lag = 1; lag <= lags; ++lag) {
    msd_.dt_s.push_back(static_cast<float>(lag * *step));
    msd_.msd_um2.push_back(static_cast<float>(MeanSquaredStep(trace_, lag)));
  }
  // The straight line through the first (up to) four lags: MSD = 4 D dT + MSD(0).
  double sx = 0, sy = 0, sxx = 0, sxy = 0;
  int32_t m = 0;
  for (size_t i = 0; i < msd_.dt_s.size() && m < 4; ++i) {
    if (!std::isfinite(msd_.msd_um2[i])) continue;
    const double x = msd_.dt_s[i], y = msd_.msd_um2[i];
    sx += x;
    sy += y;
    sxx += x * x;
    sxy += x * y;
    ++m;
  }
  const double det = m * sxx - sx * sx;
  if (m < 2 || !(det > 0)) {
    reporter_.Modal(kTooFewPoints);
    return false;
  }
  const double slope = (m * sxy - sx * sy) / det;
  msd_.msd0_um2 = (sy - slope * sx) / m;
  msd_.d_um2_s = slope / 4.0;
  view_ = AreaView::kMsd;
  SetResult(std::string(kFittedDlat) + Trunc(msd_.d_um2_s, 1e4) + std::string(kUm2PerS) + ", " +
            std::string(kMsd0) + Trunc(msd_.msd0_um2, 1e4) + " um2");
  return true;
}

bool AreaSession::CalcKdiffClick() {
  if (!NeedData() || !NeedPositions()) return false;
  const auto step = EvenStep();
  if (!step || trace_.Points() < 2) {
    reporter_.Modal(kWrongTiming);
    return false;
  }
  const double msd = MeanSquaredStep(trace_, 1);
  if (std::isnan(msd)) {
    reporter_.Modal(kWrongMode);
    return false;
  }
  // Two dimensions: MSD(dt) = 4 D dt.
  SetResult(std::string(kDlat) + Trunc(msd / (4.0 * *step), 1e4) + std::string(kUm2PerS));
  return true;
}

bool AreaSession::CalcVarClick() {
  if (!NeedData()) return false;
  auto var = [](const std::vector<float>& c, double& mean) {
    double s = 0, ss = 0;
    int32_t k = 0;
    for (float v : c)
      if (std::isfinite(v)) {
        s += v;
        ss += static_cast<double>(v) * v;
        ++k;
      }
    mean = k ? s / k : NAN;
    return k > 1 ? (ss - s * s / k) / (k - 1) : NAN;
  };
  double mi = 0, mx = 0, my = 0;
  const double vi = var(Intensity(), mi), vx = var(trace_.x_nm, mx), vy = var(trace_.y_nm, my);
  if (trace_.Points() < 2) {
    reporter_.Modal(kTooFewPoints);
    return false;
  }
  SetResult("Mean I=" + Trunc(mi, 100) + ", Var I=" + Trunc(vi, 100) + ", Var X=" +
            Trunc(vx, 10) + " nm2, Var Y=" + Trunc(vy, 10) + " nm2");
  return true;
}

bool AreaSession::CutTrackClick(std::string_view text) {
  if (!NeedData()) return false;
  const size_t dash = text.find('-');
  const int32_t n = trace_.Points();
  int64_t first = 0, last = -1;
  if (dash != std::string_view::npos) {
    first = ParseInteger(text.substr(0, dash)).value_or(0);
    last = ParseInteger(text.substr(dash + 1)).value_or(-1);
  }
  if (first < 1 || last > n || first > last) {
    char m[80];
    std::snprintf(m, sizeof m, kCutOutOfRange.data(), n);
    reporter_.Modal(m);
    return false;
  }
  trace_.Cut(static_cast<int32_t>(first - 1), static_cast<int32_t>(last - 1));
  ClearDerived();
  unsaved_ = true;
  return true;
}

AreaPlot AreaSession::Plot() const {
  AreaPlot p;
  p.title_x = std::string(kTimeAxis);
  p.notes[0] = description_;
  p.notes[2] = interval_note_;
  p.notes[3] = result_text_;
  if (!HasData()) {
    p.notes[0] = "NO DATA";
    return p;
  }
  const AreaTrace& t = trace_;
  p.x = t.time;
  auto positions = [&](const std::vector<float>& c) {
    if (abs_vals_ || c.empty()) return c;
    std::vector<float> r(c);
    for (float& v : r) v -= c.front();
    return r;
  };
  const std::string intensity_title =
      std::string(recovery_percent_ ? kRecoveryAxis : kIntensityAxis);
  auto add_fit = [&](AreaFitKind on) {
    if (fit_kind_ == on || (on == AreaFitKind::kBleaching &&
                            (fit_kind_ == AreaFitKind::kRecovery ||
                             fit_kind_ == AreaFitKind::kDoubleBleaching)))
      p.curves.push_back(Line("Fit", fit_, kRed));
  };
  switch (view_) {
    case AreaView::kIntens:
      p.title_y0 = intensity_title;
      p.curves.push_back(Data("Intensity", Intensity(), kBlue));
      add_fit(AreaFitKind::kBleaching);
      if (fit_kind_ == AreaFitKind::kRecovery) p.fixed_y0 = GraphAxis{90, 200, 10};
      break;
    case AreaView::kXY:
      p.title_y0 = std::string(kPositionAxis);
      p.curves.push_back(Data("X", positions(t.x_nm), kBlue));
      p.curves.push_back(Data("Y", positions(t.y_nm), kRed));
      p.y_over_data[0] = abs_vals_;
      break;
    case AreaView::kIntXY:
      p.title_y0 = intensity_title;
      p.title_y1 = std::string(kPositionAxis);
      p.curves.push_back(Data("Intensity", Intensity(), kBlue));
      p.curves.push_back(Data("X", positions(t.x_nm), kGreen, true));
      p.curves.push_back(Data("Y", positions(t.y_nm), kRed, true));
      p.y_over_data[1] = abs_vals_;
      break;
    case AreaView::kSpotInt:
      p.title_y0 = std::string(kSpotsAxis);
      p.title_y1 = intensity_title;
      p.curves.push_back(Data("Spots", t.spots, kBlue));
      add_fit(AreaFitKind::kSpots);
      p.curves.push_back(Data("Intensity", Intensity(), kGreen, true));
      break;
    case AreaView::kOneVer2:
      p.title_x = std::string(kXAxisNm);
      p.title_y0 = std::string(kYAxisNm);
      p.x = positions(t.x_nm);
      for (float& v : p.x)
        if (!std::isfinite(v)) v = 0;
      p.curves.push_back(Data("Path", positions(t.y_nm), kBlue));
      p.y_over_data[0] = abs_vals_;
      break;
    case AreaView::kRmsd: {
      p.title_y0 = std::string(kSquaredDispAxis);
      std::vector<float> r(t.time.size(), NAN);
      for (size_t i = 0; i < r.size(); ++i) {
        const double dx = (static_cast<double>(t.x_nm[i]) - t.x_nm[0]) * 1e-3;
        const double dy = (static_cast<double>(t.y_nm[i]) - t.y_nm[0]) * 1e-3;
        r[i] = static_cast<float>(dx * dx + dy * dy);
      }
      p.curves.push_back(Data("Squared displacement", r, kBlue));
      break;
    }
    case AreaView::kVelocity: {
      p.title_y0 = std::string(kVelocityAxis);
      std::vector<float> v(t.time.size(), NAN);
      for (size_t i = 1; i < v.size(); ++i) {
        const double dx = (static_cast<double>(t.x_nm[i]) - t.x_nm[i - 1]) * 1e-3;
        const double dy = (static_cast<double>(t.y_nm[i]) - t.y_nm[i - 1]) * 1e-3;
        const double dt = static_cast<double>(t.time[i]) - t.time[i - 1];
        if (dt > 0) v[i] = static_cast<float>(std::sqrt(dx * dx + dy * dy) / dt);
      }
      p.curves.push_back(Data("Velocity", v, kBlue));
      break;
    }
    case AreaView::kStage:
      p.title_y0 = std::string(kStageAxis);
      p.curves.push_back(Data("Stage X", positions(t.stage_x), kBlue));
      p.curves.push_back(Data("Stage Y", positions(t.stage_y), kRed));
      p.curves.push_back(Data("Focus", positions(t.stage_z), kBlack));
      p.y_over_data[0] = abs_vals_;
      break;
    case AreaView::kDerivative:
      p.title_y0 = std::string(kDerivativeAxis);
      p.curves.push_back(Data(derived_name_, derived_, kBlue));
      break;
    case AreaView::kNormalised:
      p.title_y0 = std::string(kNormalisedAxis);
      p.curves.push_back(Data(derived_name_, derived_, kBlue));
      break;
    case AreaView::kMsd:
      p.title_x = std::string(kDtAxis);
      p.title_y0 = std::string(kMsdAxis);
      p.x = msd_.dt_s;
      p.curves.push_back(Data("MSD", msd_.msd_um2, kBlue));
      {
        std::vector<float> line(msd_.dt_s.size());
        for (size_t i = 0; i < line.size(); ++i)
          line[i] = static_cast<float>(4.0 * msd_.d_um2_s * msd_.dt_s[i] + msd_.msd0_um2);
        p.curves.push_back(Line("Fit", line, kRed));
      }
      break;
  }
  return p;
}

std::string AreaSession::TableText() const {
  const AreaTrace& t = trace_;
  struct Column {
    const char* name;
    const std::vector<float>* values;
  };
  std::vector<Column> cols = {{"time_s", &t.time},
                              {recovery_percent_ && abs_vals_ ? "intensity_percent" : "intensity",
                               &t.intensity},
                              {recovery_percent_ && !abs_vals_ ? "above_background_percent"
                                                               : "above_background",
                               &t.above},
                              {"x_nm", &t.x_nm},
                              {"y_nm", &t.y_nm}};
  if (!t.spots.empty()) cols.push_back({"spots", &t.spots});
  if (!t.stage_x.empty()) {
    cols.push_back({"stage_x_nm", &t.stage_x});
    cols.push_back({"stage_y_nm", &t.stage_y});
    cols.push_back({"stage_z_nm", &t.stage_z});
  }
  if (!t.reference.empty()) cols.push_back({"reference", &t.reference});
  if (!fit_.empty()) cols.push_back({"fit", &fit_});
  if (!derived_.empty())
    cols.push_back({derived_name_ == "dI/dt" ? "derivative" : "normalised", &derived_});
  std::string out;
  for (size_t c = 0; c < cols.size(); ++c) out += (c ? "\t" : "") + std::string(cols[c].name);
  out += '\n';
  for (size_t i = 0; i < t.time.size(); ++i) {
    for (size_t c = 0; c < cols.size(); ++c) out += (c ? "\t" : "") + Cell(*cols[c].values, i);
    out += '\n';
  }
  return out;
}

}  // namespace lumetra
