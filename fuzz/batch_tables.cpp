// The batch runners' tables on any text: the summary (the first byte odd)
// and the manifest (even). A summary written again reads back the same, a
// manifest gives only the lines that name a record, from a file or from memory alike.
#include <string>
#include <vector>

#include "batch/batch_plan.h"
#include "batch/batch_summary.h"
#include "fuzz/fuzz_support.h"

namespace lumetra {
namespace {

std::string ReadSummary(LineSource& lines, bool& ok) {
  std::vector<RecordResult> rows;
  std::string error;
  ok = ParseSummary(lines, rows, error);
  if (!ok) {
    FUZZ_CHECK(!error.empty());
    return {};
  }
  // Written again, the rows read back as the rows written.
  const std::string once = SummaryText(rows);
  TextLines again(once);
  std::vector<RecordResult> back;
  FUZZ_CHECK(ParseSummary(again, back, error));
  FUZZ_CHECK(SummaryText(back) == once);
  return once;
}

std::string ReadFiles(LineSource& lines, bool& ok) {
  std::vector<std::string> files;
  std::string error, shape;
  ok = ReadManifest(lines, files, error);
  if (!ok) FUZZ_CHECK(!error.empty());
  for (const std::string& f : files) {
    FUZZ_CHECK(f.find_first_not_of(" \t") != std::string::npos && f[0] != '#');
    shape += f + '\n';
  }
  return shape;
}

std::string Read(uint8_t which, LineSource& lines, bool& ok) {
  return which % 2 ? ReadSummary(lines, ok) : ReadFiles(lines, ok);
}

}  // namespace
}  // namespace lumetra

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  lumetra::fuzz::ReadBothWays(data, size, lumetra::Read);
  return 0;
}
