// Per-track read-outs of the tracking window and the text exports built on
// them: the net velocity of each track, its lateral mobility (Dlat) and its
// distance to the edge of an outline, the distributions of these and of the
// spot intensities, the spot map, and the name of a batch run's XKI file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "common/region.h"
#include "common/report.h"
#include "spots/spot_objects.h"
#include "spots/spot_params.h"
#include "spots/track_store.h"

namespace lumetra {

// Scales of the record (nm per pixel).
struct TrackScale {
  double x = 100, y = 100;
};

// One completed, good track, from its points (absolute positions in um).
struct TrackSummary {
  int32_t slot = 0;
  int32_t steps = 0;          // point count
  int32_t points = 0;         // frames that hold a point
  double mean_intensity = 0;  // counts/pixel
  double mean_x_um = 0, mean_y_um = 0;
  double velocity_um_s = 0;  // net displacement first -> last point over the time between them
  double dlat_um2_s = 0;     // mean of r^2 / (4 dt) over consecutive frames
  bool timed = false;        // false when the frame times do not increase
};

// Summaries of every completed, good track in slot order. Tracks with fewer
// than two points are left out; a track whose frame times do not increase
// has timed = false (velocity and Dlat 0).
std::vector<TrackSummary> SummariseTracks(const TrackStore& store, const TrackScale& scale);

// Counts of `values` in `bins` bins of `width` starting at 0; values beyond
// the last bin count in it, negative and non-finite ones are left out.
std::vector<int32_t> BinCounts(const std::vector<double>& values, double width, int32_t bins);

// Bins of the distributions (upper bins collect everything beyond).
inline constexpr int32_t kIntensityBins = 100;
inline constexpr double kIntensityBinWidth = 10;  // counts/pixel
inline constexpr int32_t kStatBins = 50;
inline constexpr double kDlatBinWidth = 0.01;       // um^2/s
inline constexpr double kVelocityBinWidth = 0.05;   // um/s
inline constexpr double kDistanceBinWidthUm = 0.1;  // um, as the distance graph

// SaveVelocityTXTClick: "Velocity(um/s)\tTrack_Length" and per timed track
// its velocity and its point count. "Very few objects detected" when there
// is no track, "Time ERROR!" once when a track's times do not increase.
std::string VelocityText(const TrackStore& store, const TrackScale& scale, Reporter& reporter);

// SaveDlatOutlineDistTXTClick: "DistanceToEdge\tMobility(Dlat(um2/s)" and per
// timed track the distance (um) from its mean position to the nearest edge of
// `outline` (pixels; negative outside it) and its Dlat.
std::string DlatOutlineDistText(const TrackStore& store, const TrackScale& scale,
                                const Region& outline, Reporter& reporter);

// SaveDistribTXTClick: "Intensity_Distribution", rows of bin centre and count
// of the tracks' mean intensities, then "\nDistance/Dlat/velocity_Distributoin"
// and rows of bin centre and count of the nearest-neighbour distances of
// `objects` (um), of the tracks' Dlat and of their velocities.
std::string DistributionsText(const TrackStore& store, const TrackScale& scale,
                              const std::vector<SpotRec>& objects, Reporter& reporter);

// Intensities of every object detected over a record, as counts per bin.
class IntensityDistribution {
 public:
  void Clear() { counts_.assign(kIntensityBins, 0); }
  void Add(const std::vector<SpotRec>& objects);
  const std::vector<int64_t>& Counts() const { return counts_; }
  int64_t Total() const;

 private:
  std::vector<int64_t> counts_ = std::vector<int64_t>(kIntensityBins, 0);
};
// SaveIntensityDistributionInRecordClick: "Intensity_Distribution" and rows of
// bin centre (counts/pixel) and number of objects.
std::string IntensityDistributionText(const IntensityDistribution& d);

// The spot map ("Build Spot Map"): every object of every frame of a Detect
// pass, up to kMaxSpotMapEntries.
struct SpotMapEntry {
  int32_t frame = 0;
  float intensity = 0;  // counts/pixel
  float x_um = 0, y_um = 0;
};
inline constexpr size_t kMaxSpotMapEntries = 2000000;
class SpotMap {
 public:
  explicit SpotMap(size_t limit = kMaxSpotMapEntries) : limit_(limit) {}
  void Clear();
  // Adds the objects of frame f (whole pixels -> um). Reports once when full.
  void AddFrame(int32_t f, const std::vector<SpotRec>& objects, const TrackScale& scale,
                Reporter& reporter);
  size_t Count() const { return entries_.size(); }
  const std::vector<SpotMapEntry>& Entries() const { return entries_; }

 private:
  size_t limit_;
  std::vector<SpotMapEntry> entries_;
  bool full_ = false;
};
// SaveSpotsInMapClick: "FrNum\tInt(c/pix)\tX(um)\tY(um)" and one row an entry.
std::string SpotsInMapText(const SpotMap& map);

// The XKI file of a batch run: the record's name without its extension (only
// a "." after the last "/", "\" or ":" starts one), then "-R" R "L" L "q" Q
// "c" C (Q "auto" with the automatic Q), "-dense" with the dense detector, "-L"
// when Link Tracks runs in the batch, "-Z" when the fourth series is saved,
// and ".xki" (or `extension`): rec.xkv -> rec-R5L10q8c500.xki.
std::string BatchTrackFileName(const std::string& record_path, const TrackingParams& params,
                               bool link_tracks, bool save_zpos,
                               const std::string& extension = ".xki");

}  // namespace lumetra
