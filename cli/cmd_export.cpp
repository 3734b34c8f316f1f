// lumetra-cli export FILE.xkv --out OUT --transform T [--region L,T,R,B]
//   [--region-only] [--temporal-median 3|5|7] [--filter LIST] [--palette NAME]
//   [--lut SHAPE] [--range MIN,MAX] [--auto PERCENT] [--threshold T] [--2bytes] [--ome]
#include <atomic>
#include <iostream>
#include <optional>

#include "cli/cli_common.h"
#include "cli/view_options.h"
#include "display/palette.h"
#include "processing/export_transform.h"
#include "processing/temporal_median.h"
#include "record/record_store.h"

namespace lumetra::cli {
namespace {

bool ParseRegion(const ArgParser& p, Region& region, std::string& error) {
  if (!p.Has("region")) return true;
  std::vector<int64_t> r;
  if (!p.IntList("region", 4, r, error)) return false;
  region = {static_cast<int32_t>(r[0]), static_cast<int32_t>(r[1]), static_cast<int32_t>(r[2]),
            static_cast<int32_t>(r[3]), true};
  return true;
}

// What the options ask for, checked before the record is opened.
struct ExportRequest {
  TransformRequest request;
  Region region;
  int32_t median_frames = 0;
  int32_t palette_type = 0;
  FilterChoice filters;
  LutRequest lut;
};

// Nothing when the options are good, else the exit code after the message.
std::optional<int> ReadRequest(const ArgParser& p, ExportRequest& q) {
  if (!p.Has("out")) return Fail("export", "--out OUT is required", 2);
  if (!p.Has("transform")) return Fail("export", "--transform T is required", 2);
  std::string error;
  const auto request = ParseTransformRequest(p.Value("transform"), error);
  if (!request) return Fail("export", error, 2);
  q.request = *request;
  if (p.Has("ome")) {
    if (q.request.kind != TransformKind::kTiff)
      return Fail("export", "--ome goes with --transform tiff", 2);
    q.request.n = 1;
  }
  if (!ParseRegion(p, q.region, error)) return Fail("export", error, 2);
  if (p.Has("region-only") && !q.region.active)
    return Fail("export", "--region-only needs --region L,T,R,B", 2);
  if (p.Has("temporal-median")) {
    const auto m = ParseTemporalMedianFrames(p.Value("temporal-median"));
    if (!m) return Fail("export", "--temporal-median must be 3, 5 or 7", 2);
    q.median_frames = *m;
  }
  const auto type = PaletteTypeFromName(p.Value("palette"));
  if (!type)
    return Fail(
        "export",
        "unknown --palette '" + p.Value("palette") + "' (ryw, bgyr, grey, green, blue, red)", 2);
  q.palette_type = *type;
  if (auto code = ReadFilterOption(p, "export", q.filters)) return code;
  return ReadLutOptions(p, "export", q.lut);
}

}  // namespace

int RunExport(const std::vector<std::string>& args) {
  ArgParser p("export",
              "Streams the record once through one \"Save Record As\" transform into a new\n"
              "file, as the main window does. Transforms: " +
                  std::string(kTransformNames) +
                  ".\n"
                  "Every frame read passes the --filter filters and the temporal median first;\n"
                  "the bitmap exports are painted through --palette and the LUT curve.\n"
                  "Messages go to stderr, notices (\"Done\") to stdout; exit status 1 when the\n"
                  "transform was refused or a file failed. Ctrl+C stops like Esc.");
  p.Positional("FILE.xkv", "the record")
      .Option("out", "OUT", "the file to write (raw-seq and bmp-seq: the name the numbers follow)")
      .Option("transform", "T", "the transform")
      .Option("region", "L,T,R,B",
              "the user's rectangle (right and bottom exclusive): RAW and BMP exports cut to it")
      .Flag("region-only", "save only the region (the frame writer crops every XKV frame)")
      .Option("temporal-median", "3|5|7", "switch the temporal median on while streaming")
      .Option("palette", "NAME", "bmp-seq and page: ryw, bgyr, grey, green, blue or red", "ryw")
      .Flag("2bytes", "store 2 bytes per pixel even when 1 would do (\"Save XKV 2bytes/pix\")")
      .Flag("ome", "tiff: write OME-TIFF (OME-XML) instead of ImageJ's description");
  AddFilterOption(p);
  AddLutOptions(p);
  AddTiffOptions(p);
  if (auto code = ParseOrExit(p, args)) return *code;
  ExportRequest q;
  if (auto code = ReadRequest(p, q)) return *code;
  const Region& region = q.region;

  ConsoleReporter console;
  auto store = RecordStore::Create(console);
  if (!store) return 1;
  if (auto code = ApplyTiffOptions(p, *store, "export")) return *code;
  TemporalMedian filter(console);
  // In the chain before the record opens, so the ring starts with the record.
  if (q.median_frames > 0) UseTemporalMedian(*store, filter, q.median_frames);
  if (!OpenRecordWithFrames(*store, p.Arg(0), console)) return 1;
  if (store->FrameCount() == 0) return Fail("export", "the record holds no frame");
  // The filters join after the record opened, so that their rings start
  // empty with the export's first frame: the output is what a playback from
  // the first frame shows.
  FrameFilterSet filters(console);
  filters.SetChoice(q.filters);
  filters.Attach(*store);
  if (region.active && !region.FitsIn(store->Width(), store->Height()))
    return Fail("export",
                "--region must lie inside the " + std::to_string(store->Width()) + " x " +
                    std::to_string(store->Height()) + " frame with left < right and top < bottom",
                2);

  // Ctrl+C plays the part of Esc: the export stops after the frame in hand.
  StopOnInterrupt interrupt;
  ExportJob job{*store, console, region, {}, interrupt.Flag(), {}};
  if (p.Has("region-only")) job.write.region = region;
  job.write.save_2bytes = p.Has("2bytes");
  TransformContext context;
  context.median = &filter;
  std::vector<uint32_t> palette;
  if (!BuildPalette(palette, store->MaxLevel(), q.palette_type, console)) return 1;
  // The bitmaps are painted through the LUT curve (--auto: from frame 0).
  context.palette = ApplyLut(palette, CurveFor(q.lut, *store));
  // The command line has no window: the "screen" is the frame at zoom 1.
  context.view = {1.0, 0, 0, store->Width(), store->Height()};

  const ExportResult r = RunTransform(job, q.request, p.Value("out"), context);
  if (r.stopped) std::cerr << "stopped after " << r.frames_read << " frames\n";
  if (!r.ok || r.stopped) return 1;
  std::cout << p.Value("out") << ": " << r.frames_written << " of " << r.frames_read
            << " frames written\n";
  return 0;
}

}  // namespace lumetra::cli
