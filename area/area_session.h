// The region window's state and commands without a screen: the time course
// (of the region, a tracked object or a bead), the view on show, the curve
// commands, the three grid fits and the extras, the MSD and diffusion
// read-outs and the table Save TXT writes. The window asks for input, calls
// one of these and redraws Plot().
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "area/area_plot.h"
#include "area/area_trace.h"
#include "area/curve_fit.h"
#include "area/fit_extras.h"
#include "area/grid_fits.h"
#include "common/report.h"

namespace lumetra {

enum class AreaView {
  kIntens,      // intensity against time
  kXY,          // X and Y against time
  kIntXY,       // intensity, with X and Y on the right axis
  kSpotInt,     // spot count, with the intensity on the right axis
  kOneVer2,     // Y against X: the path
  kRmsd,        // squared displacement from the first point against time
  kVelocity,    // speed between consecutive points
  kStage,       // stage X, Y and focus
  kDerivative,  // first derivative of the intensity
  kMsd,         // MSD against dT with its linear fit
  kNormalised,  // a normalised intensity
};

enum class AreaSource { kNone, kRegion, kTrack, kBead };
enum class AreaFitKind { kNone, kBleaching, kRecovery, kSpots, kDoubleBleaching };
enum class Smoothing { kDemp5, kDemp10, kMed3, kMed5, kMed7 };

class AreaSession {
 public:
  explicit AreaSession(Reporter& reporter) : reporter_(reporter) {}

  // A new time course; the fit, the derived curves and the view's extras go.
  void SetTrace(AreaTrace trace, AreaSource source, std::string description);
  // Checks the region against the frame (one message when it reaches past
  // the frame or lies outside it) and gives the pass that collects into this
  // session; null when there is nothing to measure.
  AreaCollectPass* BeginCollect(const Region& region, int32_t width, int32_t height,
                                std::optional<Region> reference,
                                std::optional<TrackingParams> spot_params,
                                std::string description);
  // After the playback: the curves end where it stopped.
  void FinishCollect(bool completed, int32_t frames);
  // The tracked object (or bead) as the time course. False with "The chosen
  // track has no point" for an empty one.
  bool UseTrack(const TrackSeries& track, double frame_s, AreaSource source,
                std::string description);

  const AreaTrace& Trace() const { return trace_; }
  AreaSource Source() const { return source_; }
  bool HasData() const { return trace_.Points() > 0; }
  AreaView View() const { return view_; }
  AreaFitKind FitKind() const { return fit_kind_; }
  const std::vector<float>& FitCurve() const { return fit_; }
  // The last of the three grid fits, with its grid values and interval.
  const CurveFitResult& LastFit() const { return last_fit_; }
  // The graph's note lines 3 and 4: the rate's interval and the fit's text.
  const std::string& IntervalNote() const { return interval_note_; }
  const std::string& ResultText() const { return result_text_; }
  bool Unsaved() const { return unsaved_; }
  void MarkSaved() { unsaved_ = false; }

  // ShowAbsVals: absolute counts and positions (on) or counts above the local
  // background and positions from the first point (off). The fits fit the
  // intensity curve as it is shown.
  bool AbsVals() const { return abs_vals_; }
  void SetAbsVals(bool on) { abs_vals_ = on; }
  std::vector<float>& Intensity() { return abs_vals_ ? trace_.intensity : trace_.above; }
  const std::vector<float>& Intensity() const {
    return abs_vals_ ? trace_.intensity : trace_.above;
  }

  // The views. False (with a message) when the data for it is missing.
  bool Show(AreaView view);

  // Demp5Click, Demp10Click (running means over 5 and 10 points) and the 3-,
  // 5- and 7-point medians: every measured curve smoothed in place.
  bool Smooth(Smoothing kind);
  bool FirstDerivativeClick();
  bool FitBleachingClick();
  bool FitRecoveryClick();
  bool FitSpotsCurveClick();
  bool FitDoubleBleachingClick();
  bool FullScaleClick();
  bool DoubleNormClick();
  bool MSDver_dTClick();
  bool CalcVarClick();
  bool CalcKdiffClick();
  // "12-80": keeps points 12 to 80 (counted from 1) of every curve.
  bool CutTrackClick(std::string_view text);

  AreaPlot Plot() const;
  // The tidy table of Save TXT: a header row, one row per point.
  std::string TableText() const;

  // MSD against lag: lag times (s) and MSD (um2), and the fit's D and MSD(0).
  struct Msd {
    std::vector<float> dt_s, msd_um2;
    double d_um2_s = 0, msd0_um2 = 0;
  };
  const Msd& MsdCurve() const { return msd_; }

 private:
  bool RunFit(FitModel model);
  bool ShowNormalised(std::optional<std::vector<float>> curve, const std::string& message,
                      const char* name);
  bool NeedData();
  bool NeedPositions();
  // Equal steps between the points' times: the step (s), or nothing.
  std::optional<double> EvenStep() const;
  void ClearDerived();
  void SetResult(std::string text, std::string interval = {});

  Reporter& reporter_;
  AreaTrace trace_;
  AreaSource source_ = AreaSource::kNone;
  std::string description_;
  AreaView view_ = AreaView::kIntens;
  AreaFitKind fit_kind_ = AreaFitKind::kNone;
  std::vector<float> fit_;
  std::vector<float> derived_;  // derivative or normalised curve
  std::string derived_name_;
  bool recovery_percent_ = false;  // FitRecovery rewrote the intensity
  Msd msd_;
  CurveFitResult last_fit_;
  std::string interval_note_, result_text_;
  bool abs_vals_ = true;
  bool unsaved_ = false;
  std::unique_ptr<AreaCollectPass> pass_;
};

}  // namespace lumetra
