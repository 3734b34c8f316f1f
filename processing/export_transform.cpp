#include "processing/export_transform.h"

#include <algorithm>

#include "common/text_format.h"
#include "processing/bin_export.h"
#include "processing/bmp_export.h"
#include "processing/invert_export.h"
#include "processing/median5_export.h"
#include "processing/part_export.h"
#include "processing/processing_messages.h"
#include "processing/raw_export.h"
#include "processing/tiff_export.h"
#include "processing/sum_export.h"
#include "processing/threshold_export.h"

namespace lumetra {
namespace {

// Splits "a,b,c" into exactly `count` numbers.
bool Numbers(std::string_view text, size_t count, std::vector<double>& out) {
  out.clear();
  size_t start = 0;
  while (start <= text.size()) {
    const size_t comma = std::min(text.find(',', start), text.size());
    const auto v = ParseReal(text.substr(start, comma - start));
    if (!v) return false;
    out.push_back(*v);
    start = comma + 1;
  }
  return out.size() == count;
}

bool Whole(double v) {
  return v == static_cast<double>(TruncToInt(v));
}

// The transforms that take numbers after the colon. Returns why `args` does
// not fit `name` (empty when it does), with `s` filled.
std::string ParseValues(std::string_view name, std::string_view args, TransformRequest& s) {
  std::vector<double> v;
  if (name == "sum" || name == "bin" || name == "threshold") {
    if (!Numbers(args, 1, v) || !Whole(v[0])) return "expects one whole number";
    s.n = TruncToInt(v[0]);
    if (name == "sum") {
      s.kind = TransformKind::kSum;
      return IsSumLength(s.n) ? "" : "N must be 2, 5, 10, 20, 50, 100, 150 or 200";
    }
    if (name == "bin") {
      s.kind = TransformKind::kBinning;
      return s.n == 2 || s.n == 3 || s.n == 5 ? "" : "binning must be 2, 3 or 5";
    }
    s.kind = TransformKind::kThreshold;
    return s.n >= 0 ? "" : "the threshold is a count of 0 or more";
  }
  if (name == "part" || name == "thin") {
    if (!Numbers(args, 2, v) || !Whole(v[0]) || !Whole(v[1])) return "expects two whole numbers";
    s.kind = name == "part" ? TransformKind::kPart : TransformKind::kThinOut;
    s.first = TruncToInt(v[0]);
    s.second = TruncToInt(v[1]);
    return "";
  }
  if (!Numbers(args, 5, v) || !Whole(v[4])) return "expects X0,Y0,X1,Y1,WIDTH";
  s.kind = TransformKind::kProfile;
  s.line = {v[0], v[1], v[2], v[3], TruncToInt(v[4])};
  return "";
}

}  // namespace

std::optional<TransformRequest> ParseTransformRequest(std::string_view text, std::string& error) {
  struct Plain {
    std::string_view name;
    TransformKind kind;
    int32_t n;
  };
  static constexpr Plain kPlain[] = {
      {"median5", TransformKind::kMedian5, 0}, {"expand3", TransformKind::kBinning, -3},
      {"invert", TransformKind::kInverse, 0},  {"raw", TransformKind::kRaw, 0},
      {"raw-seq", TransformKind::kRawSeq, 0},  {"bmp-seq", TransformKind::kBmpSeq, 0},
      {"page", TransformKind::kPage, 0},       {"tiff", TransformKind::kTiff, 0},
      {"ome-tiff", TransformKind::kTiff, 1}};
  const size_t colon = text.find(':');
  const std::string_view name = text.substr(0, colon);
  TransformRequest s;
  std::string why = "unknown transform (" + std::string(kTransformNames) + ")";
  for (const Plain& p : kPlain) {
    if (name != p.name) continue;
    s.kind = p.kind;
    s.n = p.n;
    why = colon == std::string_view::npos ? "" : "takes no value";
  }
  for (std::string_view valued : {"sum", "bin", "threshold", "part", "thin", "profile"})
    if (name == valued)
      why = ParseValues(name, colon == std::string_view::npos ? "" : text.substr(colon + 1), s);
  if (why.empty()) return s;
  error = "--transform " + std::string(text) + ": " + why;
  return std::nullopt;
}

SaveDialogSetup SaveDialogFor(TransformKind kind) {
  switch (kind) {
    case TransformKind::kSum:
      return {kSumTitle, kXkvExportFilter, kXkvExportDefaultExt};
    case TransformKind::kMedian5:
      return {kMedian5Title, kXkvExportFilter, kXkvExportDefaultExt};
    case TransformKind::kPart:
      return {kPartTitle, kXkvExportFilter, kXkvExportDefaultExt};
    case TransformKind::kThinOut:
      return {kThinOutTitle, kXkvExportFilter, kXkvExportDefaultExt};
    case TransformKind::kBinning:
      return {kBinningTitle, kXkvExportFilter, kXkvExportDefaultExt};
    case TransformKind::kThreshold:
      return {kThresholdTitle, kXkvExportFilter, kXkvExportDefaultExt};
    case TransformKind::kInverse:
      return {kInverseTitle, kXkvExportFilter, kXkvExportDefaultExt};
    case TransformKind::kRaw:
      return {kRawTitle, kRawFilter, kRawDefaultExt};
    case TransformKind::kRawSeq:
      return {kRawSeqTitle, kRawSeqFilter, kRawDefaultExt};
    case TransformKind::kBmpSeq:
      return {kBmpSeqTitle, {}, {}};
    case TransformKind::kPage:
      return {kPageTitle, {}, {}};
    case TransformKind::kProfile:
      return {kProfileTitle, kXkvExportFilter, kXkvExportDefaultExt};
    case TransformKind::kTiff:
      return {kTiffTitle, kTiffFilter, kTiffDefaultExt};
  }
  return {};
}

SaveDialogSetup SaveDialogFor(const TransformRequest& request) {
  if (request.kind == TransformKind::kTiff && request.n == 1)
    return {kOmeTiffTitle, kOmeTiffFilter, kOmeTiffDefaultExt};
  return SaveDialogFor(request.kind);
}

ExportResult RunTransform(ExportJob& job, const TransformRequest& request,
                          const std::string& out_path, TransformContext& context) {
  const int32_t frames = job.store.FrameCount();
  switch (request.kind) {
    case TransformKind::kSum:
      return ExportSum(job, out_path, request.n);
    case TransformKind::kMedian5: {
      if (!context.median) return {};
      return ExportMedian5(job, out_path, *context.median);
    }
    case TransformKind::kPart: {
      int32_t first = 0, last = 0;
      if (!CheckPartFirst(std::to_string(request.first), frames, first, job.reporter) ||
          !CheckPartLast(std::to_string(request.second), first, frames, last, job.reporter))
        return {};
      return ExportPart(job, out_path, first, last);
    }
    case TransformKind::kThinOut: {
      ThinOutMemory local;
      ThinOutMemory& memory = context.thin_out ? *context.thin_out : local;
      if (!CheckThinFirst(std::to_string(request.first), frames, memory, job.reporter) ||
          !CheckThinOneOfN(std::to_string(request.second), frames, memory, job.reporter))
        return {};
      return ExportThinOut(job, out_path, memory.first, memory.one_of_n);
    }
    case TransformKind::kBinning:
      return ExportBinning(job, out_path, request.n);
    case TransformKind::kThreshold:
      return ExportThreshold(job, out_path, request.n);
    case TransformKind::kInverse:
      return ExportInverse(job, out_path);
    case TransformKind::kRaw:
      return ExportRaw(job, out_path);
    case TransformKind::kRawSeq:
      return ExportRawSequence(job, out_path);
    case TransformKind::kBmpSeq:
      return ExportBmpSequence(job, out_path, context.palette, context.view);
    case TransformKind::kPage:
      return ExportBmpPage(job, out_path, context.palette, context.view);
    case TransformKind::kProfile:
      return ExportProfile(job, out_path, request.line);
    case TransformKind::kTiff:
      return ExportTiff(job, out_path, request.n == 1);
  }
  return {};
}

}  // namespace lumetra
