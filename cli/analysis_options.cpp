#include "cli/analysis_options.h"

#include <algorithm>
#include <optional>

#include "settings/ini_file.h"
#include "spots/spots_messages.h"
#include "spots/tracking_settings.h"

namespace lumetra::cli {
namespace {

// The ranges of the tracking window's input boxes; the texts are the window's.
std::optional<std::string> CheckParams(const TrackingParams& p) {
  if (!(p.max_radius >= kMaxRadiusLow && p.max_radius <= kMaxRadiusHigh))
    return std::string(kMaxRadiusError) + " (--radius " + std::to_string(kMaxRadiusLow) + "-" +
           std::to_string(kMaxRadiusHigh) + ")";
  if (p.min_track < kMinTrackLow || p.min_track > kMinTrackHigh)
    return std::string(kMinTrackError) + " (--min-length 3-100)";
  if (p.q_threshold < kSensThrLow || p.q_threshold > kSensThrHigh)
    return std::string(kThresholdError) + " (--q 2-10000)";
  if (p.cluster_threshold < kClustThrLow || p.cluster_threshold > kClustThrHigh)
    return std::string(kThresholdError) + " (--cluster 3-65000)";
  if (!(p.fwhm_nm >= 10)) return std::string("Too small FWHM (--fwhm-nm 10 or more)");
  return std::nullopt;
}

bool ReadSettingsFile(const ArgParser& p, Settings& settings, Reporter& reporter,
                      std::string& error) {
  if (ReadIniFile(p.Value("ini"), settings, reporter)) return true;
  error = "--ini " + p.Value("ini") + ": the settings file can not be read";
  return false;
}

}  // namespace

ArgParser& AddTrackingOptions(ArgParser& p) {
  return p.Option("fwhm-nm", "NM", "FWHM of the spots (default 250)")
      .Option("radius", "PIXELS", "R: largest move between frames, 0-30 (default 5)")
      .Option("min-length", "STEPS", "L: a track needs more steps than this, 3-100 (default 10)")
      .Option("q", "Q|auto",
              "sensitivity threshold, 2-10000 (default 8); auto: chosen from the noise of the "
              "first 5 frames for about one false spot per 512 x 512 frame")
      .Option("detector", "template|dense",
              "template: the window's template match (default); dense: Dense Field Detection, "
              "band-pass candidates fitted together (crowded and dim records; its threshold "
              "comes from the noise, Q and --resolve-close do not apply)")
      .Option("cluster", "COUNTS",
              "C: brightest track intensity, counts/pixel, 3-65000 (default 500)")
      .Option("ini", "Lumetra.ini", "read R, L, Q, C and the FWHM from a settings file first")
      .Flag("subtract-background", "intensities above the local background ring")
      .Flag("resolve-close",
            "Resolve Close Spots: split spots with two separate maxima; a track may share "
            "a neighbour's spot for up to 5 frames")
      .Flag("filaments",
            "Track Filaments: elongated objects, no spot shape test (one object a filament)");
}

bool ReadTrackingOptions(const ArgParser& p, TrackingParams& params, Reporter& reporter,
                         std::string& error) {
  if (p.Has("ini")) {
    Settings settings;
    if (!ReadSettingsFile(p, settings, reporter, error)) return false;
    params = TrackingParamsFrom(settings, params);
  }
  if (p.Has("q")) params.q_auto = p.Value("q") == "auto";
  if (p.Has("detector")) {
    if (p.Value("detector") != "template" && p.Value("detector") != "dense") {
      error = "--detector must be template or dense";
      return false;
    }
    params.detector =
        p.Value("detector") == "dense" ? SpotDetectorKind::kDense : SpotDetectorKind::kTemplate;
  }
  auto whole = [&](const char* name, int32_t& out) {
    int64_t v = out;
    if (p.Has(name) && !p.Int(name, v, error)) return false;
    out = static_cast<int32_t>(std::clamp<int64_t>(v, -1, 1 << 30));
    return true;
  };
  if ((p.Has("fwhm-nm") && !p.Real("fwhm-nm", params.fwhm_nm, error)) ||
      (p.Has("radius") && !p.Real("radius", params.max_radius, error)) ||
      !whole("min-length", params.min_track) ||
      (!params.q_auto && !whole("q", params.q_threshold)) ||
      !whole("cluster", params.cluster_threshold))
    return false;
  params.subtract_background = p.Has("subtract-background");
  params.resolve_close = p.Has("resolve-close");
  params.track_filaments = p.Has("filaments");
  if (auto why = CheckParams(params)) {
    error = *why;
    return false;
  }
  return true;
}

ArgParser& AddStepOptions(ArgParser& p) {
  return p.Option("spot", "1|3|5", "spot size: 1X1, 3X3 or 5X5 pixels (default 5)")
      .Option("window", "W", "window length in frames, 1-10 (default 10, or DetectWindow)")
      .Option("drop-threshold", "T", "objects above T counts/pixel of drop, 1-65535 (default 10)")
      .Option("objects", "spots|pixels", "spots (local maxima) or single pixels (default spots)")
      .Option("max-steps", "N", "MS-test: most steps a staircase may have, 2-9 (default 9)")
      .Option("ini", "Lumetra.ini", "read the window length (DetectWindow) from a settings file")
      .Flag("no-background", "No Backgr Subtr: traces without the background ring");
}

bool ReadStepOptions(const ArgParser& p, StepAnalysis& a, Reporter& reporter, std::string& error) {
  error.clear();
  if (p.Has("ini")) {
    Settings settings;
    if (!ReadSettingsFile(p, settings, reporter, error)) return false;
    a.ApplySettings(settings);
  }
  if (p.Has("window") && !a.WindLenClick(p.Value("window"))) return false;
  if (p.Has("max-steps") && !a.LimitNofStepsClick(p.Value("max-steps"))) return false;
  if (p.Has("drop-threshold") && !a.InpThrClick(p.Value("drop-threshold"))) return false;
  if (p.Has("spot")) {
    const std::string s = p.Value("spot");
    if (s != "1" && s != "3" && s != "5") {
      error = "--spot must be 1, 3 or 5";
      return false;
    }
    a.SetSpotSize((s[0] - '1') / 2);
  }
  if (p.Has("objects")) {
    if (p.Value("objects") != "spots" && p.Value("objects") != "pixels") {
      error = "--objects must be spots or pixels";
      return false;
    }
    a.Params().kind = p.Value("objects") == "spots" ? ObjectKind::kSpots : ObjectKind::kPixels;
  }
  a.Params().no_background = p.Has("no-background");
  return true;
}

}  // namespace lumetra::cli
