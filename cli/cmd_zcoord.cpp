// lumetra-cli zcoord FILE.xkv --tracks TRACKS.tsv [--out Z.tsv] [calibration options]
#include <iostream>

#include "cli/cli_common.h"
#include "cli/cli_stream.h"
#include "processing/astigmatic_z.h"
#include "processing/text_output.h"
#include "spots/track_series.h"

namespace lumetra::cli {

int RunZcoord(const std::vector<std::string>& args) {
  ArgParser p("zcoord",
              "The Z-coordinate read-out of an astigmatic record: for every point of a track\n"
              "table (as 'track --tsv' writes it) the spot's widths along x and y are\n"
              "measured in its frame (a Gaussian through the peak of the column and row sums\n"
              "of the 9 x 9 box less its border's median), and z is the height whose\n"
              "calibration widths sigma0 sqrt(1 + ((z - c) / d)^2), c = cx for x and cy for\n"
              "y, lie nearest in the square roots of the widths, searched over -1000..1000 nm\n"
              "in 1 nm steps. Prints (or writes) track frame x_px y_px sigma_x_nm sigma_y_nm\n"
              "z_nm; z is nan out of range, widths nan within 4 pixels of the edge.");
  p.Positional("FILE.xkv", "the record")
      .Option("tracks", "TRACKS.tsv", "the points: columns track, frame, x_px, y_px")
      .Option("out", "Z.tsv", "write the table here instead of stdout")
      .Option("sigma0-nm", "NM", "spot width (SD) in focus", "110")
      .Option("cx-nm", "NM", "height of the narrowest x width", "-200")
      .Option("cy-nm", "NM", "height of the narrowest y width", "200")
      .Option("d-nm", "NM", "focal depth of the calibration", "400");
  AddTiffOptions(p);
  if (auto code = ParseOrExit(p, args)) return *code;
  std::string error;
  AstigmatismCalibration cal;
  if (!p.Real("sigma0-nm", cal.sigma0_nm, error) || !p.Real("cx-nm", cal.cx_nm, error) ||
      !p.Real("cy-nm", cal.cy_nm, error) || !p.Real("d-nm", cal.d_nm, error))
    return Fail("zcoord", error, 2);
  if (!(cal.sigma0_nm > 0) || !(cal.d_nm > 0))
    return Fail("zcoord", "--sigma0-nm and --d-nm must be above 0", 2);
  if (!p.Has("tracks")) return Fail("zcoord", "--tracks TRACKS.tsv is required", 2);
  FileLines lines;
  if (!lines.Open(p.Value("tracks"))) return Fail("zcoord", lines.Error());
  std::vector<TidyPoint> tidy;
  if (!ParseTidyTracks(lines, tidy, error)) return Fail("zcoord", p.Value("tracks") + ": " + error);
  std::vector<ZPoint> points;
  for (const TidyPoint& t : tidy) points.push_back({t.track, t.frame, t.x_px, t.y_px});

  ConsoleReporter console;
  auto store = RecordStore::Create(console);
  if (!store) return 1;
  if (auto code = ApplyTiffOptions(p, *store, "zcoord")) return *code;
  if (!OpenRecordWithFrames(*store, p.Arg(0), console)) return 1;
  StopOnInterrupt interrupt;
  bool stopped = false;
  if (!ReadOutZ(*store, points, cal, console, interrupt.Flag(), stopped))
    return stopped ? Fail("zcoord", "stopped; nothing written") : 1;
  const std::string text = ZTableText(points);
  if (!p.Has("out")) {
    std::cout << text;
    return 0;
  }
  return WriteTextAtomically(p.Value("out"), text, console) ? 0 : 1;
}

}  // namespace lumetra::cli
