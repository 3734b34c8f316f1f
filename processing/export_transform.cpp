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

}  // namespace

std::optional<TransformSpec> ParseTransformSpec(std::string_view text, std::string& error) {
  const size_t colon = text.find(':');
  const std::string_view name = text.substr(0, colon);
  const std::string_view args = colon == std::string_view::npos ? "" : text.substr(colon + 1);
  TransformSpec s;
  std::vector<double> v;
  auto fail = [&](const std::string& why) -> std::optional<TransformSpec> {
    error = "--transform " + std::string(text) + ": " + why;
    return std::nullopt;
  };
  auto simple = [&](TransformKind k, int32_t n = 0) -> std::optional<TransformSpec> {
    if (colon != std::string_view::npos) return fail("takes no value");
    s.kind = k;
    s.n = n;
    return s;
  };
  if (name == "median5") return simple(TransformKind::kMedian5);
  if (name == "expand3") return simple(TransformKind::kBinning, -3);
  if (name == "invert") return simple(TransformKind::kInverse);
  if (name == "raw") return simple(TransformKind::kRaw);
  if (name == "raw-seq") return simple(TransformKind::kRawSeq);
  if (name == "bmp-seq") return simple(TransformKind::kBmpSeq);
  if (name == "page") return simple(TransformKind::kPage);
  if (name == "sum" || name == "bin" || name == "threshold") {
    if (!Numbers(args, 1, v) || !Whole(v[0])) return fail("expects one whole number");
    s.n = TruncToInt(v[0]);
    if (name == "sum") {
      s.kind = TransformKind::kSum;
      if (!IsSumLength(s.n)) return fail("N must be 2, 5, 10, 20, 50, 100, 150 or 200");
    } else if (name == "bin") {
      s.kind = TransformKind::kBinning;
      if (s.n != 2 && s.n != 3 && s.n != 5) return fail("binning must be 2, 3 or 5");
    } else {
      s.kind = TransformKind::kThreshold;
      if (s.n < 0) return fail("the threshold is a count of 0 or more");
    }
    return s;
  }
  if (name == "part" || name == "thin") {
    if (!Numbers(args, 2, v) || !Whole(v[0]) || !Whole(v[1]))
      return fail("expects two whole numbers");
    s.kind = name == "part" ? TransformKind::kPart : TransformKind::kThinOut;
    s.first = TruncToInt(v[0]);
    s.second = TruncToInt(v[1]);
    return s;
  }
  if (name == "profile") {
    if (!Numbers(args, 5, v) || !Whole(v[4])) return fail("expects X0,Y0,X1,Y1,WIDTH");
    s.kind = TransformKind::kProfile;
    s.line = {v[0], v[1], v[2], v[3], TruncToInt(v[4])};
    return s;
  }
  return fail("unknown transform (" + std::string(kTransformNames) + ")");
}

SaveDialogSetup SaveDialogFor(TransformKind kind) {
  switch (kind) {
    case TransformKind::kSum:
      return {kSumTitle, kXkvFilter, kXkvDefaultExt};
    case TransformKind::kMedian5:
      return {kMedian5Title, kXkvFilter, kXkvDefaultExt};
    case TransformKind::kPart:
      return {kPartTitle, kXkvFilter, kXkvDefaultExt};
    case TransformKind::kThinOut:
      return {kThinOutTitle, kXkvFilter, kXkvDefaultExt};
    case TransformKind::kBinning:
      return {kBinningTitle, kXkvFilter, kXkvDefaultExt};
    case TransformKind::kThreshold:
      return {kThresholdTitle, kXkvFilter, kXkvDefaultExt};
    case TransformKind::kInverse:
      return {kInverseTitle, kXkvFilter, kXkvDefaultExt};
    case TransformKind::kRaw:
      return {kRawTitle, kRawFilter, kRawDefaultExt};
    case TransformKind::kRawSeq:
      return {kRawSeqTitle, kRawSeqFilter, kRawDefaultExt};
    case TransformKind::kBmpSeq:
      return {kBmpSeqTitle, {}, {}};
    case TransformKind::kPage:
      return {kPageTitle, {}, {}};
    case TransformKind::kProfile:
      return {kProfileTitle, kXkvFilter, kXkvDefaultExt};
  }
  return {};
}

ExportResult RunTransform(ExportJob& job, const TransformSpec& spec, const std::string& out_path,
                          TransformContext& context) {
  const int32_t frames = job.store.FrameCount();
  switch (spec.kind) {
    case TransformKind::kSum:
      return ExportSum(job, out_path, spec.n);
    case TransformKind::kMedian5: {
      if (!context.median) return {};
      return ExportMedian5(job, out_path, *context.median);
    }
    case TransformKind::kPart: {
      int32_t first = 0, last = 0;
      if (!CheckPartFirst(std::to_string(spec.first), frames, first, job.reporter) ||
          !CheckPartLast(std::to_string(spec.second), first, frames, last, job.reporter))
        return {};
      return ExportPart(job, out_path, first, last);
    }
    case TransformKind::kThinOut: {
      ThinOutMemory local;
      ThinOutMemory& memory = context.thin_out ? *context.thin_out : local;
      if (!CheckThinFirst(std::to_string(spec.first), frames, memory, job.reporter) ||
          !CheckThinOneOfN(std::to_string(spec.second), frames, memory, job.reporter))
        return {};
      return ExportThinOut(job, out_path, memory.first, memory.one_of_n);
    }
    case TransformKind::kBinning:
      return ExportBinning(job, out_path, spec.n);
    case TransformKind::kThreshold:
      return ExportThreshold(job, out_path, spec.n);
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
      return ExportProfile(job, out_path, spec.line);
  }
  return {};
}

}  // namespace lumetra
