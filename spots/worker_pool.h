// A few threads kept for the life of a detector, so that splitting each frame
// over the cores does not start and join threads hundreds of times a second.
// Tasks are numbered; each runs exactly once, on one thread.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace lumetra {

class WorkerPool {
 public:
  // `threads` helpers besides the calling thread.
  explicit WorkerPool(int threads);
  ~WorkerPool();
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  // Runs task(0) .. task(count - 1) on the helpers and the calling thread and
  // returns when all are done.
  void Run(int count, const std::function<void(int)>& task);
  int Threads() const { return static_cast<int>(threads_.size()); }

 private:
  void Loop();
  bool TakeAndRun();

  std::mutex mutex_;
  std::condition_variable wake_, done_;
  const std::function<void(int)>* task_ = nullptr;
  int count_ = 0;
  int next_ = 0;
  int finished_ = 0;
  uint64_t generation_ = 0;
  bool stop_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace lumetra
