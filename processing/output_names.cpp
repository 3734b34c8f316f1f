#include "processing/output_names.h"

namespace lumetra {
namespace {

std::string N(int32_t v) {
  return std::to_string(v);
}

}  // namespace

std::string RecordBase(const std::string& record_path) {
  const size_t slash = record_path.find_last_of('/');
  const size_t dot = record_path.find_last_of('.');
  const bool has_ext = dot != std::string::npos && (slash == std::string::npos || dot > slash + 1);
  return has_ext ? record_path.substr(0, dot) : record_path;
}

std::string DefaultTransformName(const std::string& record_path, const TransformRequest& r) {
  const std::string base = RecordBase(record_path);
  switch (r.kind) {
    case TransformKind::kSum:
      return base + "_sum" + N(r.n) + ".xkv";
    case TransformKind::kMedian5:
      return base + "_med5.xkv";
    case TransformKind::kPart:
      return base + "_part" + N(r.first) + "-" + N(r.second) + ".xkv";
    case TransformKind::kThinOut:
      return base + "_thin1of" + N(r.second) + "_from" + N(r.first) + ".xkv";
    case TransformKind::kBinning:
      return base + (r.n < 0 ? "_expand" + N(-r.n) : "_bin" + N(r.n)) + ".xkv";
    case TransformKind::kThreshold:
      return base + "_thresh" + N(r.n) + ".xkv";
    case TransformKind::kInverse:
      return base + "_inverse.xkv";
    case TransformKind::kRaw:
      return base + ".raw";
    case TransformKind::kRawSeq:
      return base + "_frame.raw";
    case TransformKind::kBmpSeq:
      return base + "_frame.bmp";
    case TransformKind::kPage:
      return base + "_page.bmp";
    case TransformKind::kProfile:
      return base + "_profile.xkv";
    case TransformKind::kTiff: {
      // "cell3.ome.tif" has the base "cell3", not "cell3.ome".
      const std::string stem = base.ends_with(".ome") ? base.substr(0, base.size() - 4) : base;
      const std::string ext = r.n == 1 ? ".ome.tif" : ".tif";
      // A TIFF record is not offered as its own output.
      return stem + ext == record_path ? stem + "_16bit" + ext : stem + ext;
    }
  }
  return base + ".xkv";
}

std::string DefaultFrameName(const std::string& record_path, int32_t frame) {
  return RecordBase(record_path) + "_frame" + N(frame) + ".xkv";
}

std::string DefaultFusedName(const std::string& first_record_path) {
  return RecordBase(first_record_path) + "_fused.xkv";
}

std::string DefaultDriftCorrectedName(const std::string& record_path) {
  return RecordBase(record_path) + "-driftcorr.xkv";
}

std::string DefaultImportName(const std::string& source_path) {
  return RecordBase(source_path) + ".xkv";
}

}  // namespace lumetra
