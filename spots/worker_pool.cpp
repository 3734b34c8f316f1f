#include "spots/worker_pool.h"

namespace lumetra {

WorkerPool::WorkerPool(int threads) {
  for (int i = 0; i < threads; ++i) threads_.emplace_back([this] { Loop(); });
}

WorkerPool::~WorkerPool() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stop_ = true;
  }
  wake_.notify_all();
  for (std::thread& t : threads_) t.join();
}

bool WorkerPool::TakeAndRun() {
  int index;
  const std::function<void(int)>* task;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!task_ || next_ >= count_) return false;
    index = next_++;
    task = task_;
  }
  (*task)(index);
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (++finished_ == count_) done_.notify_all();
  }
  return true;
}

void WorkerPool::Loop() {
  uint64_t seen = 0;
  for (;;) {
    {
      std::unique_lock<std::mutex> lock(mutex_);
      wake_.wait(lock, [&] { return stop_ || generation_ != seen; });
      if (stop_) return;
      seen = generation_;
    }
    while (TakeAndRun()) {
    }
  }
}

void WorkerPool::Run(int count, const std::function<void(int)>& task) {
  if (count <= 0) return;
  if (threads_.empty() || count == 1) {
    for (int i = 0; i < count; ++i) task(i);
    return;
  }
  {
    std::lock_guard<std::mutex> lock(mutex_);
    task_ = &task;
    count_ = count;
    next_ = 0;
    finished_ = 0;
    ++generation_;
  }
  wake_.notify_all();
  while (TakeAndRun()) {
  }
  std::unique_lock<std::mutex> lock(mutex_);
  done_.wait(lock, [&] { return finished_ == count_; });
  task_ = nullptr;
}

}  // namespace lumetra
