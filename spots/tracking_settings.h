// The tracking window's settings as the program's settings (and so the INI
// file) hold them: R, L, Q, C and the FWHM.
#pragma once

#include "settings/settings_model.h"
#include "spots/spot_params.h"

namespace lumetra {

// The tracking settings of `settings`; the options not in the file keep
// their values from `base`.
TrackingParams TrackingParamsFrom(const Settings& settings, TrackingParams base = {});

// Writes R, L, Q, C and the FWHM back into `settings`.
void StoreTrackingParams(const TrackingParams& params, Settings& settings);

}  // namespace lumetra
