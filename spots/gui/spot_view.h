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

  // The spots of record frame `frame`; drawn only while that frame is shown.
  void SetSpots(const std::vector<SpotRec>* spots, int32_t frame) {
    spots_ = spots;
    spots_frame_ = frame;
  }
  int32_t SpotsFrame() const { return spots_frame_; }
  const std::vector<SpotRec>* Spots() const { return spots_; }
  void SetMode(SpotViewMode mode);
  SpotViewMode Mode() const { return mode_; }
  // Takes the record's current frame (grey, stretched from its lowest to its highest count).
  void Refresh();
  const QImage& Frame() const { return frame_; }
  // The record frame the image shows (-1 when none).
  int32_t FrameShown() const { return frame_number_; }
  // Where the image lies in the widget: as large as fits, centred.
  QRectF ImageRect() const;
  QSize sizeHint() const override { return {512, 512}; }

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  const RecordStore& record_;
  const TrackStore& tracks_;
  const std::vector<SpotRec>* spots_ = nullptr;
  int32_t spots_frame_ = -1;
  int32_t frame_number_ = -1;
  SpotViewMode mode_ = SpotViewMode::kShowTracks;
  QImage frame_;
};

}  // namespace lumetra
