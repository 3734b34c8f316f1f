// One "Save Record As" transform named by a short text ("sum:10", "bin:2",
// "part:3,7", ...), checked and run the way its menu handler runs it: the
// command line and the benchmarks go through here.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "processing/bmp_writer.h"
#include "processing/export_stream.h"
#include "processing/profile_export.h"
#include "processing/temporal_median.h"
#include "processing/thin_out_export.h"

namespace lumetra {

enum class TransformKind {
  kSum,        // sum:N
  kMedian5,    // median5
  kPart,       // part:FIRST,LAST
  kThinOut,    // thin:FIRST,N
  kBinning,    // bin:2, bin:3, bin:5, expand3 (n = -3)
  kThreshold,  // threshold:T
  kInverse,    // invert
  kRaw,        // raw
  kRawSeq,     // raw-seq
  kBmpSeq,     // bmp-seq
  kPage,       // page
  kProfile,    // profile:X0,Y0,X1,Y1,WIDTH
  kTiff,       // tiff (n = 0: ImageJ description), ome-tiff (n = 1: OME-XML)
};

struct TransformRequest {
  TransformKind kind = TransformKind::kSum;
  int32_t n = 0;       // sum length, binning factor, threshold
  int32_t first = 0;   // part and thin out
  int32_t second = 0;  // last frame of a part, one-of-N of a thin out
  ProfileBand line;
};

// What the shared save dialog shows for a transform. The RAW exports set
// their own filter and default extension; afterwards the window sets the
// dialog back to kXkvExportFilter and kXkvExportDefaultExt. The BMP exports set only the
// title (empty filter: the dialog keeps the one it has).
struct SaveDialogSetup {
  std::string_view title;
  std::string_view filter;
  std::string_view default_ext;
};
SaveDialogSetup SaveDialogFor(TransformKind kind);
// The same for a request: the OME-TIFF stack has its own title and filter.
SaveDialogSetup SaveDialogFor(const TransformRequest& request);

// The transforms' short names, for help texts.
inline constexpr std::string_view kTransformNames =
    "sum:N (N = 2, 5, 10, 20, 50, 100, 150, 200), median5, part:FIRST,LAST, thin:FIRST,N, "
    "bin:2, bin:3, bin:5, expand3, threshold:T, invert, raw, raw-seq, bmp-seq, page, "
    "profile:X0,Y0,X1,Y1,WIDTH, tiff, ome-tiff";

// Nothing, with `error` set, when the text names no transform or its numbers
// are malformed. Ranges that depend on the record are checked by RunTransform.
std::optional<TransformRequest> ParseTransformRequest(std::string_view text, std::string& error);

// What the window supplies besides the job: the temporal filter (its buffer
// serves "Median of 5"), the thin-out memory, the display palette and the view
// for the BMP exports.
struct TransformContext {
  TemporalMedian* median = nullptr;
  ThinOutMemory* thin_out = nullptr;
  std::vector<uint32_t> palette;
  ScreenView view;
};

// Checks the record-dependent ranges with the input boxes' messages, then
// streams the record through the transform into `out_path`.
ExportResult RunTransform(ExportJob& job, const TransformRequest& request,
                          const std::string& out_path, TransformContext& context);

}  // namespace lumetra
