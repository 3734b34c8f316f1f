#include "processing/ghost.h"

#include <algorithm>

#include "record/record_store.h"

namespace lumetra {

std::optional<GhostFrame> ReadGhostFile(const std::string& path, Reporter& reporter) {
  auto store = RecordStore::Create(reporter);
  if (!store || !store->Open(path, reporter) || !store->HasFrame()) return std::nullopt;
  GhostFrame g;
  g.width = store->Width();
  g.height = store->Height();
  g.pixels.assign(store->FrameBuffer(),
                  store->FrameBuffer() + static_cast<size_t>(g.width) * g.height);
  g.source = path;
  return g;
}

std::vector<uint32_t> GhostOverlay(const GhostFrame& ghost) {
  std::vector<uint32_t> out(ghost.pixels.size(), 0);
  if (ghost.pixels.empty()) return out;
  std::vector<uint16_t> sorted = ghost.pixels;
  std::nth_element(sorted.begin(), sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2),
                   sorted.end());
  const double median = sorted[sorted.size() / 2];
  const double top = *std::max_element(ghost.pixels.begin(), ghost.pixels.end());
  if (!(top > median)) return out;
  for (size_t i = 0; i < out.size(); ++i) {
    const double v = ghost.pixels[i];
    if (v <= median) continue;
    const uint32_t alpha = static_cast<uint32_t>(200.0 * (v - median) / (top - median));
    out[i] = (alpha << 24) | 0x0000FFFFu;
  }
  return out;
}

}  // namespace lumetra
