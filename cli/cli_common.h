// What the subcommands share: the reporter that prints the core's messages,
// and the parse-or-help preamble.
#pragma once

#include <atomic>
#include <optional>
#include <string>
#include <vector>

#include "cli/arg_parser.h"
#include "common/report.h"
#include "record/record_store.h"

namespace lumetra::cli {

// Message boxes and alert lines go to stderr, notices ("Done") to stdout,
// status text only when verbose.
class ConsoleReporter final : public Reporter {
 public:
  explicit ConsoleReporter(bool verbose = false) : verbose_(verbose) {}
  void Report(MessageKind kind, std::string_view text) override;
  void ReportDetailed(MessageKind kind, std::string_view text, std::string_view detail) override;
  int Modals() const { return modals_; }

 private:
  bool verbose_;
  int modals_ = 0;
};

// Parses the command line. Returns an exit code when the command should end
// now (0 after printing --help, 2 after a usage error), else nothing.
std::optional<int> ParseOrExit(ArgParser& parser, const std::vector<std::string>& args);

// Opens a record for a command that works on its frames: false when the file
// cannot be opened, holds no frame or its first frame cannot be read (the
// store has reported why).
bool OpenRecordWithFrames(RecordStore& store, const std::string& path, Reporter& reporter);

// --nm-per-pixel, --frame-ms, --channel and --z: what a TIFF record does not
// say itself, and which channel and Z plane of a stack are the frames.
ArgParser& AddTiffOptions(ArgParser& parser);
// Reads those options. False with `error` set when one is malformed.
bool ReadTiffOptions(const ArgParser& parser, TiffReadOptions& options, std::string& error);
// Hands those options to the store for the records it opens. Returns an exit
// code after the message when one is malformed, else nothing.
std::optional<int> ApplyTiffOptions(const ArgParser& parser, RecordStore& store,
                                    const std::string& command);

// Ctrl+C (and SIGTERM, as a scheduler sends it) plays the part of Esc while
// one lives: Stop() becomes true and the run ends after the step in hand. A
// second signal ends the program at once. The handlers before are restored.
class StopOnInterrupt {
 public:
  StopOnInterrupt();
  ~StopOnInterrupt();
  StopOnInterrupt(const StopOnInterrupt&) = delete;
  StopOnInterrupt& operator=(const StopOnInterrupt&) = delete;
  const std::atomic<bool>* Flag() const;
  bool Stopped() const { return Flag()->load(); }

 private:
  void (*old_int_)(int);
  void (*old_term_)(int);
};

// For programs that open record after record (batch runs): keeps freed
// buffers of up to 32 MB in the heap for the next record. Call once at the
// start of main.
void KeepLargeBuffersForReuse();

// Prints "lumetra-cli CMD: TEXT" on stderr and returns `code`.
int Fail(const std::string& command, const std::string& text, int code = 1);

using CommandFn = int (*)(const std::vector<std::string>& args);

struct Command {
  const char* name;
  const char* summary;
  CommandFn run;
};

const std::vector<Command>& Commands();

int RunInfo(const std::vector<std::string>& args);
int RunFrame(const std::vector<std::string>& args);
int RunSimulate(const std::vector<std::string>& args);
int RunBench(const std::vector<std::string>& args);
int RunPlot(const std::vector<std::string>& args);
int RunRender(const std::vector<std::string>& args);
int RunSurface(const std::vector<std::string>& args);
int BenchSurface(const std::vector<std::string>& args);
int RunTrack(const std::vector<std::string>& args);
int RunEval(const std::vector<std::string>& args);
int RunStats(const std::vector<std::string>& args);
// bench stats (cli/bench_stats.cpp).
int BenchStats(const std::vector<std::string>& args);
int RunEvalSteps(const std::vector<std::string>& args);
int RunSteps(const std::vector<std::string>& args);
int RunBatchCommand(const std::vector<std::string>& args);
// bench steps FILE.xkv (cli/bench_steps.cpp).
int BenchSteps(const std::string& path, int repeats);

// bench display FILE.xkv (cli/bench_display.cpp).
int BenchDisplay(const std::string& path, int repeats);
int RunExport(const std::vector<std::string>& args);
int RunFuse(const std::vector<std::string>& args);
int RunImport(const std::vector<std::string>& args);
// bench export: the record transforms and the temporal median (cli/bench_export.cpp).
int BenchExport(const std::string& path, int repeats, const std::string& out_dir);
// bench batch [options]: batch runs over simulated records (cli/bench_batch.cpp).
int BenchBatch(const std::vector<std::string>& args);
// area and fit: region time courses and their fits (cli/cmd_area.cpp).
int RunArea(const std::vector<std::string>& args);
int RunFit(const std::vector<std::string>& args);
// bench fit: the grid fits, fast against the plain loop (cli/bench_fit.cpp).
int BenchFit(const std::vector<std::string>& args);
// Profiles, kymographs, two-colour records and drift correction.
int RunProfile(const std::vector<std::string>& args);
int RunKymographCommand(const std::vector<std::string>& args);
int RunSplit(const std::vector<std::string>& args);
int RunRegister(const std::vector<std::string>& args);
int RunDriftCorrect(const std::vector<std::string>& args);
int RunZcoord(const std::vector<std::string>& args);

}  // namespace lumetra::cli
