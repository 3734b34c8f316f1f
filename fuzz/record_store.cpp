// The record store on any bytes as an XKV file: opening (scan, index, frame 0)
// and navigation by next, previous, go-to and first.
#include "fuzz/fuzz_support.h"
#include "fuzz/record_walk.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  lumetra::fuzz::WalkRecord(data, size, "record.xkv", 32);
  return 0;
}
