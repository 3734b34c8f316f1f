// lumetra-cli batch track|stest|ptest|mstest FILES... [...]: a batch run over
// many records, side by side on this machine or as one task of a job array;
// and lumetra-cli batch merge: the tasks' summaries joined into one.
#include <unistd.h>

#include <iostream>

#include "batch/batch_messages.h"
#include "batch/batch_plan.h"
#include "batch/batch_runner.h"
#include "batch/batch_summary.h"
#include "cli/analysis_options.h"
#include "cli/batch_command.h"
#include "cli/cli_common.h"
#include "processing/temporal_median.h"

namespace lumetra::cli {
namespace {

const char* kBatchSummary =
    "Runs one analysis over many records, as the main window's Batch Analysis menu\n"
    "does, and writes each record's output beside it under the name the desktop\n"
    "program uses: track writes NAME-R5L10q8c500.xki (the tracking window's Detect,\n"
    "Tracking, with --link-tracks Link Tracks, and Save XKI); stest, ptest and mstest\n"
    "write NAME-Stest15w10thr10.txt, NAME-Ptest15w10thr10.txt, NAME-MStest15w10thr10.txt\n"
    "(the step-detection window's Detect, Tracking and test, and Save TXT). Outputs\n"
    "appear only complete. A record that cannot be read is reported and the run goes\n"
    "on. Prints the summary table (file, status, output, seconds, count, message; count:\n"
    "tracks written or objects above the test's threshold). Exit status 1 when a\n"
    "record failed. Ctrl+C stops: records not started are reported as not run.\n"
    "Merge the summaries of a job array's tasks with 'lumetra-cli batch merge'.";

int Usage(const std::string& program, const std::string& text) {
  std::cerr << program << ": " << text << '\n';
  return 2;
}

bool ReadManifestFile(const std::string& path, std::vector<std::string>& files,
                      std::string& error) {
  FileLines lines;
  if (!lines.Open(path) || !ReadManifest(lines, files, error)) {
    error = "--manifest " + (lines.Error().empty() ? path + ": " + error : lines.Error());
    return false;
  }
  return true;
}

// --array-task, or --task I --tasks N.
bool ApplyTaskShare(const ArgParser& p, std::vector<std::string>& files, std::string& error) {
  std::optional<TaskShare> share;
  if (p.Has("array-task")) {
    share = ArrayTaskFromEnvironment([](const char* name) -> const char* { return std::getenv(name); },
                                     error);
    if (!share) return false;
  } else if (p.Has("task") || p.Has("tasks")) {
    int64_t task = 0, tasks = 0;
    if (!p.Has("task") || !p.Has("tasks")) {
      error = "--task and --tasks go together";
      return false;
    }
    if (!p.Int("tasks", tasks, error, 1) || !p.Int("task", task, error, 0, tasks - 1)) return false;
    share = TaskShare{task, tasks};
  }
  if (share) files = TaskRecords(files, *share);
  return true;
}

int Merge(const std::vector<std::string>& args) {
  ArgParser p("batch merge",
              "Joins the summary tables of a batch's tasks into one and prints it. With\n"
              "--manifest, the rows follow the manifest, a record no summary holds is a\n"
              "failed row, and a record in several summaries keeps the row of the last one\n"
              "given. Exit status 1 when a record failed or a summary cannot be read.");
  p.RepeatedPositional("SUMMARY.tsv", "the tasks' summary tables")
      .Option("manifest", "FILES.txt", "the records of the whole batch, one a line")
      .Option("out", "SUMMARY.tsv", "also write the joined table to this file");
  if (auto code = ParseOrExit(p, args)) return *code;
  std::vector<std::vector<RecordResult>> parts;
  for (const std::string& path : p.Args()) {
    FileLines lines;
    std::vector<RecordResult> rows;
    std::string error;
    if (!lines.Open(path)) return Fail("batch merge", lines.Error());
    if (!ParseSummary(lines, rows, error)) return Fail("batch merge", path + ": " + error);
    parts.push_back(std::move(rows));
  }
  std::vector<std::string> manifest;
  std::string error;
  if (p.Has("manifest") && !ReadManifestFile(p.Value("manifest"), manifest, error))
    return Fail("batch merge", error);
  const std::vector<RecordResult> merged = MergeSummaries(parts, manifest);
  if (p.Has("out") && !WriteSummary(p.Value("out"), merged, error))
    return Fail("batch merge", error);
  std::cout << SummaryText(merged);
  return AnyFailed(merged) ? 1 : 0;
}

}  // namespace

std::optional<int> ParseBatchRun(const std::string& program, const std::vector<std::string>& args,
                                 bool local, BatchRun& run) {
  if (args.empty() || args[0] == "--help") {
    std::ostream& os = args.empty() ? std::cerr : std::cout;
    os << "usage: " << program << " track|stest|ptest|mstest FILES... [options]\n";
    if (local) os << "       " << program << " merge SUMMARY.tsv... [options]\n";
    os << '\n' << kBatchSummary << "\n\n'" << program << " KIND --help' describes the options.\n";
    return args.empty() ? 2 : 0;
  }
  const auto kind = ParseBatchKind(args[0]);
  if (!kind) return Usage(program, "unknown kind '" + args[0] + "': track, stest, ptest or mstest");
  run.options.kind = *kind;
  const std::string name = args[0];
  ArgParser p(name, kBatchSummary);
  p.Program(program);
  p.RepeatedPositional("FILES.xkv", "the records (or --manifest)", true)
      .Option("manifest", "FILES.txt", "read the records from this file, one a line")
      .Option("summary", "SUMMARY.tsv", "also write the summary table to this file")
      .Flag("resume", "skip records whose output is already there")
      .Option("temporal-median", "3|5|7",
              "filter every frame by the median of the last 3, 5 or 7 frames first");
  if (local)
    p.Option("jobs", "N", "records side by side (default: the number of cores)")
        .Flag("array-task",
              "take this Slurm array task's share of the records (SLURM_ARRAY_TASK_ID, "
              "SLURM_ARRAY_TASK_COUNT, SLURM_ARRAY_TASK_MIN)")
        .Option("task", "I", "take share I (0 to N-1) of the records, with --tasks")
        .Option("tasks", "N", "the number of shares, with --task");
  if (*kind == BatchKind::kTrack) {
    AddTrackingOptions(p)
        .Flag("link-tracks", "LinkTracks in Batch Mode: Link Tracks after Tracking (adds -L)")
        .Flag("save-z", "SaveZpos: the XKI file's fourth series holds Z (adds -Z)");
  } else {
    AddStepOptions(p).Option("threshold", "T",
                             "the test's threshold, 0-1000 (default 15), for the count and "
                             "the output name");
  }
  AddTiffOptions(p);
  std::vector<std::string> rest(args.begin() + 1, args.end());
  std::string error;
  if (!p.Parse(rest, error)) {
    std::cerr << program << ": " << error << "\n\n" << p.Help();
    return 2;
  }
  if (p.HelpRequested()) {
    std::cout << p.Help();
    return 0;
  }
  BatchOptions& o = run.options;
  ConsoleReporter console;
  if (*kind == BatchKind::kTrack) {
    if (!ReadTrackingOptions(p, o.tracking, console, error)) return Usage(program, error);
    o.link_tracks = p.Has("link-tracks");
    o.save_zpos = p.Has("save-z");
  } else {
    StepAnalysis settings(console, 1);
    if (!ReadStepOptions(p, settings, console, error)) return error.empty() ? 2 : Usage(program, error);
    const StepTest test = *kind == BatchKind::kPtest   ? StepTest::kP
                          : *kind == BatchKind::kMStest ? StepTest::kMS
                                                        : StepTest::kS;
    if (p.Has("threshold") && !settings.SetTestThreshold(test, p.Value("threshold"))) return 2;
    o.steps = settings.Params();
  }
  if (p.Has("temporal-median")) {
    const auto frames = ParseTemporalMedianFrames(p.Value("temporal-median"));
    if (!frames) return Usage(program, "--temporal-median must be 3, 5 or 7");
    o.median_frames = *frames;
  }
  if (!ReadTiffOptions(p, o.tiff, error)) return Usage(program, error);
  o.resume = p.Has("resume");
  run.summary = p.Value("summary");
  run.files = p.Args();
  if (p.Has("manifest") && !ReadManifestFile(p.Value("manifest"), run.files, error))
    return Usage(program, error);
  if (run.files.empty() && !p.Has("manifest"))
    return Usage(program, "no records: name them or give --manifest FILES.txt");
  if (local) {
    int64_t jobs = DefaultJobs();
    if (!p.Int("jobs", jobs, error, 1, 1024)) return Usage(program, error);
    run.jobs = static_cast<int>(jobs);
    if (!ApplyTaskShare(p, run.files, error)) return Usage(program, error);
  }
  return std::nullopt;
}

std::string ProgressLine(size_t number, size_t total, const std::string& file) {
  return "[" + std::to_string(number) + "/" + std::to_string(total) + "] " + file;
}

bool WriteSummary(const std::string& path, const std::vector<RecordResult>& rows,
                  std::string& error) {
  if (WriteFileAtomically(path, SummaryText(rows), error)) return true;
  error = "--summary " + error;
  return false;
}

int RunBatchCommand(const std::vector<std::string>& args) {
  if (!args.empty() && args[0] == "merge") return Merge({args.begin() + 1, args.end()});
  BatchRun run;
  if (auto code = ParseBatchRun("lumetra-cli batch", args, true, run)) return *code;

  StopOnInterrupt interrupt;
  const bool terminal = isatty(2) != 0;
  size_t started = 0;
  BatchEvents events;
  events.started = [&](size_t, const std::string& file) {
    ++started;
    if (terminal)
      std::cerr << "\r\033[K" << ProgressLine(started, run.files.size(), file) << std::flush;
  };
  events.finished = [&](size_t, const RecordResult& r) {
    if (r.status != RecordStatus::kFailed) return;
    if (terminal) std::cerr << "\r\033[K";
    std::cerr << r.file << ": " << r.message << '\n';
  };
  const std::vector<RecordResult> rows =
      RunBatch(run.files, run.options, run.jobs, interrupt.Flag(), events);
  if (terminal) std::cerr << "\r\033[K";

  std::string error;
  const bool summary_written = run.summary.empty() || WriteSummary(run.summary, rows, error);
  std::cout << SummaryText(rows);
  size_t ok = 0, failed = 0, skipped = 0;
  for (const RecordResult& r : rows)
    (r.status == RecordStatus::kOk ? ok : r.status == RecordStatus::kSkipped ? skipped : failed)++;
  std::cerr << (interrupt.Stopped() ? kBatchStopped : kBatchFinished) << ": " << ok << " ok, " << failed
            << " failed, " << skipped << " skipped\n";
  if (!summary_written) return Fail("batch", error);
  return failed > 0 || interrupt.Stopped() ? 1 : 0;
}

}  // namespace lumetra::cli
