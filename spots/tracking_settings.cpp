#include "spots/tracking_settings.h"

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

}  // namespace lumetra
