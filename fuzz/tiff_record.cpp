// TIFF stacks through libtiff and the TIFF frame source, opened and walked by
// the record store as the desktop program opens them.
#include "fuzz/fuzz_support.h"
#include "fuzz/record_walk.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  lumetra::fuzz::WalkRecord(data, size, "record.tif", 16);
  return 0;
}
