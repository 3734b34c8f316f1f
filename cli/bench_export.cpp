// lumetra-cli bench export FILE.xkv: the record transforms, the temporal
// median and each per-frame filter of the chain (on one core), each timed
// over the whole record and printed beside two floors
// measured in the same run: reading the record through the store, and
// reading it and writing every frame unchanged.
#include <algorithm>
#include <chrono>
#include <filesystem>
#include <functional>
#include <iostream>
#include <vector>

#include "cli/cli_common.h"
#include "common/text_format.h"
#include "processing/export_transform.h"
#include "processing/filter_set.h"
#include "processing/temporal_median.h"
#include "record/record_store.h"

namespace lumetra::cli {
namespace {

using Clock = std::chrono::steady_clock;

// Median over `repeats` runs of `run`, in seconds; negative when a run failed.
double MedianSeconds(int repeats, const std::function<bool()>& run) {
  std::vector<double> s;
  for (int r = 0; r < repeats; ++r) {
    const auto t0 = Clock::now();
    if (!run()) return -1;
    s.push_back(std::chrono::duration<double>(Clock::now() - t0).count());
  }
  std::sort(s.begin(), s.end());
  return s[s.size() / 2];
}

// Every frame read through the store, with whatever chain it has.
bool StreamAll(RecordStore& store, Reporter& reporter) {
  if (!store.RestartStream(-1, reporter)) return false;
  while (store.ReadNext(reporter) == FrameReadStatus::kOk) {
  }
  return store.CurrentFrame() + 1 == store.FrameCount();
}

// The second floor: every frame read and written unchanged, the cost of
// writing a whole record however little the transform does.
bool CopyAll(RecordStore& store, Reporter& reporter, const std::string& out) {
  ExportJob job{store, reporter, {}, {}, nullptr, {}};
  XkvExportStream s(job);
  if (!s.Open(out, 0)) return false;
  while (s.Next()) s.Write(store.Prm(), store.FrameBuffer());
  return s.Finish().ok;
}

void PrintLine(const std::string& name, double s, int32_t frames, double read_s, double copy_s) {
  std::string label = name;
  label.resize(std::max<size_t>(label.size() + 1, 36), ' ');
  std::cout << label << FormatFixed(s, 3) << " s, " << FormatFixed(frames / s, 0) << " frames/s, "
            << FormatFixed(s / read_s, 2) << "x read";
  if (copy_s > 0) std::cout << ", " << FormatFixed(s / copy_s, 2) << "x copy";
  std::cout << '\n';
}

}  // namespace

int BenchExport(const std::string& path, int repeats, const std::string& out_dir) {
  ConsoleReporter console;
  NullReporter quiet;
  auto store = RecordStore::Create(console);
  if (!store || !OpenRecordWithFrames(*store, path, console)) return 1;
  if (store->FrameCount() == 0) return Fail("bench", "the record holds no frame");
  const int32_t frames = store->FrameCount();
  const std::string out = (std::filesystem::path(out_dir) / "lumetra_bench_export.tmp").string();

  const double read_s = MedianSeconds(repeats, [&] { return StreamAll(*store, quiet); });
  if (read_s < 0) return Fail("bench", "the record could not be read to its end");
  std::cout << "record: " << path << " (" << frames << " frames of " << store->Width() << " x "
            << store->Height() << "), median of " << repeats << " runs\n";
  PrintLine("read through the store", read_s, frames, read_s, 0);
  const double copy_s = MedianSeconds(repeats, [&] { return CopyAll(*store, console, out); });
  std::filesystem::remove(out);
  if (copy_s < 0) return Fail("bench", "the copy of the record could not be written: " + out);
  PrintLine("read and write unchanged", copy_s, frames, read_s, copy_s);

  TemporalMedian filter(console);
  for (const char* text : {"sum:10", "bin:2", "threshold:100", "invert", "median5"}) {
    std::string error;
    const auto request = ParseTransformRequest(text, error);
    TransformContext context;
    context.median = &filter;
    const double s = MedianSeconds(repeats, [&] {
      ExportJob job{*store, console, {}, {}, nullptr, {}};
      return RunTransform(job, *request, out, context).ok;
    });
    std::filesystem::remove(out);
    if (s < 0) return Fail("bench", std::string("export ") + text + " failed");
    PrintLine(std::string("export ") + text, s, frames, read_s, copy_s);
  }
  for (int32_t m : {3, 5, 7}) {
    UseTemporalMedian(*store, filter, m);
    const double s = MedianSeconds(repeats, [&] { return StreamAll(*store, quiet); });
    UseTemporalMedian(*store, filter, 0);
    PrintLine("read, temporal median " + std::to_string(m), s, frames, read_s, 0);
  }
  for (const FrameFilterInfo& info : FrameFilterTable()) {
    FrameFilterSet set(console);
    FilterChoice choice;
    choice.on[static_cast<int>(info.filter)] = true;
    set.SetChoice(choice);
    set.SetWorkers(1);
    set.Attach(*store);
    const double s = MedianSeconds(repeats, [&] { return StreamAll(*store, quiet); });
    set.Detach(*store);
    PrintLine("read, filter " + std::string(info.cli_name) + " (one core)", s, frames, read_s, 0);
  }
  return 0;
}

}  // namespace lumetra::cli
