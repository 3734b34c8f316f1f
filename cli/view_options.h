// Options shared by the commands that read frames the way the window shows
// them: --filter (the chain's per-frame filters) and the LUT editor's curve
// (--lut, --range, --auto, --threshold).
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/arg_parser.h"
#include "display/lut_curve.h"
#include "processing/filter_set.h"
#include "record/record_store.h"

namespace lumetra::cli {

void AddFilterOption(ArgParser& p);
// Nothing when the option is absent or good, else the exit code after the message.
std::optional<int> ReadFilterOption(const ArgParser& p, const std::string& command,
                                    FilterChoice& choice);

struct LutRequest {
  LutCurve curve;
  bool range_given = false;
  std::optional<double> auto_percent;  // --auto: saturated percent
};
void AddLutOptions(ArgParser& p);
std::optional<int> ReadLutOptions(const ArgParser& p, const std::string& command,
                                  LutRequest& lut);
// The curve for the store's record: the whole range unless --range gave one,
// or the auto-contrast of the current frame.
LutCurve CurveFor(const LutRequest& lut, const RecordStore& store);

}  // namespace lumetra::cli
