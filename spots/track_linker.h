// Frame-to-frame linking of detected spots into tracks while the record plays:
// nearest spot within the maximum radius R (a search of the pixel square
// around the track below R = 7, of the whole spot list from 7 on), taken only
// when no other track is closer to it, new tracks on unclaimed spots, and
// tracks that find no spot either completed (more than L steps) or freed.
#pragma once

#include <cstdint>
#include <vector>

#include "common/report.h"
#include "spots/spot_objects.h"
#include "spots/spot_params.h"
#include "spots/track_store.h"

namespace lumetra {

// Radius from which the list search replaces the map search (pixels).
inline constexpr double kListSearchRadius = 7.0;

class TrackLinker {
 public:
  // Sizes the track map for frames of this size (every pixel empty).
  void Prepare(int32_t width, int32_t height);
  int32_t Width() const { return width_; }
  int32_t Height() const { return height_; }

  // LinkFrame for frame `f` (its number in the record, below store.Frames()).
  // `first` marks the first frame of the playback: every spot starts a track.
  // `label_map` holds the spot number at each spot centre (kNoSpot elsewhere).
  void LinkFrame(TrackStore& store, int32_t f, bool first, const std::vector<SpotRec>& spots,
                 const std::vector<uint16_t>& label_map, const TrackingParams& params,
                 Reporter& reporter);

  // End of playback: open tracks with more than L steps become completed; every
  // completed track's first frame becomes its first frame with both X and Y
  // non-zero, and its current position that frame's position.
  static void FinishRecord(TrackStore& store, const TrackingParams& params);

  // With "Resolve Close Spots", before FinishRecord: the points an open track
  // took from a neighbour's spot at its end are removed (close_links.cpp).
  void FinishShares(TrackStore& store);

 private:
  int32_t MapSearch(const TrackRec& t, const std::vector<SpotRec>& spots,
                    const std::vector<uint16_t>& label_map, int32_t r, int32_t& best) const;
  bool MapExclusive(const SpotRec& s, int32_t r, int32_t best) const;
  static int32_t ListSearch(const TrackRec& t, const std::vector<SpotRec>& spots, int32_t& best);
  bool ListExclusive(const TrackStore& store, const SpotRec& s, int32_t best) const;
  void StartTracks(TrackStore& store, int32_t f, const std::vector<SpotRec>& spots);
  void Link(TrackStore& store, int32_t t, int32_t f, const SpotRec& spot, int32_t s, int32_t best);
  static void EndTrack(TrackStore& store, int32_t t, int32_t f, int32_t min_track);
  void NewTracks(TrackStore& store, int32_t f, const std::vector<SpotRec>& spots);
  void Place(int32_t t, int32_t x, int32_t y);
  // Puts `spot` (number s) at frame f of the track as its current position,
  // with the squared step d2, and marks the spot taken.
  void SetPoint(TrackRec& t, int32_t f, const SpotRec& spot, int32_t s, int32_t d2);
  // "Resolve Close Spots" (close_links.cpp): the tracks the rules above would
  // end get a second chance once every other track has linked.
  void RescueTracks(TrackStore& store, int32_t f, const std::vector<SpotRec>& spots,
                    const TrackingParams& params);
  bool TrySwap(TrackStore& store, int32_t w, int32_t f, const std::vector<SpotRec>& spots,
               int32_t own_cost, int32_t limit);
  void Relink(TrackStore& store, int32_t u, int32_t f, const SpotRec& spot, int32_t s, int32_t d2);
  void EndSharingTrack(TrackStore& store, int32_t t, int32_t f, int32_t min_track);
  void CommitMap();

  int32_t width_ = 0, height_ = 0;
  // Track number at the position of every track open after the previous
  // frame (-1 elsewhere), and the same positions as a list (open_). While a
  // frame is linked, each new position is written into the map at once and
  // listed in next_; the old positions leave the map after the frame.
  std::vector<int32_t> track_map_;
  struct Placed {
    int32_t x, y, t;
  };
  std::vector<Placed> open_;
  std::vector<Placed> next_;
  std::vector<uint8_t> taken_;
  // Tracks waiting for their second chance, and per slot the number of
  // points at its end that share a neighbour's spot.
  std::vector<int32_t> waiting_;
  std::vector<int32_t> shared_run_;
  std::vector<int32_t> owner_;  // track that took each spot this frame, -1 if none
  std::vector<Placed> before_;  // each track's position after the previous frame
  int32_t last_frame_ = -1;
};

}  // namespace lumetra
