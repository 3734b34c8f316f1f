#include "processing/bmp_export.h"

#include "common/text_format.h"
#include "processing/processing_messages.h"

namespace lumetra {
namespace {

// The checks both exports share. A page reports a rectangle wholly off the
// screen as partly off, as the window does.
bool CheckSavedRect(ExportJob& job, const ScreenRect& r, const ScreenView& view,
                    const std::vector<uint32_t>& palette, bool page) {
  if (!job.store.RecordLoaded()) {
    job.reporter.Modal(kNoRecordOpen);
    return false;
  }
  if (palette.empty()) {
    job.reporter.Modal(kPaletteTooShort);
    return false;
  }
  const bool inside = r.left >= 0 && r.top >= 0 && r.right <= view.control_width &&
                      r.bottom <= view.control_height && r.Width() > 0 && r.Height() > 0;
  if (inside) return true;
  const bool none_visible = r.right <= 0 || r.bottom <= 0 || r.left >= view.control_width ||
                            r.top >= view.control_height || r.Width() <= 0 || r.Height() <= 0;
  job.reporter.Modal(none_visible && !page ? kNonvisibleRoi : kPartOfRoiNonvisible);
  return false;
}

// Reopens the record at its first frame (counter 0); "File open ERROR" on failure.
bool Restart(ExportJob& job) {
  NullReporter quiet;
  if (job.store.RestartStream(0, quiet)) return true;
  job.reporter.Modal(kExportFileOpenError);
  return false;
}

}  // namespace

ScreenRect SavedScreenRect(const Region& roi, const ScreenView& view) {
  if (!roi.active) return {0, 0, view.control_width, view.control_height};
  return {TruncToInt(roi.left * view.zoom) - view.scroll_x,
          TruncToInt(roi.top * view.zoom) - view.scroll_y,
          TruncToInt(roi.right * view.zoom) - view.scroll_x,
          TruncToInt(roi.bottom * view.zoom) - view.scroll_y};
}

void PageSize(int32_t w, int32_t h, int32_t frames, int32_t& page_width, int32_t& page_height) {
  const int64_t pw = (static_cast<int64_t>(w) + kPageMargin) * kPageColumns + kPageMargin;
  const int64_t ph =
      (static_cast<int64_t>(frames) / kPageColumns + 1) * (h + kPageMargin) + kPageMargin;
  page_width = static_cast<int32_t>(std::min<int64_t>(pw, INT32_MAX));
  page_height = static_cast<int32_t>(std::min<int64_t>(ph, INT32_MAX));
}

ExportResult ExportBmpSequence(ExportJob& job, const std::string& chosen_path,
                               const std::vector<uint32_t>& palette, const ScreenView& view) {
  const ScreenRect rect = SavedScreenRect(job.roi, view);
  if (!CheckSavedRect(job, rect, view, palette, false) || !Restart(job)) return {};
  RecordStore& store = job.store;
  ExportResult r;
  bool ok = true;
  RgbImage image;
  while (ok && ReadExportFrame(job, r, ok)) {
    PaintScreenRect(store.FrameBuffer(), store.Width(), store.Height(), palette, view, rect, image);
    const std::string name = NumberedName(chosen_path, store.CurrentFrame(), ".bmp");
    if (RefuseRecordAsOutput(store, name, job.reporter)) {
      ok = false;
    } else if (!WriteBmp(name, image)) {
      job.reporter.Modal(kBmpFileOpenError);
      ok = false;
    } else {
      ++r.frames_written;
    }
  }
  r.ok = ok;
  return r;
}

ExportResult ExportBmpPage(ExportJob& job, const std::string& out_path,
                           const std::vector<uint32_t>& palette, const ScreenView& view) {
  const ScreenRect rect = SavedScreenRect(job.roi, view);
  if (!CheckSavedRect(job, rect, view, palette, true)) return {};
  int32_t pw = 0, ph = 0;
  PageSize(rect.Width(), rect.Height(), job.store.FrameCount(), pw, ph);
  if (pw > kMaxPageSide || ph > kMaxPageSide) {
    job.reporter.Modal(kTooManyFramesForPage);
    return {};
  }
  if (RefuseRecordAsOutput(job.store, out_path, job.reporter) || !Restart(job)) return {};
  RecordStore& store = job.store;
  RgbImage page, tile;
  page.Resize(pw, ph, kPageBackground);
  ExportResult r;
  bool ok = true;
  while (ReadExportFrame(job, r, ok)) {
    const int32_t k = store.CurrentFrame() - 1;
    if (k >= store.FrameCount()) break;
    PaintScreenRect(store.FrameBuffer(), store.Width(), store.Height(), palette, view, rect, tile);
    const int32_t x0 = kPageMargin + (k % kPageColumns) * (tile.width + kPageMargin);
    const int32_t y0 = kPageMargin + (k / kPageColumns) * (tile.height + kPageMargin);
    for (int32_t y = 0; y < tile.height; ++y)
      for (int32_t x = 0; x < tile.width; ++x) page.At(x0 + x, y0 + y) = tile.At(x, y);
    ++r.frames_written;
  }
  if (ok && !WriteBmp(out_path, page)) {
    job.reporter.Modal(kBmpFileOpenError);
    ok = false;
  }
  r.ok = ok;
  return r;
}

}  // namespace lumetra
