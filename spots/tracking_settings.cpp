#include "spots/tracking_settings.h"

#include <utility>

#include "common/text_format.h"
#include "spots/spots_messages.h"

namespace lumetra {

TrackingParams TrackingParamsFrom(const Settings& settings, TrackingParams base) {
  base.fwhm_nm = settings.FwhmNm;
  base.max_radius = settings.MaxTrackingJump;
  base.min_track = settings.MinTrackLength;
  base.q_threshold = settings.Q_threshold;
  base.cluster_threshold = settings.ClusterThreshold;
  return base;
}

void StoreTrackingParams(const TrackingParams& params, Settings& settings) {
  settings.FwhmNm = params.fwhm_nm;
  settings.MaxTrackingJump = params.max_radius;
  settings.MinTrackLength = params.min_track;
  settings.Q_threshold = params.q_threshold;
  settings.ClusterThreshold = params.cluster_threshold;
}

TrackingPrompt PromptFor(TrackingCommand command) {
  switch (command) {
    case TrackingCommand::kMaxRadius:
      return {kMaxRadiusTitle, kMaxRadiusLabel};
    case TrackingCommand::kMinTrack:
      return {kMinTrackTitle, kMinTrackLabel};
    case TrackingCommand::kSensThr:
      return {kSensThrTitle, kSensThrLabel};
    case TrackingCommand::kClustThr:
      break;
  }
  return {kClustThrTitle, kClustThrLabel};
}

std::string OfferedText(TrackingCommand command, const TrackingParams& p) {
  switch (command) {
    case TrackingCommand::kMaxRadius:
      return std::to_string(TruncToInt(p.max_radius));
    case TrackingCommand::kMinTrack:
      return std::to_string(p.min_track);
    case TrackingCommand::kSensThr:
      return std::to_string(p.q_threshold);
    case TrackingCommand::kClustThr:
      break;
  }
  return std::to_string(p.cluster_threshold);
}

bool ApplyTrackingSetting(TrackingCommand command, std::string_view text, TrackingParams& p,
                          Reporter& reporter) {
  const int32_t v = IntegerOr(text, 0);
  auto accept = [&](int32_t lo, int32_t hi, std::string_view error) {
    if (v >= lo && v <= hi) return true;
    reporter.Modal(error);
    return false;
  };
  switch (command) {
    case TrackingCommand::kMaxRadius:
      if (!accept(kMaxRadiusLow, kMaxRadiusHigh, kMaxRadiusError)) return false;
      p.max_radius = v;
      return true;
    case TrackingCommand::kMinTrack:
      if (!accept(kMinTrackLow, kMinTrackHigh, kMinTrackError)) return false;
      p.min_track = v;
      return true;
    case TrackingCommand::kSensThr:
      if (!accept(kSensThrLow, kSensThrHigh, kThresholdError)) return false;
      p.q_threshold = v;
      return true;
    case TrackingCommand::kClustThr:
      break;
  }
  if (!accept(kClustThrLow, kClustThrHigh, kThresholdError)) return false;
  p.cluster_threshold = v;
  return true;
}

std::string CommandCaption(TrackingCommand command, const TrackingParams& p) {
  switch (command) {
    case TrackingCommand::kMaxRadius:
      return "Max.(R)adius=" + FormatGeneral(p.max_radius) + " pix";
    case TrackingCommand::kMinTrack:
      return "Track(L)en>=" + std::to_string(p.min_track) + " steps";
    case TrackingCommand::kSensThr:
      return "(Q)-Thresh=" + std::to_string(p.q_threshold);
    case TrackingCommand::kClustThr:
      break;
  }
  return "(C)lastThr=" + std::to_string(p.cluster_threshold) + " counts/pixel";
}

std::string SettingsMenuCaption(const TrackingParams& p) {
  return "Settings(R" + FormatGeneral(p.max_radius) + ",FWHM" + FormatGeneral(p.fwhm_nm) + ")";
}

TrackingCaptions::TrackingCaptions()
    : max_radius(kMaxRadiusStartCaption),
      min_track(kMinTrackStartCaption),
      sens_thr(kSensThrStartCaption),
      clust_thr(kClustThrStartCaption),
      settings(kSettingsMenuStartCaption) {}

namespace {

// The caption of one command, for reading and for writing.
template <class Captions>
auto& CaptionOf(Captions& c, TrackingCommand command) {
  switch (command) {
    case TrackingCommand::kMaxRadius:
      return c.max_radius;
    case TrackingCommand::kMinTrack:
      return c.min_track;
    case TrackingCommand::kSensThr:
      return c.sens_thr;
    case TrackingCommand::kClustThr:
      break;
  }
  return c.clust_thr;
}

}  // namespace

const std::string& TrackingCaptions::Of(TrackingCommand command) const {
  return CaptionOf(*this, command);
}

void RebuildCaption(TrackingCommand command, const TrackingParams& params,
                    TrackingCaptions& captions) {
  CaptionOf(captions, command) = CommandCaption(command, params);
  captions.settings = SettingsMenuCaption(params);
}

bool FollowSettings(const TrackingParams& before, const TrackingParams& after,
                    TrackingCaptions& captions) {
  const std::pair<TrackingCommand, bool> changes[] = {
      {TrackingCommand::kMaxRadius, before.max_radius != after.max_radius},
      {TrackingCommand::kMinTrack, before.min_track != after.min_track},
      {TrackingCommand::kSensThr, before.q_threshold != after.q_threshold},
      {TrackingCommand::kClustThr, before.cluster_threshold != after.cluster_threshold},
  };
  bool any = before.fwhm_nm != after.fwhm_nm;
  for (const auto& [command, changed] : changes) {
    if (changed) RebuildCaption(command, after, captions);
    any |= changed;
  }
  if (any) captions.settings = SettingsMenuCaption(after);
  return any;
}

}  // namespace lumetra
