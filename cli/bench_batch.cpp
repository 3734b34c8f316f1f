// lumetra-cli bench batch: records per second of a batch run with one job,
// with two jobs and over two MPI ranks, each run in a process of its own so
// that its peak memory is its own, beside the speed of one record alone.
#include <fcntl.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

#include "batch/batch_job.h"
#include "cli/bench_common.h"
#include "cli/cli_common.h"
#include "common/parallel.h"
#include "common/text_format.h"

namespace lumetra::cli {
namespace {

namespace fs = std::filesystem;

constexpr double kTargetSpeedup = 1.7;
constexpr double kTargetMbPerJob = 100;

struct ChildRun {
  bool ok = false;
  double seconds = 0;
  double peak_mb = 0;  // the largest resident size of the process or any it waited for
  double cpu_seconds = 0;  // user and system time of it and the processes it waited for
  std::string log;     // its stderr when it failed
};

// Runs `argv` with stdout and stderr into `log_path`, pinned to one core when
// `one_core`. wait4 gives the child's resource use including the processes
// it waited for, so an mpirun's peak is its largest rank's.
ChildRun RunChild(const std::vector<std::string>& argv, const std::string& log_path,
                  bool one_core) {
  ChildRun run;
  const auto t0 = Clock::now();
  const pid_t pid = fork();
  if (pid < 0) return run;
  if (pid == 0) {
    const int fd = open(log_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd >= 0) {
      dup2(fd, 1);
      dup2(fd, 2);
      close(fd);
    }
    if (one_core) {
      cpu_set_t allowed;
      if (sched_getaffinity(0, sizeof allowed, &allowed) == 0) {
        for (int c = 0; c < CPU_SETSIZE; ++c)
          if (CPU_ISSET(c, &allowed)) {
            cpu_set_t one;
            CPU_ZERO(&one);
            CPU_SET(c, &one);
            sched_setaffinity(0, sizeof one, &one);
            break;
          }
      }
    }
    std::vector<char*> args;
    for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    execvp(args[0], args.data());
    _exit(127);
  }
  int status = 0;
  rusage usage{};
  if (wait4(pid, &status, 0, &usage) != pid) return run;
  run.seconds = Seconds(t0, Clock::now());
  run.peak_mb = static_cast<double>(usage.ru_maxrss) / 1024.0;
  auto sec = [](const timeval& t) { return static_cast<double>(t.tv_sec) + t.tv_usec * 1e-6; };
  run.cpu_seconds = sec(usage.ru_utime) + sec(usage.ru_stime);
  run.ok = WIFEXITED(status) && WEXITSTATUS(status) == 0;
  if (!run.ok) {
    std::ifstream in(log_path);
    std::ostringstream text;
    text << in.rdbuf();
    run.log = text.str();
  }
  return run;
}

std::string SelfPath() {
  std::error_code ec;
  const fs::path self = fs::read_symlink("/proc/self/exe", ec);
  return ec ? std::string("lumetra-cli") : self.string();
}

// lumetra-mpi beside this program, or in the build tree's mpi/ folder.
std::string FindMpiProgram(const fs::path& self) {
  std::error_code ec;
  for (const fs::path& p : {self.parent_path() / "lumetra-mpi",
                            self.parent_path().parent_path() / "mpi" / "lumetra-mpi"})
    if (fs::is_regular_file(p, ec) && access(p.c_str(), X_OK) == 0) return p.string();
  return {};
}

bool OnPath(const std::string& program) {
  const char* path = std::getenv("PATH");
  std::stringstream dirs(path ? path : "");
  std::string dir;
  while (std::getline(dirs, dir, ':'))
    if (!dir.empty() && access((fs::path(dir) / program).c_str(), X_OK) == 0) return true;
  return false;
}

// The outputs of the run just made, to check that every run wrote the same bytes.
std::string OutputsDigest(const std::vector<std::string>& records) {
  BatchOptions options;
  std::string all;
  for (const std::string& r : records) {
    std::ifstream in(BatchOutputName(r, options), std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    all += std::to_string(bytes.str().size()) + ':' + bytes.str();
  }
  return all;
}

// Makes the records that are not there yet; false when one cannot be written.
bool MakeRecords(const fs::path& dir, int64_t count, int64_t size, int64_t frames,
                 std::vector<std::string>& records) {
  for (int64_t i = 0; i < count; ++i) {
    char name[32];
    std::snprintf(name, sizeof name, "bench-%03lld.xkv", static_cast<long long>(i));
    const fs::path path = dir / name;
    records.push_back(path.string());
    std::error_code ec;
    const auto expected = static_cast<uintmax_t>(size * size * 2 * frames);
    if (fs::is_regular_file(path, ec) && fs::file_size(path, ec) > expected) continue;
    std::ostringstream quiet;
    std::streambuf* old = std::cout.rdbuf(quiet.rdbuf());
    const int code =
        RunSimulate({path.string(), "--width", std::to_string(size), "--height",
                     std::to_string(size), "--frames", std::to_string(frames), "--seed",
                     std::to_string(i + 1)});
    std::cout.rdbuf(old);
    if (code != 0) return false;
  }
  return true;
}

double LoadAverage() {
  double load[1] = {-1};
  return getloadavg(load, 1) == 1 ? load[0] : -1;
}

}  // namespace

int BenchBatch(const std::vector<std::string>& args) {
  ArgParser p("bench batch",
              "Records per second of 'lumetra-cli batch track' with one job (on one core,\n"
              "and with its record's threads on every core), with two jobs, and of\n"
              "'mpirun -np 2 lumetra-mpi track' when lumetra-mpi is beside this program\n"
              "(rank 0 works on records too, so two ranks are two jobs). Each run is a\n"
              "process of its own and its peak memory is printed per job; the runs take turns\n"
              "for --repeats rounds and each keeps its fastest. Beside them, the\n"
              "speed of one record alone. The records are simulated once; with --dir they\n"
              "are kept there and made only when missing.");
  p.Program("lumetra-cli");
  p.Option("records", "N", "records in the batch", "20")
      .Option("frames", "N", "frames a record", "200")
      .Option("size", "PIXELS", "frame width and height", "512")
      .Option("dir", "DIR", "where the records are kept (default: a temporary folder, removed)")
      .Option("repeats", "N", "rounds of runs; each run keeps its fastest round", "3");
  if (auto code = ParseOrExit(p, args)) return *code;
  std::string error;
  int64_t count = 20, frames = 200, size = 512, repeats = 3;
  if (!p.Int("records", count, error, 1, 10000) || !p.Int("frames", frames, error, 1, 100000) ||
      !p.Int("size", size, error, 16, 2000) || !p.Int("repeats", repeats, error, 1, 100))
    return Fail("bench batch", error, 2);

  std::error_code ec;
  fs::path dir;
  const bool temporary = !p.Has("dir");
  if (temporary) {
    std::string pattern = (fs::temp_directory_path() / "lumetra-bench-batch-XXXXXX").string();
    if (!mkdtemp(pattern.data())) return Fail("bench batch", "can not make a temporary folder");
    dir = pattern;
  } else {
    dir = p.Value("dir");
    fs::create_directories(dir, ec);
  }
  struct Cleanup {
    fs::path dir;
    ~Cleanup() {
      std::error_code ignored;
      if (!dir.empty()) fs::remove_all(dir, ignored);
    }
  } cleanup{temporary ? dir : fs::path()};

  std::vector<std::string> records;
  std::cerr << "making the records in " << dir.string() << " ...\n";
  if (!MakeRecords(dir, count, size, frames, records))
    return Fail("bench batch", "the records can not be written in " + dir.string());

  const std::string self = SelfPath();
  const double load_before = LoadAverage();
  // One record alone, as a batch runs it, on one core and on every core.
  BatchOptions alone;
  auto record_fps = [&](int workers) {
    alone.workers = workers;
    std::vector<double> fps;
    for (int64_t r = 0; r < std::max<int64_t>(repeats, 3); ++r)
      fps.push_back(static_cast<double>(frames) / RunBatchRecord(records[0], alone).seconds);
    return *std::max_element(fps.begin(), fps.end());
  };
  const double fps_one = record_fps(1);
  const double fps_all = record_fps(0);

  struct Measure {
    std::string label;
    std::vector<std::string> argv;
    int jobs_in_process;
    bool one_core;
    bool mpi = false;
  };
  std::vector<std::string> track = {self, "batch", "track"};
  track.insert(track.end(), records.begin(), records.end());
  auto with = [&](std::vector<std::string> head, std::vector<std::string> tail) {
    head.insert(head.end(), tail.begin(), tail.end());
    return head;
  };
  std::vector<Measure> measures = {
      {"1 job on one core (batch --jobs 1, pinned)", with(track, {"--jobs", "1"}), 1, true},
      {"1 job, its record on every core (batch --jobs 1)", with(track, {"--jobs", "1"}), 1, false},
      {"2 jobs (batch --jobs 2)", with(track, {"--jobs", "2"}), 2, false},
  };
  const std::string mpi = FindMpiProgram(self);
  std::string mpi_note;
  if (mpi.empty()) {
    mpi_note = "lumetra-mpi: not beside this program, not measured";
  } else if (!OnPath("mpirun")) {
    mpi_note = "lumetra-mpi: mpirun is not on the PATH, not measured";
  } else {
    std::vector<std::string> run = {"mpirun", "-np", "2", "--oversubscribe", mpi, "track"};
    run.insert(run.end(), records.begin(), records.end());
    measures.push_back({"mpirun -np 2 lumetra-mpi (2 ranks, both work)", run, 1, false, true});
  }

  std::cout << "batch: " << count << " records of " << size << " x " << size << " x " << frames
            << " frames in " << dir.string() << ", " << WorkerCount() << " cores\n"
            << "one record alone (its Detect pass and XKI file, as the batch runs it): "
            << FormatFixed(fps_one, 0) << " frames/s on one core, " << FormatFixed(fps_all, 0)
            << " frames/s on every core\n";
  // The runs take turns, round after round, so that whatever else the machine
  // does falls on all of them alike; each keeps its fastest round.
  std::vector<double> rate(measures.size(), 0), seconds(measures.size(), 0),
      peak(measures.size(), 0), cpu(measures.size(), 0);
  std::vector<bool> failed(measures.size(), false);
  std::string first_outputs;
  bool same_outputs = true;
  const std::string log = (dir / "bench-run.log").string();
  for (int64_t round = 0; round < repeats; ++round)
    for (size_t m = 0; m < measures.size(); ++m) {
      if (failed[m]) continue;
      const ChildRun run = RunChild(measures[m].argv, log, measures[m].one_core);
      if (!run.ok) {
        failed[m] = true;
        std::cout << measures[m].label << ": failed\n" << run.log;
        continue;
      }
      if (seconds[m] == 0 || run.seconds < seconds[m]) {
        seconds[m] = run.seconds;
        cpu[m] = run.cpu_seconds;
      }
      peak[m] = std::max(peak[m], run.peak_mb);
      const std::string outputs = OutputsDigest(records);
      if (first_outputs.empty()) first_outputs = outputs;
      same_outputs = same_outputs && outputs == first_outputs;
    }
  for (size_t m = 0; m < measures.size(); ++m) {
    if (failed[m]) continue;
    rate[m] = static_cast<double>(count) / seconds[m];
    // The jobs of one process share its peak; ranks are processes of their own.
    const double per_job = peak[m] / measures[m].jobs_in_process;
    std::cout << measures[m].label << ": " << FormatFixed(rate[m], 2) << " records/s ("
              << FormatFixed(seconds[m], 2) << " s; processor " << FormatFixed(cpu[m], 2)
              << " s, " << FormatFixed(100 * cpu[m] / seconds[m], 0)
              << "% of one core), peak memory " << FormatFixed(peak[m], 1)
              << " MB"
              << (measures[m].jobs_in_process > 1
                      ? " for the process, " + FormatFixed(per_job, 1) + " MB a job"
                      : measures[m].mpi ? " for the largest rank" : std::string())
              << (per_job < kTargetMbPerJob ? " (under " : " (OVER ")
              << FormatFixed(kTargetMbPerJob, 0) << " MB)\n";
  }
  if (!mpi_note.empty()) std::cout << mpi_note << '\n';
  if (rate[0] > 0 && rate[2] > 0) {
    const double speedup = rate[2] / rate[0];
    std::cout << "2 jobs over 1 job on one core: " << FormatFixed(speedup, 2) << "x (target "
              << FormatFixed(kTargetSpeedup, 1) << "x: "
              << (speedup >= kTargetSpeedup ? "met" : "NOT met") << ")\n";
  }
  if (rate[1] > 0 && rate[2] > 0)
    std::cout << "2 jobs over 1 job with its record on every core: "
              << FormatFixed(rate[2] / rate[1], 2) << "x\n";
  // Two jobs that took less than two cores' worth of the wall time did not
  // have the cores to themselves (or waited for the disk).
  if (rate[2] > 0 && cpu[2] < 1.8 * seconds[2])
    std::cout << "2 jobs had " << FormatFixed(cpu[2] / seconds[2], 2)
              << " cores of the 2: the machine was busy or the records not in the page cache\n";
  std::cout << "outputs identical in every run: " << (same_outputs ? "yes" : "NO") << '\n'
            << "load average before / after: " << FormatFixed(load_before, 2) << " / "
            << FormatFixed(LoadAverage(), 2) << '\n';
  return same_outputs ? 0 : 1;
}

}  // namespace lumetra::cli
