#include "batch/batch_names.h"

#include "common/text_format.h"

namespace lumetra {

std::optional<BatchKind> ParseBatchKind(std::string_view text) {
  for (BatchKind k : {BatchKind::kTrack, BatchKind::kStest, BatchKind::kPtest, BatchKind::kMStest})
    if (text == BatchKindName(k)) return k;
  return std::nullopt;
}

std::string_view BatchKindName(BatchKind kind) {
  switch (kind) {
    case BatchKind::kTrack:
      return "track";
    case BatchKind::kStest:
      return "stest";
    case BatchKind::kPtest:
      return "ptest";
    case BatchKind::kMStest:
      return "mstest";
  }
  return "track";
}

std::string StepBatchFileName(const std::string& record_path, BatchKind kind,
                              const StepSettings& settings) {
  std::string name = RecordBaseName(record_path);
  switch (kind) {
    case BatchKind::kPtest:
      name += "-Ptest" + std::to_string(settings.p_threshold);
      break;
    case BatchKind::kMStest:
      name += "-MStest" + std::to_string(settings.ms_threshold);
      break;
    default:
      name += "-Stest" + std::to_string(settings.s_threshold);
      break;
  }
  return name + "w" + std::to_string(settings.window) + "thr" +
         std::to_string(settings.drop_threshold) + ".txt";
}

}  // namespace lumetra
