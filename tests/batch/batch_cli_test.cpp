// lumetra-cli batch: a long run with broken records among good ones, a run
// killed and resumed, an output folder that cannot be written, the shares of
// a job array merged, and the refusals of the command line.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "batch/batch_summary.h"
#include "cli/cli_common.h"
#include "record/simulator.h"
#include "tests/support/cli_capture.h"
#include "tests/support/xkv_builder.h"

namespace lumetra::cli {
namespace {

namespace fs = std::filesystem;
using lumetra::testing::Call;
using lumetra::testing::CliRun;

std::string ReadBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

void WriteBytes(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

fs::path FreshDir(const std::string& name) {
  const fs::path dir = lumetra::testing::TempPath(name);
  fs::remove_all(dir);
  fs::create_directories(dir);
  return dir;
}

std::string Simulate(const fs::path& dir, int i, int32_t size, int32_t frames) {
  SimulationParams p;
  p.width = p.height = size;
  p.frames = frames;
  p.spots = size / 4;
  p.seed = 7 + static_cast<uint64_t>(i);
  const std::string path = (dir / ("cell" + std::to_string(i) + ".xkv")).string();
  NullReporter quiet;
  EXPECT_TRUE(SimulateRecord(p, path, quiet));
  return path;
}

std::vector<RecordResult> Rows(const std::string& summary) {
  TextLines lines(summary);
  std::vector<RecordResult> rows;
  std::string error;
  EXPECT_TRUE(ParseSummary(lines, rows, error)) << error;
  return rows;
}

std::vector<std::string> With(std::vector<std::string> args, const std::vector<std::string>& more) {
  args.insert(args.end(), more.begin(), more.end());
  return args;
}

TEST(CliBatch, TenBrokenRecordsAmongTwoHundredAreNamedAndTheRestMatchSingleRuns) {
  const fs::path dir = FreshDir("many");
  std::vector<std::string> files;
  std::vector<std::string> broken;
  for (int i = 0; i < 190; ++i) files.push_back(Simulate(dir, i, 32, 24));
  const std::string good = ReadBytes(files[0]);
  auto add_broken = [&](const std::string& name) {
    const std::string path = (dir / name).string();
    broken.push_back(path);
    // Spread among the good ones.
    files.insert(files.begin() + static_cast<long>(broken.size() * 17), path);
    return path;
  };
  WriteBytes(add_broken("cut-in-frame0.xkv"), good.substr(0, 300));
  WriteBytes(add_broken("cut-at-end.xkv"), good.substr(0, good.size() - 100));
  WriteBytes(add_broken("empty1.xkv"), "");
  WriteBytes(add_broken("empty2.xkv"), "");
  WriteBytes(add_broken("text.xkv"), std::string(4000, 'x'));
  std::string bad_header = good;
  PrmBytes head;
  std::copy_n(good.begin(), head.size(), head.begin());
  PRM_INFO deep = DecodePrmInfo(head);
  deep.BitsPerPixel = 40;
  head = EncodePrmInfo(deep);
  std::copy(head.begin(), head.end(), bad_header.begin());
  WriteBytes(add_broken("bad-header.xkv"), bad_header);
  fs::create_directory(add_broken("folder1.xkv"));
  fs::create_directory(add_broken("folder2.xkv"));
  add_broken("missing1.xkv");
  add_broken("missing2.xkv");
  ASSERT_EQ(files.size(), 200u);

  const std::string summary = (dir / "summary.tsv").string();
  const CliRun r = Call(RunBatchCommand,
                        With({"track"}, With(files, {"--jobs", "2", "--summary", summary})));
  EXPECT_EQ(r.code, 1);
  EXPECT_EQ(ReadBytes(summary), r.out);
  const auto rows = Rows(r.out);
  ASSERT_EQ(rows.size(), 200u);
  std::vector<std::string> failed;
  for (size_t i = 0; i < rows.size(); ++i) {
    EXPECT_EQ(rows[i].file, files[i]);
    if (rows[i].status == RecordStatus::kFailed) {
      failed.push_back(rows[i].file);
      EXPECT_FALSE(rows[i].message.empty());
      EXPECT_FALSE(fs::exists(rows[i].output)) << rows[i].file;
      // Named on stderr with the reason.
      EXPECT_NE(r.err.find(rows[i].file + ": "), std::string::npos) << rows[i].file;
      continue;
    }
    EXPECT_EQ(rows[i].status, RecordStatus::kOk);
    // The batch writes what a run of the record alone writes.
    const std::string single = (dir / "single.xki").string();
    const CliRun one =
        Call(RunTrack, {rows[i].file, "--out", single, "--no-link-pass"});
    ASSERT_EQ(one.code, 0) << one.err;
    ASSERT_EQ(ReadBytes(rows[i].output), ReadBytes(single)) << rows[i].file;
  }
  std::sort(failed.begin(), failed.end());
  std::sort(broken.begin(), broken.end());
  EXPECT_EQ(failed, broken);
  EXPECT_NE(r.err.find("Batch finished: 190 ok, 10 failed, 0 skipped"), std::string::npos);
}

pid_t Spawn(const std::vector<std::string>& args) {
  const pid_t pid = fork();
  if (pid == 0) {
    std::vector<char*> argv;
    static std::string program = LUMETRA_CLI_PATH;
    argv.push_back(program.data());
    for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    freopen("/dev/null", "w", stdout);
    freopen("/dev/null", "w", stderr);
    execv(program.c_str(), argv.data());
    _exit(127);
  }
  return pid;
}

TEST(CliBatch, AKilledRunResumedEndsWithTheOutputsOfAWholeRun) {
  const fs::path dir = FreshDir("kill");
  std::vector<std::string> files;
  for (int i = 0; i < 10; ++i) files.push_back(Simulate(dir, i, 160, 120));
  const std::vector<std::string> args = With({"batch", "stest"}, With(files, {"--jobs", "1"}));

  // The whole run first; its outputs are kept aside.
  const CliRun whole = Call(RunBatchCommand, With({"stest"}, With(files, {"--jobs", "1"})));
  ASSERT_EQ(whole.code, 0) << whole.err;
  std::vector<std::string> outputs, expected;
  for (const RecordResult& row : Rows(whole.out)) {
    outputs.push_back(row.output);
    expected.push_back(ReadBytes(row.output));
    fs::remove(row.output);
  }

  const pid_t pid = Spawn(args);
  ASSERT_GT(pid, 0);
  auto done = [&] {
    int n = 0;
    for (const std::string& o : outputs) n += fs::exists(o);
    return n;
  };
  const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(120);
  while (done() < 3 && std::chrono::steady_clock::now() < give_up)
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  kill(pid, SIGKILL);
  int status = 0;
  waitpid(pid, &status, 0);
  const int finished = done();
  ASSERT_GE(finished, 3);
  ASSERT_LT(finished, 10) << "the run ended before it could be killed";
  // What is there under a final name is complete.
  for (size_t i = 0; i < outputs.size(); ++i)
    if (fs::exists(outputs[i])) {
      EXPECT_EQ(ReadBytes(outputs[i]), expected[i]) << outputs[i];
    }

  const CliRun resumed =
      Call(RunBatchCommand, With({"stest"}, With(files, {"--jobs", "2", "--resume"})));
  EXPECT_EQ(resumed.code, 0) << resumed.err;
  int skipped = 0;
  for (const RecordResult& row : Rows(resumed.out)) skipped += row.status == RecordStatus::kSkipped;
  EXPECT_EQ(skipped, finished);
  for (size_t i = 0; i < outputs.size(); ++i) {
    EXPECT_EQ(ReadBytes(outputs[i]), expected[i]) << outputs[i];
    EXPECT_FALSE(fs::exists(outputs[i] + ".part"));
  }
}

TEST(CliBatch, AnOutputFolderThatCannotBeWrittenGivesOneMessagePerRecord) {
  const fs::path dir = FreshDir("readonly");
  std::vector<std::string> files;
  for (int i = 0; i < 3; ++i) files.push_back(Simulate(dir, i, 32, 24));
  fs::permissions(dir, fs::perms::owner_read | fs::perms::owner_exec | fs::perms::group_read |
                           fs::perms::group_exec);
  // Root writes into a read-only folder anyway: then a folder in the way of
  // each output's temporary name does the same.
  const bool root_writes = access(dir.c_str(), W_OK) == 0;
  if (root_writes) {
    fs::permissions(dir, fs::perms::owner_all);
    for (const std::string& f : files)
      fs::create_directory(f.substr(0, f.size() - 4) + "-R5L10q8c500.xki.part");
  }
  const CliRun r = Call(RunBatchCommand, With({"track"}, files));
  fs::permissions(dir, fs::perms::owner_all);
  EXPECT_EQ(r.code, 1);
  const auto rows = Rows(r.out);
  ASSERT_EQ(rows.size(), 3u);
  for (const RecordResult& row : rows) {
    EXPECT_EQ(row.status, RecordStatus::kFailed);
    EXPECT_NE(row.message.find("the output can not be written: " + row.output), std::string::npos)
        << row.message;
    EXPECT_FALSE(fs::exists(row.output));
  }
}

TEST(CliBatch, TheSharesOfAJobArrayMergeIntoTheRunOfOneMachine) {
  const fs::path dir = FreshDir("array");
  std::vector<std::string> files;
  for (int i = 0; i < 7; ++i) files.push_back(Simulate(dir, i, 48, 40));
  files.push_back((dir / "missing.xkv").string());
  const std::string manifest = (dir / "files.txt").string();
  std::string list = "# the records\n";
  for (const std::string& f : files) list += f + "\n";
  WriteBytes(manifest, list);

  const CliRun one = Call(RunBatchCommand, {"ptest", "--manifest", manifest, "--jobs", "1"});
  ASSERT_EQ(one.code, 1);
  const auto single = Rows(one.out);
  std::vector<std::string> expected;
  for (const RecordResult& row : single) {
    expected.push_back(ReadBytes(row.output));
    fs::remove(row.output);
  }

  std::vector<std::string> merge_args;
  // Tasks 0 and 2 first, then task 1: the merge follows the manifest.
  for (int t : {0, 2, 1}) {
    const std::string part = (dir / ("summary-" + std::to_string(t) + ".tsv")).string();
    const CliRun task = Call(RunBatchCommand, {"ptest", "--manifest", manifest, "--task",
                                               std::to_string(t), "--tasks", "3", "--jobs", "2",
                                               "--summary", part});
    EXPECT_EQ(task.code, t == 2 ? 1 : 0) << task.err;
    merge_args.push_back(part);
  }
  const std::string merged_path = (dir / "summary.tsv").string();
  const CliRun merged = Call(RunBatchCommand, With({"merge"}, With(merge_args, {"--manifest", manifest,
                                                                              "--out", merged_path})));
  EXPECT_EQ(merged.code, 1);
  EXPECT_EQ(ReadBytes(merged_path), merged.out);
  const auto rows = Rows(merged.out);
  ASSERT_EQ(rows.size(), single.size());
  for (size_t i = 0; i < rows.size(); ++i) {
    EXPECT_EQ(rows[i].file, single[i].file);
    EXPECT_EQ(rows[i].status, single[i].status);
    EXPECT_EQ(rows[i].count, single[i].count);
    EXPECT_EQ(ReadBytes(rows[i].output), expected[i]) << rows[i].output;
  }

  // A task's summary that never came is a failed row of its records.
  const CliRun partial = Call(RunBatchCommand, {"merge", merge_args[0], "--manifest", manifest});
  EXPECT_EQ(partial.code, 1);
  EXPECT_EQ(Rows(partial.out).back().message, "no summary holds this record");
}

TEST(CliBatch, RefusesBadCommandLines) {
  const struct {
    std::vector<std::string> args;
    int code;
    std::string says;
  } cases[] = {
      {{}, 2, "usage"},
      {{"sort", "a.xkv"}, 2, "unknown kind"},
      {{"track"}, 2, "no records"},
      {{"track", "a.xkv", "--task", "1"}, 2, "--task and --tasks"},
      {{"track", "a.xkv", "--task", "3", "--tasks", "3"}, 2, "--task"},
      {{"track", "a.xkv", "--array-task"}, 2, "SLURM_ARRAY_TASK_ID"},
      {{"track", "a.xkv", "--radius", "99"}, 2, "--radius"},
      {{"track", "a.xkv", "--jobs", "0"}, 2, "--jobs"},
      {{"stest", "a.xkv", "--threshold", "2000"}, 2, "Test Threshold Out of Order"},
      {{"stest", "a.xkv", "--link-tracks"}, 2, "unknown option --link-tracks"},
      {{"track", "--manifest", "/nonexistent/files.txt"}, 2, "/nonexistent/files.txt"},
      {{"merge", "/nonexistent/s.tsv"}, 1, "/nonexistent/s.tsv"},
  };
  for (const auto& c : cases) {
    std::string line;
    for (const auto& a : c.args) line += a + " ";
    SCOPED_TRACE(line);
    unsetenv("SLURM_ARRAY_TASK_ID");
    const CliRun r = Call(RunBatchCommand, c.args);
    EXPECT_EQ(r.code, c.code);
    EXPECT_NE((r.err + r.out).find(c.says), std::string::npos) << r.err;
  }
  const CliRun help = Call(RunBatchCommand, {"track", "--help"});
  EXPECT_EQ(help.code, 0);
  for (const char* opt : {"--link-tracks", "--jobs N", "--resume", "--array-task", "--manifest"})
    EXPECT_NE(help.out.find(opt), std::string::npos) << opt;
}

}  // namespace
}  // namespace lumetra::cli
