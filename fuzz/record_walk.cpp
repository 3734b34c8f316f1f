#include "fuzz/record_walk.h"

#include <algorithm>
#include <vector>

#include "fuzz/fuzz_support.h"
#include "record/record_store.h"

namespace lumetra::fuzz {
namespace {

uint64_t Mix(uint64_t h, const uint8_t* p, size_t n) {
  for (size_t i = 0; i < n; ++i) h = (h ^ p[i]) * 1099511628211ull;
  return h;
}

// What the store shows: a frame it may claim, and a digest of header and pixels.
uint64_t Shown(const RecordStore& store) {
  FUZZ_CHECK(store.HasFrame());
  const PRM_INFO& p = store.Prm();
  FUZZ_CHECK(!BrokenSizeReason(p));
  FUZZ_CHECK(static_cast<int64_t>(p.Width) * p.Height <= kMaxFramePixels);
  FUZZ_CHECK(store.CurrentFrame() >= 0 && store.CurrentFrame() < store.FrameCount());
  const PrmBytes hb = EncodePrmInfo(p);
  uint64_t h = Mix(1469598103934665603ull, hb.data(), hb.size());
  if (p.AddInfoFlag == 1) {
    const AddBytes ab = EncodeAddInfo(store.Add());
    h = Mix(h, ab.data(), ab.size());
  }
  const size_t pixels = static_cast<size_t>(p.Width) * p.Height;
  return Mix(h, reinterpret_cast<const uint8_t*>(store.FrameBuffer()), 2 * pixels);
}

class Walk {
 public:
  Walk(RecordStore& store, std::vector<uint64_t>& seen) : store_(store), seen_(seen) {}

  // After a fetch that should show frame `n`: it does, unless the fetch failed,
  // and then the header shown (if any) is the one shown before.
  void Expect(bool ok, int32_t n, const PRM_INFO& before) {
    if (!ok || !store_.HasFrame()) {
      if (store_.HasFrame()) FUZZ_CHECK(EncodePrmInfo(store_.Prm()) == EncodePrmInfo(before));
      return;
    }
    FUZZ_CHECK(store_.CurrentFrame() == n);
    if (n < static_cast<int32_t>(seen_.size())) FUZZ_CHECK(Shown(store_) == seen_[n]);
  }
  void GoTo(int32_t n) {
    const PRM_INFO before = store_.Prm();
    Expect(store_.GoToFrame(n, quiet_), std::clamp(n, 0, store_.FrameCount() - 1), before);
  }
  void Previous() {
    const PRM_INFO before = store_.Prm();
    const int32_t at = store_.CurrentFrame();
    store_.PrevFrame(quiet_);
    if (at >= 1) Expect(store_.CurrentFrame() == at - 1, at - 1, before);
  }
  void First() {
    const PRM_INFO before = store_.Prm();
    store_.FirstFrame(quiet_);
    Expect(store_.HasFrame(), 0, before);
  }
  bool Next(int32_t n) {
    const PRM_INFO before = store_.Prm();
    const bool ok = store_.NextFrame(quiet_);
    Expect(ok, n, before);
    return ok;
  }

 private:
  RecordStore& store_;
  std::vector<uint64_t>& seen_;
  NullReporter quiet_;
};

}  // namespace

void WalkRecord(const uint8_t* data, size_t size, std::string_view name, int32_t max_frames) {
  static NullReporter quiet;
  static std::unique_ptr<RecordStore> kept = RecordStore::Create(quiet);
  RecordStore& store = *kept;
  if (!store.Open(WriteScratch(name, data, size), quiet)) {
    FUZZ_CHECK(!store.RecordLoaded() && !store.HasFrame());
    return;
  }
  FUZZ_CHECK(store.FrameCount() <= kMaxIndexedFrames);
  FUZZ_CHECK(store.CurrentFrame() == 0 || store.FrameCount() == 0);
  std::vector<uint64_t> seen;
  Walk walk(store, seen);
  // Front to back from a fresh start; the digests are what the frames hold.
  if (store.HasFrame()) seen.push_back(Shown(store));
  const int32_t frames = std::min(store.FrameCount(), max_frames);
  while (!seen.empty() && static_cast<int32_t>(seen.size()) < frames) {
    const int32_t n = static_cast<int32_t>(seen.size());
    if (!walk.Next(n)) break;
    seen.push_back(Shown(store));
  }
  const auto read = static_cast<int32_t>(seen.size());
  if (read > 0) {
    walk.GoTo(read - 1);
    walk.Previous();
    walk.GoTo(read / 2);
    walk.First();
    walk.GoTo(read - 1);
    walk.GoTo(0);
    walk.Previous();  // on frame 0: nothing
    walk.GoTo(store.FrameCount() + 5);
    // Past the last frame the store starts again at frame 0.
    if (read == store.FrameCount()) {
      walk.GoTo(read - 1);
      walk.Next(read);
      walk.Next(0);
    }
  }
  store.Close();
  FUZZ_CHECK(!store.RecordLoaded() && !store.HasFrame());
}

}  // namespace lumetra::fuzz
