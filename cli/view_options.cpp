#include "cli/view_options.h"

#include "cli/cli_common.h"
#include "common/text_format.h"

namespace lumetra::cli {

void AddFilterOption(ArgParser& p) {
  p.Option("filter", "LIST",
           "per-frame filters of the chain, run on every frame read in their fixed order: " +
               FilterListHelp() + " (N: frames, 2-50, default 3; RADIUS 1-20, default 3; " +
               "STRENGTH above 0.2 to 20, default 16)");
}

std::optional<int> ReadFilterOption(const ArgParser& p, const std::string& command,
                                    FilterChoice& choice) {
  if (!p.Has("filter")) return std::nullopt;
  std::string error;
  const auto c = ParseFilterList(p.Value("filter"), error);
  if (!c) return Fail(command, "--filter: " + error, 2);
  choice = *c;
  return std::nullopt;
}

void AddLutOptions(ArgParser& p) {
  p.Option("lut", "SHAPE", "the LUT curve: linear, gamma:G (0.1-10) or sigmoid:S (1-50)", "linear")
      .Option("range", "MIN,MAX", "counts spread over the palette (default: the whole range)")
      .Option("auto", "PERCENT",
              "auto-contrast: the range that leaves PERCENT of the frame's pixels saturated "
              "(0-50, half at each end)")
      .Option("threshold", "T", "counts at or below T are painted black");
}

std::optional<int> ReadLutOptions(const ArgParser& p, const std::string& command,
                                  LutRequest& lut) {
  std::string error;
  if (!ParseLutShape(p.Value("lut"), lut.curve, error)) return Fail(command, error, 2);
  if (p.Has("range")) {
    if (!ParseLutRange(p.Value("range"), lut.curve, error)) return Fail(command, error, 2);
    lut.range_given = true;
  }
  if (p.Has("auto")) {
    if (lut.range_given) return Fail(command, "--auto and --range exclude each other", 2);
    const auto v = ParseReal(p.Value("auto"));
    if (!v || *v < 0 || *v > 50) return Fail(command, "--auto needs a percentage from 0 to 50", 2);
    lut.auto_percent = *v;
  }
  if (p.Has("threshold")) {
    const auto t = ParseInteger(p.Value("threshold"));
    if (!t || *t < 0 || *t > 65535)
      return Fail(command, "--threshold needs a count from 0 to 65535", 2);
    lut.curve.threshold_on = true;
    lut.curve.threshold = static_cast<int32_t>(*t);
  }
  return std::nullopt;
}

LutCurve CurveFor(const LutRequest& lut, const RecordStore& store) {
  LutCurve c = lut.curve;
  if (lut.auto_percent) {
    std::vector<uint32_t> histogram;
    FrameHistogram(store.FrameBuffer(),
                   static_cast<size_t>(store.Width()) * static_cast<size_t>(store.Height()),
                   histogram);
    std::tie(c.min, c.max) = AutoContrast(histogram, *lut.auto_percent);
  } else if (!lut.range_given) {
    const LutCurve full = FullRangeCurve(store.MaxLevel());
    c.min = full.min;
    c.max = full.max;
  }
  return c;
}

}  // namespace lumetra::cli
