// --mask and --mask-mode: a mask file in the first slot of the chain, for the
// commands that analyse a record (track, steps).
#pragma once

#include <optional>
#include <string>

#include "cli/arg_parser.h"
#include "common/report.h"
#include "processing/mask.h"
#include "record/record_store.h"

namespace lumetra::cli {

ArgParser& AddMaskOptions(ArgParser& p);

// After the record is open: reads the mask, refuses one of another size than
// the record, and puts `step` into the store's chain (`step` must outlive the
// store's use). Returns an exit code after the message, else nothing.
std::optional<int> ApplyMaskOptions(const ArgParser& p, RecordStore& store, MaskStep& step,
                                    Reporter& reporter, const std::string& command);

}  // namespace lumetra::cli
