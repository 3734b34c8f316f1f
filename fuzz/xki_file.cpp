// XKI track files on any bytes. Every track read fits the record, and the
// tracks written again (current and older layout) read back to the same file.
#include "spots/xki_file.h"

#include <vector>

#include "fuzz/fuzz_support.h"

namespace {

constexpr int32_t kRecordFrames = 1000;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace lumetra;
  // Three stores of 10000 slots, kept from input to input as the window keeps its one.
  static TrackStore store, again, older;
  NullReporter quiet;
  const std::vector<uint8_t> bytes(data, data + size);
  const int32_t count = DecodeXki(bytes, store, kRecordFrames, size % 2 == 1, quiet);
  FUZZ_CHECK(count >= 0 && count <= kMaxTracks);
  FUZZ_CHECK(store.track_count == count && store.completed_count == count);
  for (int32_t i = 0; i < count; ++i) {
    const TrackRec& t = store.Slot(i);
    FUZZ_CHECK(t.completed == 1 && t.good == 1);
    FUZZ_CHECK(t.point_count >= 0 && t.first_frame >= 0);
    FUZZ_CHECK(t.first_frame + t.point_count <= kRecordFrames);
  }

  const std::vector<uint8_t> written = EncodeXki(store, XkiWriteOptions{});
  FUZZ_CHECK(DecodeXki(written, again, kRecordFrames, false, quiet) == count);
  FUZZ_CHECK(EncodeXki(again, XkiWriteOptions{}) == written);

  // The older layout is told by a first float above 0: a start X above 0.
  if (count > 0 && store.Slot(0).X > 0) {
    XkiWriteOptions o;
    o.layout = XkiLayout::kOlder;
    FUZZ_CHECK(DecodeXki(EncodeXki(store, o), older, kRecordFrames, false, quiet) == count);
    FUZZ_CHECK(EncodeXki(older, XkiWriteOptions{}) == written);
  }
  return 0;
}
