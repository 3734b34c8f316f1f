// lumetra-cli stats TRACKS.xki|TRACKS.tsv [...]: diffusion coefficients, MSD,
// jump distances and drift of a set of tracks.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>

#include "cli/cli_common.h"
#include "common/common_messages.h"
#include "common/line_reader.h"
#include "common/text_format.h"
#include "processing/shift_export.h"
#include "record/record_store.h"
#include "spots/diffusion_estimators.h"
#include "spots/drift.h"
#include "spots/jump_distance.h"
#include "spots/spot_params.h"
#include "spots/spots_messages.h"
#include "spots/track_export.h"
#include "spots/track_msd.h"
#include "spots/track_series.h"
#include "spots/track_stats_run.h"
#include "spots/xki_file.h"

namespace lumetra::cli {
namespace {

constexpr double kDensityBinUm = 0.05;

bool EndsWith(std::string s, std::string_view end) {
  std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return std::tolower(c); });
  return s.size() >= end.size() && s.compare(s.size() - end.size(), end.size(), end) == 0;
}

std::string FramesMismatch(int32_t track_frames, int32_t record_frames) {
  return std::string(kStatFrameMismatch) + std::string(kStatTrackFramesPart) +
         std::to_string(track_frames - 1) + " (" + std::to_string(track_frames) +
         std::string(kStatFramesWord) + ")" + std::string(kStatRecordFramesPart) +
         std::to_string(record_frames) + std::string(kStatFramesWord);
}

// The XKI file's tracks; `scale_nm` receives the parameter word (the record's
// nm per pixel when the tracking window wrote it), 0 when absent.
bool LoadXki(const std::string& path, int32_t record_frames, TrackSet& set, double& scale_nm,
             Reporter& reporter) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    reporter.Modal(kFileOpenError, path);
    return false;
  }
  const std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)),
                                   std::istreambuf_iterator<char>());
  scale_nm = 0;
  float head[3] = {1, 1, 0};
  if (bytes.size() >= 12) std::memcpy(head, bytes.data(), 12);
  if (head[0] == 0.0f && head[1] == 0.0f && head[2] >= 1.0f && head[2] < 1e6f) scale_nm = head[2];
  // Read against the longest record first, so that tracks beyond the record
  // are named with both counts rather than cut off.
  auto store = std::make_unique<TrackStore>();
  DecodeXki(bytes, *store, kMaxTrackFrames, false, reporter);
  const double nm = scale_nm > 0 ? scale_nm : 100;
  set = TrackSetFromStore(*store, nm, nm);
  if (record_frames > 0 && set.frames > record_frames) {
    reporter.Modal(FramesMismatch(set.frames, record_frames));
    return false;
  }
  return true;
}

// Draws a table through `lumetra-cli plot`.
int Plot(const std::string& table, const std::string& out, std::vector<std::string> options) {
  const std::string tmp = out + ".plot.tsv";
  {
    std::ofstream f(tmp);
    f << table;
    if (!f) return Fail("stats", std::string(kFileWritingError) + ": " + tmp);
  }
  options.insert(options.begin(), {tmp, "--out", out});
  const int code = RunPlot(options);
  std::remove(tmp.c_str());
  return code;
}

}  // namespace

int RunStats(const std::vector<std::string>& args) {
  ArgParser p("stats",
              "Diffusion statistics of tracks: prints the ensemble diffusion coefficient with\n"
              "its 95 % interval (first line: D=<value> um2/s [<low>, <high>]), the\n"
              "localisation error sigma, the signal-to-noise ratio sqrt(D dt)/sigma, the\n"
              "numbers of tracks and points, the jump-distance states and the drift, and\n"
              "writes the tables asked for. The frame interval, pixel size and exposure\n"
              "come from the record (the XKI file gives the pixel size, a track table its\n"
              "times); the options override them. Tracks of fewer than 3 points are left\n"
              "out, NaN positions and missing frames are gaps that no displacement spans.\n"
              "\n"
              "Estimators: cve, the covariance estimator (Vestergaard et al. 2014),\n"
              "corrected for localisation error and for motion blur over the exposure;\n"
              "msd, a line through the first MSD points, as many as Michalet (2010) finds\n"
              "optimal. The ensemble D is the mean of the tracks' D weighted by their\n"
              "displacements, its interval 1.96 standard errors across tracks.\n"
              "With --drift the tracks are corrected for the drift before any statistic.");
  p.Positional("TRACKS", "an XKI file, or a track table (track, frame, time_s, x_px, y_px)")
      .Option("record", "FILE.xkv", "the record the tracks come from")
      .Option("frame-s", "S", "time between frames (s)")
      .Option("nm-per-pixel", "NM", "pixel size")
      .Option("exposure-s", "E", "exposure of a frame (s); 0 for instantaneous positions")
      .Option("estimator", "cve|msd", "the per-track estimator", "cve")
      .Option("msd", "MSD.tsv", "write the MSD per track and of the ensemble (track 'ensemble')")
      .Option("max-lag", "N", "longest lag of the MSD table (frames)", "50")
      .Option("diffusion", "D.tsv", "write D per track")
      .Option("jumps", "J.tsv", "write the jump-distance histogram with the fitted densities")
      .Option("jump-states", "S.tsv", "write the states of each jump-distance fit")
      .Option("states", "1|2|3|auto", "states of the jump-distance fit; auto picks by BIC", "auto")
      .Option("drift", "DRIFT.tsv", "estimate the drift, write it, and correct the tracks")
      .Option("corrected", "TRACKS.xki", "write the drift-corrected tracks as an XKI file")
      .Option("corrected-tsv", "TRACKS.tsv", "write the drift-corrected tracks as a track table")
      .Option("corrected-record", "OUT.xkv",
              "write the record (--record) with every frame shifted back by the estimated drift "
              "(bilinear, sub-pixel; the border the shift uncovers takes the frame's mean)")
      .Option("density", "MAP.pgm", "write the density map of all points (50 nm bins) as a PGM image")
      .Option("plot", "PREFIX",
              "draw PREFIX-msd.png, -diffusion.png, -jumps.png, -velocity.png, -intensity.png "
              "(and -drift.png)");
  if (auto code = ParseOrExit(p, args)) return *code;
  ConsoleReporter reporter;
  std::string error;
  const std::string path = p.Arg(0);

  TrackTiming timing;
  int32_t record_frames = 0;
  if (p.Has("record")) {
    auto record = RecordStore::Create(reporter);
    if (!record) return 1;
    if (!record->Open(p.Value("record"), reporter)) return 1;
    record_frames = record->FrameCount();
    // The time stamps themselves: the store's interval carries a small offset.
    const std::vector<float>& times = record->FrameTimes();
    timing.frame_s = times.size() > 1 ? (times.back() - times.front()) / double(times.size() - 1)
                                      : record->FrameInterval();
    timing.nm_per_pixel = record->Prm().ScaleX;
    timing.exposure_s = record->Prm().ExposureMs * 0.001;
  }
  TrackSet set;
  std::vector<TidyPoint> tidy;
  if (EndsWith(path, ".xki")) {
    double scale = 0;
    if (!LoadXki(path, record_frames, set, scale, reporter)) return 1;
    if (!(timing.nm_per_pixel > 0) && scale > 0) timing.nm_per_pixel = scale;
    // The XKI positions are um already; the scale only places them.
    if (!(timing.nm_per_pixel > 0)) timing.nm_per_pixel = set.timing.nm_per_pixel;
  } else {
    FileLines lines;
    if (!lines.Open(path)) return Fail("stats", std::string(kFileOpenError) + ": " + lines.Error());
    if (!ParseTidyTracks(lines, tidy, error)) return Fail("stats", path + ": " + error);
    if (!(timing.frame_s > 0)) timing.frame_s = FrameIntervalFromTidy(tidy);
  }
  double v = 0;
  if (p.Has("frame-s")) {
    if (!p.Real("frame-s", v, error)) return Fail("stats", error, 2);
    timing.frame_s = v;
  }
  if (p.Has("nm-per-pixel")) {
    if (!p.Real("nm-per-pixel", v, error) || !(v > 0))
      return Fail("stats", error.empty() ? "--nm-per-pixel must be above 0" : error, 2);
    timing.nm_per_pixel = v;
  }
  if (p.Has("exposure-s")) {
    if (!p.Real("exposure-s", v, error) || v < 0)
      return Fail("stats", error.empty() ? "--exposure-s must not be negative" : error, 2);
    timing.exposure_s = v;
  }
  if (!p.Has("frame-s") && !(timing.frame_s > 0))
    return Fail("stats", std::string(kStatNoFrameInterval) + " (--record or --frame-s)");
  if (!tidy.empty() || !EndsWith(path, ".xki")) {
    if (!(timing.nm_per_pixel > 0))
      return Fail("stats", std::string(kStatNoScale) + " (--record or --nm-per-pixel)");
    if (!TrackSetFromTidy(tidy, timing.nm_per_pixel, set, error))
      return Fail("stats", path + ": " + error);
    if (record_frames > 0 && set.frames > record_frames)
      return Fail("stats", FramesMismatch(set.frames, record_frames));
  }
  set.timing = timing;
  const std::string estimator = p.Value("estimator");
  if (estimator != "cve" && estimator != "msd")
    return Fail("stats", "--estimator must be cve or msd", 2);
  const std::string states_text = p.Value("states");
  const bool auto_states = states_text == "auto";
  int32_t states = 3;
  if (!auto_states) {
    const auto k = ParseInteger(states_text);
    if (!k || *k < 1 || *k > 3) return Fail("stats", "--states must be 1, 2, 3 or auto", 2);
    states = static_cast<int32_t>(*k);
  }
  int64_t max_lag = 50;
  if (!p.Int("max-lag", max_lag, error, 1, kMaxTrackFrames)) return Fail("stats", error, 2);

  if (p.Has("corrected-record") && !p.Has("record"))
    return Fail("stats", "--corrected-record needs --record", 2);
  if (!p.Has("drift") && (p.Has("corrected") || p.Has("corrected-tsv")))
    return Fail("stats", "--corrected and --corrected-tsv need --drift", 2);
  StatsOptions options;
  options.method = estimator == "cve" ? DiffusionMethod::kCve : DiffusionMethod::kMsdFit;
  options.max_lag = static_cast<int32_t>(max_lag);
  options.states = states;
  options.fixed_states = !auto_states;
  options.correct_drift = p.Has("drift") || p.Has("corrected-record");
  StatsRun run;
  if (!RunTrackStatistics(std::move(set), options, run, reporter)) return 1;
  const PrepareCounts& counts = run.counts;
  if (counts.short_tracks || counts.nan_points || counts.gapped_tracks)
    std::cerr << "lumetra-cli stats: " << counts.short_tracks
              << " tracks under 3 points left out, " << counts.nan_points
              << " NaN points made gaps, " << counts.gapped_tracks << " tracks with gaps\n";
  std::cout << StatsSummary(run, auto_states);

  struct Output {
    const char* option;
    std::function<std::string()> text;
  };
  const Output outputs[] = {
      {"drift", [&] { return DriftText(run.drift, timing.frame_s); }},
      {"corrected-tsv", [&] { return TidyTextFromTrackSet(run.set); }},
      {"msd", [&] { return MsdTableText(run); }},
      {"diffusion", [&] { return DiffusionText(run.diffusion.tracks); }},
      {"jumps", [&] { return JumpHistogramText(run.jumps, run.jump_fit); }},
      {"jump-states", [&] { return JumpStatesText(run.jump_fit); }},
      {"density", [&] { return DensityMapPgm(BuildDensityMap(run.set, kDensityBinUm)); }},
  };
  for (const Output& o : outputs)
    if (p.Has(o.option) && !WriteTextFile(p.Value(o.option), o.text(), kFileWritingError, reporter))
      return 1;
  if (p.Has("corrected")) {
    auto store = std::make_unique<TrackStore>();
    if (!StoreFromTrackSet(run.set, *store, error)) return Fail("stats", error);
    XkiWriteOptions xki;
    xki.parameter = static_cast<float>(timing.nm_per_pixel);
    if (!WriteXkiFile(p.Value("corrected"), *store, xki, reporter)) return 1;
  }
  if (p.Has("corrected-record")) {
    auto record = RecordStore::Create(reporter);
    if (!record || !record->Open(p.Value("record"), reporter)) return 1;
    std::vector<double> dx, dy;
    DriftShiftsPx(run.drift, record->Prm().ScaleX, record->Prm().ScaleY, record->FrameCount(),
                  dx, dy);
    ExportJob job{*record, reporter, {}, {}, nullptr, {}};
    if (!ExportShifted(job, p.Value("corrected-record"), dx, dy).ok) return 1;
  }
  if (p.Has("plot")) {
    const struct {
      StatsView view;
      const char* name;
    } views[] = {{StatsView::kMsd, "msd"},         {StatsView::kDiffusion, "diffusion"},
                 {StatsView::kJumps, "jumps"},     {StatsView::kDrift, "drift"},
                 {StatsView::kVelocity, "velocity"}, {StatsView::kIntensity, "intensity"}};
    for (const auto& v : views) {
      const StatsPlot plot = StatsPlotFor(run, v.view);
      if (plot.table.empty()) continue;
      std::string types;
      for (const std::string& t : plot.types) types += (types.empty() ? "" : ",") + t;
      std::vector<std::string> args = {"--types", types, "--title-x", plot.title_x, "--title-y",
                                       plot.title_y};
      if (!plot.note.empty()) args.insert(args.end(), {"--note", plot.note});
      if (int c = Plot(plot.table, p.Value("plot") + "-" + v.name + ".png", args)) return c;
    }
  }
  return 0;
}

}  // namespace lumetra::cli
