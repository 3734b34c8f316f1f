// The batch core: output names, the summary table and its merge, a job
// array's share of the records, name clashes, and runs that give the same
// outputs whatever the number of jobs.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "batch/batch_messages.h"
#include "batch/batch_plan.h"
#include "batch/batch_runner.h"
#include "batch/batch_summary.h"
#include "record/simulator.h"
#include "tests/support/xkv_builder.h"

namespace lumetra {
namespace {

namespace fs = std::filesystem;

std::string ReadBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

// A fresh folder of `n` small simulated records with bleaching spots.
std::vector<std::string> Records(const std::string& name, int n) {
  const fs::path dir = testing::TempPath(name);
  fs::remove_all(dir);
  fs::create_directories(dir);
  std::vector<std::string> files;
  for (int i = 0; i < n; ++i) {
    SimulationParams p;
    p.width = p.height = 48;
    p.frames = 40;
    p.spots = 12;
    p.fluorophores_max = 2;
    p.seed = 100 + static_cast<uint64_t>(i);
    const std::string path = (dir / ("rec" + std::to_string(i) + ".xkv")).string();
    NullReporter quiet;
    EXPECT_TRUE(SimulateRecord(p, path, quiet));
    files.push_back(path);
  }
  return files;
}

TEST(BatchNames, FollowTheWindowsNamesBesideTheRecord) {
  StepSettings s;
  const struct {
    std::string record;
    BatchKind kind;
    std::string name;
  } cases[] = {
      {"/d/cell3.xkv", BatchKind::kStest, "/d/cell3-Stest15w10thr10.txt"},
      {"/d/cell3.xkv", BatchKind::kPtest, "/d/cell3-Ptest15w10thr10.txt"},
      {"/d/cell3.xkv", BatchKind::kMStest, "/d/cell3-MStest15w10thr10.txt"},
      // A dot in a folder is no extension; a name without one is kept whole.
      {"/data/run.1/cell", BatchKind::kStest, "/data/run.1/cell-Stest15w10thr10.txt"},
      {"C:\\a.b\\cell", BatchKind::kStest, "C:\\a.b\\cell-Stest15w10thr10.txt"},
      {"x.y.xkv", BatchKind::kStest, "x.y-Stest15w10thr10.txt"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.record);
    EXPECT_EQ(StepBatchFileName(c.record, c.kind, s), c.name);
  }
  s.s_threshold = 7;
  s.p_threshold = 30;
  s.window = 4;
  s.drop_threshold = 250;
  EXPECT_EQ(StepBatchFileName("a.xkv", BatchKind::kStest, s), "a-Stest7w4thr250.txt");
  EXPECT_EQ(StepBatchFileName("a.xkv", BatchKind::kPtest, s), "a-Ptest30w4thr250.txt");

  BatchOptions o;
  EXPECT_EQ(BatchOutputName("/d/cell3.xkv", o), "/d/cell3-R5L10q8c500.xki");
  o.link_tracks = o.save_zpos = true;
  o.tracking.max_radius = 2.5;
  EXPECT_EQ(BatchOutputName("/d/cell3.xkv", o), "/d/cell3-R2.5L10q8c500-L-Z.xki");
  for (BatchKind k : {BatchKind::kTrack, BatchKind::kStest, BatchKind::kPtest, BatchKind::kMStest})
    EXPECT_EQ(ParseBatchKind(BatchKindName(k)), k);
  EXPECT_FALSE(ParseBatchKind("Track"));
}

TEST(BatchSummary, RoundTripsAndRefusesWhatIsNoSummary) {
  std::vector<RecordResult> rows(3);
  rows[0] = {"a.xkv", RecordStatus::kOk, "a.xki", 1.25, 12, ""};
  rows[1] = {"b\tc.xkv", RecordStatus::kFailed, "b.xki", 0, -1, "File open ERROR: b\nline two"};
  rows[2] = {"d.xkv", RecordStatus::kSkipped, "d.xki", 0, -1, "the output is already there"};
  const std::string text = SummaryText(rows);
  // Seconds of any size (a summary edited by hand) are written whole.
  rows[2].seconds = 1e300;
  const std::string huge_text = SummaryText(rows);
  TextLines huge(huge_text);
  std::vector<RecordResult> huge_back;
  std::string huge_error;
  ASSERT_TRUE(ParseSummary(huge, huge_back, huge_error)) << huge_error;
  EXPECT_EQ(huge_back[2].seconds, 1e300);
  EXPECT_EQ(text.substr(0, text.find('\n')), kSummaryHeader);
  // Tabs and line breaks inside a field would break the table's shape.
  EXPECT_NE(text.find("b c.xkv\tfailed\tb.xki\t0.000\t\tFile open ERROR: b line two\n"),
            std::string::npos);

  TextLines lines(text);
  std::vector<RecordResult> back;
  std::string error;
  ASSERT_TRUE(ParseSummary(lines, back, error)) << error;
  ASSERT_EQ(back.size(), 3u);
  EXPECT_EQ(back[0].count, 12);
  EXPECT_DOUBLE_EQ(back[0].seconds, 1.25);
  EXPECT_EQ(back[1].count, -1);
  EXPECT_EQ(back[1].status, RecordStatus::kFailed);
  EXPECT_EQ(back[2].status, RecordStatus::kSkipped);
  EXPECT_EQ(SummaryText(back), text);

  const std::string header(kSummaryHeader);
  for (const std::string& bad :
       {std::string(""), std::string("file\tstatus\n"), header + "\na\tok\tb\t1\t2\n",
        header + "\na\tdone\tb\t1\t2\tm\n", header + "\na\tok\tb\tx\t2\tm\n"}) {
    SCOPED_TRACE(bad);
    TextLines l(bad);
    std::vector<RecordResult> r;
    EXPECT_FALSE(ParseSummary(l, r, error));
    EXPECT_FALSE(error.empty());
  }
}

TEST(BatchSummary, MergeFollowsTheManifestAndNamesWhatNoTaskReported) {
  const std::vector<std::vector<RecordResult>> parts = {
      {{"a", RecordStatus::kOk, "a.o", 1, 3, ""}, {"b", RecordStatus::kFailed, "b.o", 1, -1, "x"}},
      {{"c", RecordStatus::kOk, "c.o", 1, 1, ""}},
      // b again, from a task run a second time.
      {{"b", RecordStatus::kOk, "b.o", 2, 5, ""}},
  };
  const auto plain = MergeSummaries(parts, {});
  ASSERT_EQ(plain.size(), 4u);
  EXPECT_EQ(plain[3].file, "b");

  const auto merged = MergeSummaries(parts, {"c", "b", "z", "a"});
  ASSERT_EQ(merged.size(), 4u);
  EXPECT_EQ(merged[0].file, "c");
  EXPECT_EQ(merged[1].status, RecordStatus::kOk);
  EXPECT_EQ(merged[1].count, 5);
  EXPECT_EQ(merged[2].file, "z");
  EXPECT_EQ(merged[2].status, RecordStatus::kFailed);
  EXPECT_EQ(merged[2].message, kNoReportFromTask);
  EXPECT_TRUE(AnyFailed(merged));
  EXPECT_FALSE(AnyFailed(parts[1]));
}

TEST(BatchPlan, ManifestAndTaskShares) {
  TextLines lines("# records of monday\r\na.xkv\r\n\n  \nb c.xkv\nlast.xkv");
  std::vector<std::string> files;
  std::string error;
  ASSERT_TRUE(ReadManifest(lines, files, error));
  EXPECT_EQ(files, (std::vector<std::string>{"a.xkv", "b c.xkv", "last.xkv"}));

  // Every record goes to exactly one task, in order, the shares differing by
  // at most one record.
  for (int n = 0; n <= 9; ++n)
    for (int tasks = 1; tasks <= 5; ++tasks) {
      SCOPED_TRACE(std::to_string(n) + " records, " + std::to_string(tasks) + " tasks");
      std::vector<std::string> all;
      for (int i = 0; i < n; ++i) all.push_back(std::to_string(i));
      std::vector<std::string> joined;
      size_t lo = all.size(), hi = 0;
      for (int t = 0; t < tasks; ++t) {
        const auto share = TaskRecords(all, {t, tasks});
        lo = std::min(lo, share.size());
        hi = std::max(hi, share.size());
        joined.insert(joined.end(), share.begin(), share.end());
      }
      EXPECT_EQ(joined, all);
      EXPECT_LE(hi - lo, 1u);
    }
  EXPECT_TRUE(TaskRecords({"a"}, {3, 3}).empty());
}

// The environment of a job array task, as a table.
std::map<std::string, std::string>* g_env = nullptr;
const char* FakeEnv(const char* name) {
  auto it = g_env->find(name);
  return it == g_env->end() ? nullptr : it->second.c_str();
}

TEST(BatchPlan, SlurmArrayTaskFromItsEnvironment) {
  const struct {
    std::map<std::string, std::string> env;
    int64_t task, tasks;  // -1: refused
  } cases[] = {
      {{{"SLURM_ARRAY_TASK_ID", "3"}, {"SLURM_ARRAY_TASK_COUNT", "4"}}, 3, 4},
      {{{"SLURM_ARRAY_TASK_ID", "1"}, {"SLURM_ARRAY_TASK_COUNT", "10"}, {"SLURM_ARRAY_TASK_MIN", "1"}},
       0, 10},
      {{{"SLURM_ARRAY_TASK_ID", "7"},
        {"SLURM_ARRAY_TASK_COUNT", "4"},
        {"SLURM_ARRAY_TASK_MIN", "1"},
        {"SLURM_ARRAY_TASK_STEP", "2"}},
       3, 4},
      {{{"SLURM_ARRAY_TASK_COUNT", "4"}}, -1, 0},
      {{{"SLURM_ARRAY_TASK_ID", "4"}, {"SLURM_ARRAY_TASK_COUNT", "4"}}, -1, 0},
      {{{"SLURM_ARRAY_TASK_ID", "x"}, {"SLURM_ARRAY_TASK_COUNT", "4"}}, -1, 0},
      {{{"SLURM_ARRAY_TASK_ID", "2"}, {"SLURM_ARRAY_TASK_COUNT", "4"}, {"SLURM_ARRAY_TASK_STEP", "2"}},
       1, 4},
      {{{"SLURM_ARRAY_TASK_ID", "3"}, {"SLURM_ARRAY_TASK_COUNT", "4"}, {"SLURM_ARRAY_TASK_STEP", "2"}},
       -1, 0},
  };
  for (const auto& c : cases) {
    auto env = c.env;
    g_env = &env;
    std::string error;
    const auto share = ArrayTaskFromEnvironment(FakeEnv, error);
    SCOPED_TRACE(error);
    if (c.task < 0) {
      EXPECT_FALSE(share);
      EXPECT_FALSE(error.empty());
    } else {
      ASSERT_TRUE(share);
      EXPECT_EQ(share->task, c.task);
      EXPECT_EQ(share->tasks, c.tasks);
    }
  }
  g_env = nullptr;
}

TEST(BatchRunner, NameClashesAreLeftOutWithTheirReason) {
  BatchOptions o;
  const auto clash = NameClashes({"a.xkv", "b.xkv", "a.xkv", "a.dat", "a"}, o);
  ASSERT_EQ(clash.size(), 5u);
  EXPECT_FALSE(clash[0] || clash[1]);
  ASSERT_TRUE(clash[2] && clash[3] && clash[4]);
  EXPECT_EQ(clash[2]->status, RecordStatus::kSkipped);
  EXPECT_EQ(clash[3]->status, RecordStatus::kFailed);
  EXPECT_EQ(clash[3]->message, std::string(kOutputClash) + "a.xkv");
  EXPECT_EQ(clash[4]->status, RecordStatus::kFailed);
}

TEST(BatchRunner, OutputsAndRowsDoNotDependOnTheJobs) {
  for (BatchKind kind : {BatchKind::kTrack, BatchKind::kStest, BatchKind::kMStest}) {
    SCOPED_TRACE(std::string(BatchKindName(kind)));
    const auto files = Records("jobs", 6);
    BatchOptions o;
    o.kind = kind;
    std::vector<std::string> first;
    std::vector<RecordResult> first_rows;
    for (int jobs : {1, 3}) {
      size_t started = 0, finished = 0;
      BatchEvents ev;
      ev.started = [&](size_t, const std::string&) { ++started; };
      ev.finished = [&](size_t, const RecordResult&) { ++finished; };
      const auto rows = RunBatch(files, o, jobs, nullptr, ev);
      EXPECT_EQ(started, files.size());
      EXPECT_EQ(finished, files.size());
      ASSERT_EQ(rows.size(), files.size());
      std::vector<std::string> outputs;
      for (size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(rows[i].file, files[i]);
        EXPECT_EQ(rows[i].status, RecordStatus::kOk) << rows[i].message;
        outputs.push_back(ReadBytes(rows[i].output));
        EXPECT_FALSE(fs::exists(rows[i].output + ".part"));
        fs::remove(rows[i].output);
      }
      if (jobs == 1) {
        first = outputs;
        first_rows = rows;
        EXPECT_GT(first_rows[0].count, kind == BatchKind::kMStest ? -1 : 0);
        continue;
      }
      EXPECT_EQ(outputs, first);
      for (size_t i = 0; i < rows.size(); ++i) EXPECT_EQ(rows[i].count, first_rows[i].count);
    }
  }
}

TEST(BatchRunner, AStopLeavesTheRestNotRunAndResumeSkipsWhatIsThere) {
  const auto files = Records("stop", 4);
  BatchOptions o;
  std::atomic<bool> stop{false};
  BatchEvents ev;
  // Set while the second record runs: it stops without an output.
  ev.started = [&](size_t i, const std::string&) {
    if (i == 1) stop.store(true);
  };
  const auto rows = RunBatch(files, o, 1, &stop, ev);
  EXPECT_EQ(rows[0].status, RecordStatus::kOk);
  EXPECT_EQ(rows[1].status, RecordStatus::kFailed);
  EXPECT_EQ(rows[1].message.rfind(kRecordStopped, 0), 0u) << rows[1].message;
  EXPECT_FALSE(fs::exists(rows[1].output));
  for (size_t i : {2, 3}) {
    EXPECT_EQ(rows[i].message, kRecordNotRun);
    EXPECT_FALSE(fs::exists(rows[i].output));
  }
  const std::string done = ReadBytes(rows[0].output);

  o.resume = true;
  const auto again = RunBatch(files, o, 2);
  EXPECT_EQ(again[0].status, RecordStatus::kSkipped);
  for (size_t i : {1, 2, 3}) EXPECT_EQ(again[i].status, RecordStatus::kOk) << again[i].message;
  EXPECT_EQ(ReadBytes(again[0].output), done);
}

}  // namespace
}  // namespace lumetra
