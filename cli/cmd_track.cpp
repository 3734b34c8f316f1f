// lumetra-cli track FILE.xkv --out TRACKS.xki [...]: Detect over the whole
// record, then Link Tracks, then the XKI file and the tidy table.
#include <algorithm>
#include <cmath>
#include <functional>
#include <iostream>
#include <memory>

#include "cli/analysis_options.h"
#include "cli/cli_common.h"
#include "cli/mask_option.h"
#include "common/text_format.h"
#include "processing/temporal_median.h"
#include "record/playback.h"
#include "record/record_store.h"
#include "settings/ini_file.h"
#include "spots/spot_params.h"
#include "spots/spots_messages.h"
#include "spots/track_export.h"
#include "spots/track_statistics.h"
#include "spots/tracking_passes.h"
#include "spots/tracking_settings.h"
#include "spots/xki_file.h"

namespace lumetra::cli {
namespace {

// The detector reports a full candidate list once per remaining row, and a
// frame too small once as a box and again at every frame; on a console one
// line per run of repeats of a text is enough.
class CollapsingReporter final : public Reporter {
 public:
  explicit CollapsingReporter(Reporter& to) : to_(to) {}
  void Report(MessageKind kind, std::string_view text) override {
    if (kind != MessageKind::kStatus && text == last_) return;
    if (kind != MessageKind::kStatus) last_ = text;
    to_.Report(kind, text);
  }
  void ReportDetailed(MessageKind kind, std::string_view text, std::string_view detail) override {
    last_.clear();
    to_.ReportDetailed(kind, text, detail);
  }

 private:
  Reporter& to_;
  std::string last_;
};

}  // namespace

int RunTrack(const std::vector<std::string>& args) {
  ArgParser p("track",
              "Finds and tracks single particles over the whole record, as Detect and Link\n"
              "Tracks do in the tracking window, and writes the tracks as an XKI file and,\n"
              "with --tsv, as a table with the header track, frame, time_s, x_px, y_px,\n"
              "intensity, sigma_x_nm, sigma_y_nm, q (x_px and y_px: absolute sub-pixel\n"
              "position, x = column; sigma: the Cramer-Rao bound of the fitted centre, nan\n"
              "where none was fitted; q: the Q used, nan with --detector dense). Prints the\n"
              "read-outs of both passes and the number of tracks; with --q auto first the Q\n"
              "chosen and the noise it was chosen for.");
  p.Positional("FILE.xkv", "the record")
      .Option("out", "TRACKS.xki", "the XKI file to write (required)")
      .Option("tsv", "TRACKS.tsv", "also write the tidy table of track points")
      .Option("temporal-median", "3|5|7",
              "filter every frame by the median of the last 3, 5 or 7 frames first");
  AddTrackingOptions(p)
      .Option("spot-map", "MAP.txt",
              "Build Spot Map: write every object of every frame (FrNum, "
              "Int(c/pix), X(um), Y(um))")
      .Option("velocity", "V.txt", "write each track's velocity (um/s) and length (steps)")
      .Option("dlat", "D.txt",
              "write each track's distance to the frame edge (um) and Dlat (um2/s)")
      .Option("distributions", "DIST.txt",
              "write the distributions of track intensity, nearest-spot distance in the last "
              "frame, Dlat and velocity")
      .Option("intensities", "INT.txt",
              "write the distribution of the intensities of all spots of the record")
      .Flag("no-link-pass", "skip Link Tracks (positions stay whole pixels)")
      .Flag("verbose", "print the read-out of every frame on stderr");
  AddTiffOptions(p);
  AddMaskOptions(p);
  if (auto code = ParseOrExit(p, args)) return *code;
  if (!p.Has("out")) return Fail("track", "--out TRACKS.xki is required", 2);
  ConsoleReporter console(p.Has("verbose"));
  CollapsingReporter reporter(console);
  TrackingParams params;
  std::string error;
  if (!ReadTrackingOptions(p, params, reporter, error)) return Fail("track", error, 2);
  params.spot_map = p.Has("spot-map");

  auto record = RecordStore::Create(reporter);
  if (!record) return 1;
  if (auto code = ApplyTiffOptions(p, *record, "track")) return *code;
  // The filter sits in the store's chain, so detection sees the frames the
  // window shows with the same menu item checked. Its buffer is large: made
  // only when asked for.
  std::unique_ptr<TemporalMedian> median;
  if (p.Has("temporal-median")) {
    const auto frames = ParseTemporalMedianFrames(p.Value("temporal-median"));
    if (!frames) return Fail("track", "--temporal-median must be 3, 5 or 7", 2);
    median = std::make_unique<TemporalMedian>(reporter);
    UseTemporalMedian(*record, *median, *frames);
  }
  if (!OpenRecordWithFrames(*record, p.Arg(0), reporter)) return 1;
  MaskStep mask;
  if (auto code = ApplyMaskOptions(p, *record, mask, reporter, "track")) return *code;
  auto store = std::make_unique<TrackStore>();
  DetectPass detect(*store, params, reporter);
  Playback(*record, {&detect}).Run(reporter);
  // A record whose frames were all refused ("Area is too small") has no
  // frame read-out, and nothing to track.
  if (detect.FrameReadOut().empty()) return 1;
  std::cout << detect.FrameReadOut() << '\n' << detect.EndReadOut() << '\n';
  if (!p.Has("no-link-pass")) {
    LinkTracksPass link(*store, params, reporter);
    Playback(*record, {&link}).Run(reporter);
    std::cout << link.EndReadOut() << '\n';
  }
  const PRM_INFO& prm = record->Prm();
  XkiWriteOptions xki;
  xki.parameter = prm.ScaleX;
  if (!WriteXkiFile(p.Value("out"), *store, xki, reporter)) return 1;
  // The table keeps the Q the template detector used (the automatic one's choice too).
  const double q = detect.TableQ();
  if (p.Has("tsv") &&
      !WriteTextFile(p.Value("tsv"), TidyTracksText(*store, prm.ScaleX, prm.ScaleY, q),
                     kFileWritingError, reporter))
    return 1;
  const TrackScale scale{prm.ScaleX, prm.ScaleY};
  const Region frame{0, 0, record->Width(), record->Height(), true};
  const struct {
    const char* option;
    std::string_view open_error;
    std::function<std::string()> text;
  } exports[] = {
      {"spot-map", kFileWritingError, [&] { return SpotsInMapText(detect.Map()); }},
      {"velocity", kFileWritingError, [&] { return VelocityText(*store, scale, reporter); }},
      {"dlat", kFileWritingError,
       [&] { return DlatOutlineDistText(*store, scale, frame, reporter); }},
      {"distributions", kCanNotOpenFileForWriting,
       [&] { return DistributionsText(*store, scale, detect.Finder().Objects(), reporter); }},
      {"intensities", kCanNotOpenFileForWriting,
       [&] { return IntensityDistributionText(detect.Intensities()); }},
  };
  for (const auto& e : exports)
    if (p.Has(e.option) && !WriteTextFile(p.Value(e.option), e.text(), e.open_error, reporter))
      return 1;
  int32_t tracks = 0;
  for (int32_t t = 0; t < store->track_count; ++t)
    tracks += store->Slot(t).completed && store->Slot(t).good;
  std::cout << "tracks: " << tracks << '\n';
  return 0;
}

}  // namespace lumetra::cli
