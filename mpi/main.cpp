// lumetra-mpi KIND FILES... [options]: a batch run over the ranks of an MPI
// job. Rank 0 hands the records out one at a time to whichever rank asks
// next and works on records itself on a second thread; every rank writes its
// records' outputs beside them, exactly as `lumetra-cli batch` does, and rank
// 0 alone prints the progress and the summary and writes --summary.
//
// A killed run loses nothing silently: rank 0 rewrites --summary as records
// finish, and until a record's row comes in the file names the rank working
// on it ("not finished: rank 2 ...") or says it has not run, so the summary
// left behind names exactly what is missing and --resume finishes it.
#include <mpi.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "batch/batch_messages.h"
#include "batch/batch_summary.h"
#include "cli/batch_command.h"
#include "cli/cli_common.h"
#include "mpi/mpi_messages.h"
#include "mpi/record_ledger.h"

namespace lumetra::cli {
namespace {

constexpr const char* kProgram = "lumetra-mpi";
constexpr int kTagReport = 1;  // to rank 0: "" (ready) or a report
constexpr int kTagTask = 2;    // from rank 0: a task, or "" (no more records)

using Clock = std::chrono::steady_clock;

// Waiting ranks sleep between looks instead of spinning, so a rank with
// nothing to do leaves its core to the ranks that work (CI runs three ranks
// on two cores).
constexpr auto kPoll = std::chrono::milliseconds(1);
// After a stop, how long rank 0 waits for the rows of records in other ranks' hands.
constexpr auto kStopGrace = std::chrono::seconds(5);

bool Send(const std::string& text, int to, int tag) {
  return MPI_Send(text.data(), static_cast<int>(text.size()), MPI_CHAR, to, tag,
                  MPI_COMM_WORLD) == MPI_SUCCESS;
}

// Receives the message `status` announced.
bool Receive(MPI_Status& status, std::string& text) {
  int count = 0;
  if (MPI_Get_count(&status, MPI_CHAR, &count) != MPI_SUCCESS || count < 0) return false;
  text.assign(static_cast<size_t>(count), '\0');
  return MPI_Recv(text.data(), count, MPI_CHAR, status.MPI_SOURCE, status.MPI_TAG,
                  MPI_COMM_WORLD, MPI_STATUS_IGNORE) == MPI_SUCCESS;
}

// The next message from `from` with `tag`, looking every kPoll.
bool AwaitMessage(int from, int tag, std::string& text) {
  for (;;) {
    int flag = 0;
    MPI_Status status;
    if (MPI_Iprobe(from, tag, MPI_COMM_WORLD, &flag, &status) != MPI_SUCCESS) return false;
    if (flag) return Receive(status, text);
    std::this_thread::sleep_for(kPoll);
  }
}

// A rank other than 0: asks for a record, runs it, reports it with the next
// request, until rank 0 has no more.
int Work(BatchOptions options, const std::atomic<bool>* stop) {
  options.workers = 1;  // the other records take the other cores
  std::string report, task;
  for (;;) {
    if (!Send(report, 0, kTagReport) || !AwaitMessage(0, kTagTask, task)) return 1;
    if (task.empty()) return 0;
    size_t index = 0;
    std::string path;
    if (!DecodeTask(task, index, path)) return 1;
    report = EncodeReport(index, RunBatchRecord(path, options, stop));
  }
}

// Rank 0's own record, on a thread so that rank 0 keeps answering the others.
class LocalRecord {
 public:
  ~LocalRecord() { Join(); }
  bool Busy() const { return thread_.joinable(); }
  bool Done() const { return done_.load(); }
  void Start(size_t index, const std::string& path, const BatchOptions& options,
             const std::atomic<bool>* stop) {
    index_ = index;
    done_.store(false);
    thread_ = std::thread([this, path, options, stop] {
      result_ = RunBatchRecord(path, options, stop);
      done_.store(true);
    });
  }
  // The finished record's index and row.
  std::pair<size_t, RecordResult> Take() {
    Join();
    return {index_, std::move(result_)};
  }

 private:
  void Join() {
    if (thread_.joinable()) thread_.join();
  }
  std::thread thread_;
  std::atomic<bool> done_{false};
  size_t index_ = 0;
  RecordResult result_;
};

// --summary kept current on disk. It is rewritten after every finished
// record; in a batch so large that rewriting it takes a noticeable time, at
// most a twentieth of the time goes to it (the end always writes it).
class SummaryKeeper {
 public:
  explicit SummaryKeeper(std::string path) : path_(std::move(path)) {}
  bool Keep(const RecordLedger& ledger, bool force, std::string& error) {
    if (path_.empty()) return true;
    const auto now = Clock::now();
    if (!force && now - last_ < cost_ * 20) return true;
    const bool ok = WriteSummary(path_, ledger.Rows(), error);
    last_ = Clock::now();
    cost_ = last_ - now;
    return ok;
  }

 private:
  std::string path_;
  Clock::time_point last_{};
  Clock::duration cost_{};
};

int Dispatch(const BatchRun& run, int ranks, const std::atomic<bool>* stop) {
  const bool terminal = isatty(2) != 0;
  BatchOptions options = run.options;
  // Alone, rank 0 gives its record every core, as `lumetra-cli batch --jobs 1`.
  options.workers = ranks > 1 ? 1 : 0;
  RecordLedger ledger(run.files, options);
  SummaryKeeper keeper(run.summary);
  std::string error;
  bool summary_ok = true;
  auto keep = [&](bool force) {
    if (summary_ok && !keeper.Keep(ledger, force, error)) {
      summary_ok = false;
      std::cerr << kProgram << ": " << error << '\n';
    }
  };

  size_t started = 0;
  auto hand_out = [&](int rank) -> std::optional<size_t> {
    if (stop->load()) return std::nullopt;
    const auto index = ledger.Next(rank);
    if (!index) return index;
    if (terminal)
      std::cerr << "\r\033[K" << ProgressLine(++started, ledger.Total(), ledger.File(*index))
                << std::flush;
    // The file names the rank that has the record from now on.
    keep(false);
    return index;
  };
  auto take = [&](size_t index, int rank, RecordResult row) {
    const bool failed = row.status == RecordStatus::kFailed;
    if (!ledger.Finished(index, rank, std::move(row))) {
      std::cerr << kProgram << ": rank " << rank << ": " << kStrayReport << '\n';
      return;
    }
    if (failed) {
      if (terminal) std::cerr << "\r\033[K";
      const RecordResult r = ledger.Rows()[index];
      std::cerr << r.file << ": " << r.message << '\n';
    }
    keep(false);
  };

  // The summary is there from the start: every record "not run".
  keep(true);
  LocalRecord local;
  auto start_local = [&] {
    if (const auto index = hand_out(0)) local.Start(*index, ledger.File(*index), options, stop);
  };
  start_local();
  std::vector<int> waiting;  // ranks that asked when there was nothing to hand out
  bool mpi_failed = false;
  std::optional<Clock::time_point> stopped_at;
  while (!mpi_failed) {
    bool busy = false;
    if (local.Busy() && local.Done()) {
      auto [index, row] = local.Take();
      take(index, 0, std::move(row));
      start_local();
      busy = true;
    }
    int flag = 0;
    MPI_Status status;
    std::string text;
    if (MPI_Iprobe(MPI_ANY_SOURCE, kTagReport, MPI_COMM_WORLD, &flag, &status) != MPI_SUCCESS ||
        (flag && !Receive(status, text))) {
      mpi_failed = true;
      break;
    }
    if (flag) {
      const int from = status.MPI_SOURCE;
      size_t index = 0;
      RecordResult row;
      if (!text.empty()) {
        if (DecodeReport(text, index, row))
          take(index, from, std::move(row));
        else
          std::cerr << kProgram << ": rank " << from << ": " << kStrayReport << '\n';
      }
      if (const auto next = hand_out(from)) {
        if (!Send(EncodeTask(*next, ledger.File(*next)), from, kTagTask)) mpi_failed = true;
      } else {
        waiting.push_back(from);
      }
      busy = true;
    }
    const bool all_asked = waiting.size() == static_cast<size_t>(ranks - 1);
    if (!local.Busy() && all_asked && (ledger.AllHandedOut() || stop->load())) break;
    if (stop->load()) {
      if (!stopped_at) stopped_at = Clock::now();
      // Ranks the stop did not reach finish their records; do not wait for them long.
      if (!local.Busy() && Clock::now() - *stopped_at > kStopGrace) break;
    }
    if (!busy) std::this_thread::sleep_for(kPoll);
  }

  const bool everyone_done =
      !mpi_failed && waiting.size() == static_cast<size_t>(ranks - 1) && !local.Busy();
  if (everyone_done)
    for (int rank : waiting) Send(std::string(), rank, kTagTask);
  if (terminal) std::cerr << "\r\033[K";
  keep(true);
  const std::vector<RecordResult> rows = ledger.Rows();
  std::cout << SummaryText(rows) << std::flush;
  size_t ok = 0, failed = 0, skipped = 0;
  for (const RecordResult& r : rows)
    (r.status == RecordStatus::kOk ? ok : r.status == RecordStatus::kSkipped ? skipped : failed)++;
  std::cerr << (stop->load() ? kBatchStopped : kBatchFinished) << ": " << ok << " ok, " << failed
            << " failed, " << skipped << " skipped\n";
  if (mpi_failed) std::cerr << kProgram << ": " << kMpiFailed << '\n';
  if (!everyone_done) {
    if (!mpi_failed) std::cerr << kProgram << ": " << kRanksGone << '\n';
    // Ranks still in a record would hold MPI_Finalize up.
    MPI_Abort(MPI_COMM_WORLD, 1);
  }
  if (!summary_ok) return 1;
  return failed > 0 || stop->load() ? 1 : 0;
}

// Only rank 0 speaks: the others' copies of the command-line messages go nowhere.
class MuteStreams {
 public:
  explicit MuteStreams(bool mute) {
    if (!mute) return;
    out_ = std::cout.rdbuf(sink_.rdbuf());
    err_ = std::cerr.rdbuf(sink_.rdbuf());
  }
  ~MuteStreams() {
    if (out_) std::cout.rdbuf(out_);
    if (err_) std::cerr.rdbuf(err_);
  }

 private:
  std::ostringstream sink_;
  std::streambuf* out_ = nullptr;
  std::streambuf* err_ = nullptr;
};

}  // namespace
}  // namespace lumetra::cli

int main(int argc, char** argv) {
  using namespace lumetra::cli;
  KeepLargeBuffersForReuse();
  int provided = 0;
  // Only the main thread calls MPI; rank 0's record thread never does.
  if (MPI_Init_thread(&argc, &argv, MPI_THREAD_FUNNELED, &provided) != MPI_SUCCESS) return 1;
  int rank = 0, ranks = 1;
  MPI_Comm_rank(MPI_COMM_WORLD, &rank);
  MPI_Comm_size(MPI_COMM_WORLD, &ranks);
  MPI_Comm_set_errhandler(MPI_COMM_WORLD, MPI_ERRORS_RETURN);

  BatchRun run;
  std::optional<int> early;
  {
    MuteStreams mute(rank != 0);
    early = ParseBatchRun(kProgram, std::vector<std::string>(argv + 1, argv + argc), false, run);
  }
  int code = early.value_or(0);
  if (!early) {
    // SIGTERM (mpirun passes it on) and Ctrl+C stop every rank's record.
    StopOnInterrupt interrupt;
    code = rank == 0 ? Dispatch(run, ranks, interrupt.Flag()) : Work(run.options, interrupt.Flag());
  }
  MPI_Finalize();
  return code;
}
