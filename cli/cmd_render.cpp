// lumetra-cli render FILE.xkv --index N --palette ryw --out FRAME.png [--zoom Z]
//   [--temporal-median 3|5|7] [--filter LIST] [--lut SHAPE] [--range MIN,MAX]
//   [--auto PERCENT] [--threshold T]
#include <iostream>

#include "cli/cli_common.h"
#include "cli/view_options.h"
#include "common/common_messages.h"
#include "display/frame_painter.h"
#include "display/palette.h"
#include "display/png_writer.h"
#include "processing/temporal_median.h"
#include "record/record_store.h"

namespace lumetra::cli {
namespace {

// Larger images would take minutes to write and gigabytes of disk.
constexpr int64_t kMaxImagePixels = int64_t{1} << 28;

// Paints one frame row at a time, so memory stays one zoomed row band.
bool WriteFrameImage(const RecordStore& store, const FramePainter& painter, int32_t zoom,
                     const std::string& path) {
  const int32_t w = store.Width(), h = store.Height();
  PngWriter png;
  if (!png.Open(path, w * zoom, h * zoom)) return false;
  std::vector<uint32_t> band(static_cast<size_t>(w) * zoom * zoom);
  for (int32_t y = 0; y < h; ++y) {
    painter.Paint(store.FrameBuffer(), w, FrameRect{0, y, w, y + 1}, zoom, band.data(),
                  int64_t{w} * zoom);
    for (int32_t z = 0; z < zoom; ++z)
      if (!png.WriteRow(band.data() + static_cast<int64_t>(z) * w * zoom)) return false;
  }
  return png.Finish();
}

}  // namespace

int RunRender(const std::vector<std::string>& args) {
  ArgParser p("render",
              "Steps to frame N (0-based) and writes it as a PNG image, painted through the\n"
              "palette and the LUT curve as the main window paints it (without region, line\n"
              "or text overlays). Every frame on the way passes the chosen filters.");
  p.Positional("FILE.xkv", "the record")
      .Option("index", "N", "0-based number of the frame", "0")
      .Option("palette", "NAME", "ryw, bgyr, grey, green, blue or red", "ryw")
      .Option("zoom", "Z", "screen pixels per frame pixel, 1 to 30", "1")
      .Option("out", "FRAME.png", "the image to write")
      .Option("temporal-median", "3|5|7",
              "filter every frame read on the way to N, as the window's TempFilt does");
  AddFilterOption(p);
  AddLutOptions(p);
  AddTiffOptions(p);
  if (auto code = ParseOrExit(p, args)) return *code;
  std::string error;
  int64_t index = 0, zoom = 1;
  if (!p.Int("index", index, error) || !p.Int("zoom", zoom, error)) return Fail("render", error, 2);
  if (!p.Has("out")) return Fail("render", "--out FRAME.png is required", 2);
  const auto type = PaletteTypeFromName(p.Value("palette"));
  if (!type)
    return Fail(
        "render",
        "unknown --palette '" + p.Value("palette") + "' (ryw, bgyr, grey, green, blue, red)", 2);
  if (zoom < kMinZoom || zoom > kMaxZoom)
    return Fail("render", "--zoom must be 1 to 30, not " + std::to_string(zoom), 2);
  int32_t median_frames = 0;
  if (p.Has("temporal-median")) {
    const auto m = ParseTemporalMedianFrames(p.Value("temporal-median"));
    if (!m) return Fail("render", "--temporal-median must be 3, 5 or 7", 2);
    median_frames = *m;
  }

  FilterChoice choice;
  if (auto code = ReadFilterOption(p, "render", choice)) return *code;
  LutRequest lut;
  if (auto code = ReadLutOptions(p, "render", lut)) return *code;

  ConsoleReporter console;
  auto store = RecordStore::Create(console);
  if (!store) return 1;
  if (auto code = ApplyTiffOptions(p, *store, "render")) return *code;
  TemporalMedian filter(console);
  FrameFilterSet filters(console);
  // In the chain before the record opens, so the rings start with the record.
  if (median_frames > 0) UseTemporalMedian(*store, filter, median_frames);
  filters.SetChoice(choice);
  filters.Attach(*store);
  if (!OpenRecordWithFrames(*store, p.Arg(0), console)) return 1;
  if (index < 0 || index >= store->FrameCount())
    return Fail("render", "--index " + std::to_string(index) + " is outside the record (0-" +
                              std::to_string(store->FrameCount() - 1) + ")");
  if (!store->GoToFrame(static_cast<int32_t>(index), console) || store->CurrentFrame() != index)
    return Fail("render", "frame " + std::to_string(index) + " could not be read");
  const int64_t pixels = int64_t{store->Width()} * zoom * store->Height() * zoom;
  if (pixels > kMaxImagePixels)
    return Fail("render", "a " + std::to_string(store->Width()) + " x " +
                              std::to_string(store->Height()) + " frame at zoom " +
                              std::to_string(zoom) +
                              " is too large an image; use a smaller --zoom");

  std::vector<uint32_t> palette;
  if (!BuildPalette(palette, store->MaxLevel(), *type, console)) return 1;
  FramePainter painter;
  painter.SetPalette(ApplyLut(palette, CurveFor(lut, *store)));
  if (!WriteFrameImage(*store, painter, static_cast<int32_t>(zoom), p.Value("out")))
    return Fail("render", std::string(kCanNotOpenForWriting) + ": " + p.Value("out"));
  return 0;
}

}  // namespace lumetra::cli
