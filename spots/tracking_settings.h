// The tracking window's settings as the program's settings (and so the INI
// file) hold them: R, L, Q, C and the FWHM.
#pragma once

#include <string>
#include <string_view>

#include "common/report.h"
#include "settings/settings_model.h"
#include "spots/spot_params.h"

namespace lumetra {

// The tracking settings of `settings`; the options not in the file keep
// their values from `base`.
TrackingParams TrackingParamsFrom(const Settings& settings, TrackingParams base = {});

// Writes R, L, Q, C and the FWHM back into `settings`.
void StoreTrackingParams(const TrackingParams& params, Settings& settings);

// The setting commands of the tracking window.
enum class TrackingCommand { kMaxRadius, kMinTrack, kSensThr, kClustThr };

struct TrackingPrompt {
  std::string_view title;
  std::string_view label;
};
TrackingPrompt PromptFor(TrackingCommand command);
// The text the input box offers: the current value.
std::string OfferedText(TrackingCommand command, const TrackingParams& params);
// A whole number typed into the input box (a non-number counts as 0): stored
// when inside the command's range, else its message and nothing changes.
bool ApplyTrackingSetting(TrackingCommand command, std::string_view text, TrackingParams& params,
                          Reporter& reporter);

// Menu captions: "Max.(R)adius=5 pix", "Track(L)en>=10 steps", "(Q)-Thresh=8",
// "(C)lastThr=500 counts/pixel", and the settings menu "Settings(R5,FWHM250)".
std::string CommandCaption(TrackingCommand command, const TrackingParams& params);
std::string SettingsMenuCaption(const TrackingParams& params);
// The settings menu's caption before any change.
inline constexpr std::string_view kSettingsMenuStartCaption = "Settings( R5 L10 Q8 C500 )";

// The captions the window shows: the start captions until a setting changes,
// then that setting's caption and the settings menu's are rebuilt.
struct TrackingCaptions {
  std::string max_radius, min_track, sens_thr, clust_thr, settings;
  TrackingCaptions();
  const std::string& Of(TrackingCommand command) const;
};
// After the window's own setter stored a value (even the same one).
void RebuildCaption(TrackingCommand command, const TrackingParams& params,
                    TrackingCaptions& captions);
// After settings changed elsewhere (the main window's FWHM, a settings file):
// rebuilds the captions of the values that differ between `before` and
// `after`. False when none did.
bool FollowSettings(const TrackingParams& before, const TrackingParams& after,
                    TrackingCaptions& captions);

}  // namespace lumetra
