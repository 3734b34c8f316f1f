#include "record/tiff_source.h"

#include <tiffio.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "common/text_format.h"
#include "record/record_messages.h"
#include "record/xkv_writer.h"

namespace lumetra {
namespace {

std::string Ms(double ms) { return FormatGeneral(ms) + " ms"; }

// To 0.001: a resolution stored as a rational is no more exact than that.
std::string Nm(double nm) { return FormatGeneral(std::round(nm * 1000) / 1000) + " nm"; }

// Calls f(value) for every sample of a run, whatever its type.
template <typename F>
void ForEachValue(const TiffPageLayout& l, const uint8_t* raw, uint32_t n, F&& f) {
  auto each = [&](auto zero) {
    using T = decltype(zero);
    for (uint32_t i = 0; i < n; ++i) {
      T v;
      std::memcpy(&v, raw + static_cast<size_t>(i) * sizeof(T), sizeof(T));
      f(static_cast<double>(v));
    }
  };
  if (l.kind == SampleKind::kFloat) {
    if (l.bits == 32) each(float{}); else each(double{});
  } else if (l.kind == SampleKind::kInt) {
    if (l.bits == 8) each(int8_t{}); else if (l.bits == 16) each(int16_t{}); else each(int32_t{});
  } else {
    if (l.bits == 8) each(uint8_t{}); else if (l.bits == 16) each(uint16_t{}); else each(uint32_t{});
  }
}

std::string KindName(const TiffPageLayout& l) {
  const char* k = l.kind == SampleKind::kFloat ? "float" : l.kind == SampleKind::kInt ? "signed"
                                                                                      : "unsigned";
  return std::to_string(l.bits) + "-bit " + k;
}

}  // namespace

uint16_t CountScaling::Apply(double v) const {
  const double c = std::round((v - offset) * gain);
  if (!(c > 0)) return 0;  // NaN too
  return c >= 65535 ? 65535 : static_cast<uint16_t>(c);
}

CountScaling CountScaling::FromRange(double lo, double hi, bool floats) {
  if (!(lo <= hi) || (lo >= 0 && hi <= 65535 && (!floats || hi >= 255))) return {};
  return {lo, hi > lo ? 65535.0 / (hi - lo) : 1.0};
}

std::string TiffFrameSource::Where(int64_t page) const {
  return path_ + ": page " + std::to_string(page);
}

bool TiffFrameSource::Check(Reporter& reporter) {
  if (!file_.Open(path_)) {
    reporter.Modal(kTiffFileError, path_ + ": " + file_.TakeError());
    return false;
  }
  // Counting walks the chain of directories without reading them; libtiff
  // stops at a directory seen before (a loop) or one past the end.
  file_.TakeWarning();
  const int64_t pages = TIFFNumberOfDirectories(file_.Handle());
  // A loop is said as a warning, a directory past the end as an error.
  std::string chain = file_.TakeError();
  if (chain.empty()) chain = file_.TakeWarning();
  if (!chain.empty())
    warnings_.push_back(std::string(kTiffChainBroken) + " after page " +
                        std::to_string(pages - 1) + " (" + chain +
                        "): the pages after it are not read");
  std::string reason;
  if (!file_.CheckPage(reason)) {
    reporter.Modal(kTiffUnsupportedPage, Where(0) + ": " + reason);
    return false;
  }
  char* text = nullptr;
  const TiffDescription meta = TIFFGetField(file_.Handle(), TIFFTAG_IMAGEDESCRIPTION, &text) && text
                                   ? ParseTiffDescription(text)
                                   : TiffDescription{};
  if (!PlanLayout(meta, pages, reporter)) return false;
  WalkPages(pages);
  if (frames_.empty() || frames_[0].page < 0) {
    reporter.Modal(kTiffUnsupportedPage, path_ + ": " + warnings_.back());
    return false;
  }
  SetScale(meta);
  SetTiming(meta);
  for (const std::string& p : meta.problems)
    notes_.push_back(p + " (" + std::string(kNoteIgnored) + ")");
  return DecideScaling(reporter);
}

bool TiffFrameSource::PlanLayout(const TiffDescription& meta, int64_t pages, Reporter& reporter) {
  size_c_ = meta.size_c;
  size_z_ = meta.size_z;
  int64_t size_t_ = meta.size_time;
  std::string order = meta.order;
  if (meta.kind == TiffMetaKind::kNone) size_c_ = size_z_ = 1, size_t_ = pages;
  // Every plane is a page: sizes the pages cannot hold are not believed (and
  // so every product below stays far inside 64 bits).
  bool use_tiff_data = !meta.tiff_data.empty();
  if (size_c_ > pages || size_z_ > pages || size_c_ * size_z_ > pages) {
    use_tiff_data = false;
    notes_.push_back(std::to_string(size_c_) + " channels x " + std::to_string(size_z_) +
                     " Z planes in " + std::to_string(pages) + " pages (" +
                     std::string(kNoteIgnored) + ": every page is a frame)");
    size_c_ = size_z_ = 1;
    size_t_ = pages;
  }
  size_t_ = std::min(size_t_, pages);
  if (size_t_ <= 0) size_t_ = std::max<int64_t>(1, pages / (size_c_ * size_z_));
  if (PlaneIndex(order, size_c_, size_z_, size_t_, 0, 0, 0) < 0) {
    notes_.push_back("dimension order " + order + " (" + std::string(kNoteIgnored) + ": XYZCT)");
    order = "XYZCT";
  }
  if (options_.channel < 0 || options_.channel >= size_c_ || options_.z < 0 ||
      options_.z >= size_z_) {
    reporter.Modal(kTiffNoSuchPlane, path_ + ": channel " + std::to_string(options_.channel) +
                                         " and Z plane " + std::to_string(options_.z) +
                                         " asked, the file has " + std::to_string(size_c_) +
                                         " channels and " + std::to_string(size_z_) +
                                         " Z planes");
    return false;
  }
  if (meta.kind == TiffMetaKind::kImageJ)
    notes_.push_back("layout: ImageJ, " + std::to_string(size_c_) + " channels, " +
                     std::to_string(size_z_) + " slices, " + std::to_string(size_t_) + " frames");
  if (meta.kind == TiffMetaKind::kOme)
    notes_.push_back("layout: OME " + order + ", SizeC=" + std::to_string(size_c_) + " SizeZ=" +
                     std::to_string(size_z_) + " SizeT=" + std::to_string(size_t_));
  if (meta.image_count > 1)
    notes_.push_back("the file holds " + std::to_string(meta.image_count) +
                     " OME images: the first is read");
  if (size_c_ > 1)
    notes_.push_back(std::to_string(size_c_) + " channels: reading channel " +
                     std::to_string(options_.channel) + " (" + options_.channel_origin + ")");
  if (size_z_ > 1)
    notes_.push_back(std::to_string(size_z_) + " Z planes: reading plane " +
                     std::to_string(options_.z) + " (" + options_.z_origin + ")");
  if (meta.images > pages)
    warnings_.push_back(std::string(kTiffFewerPages) + " (ImageJ images=" +
                        std::to_string(meta.images) + ", " + std::to_string(pages) +
                        " pages): the images without a page are not read");
  if (size_t_ > kMaxIndexedFrames)
    warnings_.push_back(std::string(kTiffFramesNotIndexed) + " (the file holds " +
                        std::to_string(size_t_) + ")");
  const int64_t frames = std::min<int64_t>(size_t_, kMaxIndexedFrames);
  frames_.assign(static_cast<size_t>(frames), Frame{});
  // The page of each frame: by dimension order, or as the OME TiffData say.
  const int64_t c = options_.channel, z = options_.z;
  if (use_tiff_data) {
    MapTiffData(meta, order, size_t_, pages);
    if (frames_[0].page < 0) {
      notes_.push_back("OME TiffData (" + std::string(kNoteIgnored) + ": no page for frame 0)");
      use_tiff_data = false;
    }
  }
  if (!use_tiff_data)
    for (int64_t t = 0; t < frames; ++t)
      frames_[t].page = PlaneIndex(order, size_c_, size_z_, size_t_, c, z, t);
  return true;
}

void TiffFrameSource::MapTiffData(const TiffDescription& meta, const std::string& order,
                                  int64_t size_t_, int64_t pages) {
  const int64_t c = options_.channel, z = options_.z;
  const int64_t frames = static_cast<int64_t>(frames_.size());
  const int64_t planes = size_c_ * size_z_ * size_t_;
  // A hostile file may list a million TiffData of a million planes each.
  int64_t budget = 10'000'000;
  for (const OmeTiffData& d : meta.tiff_data) {
    if (d.first_c >= size_c_ || d.first_z >= size_z_ || d.first_t >= size_t_) continue;
    const int64_t first = PlaneIndex(order, size_c_, size_z_, size_t_, d.first_c, d.first_z,
                                     d.first_t);
    const int64_t count = d.count < 0 ? planes - first : std::min(d.count, planes - first);
    for (int64_t k = 0; k < count && k < pages && --budget > 0; ++k) {
      const int64_t plane = first + k;
      // Back from the plane number to (c, z, t) in the same order.
      int64_t rest = plane, pc = 0, pz = 0, pt = 0;
      for (const char dim : order.substr(2)) {
        const int64_t size = dim == 'C' ? size_c_ : dim == 'Z' ? size_z_ : size_t_;
        (dim == 'C' ? pc : dim == 'Z' ? pz : pt) = rest % size;
        rest /= size;
      }
      if (pc == c && pz == z && pt < frames) frames_[pt].page = d.ifd + k;
    }
  }
}

void TiffFrameSource::WalkPages(int64_t pages) {
  // Which frame each page holds; pages nobody reads are stepped over.
  int64_t last = -1;
  for (const Frame& f : frames_) last = std::max(last, f.page);
  last = std::min(last, pages - 1);
  std::vector<int32_t> frame_of(static_cast<size_t>(last + 1), -1);
  for (size_t i = 0; i < frames_.size(); ++i)
    if (frames_[i].page >= 0 && frames_[i].page <= last)
      frame_of[frames_[i].page] = static_cast<int32_t>(i);
  size_t usable = frames_.size();
  std::string trouble;
  for (int64_t p = 0; p <= last; ++p) {
    if (p > 0 && !TIFFReadDirectory(file_.Handle())) {
      trouble = std::string(kTiffChainBroken) + " at page " + std::to_string(p) + " (" +
                file_.TakeError() + ")";
      break;
    }
    const int32_t i = frame_of[p];
    if (i < 0 || static_cast<size_t>(i) >= usable) continue;
    std::string reason;
    const auto layout = file_.CheckPage(reason);
    if (!layout) {
      trouble = std::string(kTiffPageRefused) + " (page " + std::to_string(p) + ": " + reason + ")";
      usable = static_cast<size_t>(i);
      continue;
    }
    Frame& f = frames_[i];
    f.ifd_offset = TIFFCurrentDirOffset(file_.Handle());
    f.width = layout->width;
    f.height = layout->height;
    f.bits = layout->bits == 8 && layout->kind == SampleKind::kUint ? 8 : 16;
  }
  // The record ends before the first frame without a readable page.
  for (size_t i = 0; i < usable; ++i)
    if (frames_[i].width == 0) usable = i;
  if (usable < frames_.size()) {
    if (trouble.empty())
      trouble = std::string(kTiffFewerPages) + " (" + std::to_string(pages) + " pages)";
    warnings_.push_back(trouble + ": the record ends before frame " + std::to_string(usable));
    frames_.resize(usable);
  }
}

void TiffFrameSource::SetScale(const TiffDescription& meta) {
  double x = meta.nm_x, y = meta.nm_y;
  std::string origin = x > 0 ? "OME PhysicalSizeX" : "";
  if (x <= 0) {
    float xres = 0, yres = 0;
    uint16_t unit = RESUNIT_NONE;
    TIFF* t = file_.Handle();
    TIFFSetSubDirectory(t, frames_[0].ifd_offset);
    const bool has_x = TIFFGetField(t, TIFFTAG_XRESOLUTION, &xres) && xres > 0;
    const bool has_y = TIFFGetField(t, TIFFTAG_YRESOLUTION, &yres) && yres > 0;
    TIFFGetFieldDefaulted(t, TIFFTAG_RESOLUTIONUNIT, &unit);
    // ImageJ keeps the unit in its description; a resolution in inches is a
    // printer's setting, not a pixel size.
    double unit_nm = meta.unit_nm;
    if (unit_nm > 0) origin = "ImageJ resolution, unit " + meta.unit;
    else if (unit == RESUNIT_CENTIMETER) unit_nm = 1e7, origin = "TIFF resolution, unit cm";
    if (unit_nm > 0 && has_x) {
      x = unit_nm / xres;
      y = has_y ? unit_nm / yres : x;
    } else if (!meta.unit.empty() && meta.unit_nm <= 0 && meta.unit != "pixel") {
      notes_.push_back("ImageJ unit=" + meta.unit + " (" + std::string(kNoteIgnored) + ")");
    }
  }
  if (x <= 0) {
    x = y = options_.nm_per_pixel;
    origin = options_.nm_origin + ": " + std::string(kNoteNoMetadata);
  }
  if (y <= 0) y = x;
  nm_x_ = static_cast<float>(x);
  nm_y_ = static_cast<float>(y);
  std::string line = std::string(kNotePixelSize) + " " + Nm(x);
  if (y != x) line += " x " + Nm(y);
  notes_.push_back(line + " (" + origin + ")");
}

void TiffFrameSource::SetTiming(const TiffDescription& meta) {
  const size_t n = frames_.size();
  const double nan = std::numeric_limits<double>::quiet_NaN();
  std::vector<double> delta(n, nan), exposure(n, nan);
  for (const OmePlane& p : meta.planes)
    if (p.c == options_.channel && p.z == options_.z && p.t >= 0 && static_cast<size_t>(p.t) < n) {
      delta[p.t] = p.delta_ms;
      exposure[p.t] = p.exposure_ms;
    }
  const bool all_delta = n > 0 && std::none_of(delta.begin(), delta.end(), [](double d) {
                           return std::isnan(d);
                         });
  double step = meta.frame_ms;
  std::string origin = meta.kind == TiffMetaKind::kOme ? "OME TimeIncrement" : "ImageJ finterval";
  if (all_delta) {
    origin = "OME DeltaT";
    if (n > 1) step = (delta[n - 1] - delta[0]) / static_cast<double>(n - 1);
  } else if (step <= 0) {
    step = options_.frame_ms;
    origin = options_.frame_ms_origin + ": " + std::string(kNoteNoMetadata);
  }
  auto clamp_ms = [](double ms) {
    return static_cast<int32_t>(std::clamp(std::round(ms), 0.0, double{INT32_MAX}));
  };
  for (size_t t = 0; t < n; ++t)
    frames_[t].time_ms = clamp_ms(all_delta ? delta[t] : step * static_cast<double>(t));
  notes_.push_back(std::string(kNoteFrameTime) + " " + Ms(step) + " (" + origin + ")");
  const bool any_exposure = std::any_of(exposure.begin(), exposure.end(),
                                        [](double e) { return !std::isnan(e); });
  for (size_t t = 0; t < n; ++t)
    frames_[t].exposure_ms = std::isnan(exposure[t]) ? 0 : clamp_ms(exposure[t]);
  notes_.push_back(any_exposure ? std::string(kNoteExposure) + " " +
                                      Ms(frames_[0].exposure_ms) + " (OME ExposureTime)"
                                : std::string(kNoteExposure) + " 0 ms (" +
                                      std::string(kNoteNoMetadata) + ")");
}

bool TiffFrameSource::DecideScaling(Reporter& reporter) {
  // Frame 0 is decoded once here: it must be readable for the file to open,
  // and its range sets the conversion of samples that are not counts already.
  TIFF* t = file_.Handle();
  std::string reason;
  std::optional<TiffPageLayout> l;
  if (TIFFSetSubDirectory(t, frames_[0].ifd_offset)) l = file_.CheckPage(reason);
  double lo = std::numeric_limits<double>::infinity(), hi = -lo;
  const bool ok = l && file_.Decode(*l, scratch_, nullptr,
                                    [&](uint32_t, uint32_t, uint32_t n, const uint8_t* raw) {
                                      ForEachValue(*l, raw, n, [&](double v) {
                                        if (std::isfinite(v)) lo = std::min(lo, v), hi = std::max(hi, v);
                                      });
                                    });
  if (!ok) {
    reporter.Modal(kFrameReadingError,
                   Where(frames_[0].page) + ": " + (reason.empty() ? file_.TakeError() : reason));
    return false;
  }
  if (!l->Direct()) scaling_ = CountScaling::FromRange(lo, hi, l->kind == SampleKind::kFloat);
  // The depth the display and MaxLevel go by, as an XKV header would give it:
  // enough bits for frame 0's brightest count, two bytes for every wide page.
  const uint16_t top = hi >= lo ? scaling_.Apply(hi) : 0;
  const uint8_t bits = std::max<uint8_t>(9, BitsForMaxValue(top, false));
  for (Frame& f : frames_)
    if (f.bits > 8) f.bits = bits;
  const std::string depth = " (frame 0 up to " + std::to_string(top) + ": " +
                            std::to_string(bits) + " bits)";
  if (l->Direct()) {
    notes_.push_back(std::string(kNoteSamples) + " " + KindName(*l) + ", read as counts" +
                     (l->bits > 8 ? depth : ""));
    return true;
  }
  std::string line = std::string(kNoteSamples) + " " + KindName(*l) + " converted to 16-bit counts: ";
  if (scaling_.offset == 0 && scaling_.gain == 1)
    line += "counts = value rounded (frame 0 lies in 0..65535 as counts do)";
  else
    line += "counts = (value - " + FormatGeneral(scaling_.offset) + ") x " +
            FormatGeneral(scaling_.gain) + " (frame 0's range " + FormatGeneral(lo) + ".." +
            FormatGeneral(hi) + " spread over 0..65535)";
  notes_.push_back(line + ", clamped to 0..65535" + depth);
  return true;
}

void TiffFrameSource::Scan(SourceScan& scan) {
  for (const Frame& f : frames_) {
    FrameIndexEntry e;
    e.FrameBits = f.bits;
    e.FrameBytes = static_cast<int64_t>(f.width) * f.height * (f.bits > 8 ? 2 : 1);
    e.FrameTimeMs = f.time_ms;
    e.Offset = static_cast<int64_t>(f.ifd_offset);
    scan.index->push_back(e);
  }
  scan.warnings = std::move(warnings_);
  scan.notes = std::move(notes_);
  scan.scanned_bytes = static_cast<int64_t>(file_.FileBytes());
  file_.Close();
}

bool TiffFrameSource::Rewind() {
  next_ = 0;
  if (file_.Open(path_)) return true;
  errno = errno ? errno : EIO;
  return false;
}

bool TiffFrameSource::SeekTo(int32_t frame, const FrameIndexEntry&) {
  if (!file_.IsOpen() || frame < 0 || static_cast<size_t>(frame) >= frames_.size()) return false;
  next_ = frame;
  return true;
}

FrameReadStatus TiffFrameSource::ReadNext(PRM_INFO& prm, ADD_INFO& add, uint16_t* frame,
                                          Reporter& reporter) {
  if (!file_.IsOpen() || static_cast<size_t>(next_) >= frames_.size())
    return FrameReadStatus::kEndOfRecord;
  const Frame& f = frames_[next_];
  std::string reason;
  std::optional<TiffPageLayout> l;
  if (TIFFSetSubDirectory(file_.Handle(), f.ifd_offset)) l = file_.CheckPage(reason);
  // The page must still be the one indexed: a file changed since opening is refused.
  if (l && (l->width != f.width || l->height != f.height)) reason = "its size changed", l.reset();
  auto sink = [&](uint32_t y, uint32_t x, uint32_t n, const uint8_t* raw) {
    uint16_t* to = frame + static_cast<size_t>(y) * l->width + x;
    if (l->bits == 8 && l->kind == SampleKind::kUint)
      for (uint32_t i = 0; i < n; ++i) to[i] = raw[i];
    else if (l->Direct())
      std::memcpy(to, raw, static_cast<size_t>(n) * 2);
    else
      ForEachValue(*l, raw, n, [&](double v) { *to++ = scaling_.Apply(v); });
  };
  if (!l || !file_.Decode(*l, scratch_, l->Direct() ? frame : nullptr, sink)) {
    reporter.Modal(kFrameReadingError,
                   Where(f.page) + ": " + (reason.empty() ? file_.TakeError() : reason));
    return FrameReadStatus::kShortData;
  }
  PRM_INFO p{};
  p.Width = static_cast<int32_t>(f.width);
  p.Height = static_cast<int32_t>(f.height);
  p.PixelCount = p.Width * p.Height;
  p.BitsPerPixel = f.bits;
  p.TimeMs = f.time_ms;
  p.ExposureMs = f.exposure_ms;
  p.ScaleX = nm_x_;
  p.ScaleY = nm_y_;
  p.Binning = 1;
  p.Flags = kFlagNewSizeForm;
  p.AnalogIn = 2047;  // the analog input's zero
  ApplyScaleRules(p);
  prm = p;
  add = ADD_INFO{};
  ++next_;
  return FrameReadStatus::kOk;
}

}  // namespace lumetra
