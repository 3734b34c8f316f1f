// Splitting independent work over the machine's cores. Each index is handled
// exactly once and by one thread, so results that depend only on the index
// are the same as in a plain loop.
#pragma once

#include <algorithm>
#include <cstdint>
#include <thread>
#include <vector>

namespace lumetra {

inline int WorkerCount() {
  const unsigned n = std::thread::hardware_concurrency();
  return n == 0 ? 1 : static_cast<int>(std::min(n, 8u));
}

// Calls body(begin, end) on contiguous chunks of [0, count), one chunk per
// worker, the first on the calling thread. `min_chunk` keeps tiny jobs on one thread.
template <typename Body>
void ParallelChunks(int64_t count, Body&& body, int64_t min_chunk = 1, int workers = 0) {
  if (workers <= 0) workers = WorkerCount();
  const int64_t n =
      std::max<int64_t>(1, std::min<int64_t>(workers, count / std::max<int64_t>(1, min_chunk)));
  if (n <= 1 || count <= 1) {
    if (count > 0) body(int64_t{0}, count);
    return;
  }
  std::vector<std::thread> threads;
  threads.reserve(static_cast<size_t>(n - 1));
  for (int64_t i = 1; i < n; ++i)
    threads.emplace_back([&, i] { body(count * i / n, count * (i + 1) / n); });
  body(int64_t{0}, count / n);
  for (std::thread& t : threads) t.join();
}

}  // namespace lumetra
