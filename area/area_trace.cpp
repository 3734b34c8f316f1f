#include "area/area_trace.h"

#include <algorithm>
#include <cmath>

namespace lumetra {
namespace {

template <class F>
void ForEachCurve(AreaTrace& t, F&& f) {
  for (std::vector<float>* c : {&t.time, &t.intensity, &t.above, &t.x_nm, &t.y_nm, &t.spots,
                                &t.stage_x, &t.stage_y, &t.stage_z, &t.reference})
    f(*c);
}

Region Clip(const Region& r, int32_t w, int32_t h) {
  Region c = r;
  c.left = std::max(r.left, 0);
  c.top = std::max(r.top, 0);
  c.right = std::min(r.right, w);
  c.bottom = std::min(r.bottom, h);
  return c;
}

}  // namespace

void AreaTrace::Clear() {
  ForEachCurve(*this, [](std::vector<float>& c) { c.clear(); });
}

void AreaTrace::Cut(int32_t first, int32_t last) {
  ForEachCurve(*this, [&](std::vector<float>& c) {
    if (c.empty()) return;
    c = std::vector<float>(c.begin() + first, c.begin() + last + 1);
  });
}

AreaMeasure MeasureArea(const uint16_t* frame, int32_t w, int32_t h, const Region& region,
                        double nm_x, double nm_y) {
  AreaMeasure m;
  const Region c = Clip(region, w, h);
  if (c.right <= c.left || c.bottom <= c.top) return m;
  m.ok = true;
  double sum = 0;
  for (int32_t y = c.top; y < c.bottom; ++y)
    for (int32_t x = c.left; x < c.right; ++x) sum += frame[static_cast<size_t>(y) * w + x];
  const double pixels = static_cast<double>(c.Width()) * c.Height();
  m.mean = sum / pixels;
  // The ring: pixels of the grown region (inside the frame) that are not in it.
  Region grown = region;
  grown.left -= kBackgroundRing;
  grown.top -= kBackgroundRing;
  grown.right += kBackgroundRing;
  grown.bottom += kBackgroundRing;
  grown = Clip(grown, w, h);
  double ring = 0;
  int64_t ring_pixels = 0;
  for (int32_t y = grown.top; y < grown.bottom; ++y)
    for (int32_t x = grown.left; x < grown.right; ++x) {
      if (y >= c.top && y < c.bottom && x >= c.left && x < c.right) continue;
      ring += frame[static_cast<size_t>(y) * w + x];
      ++ring_pixels;
    }
  m.background = ring_pixels ? ring / static_cast<double>(ring_pixels) : m.mean;
  double wsum = 0, wx = 0, wy = 0;
  for (int32_t y = c.top; y < c.bottom; ++y)
    for (int32_t x = c.left; x < c.right; ++x) {
      const double v = frame[static_cast<size_t>(y) * w + x] - m.background;
      if (v <= 0) continue;
      wsum += v;
      wx += v * x;
      wy += v * y;
    }
  if (wsum > 0) {
    m.x_nm = wx / wsum * nm_x;
    m.y_nm = wy / wsum * nm_y;
  } else {
    m.x_nm = (c.left + c.right - 1) * 0.5 * nm_x;
    m.y_nm = (c.top + c.bottom - 1) * 0.5 * nm_y;
  }
  return m;
}

AreaCollectPass::AreaCollectPass(AreaTrace& trace, const Region& region,
                                 std::optional<Region> reference,
                                 std::optional<TrackingParams> spot_params)
    : trace_(trace), region_(region), reference_(reference), spot_params_(spot_params) {}

void AreaCollectPass::StartRecord(const RecordStore& store) {
  trace_.Clear();
  completed_ = false;
  if (spot_params_) {
    finder_ = std::make_unique<SpotFinder>();
    finder_->Prepare(store.Width(), store.Height());
  }
}

void AreaCollectPass::OnFrame(const RecordStore& store) {
  const int32_t w = store.Width(), h = store.Height();
  const PRM_INFO& prm = store.Prm();
  const AreaMeasure m = MeasureArea(store.FrameBuffer(), w, h, region_, prm.ScaleX, prm.ScaleY);
  const float nan = std::nanf("");
  trace_.time.push_back(static_cast<float>(store.CurrentTimeS()));
  trace_.intensity.push_back(m.ok ? static_cast<float>(m.mean) : nan);
  trace_.above.push_back(m.ok ? static_cast<float>(m.mean - m.background) : nan);
  trace_.x_nm.push_back(m.ok ? static_cast<float>(m.x_nm) : nan);
  trace_.y_nm.push_back(m.ok ? static_cast<float>(m.y_nm) : nan);
  if (finder_) {
    if (finder_->Width() != w || finder_->Height() != h) finder_->Prepare(w, h);
    int32_t count = 0;
    if (finder_->DetectFrame(store.FrameBuffer(), w, h, prm.ScaleX, *spot_params_, quiet_) >= 0)
      for (const SpotRec& s : finder_->Objects())
        if (s.X >= region_.left && s.X < region_.right && s.Y >= region_.top &&
            s.Y < region_.bottom)
          ++count;
    trace_.spots.push_back(static_cast<float>(count));
  }
  if (prm.AddInfoFlag == 1) {
    // A record whose first frames lack the block: those points have no stage position.
    trace_.stage_x.resize(trace_.time.size() - 1, nan);
    trace_.stage_y.resize(trace_.time.size() - 1, nan);
    trace_.stage_z.resize(trace_.time.size() - 1, nan);
    trace_.stage_x.push_back(static_cast<float>(store.Add().StageX));
    trace_.stage_y.push_back(static_cast<float>(store.Add().StageY));
    trace_.stage_z.push_back(static_cast<float>(store.Add().Focus));
  }
  if (reference_) {
    const AreaMeasure r =
        MeasureArea(store.FrameBuffer(), w, h, *reference_, prm.ScaleX, prm.ScaleY);
    trace_.reference.push_back(r.ok ? static_cast<float>(r.mean - r.background) : nan);
  }
}

void AreaCollectPass::EndRecord(const RecordStore&, bool completed) {
  completed_ = completed;
  const size_t n = trace_.time.size();
  for (std::vector<float>* c : {&trace_.stage_x, &trace_.stage_y, &trace_.stage_z})
    if (!c->empty()) c->resize(n, std::nanf(""));
  finder_.reset();
}

AreaTrace TraceFromTrack(const TrackSeries& track, double frame_s) {
  AreaTrace t;
  for (int32_t i = 0; i < track.Frames(); ++i) {
    if (!track.Has(static_cast<size_t>(i))) continue;
    t.time.push_back(static_cast<float>((track.first_frame + i) * frame_s));
    const double in = i < static_cast<int32_t>(track.intensity.size())
                          ? track.intensity[static_cast<size_t>(i)]
                          : NAN;
    t.intensity.push_back(static_cast<float>(in));
    t.above.push_back(static_cast<float>(in));
    t.x_nm.push_back(static_cast<float>(track.x_um[static_cast<size_t>(i)] * 1000.0));
    t.y_nm.push_back(static_cast<float>(track.y_um[static_cast<size_t>(i)] * 1000.0));
  }
  return t;
}

}  // namespace lumetra
