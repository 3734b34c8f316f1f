// The record store on any bytes as an XKV file: opening (scan, index, frame 0)
// and navigation by next, previous, go-to and first.
#include "fuzz/fuzz_support.h"
#include "fuzz/record_walk.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace lumetra;
  // Frame buffers are allocated once, as the program does at start-up.
  static NullReporter quiet;
  static std::unique_ptr<RecordStore> store = RecordStore::Create(quiet);
  fuzz::WalkRecord(*store, fuzz::WriteScratch("record.xkv", data, size), 32);
  return 0;
}
