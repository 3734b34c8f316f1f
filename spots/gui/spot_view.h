// The image pane of the tracking window: the current frame in grey with the
// detected spots, the tracks, or the tracks up to the current frame drawn over it.
#pragma once

#include <QImage>
#include <QWidget>

#include "record/record_store.h"
#include "spots/spot_finder.h"
#include "spots/track_store.h"

namespace lumetra {

enum class SpotViewMode { kCurrentSpots, kShowTracks, kTracksInTime };

class SpotView final : public QWidget {
  Q_OBJECT

 public:
  SpotView(const RecordStore& record, const TrackStore& tracks, QWidget* parent = nullptr);

  void SetSpots(const std::vector<SpotRec>* spots) { spots_ = spots; }
  void SetMode(SpotViewMode mode);
  SpotViewMode Mode() const { return mode_; }
  // Takes the record's current frame (grey, stretched from its lowest to its highest count).
  void Refresh();
  const QImage& Frame() const { return frame_; }
  QSize sizeHint() const override { return {512, 512}; }

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  const RecordStore& record_;
  const TrackStore& tracks_;
  const std::vector<SpotRec>* spots_ = nullptr;
  SpotViewMode mode_ = SpotViewMode::kShowTracks;
  QImage frame_;
};

}  // namespace lumetra
