// TIFF stacks through libtiff and the TIFF frame source, opened and walked by
// the record store as the desktop program opens them.
#include "fuzz/fuzz_support.h"
#include "fuzz/record_walk.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace lumetra;
  static NullReporter quiet;
  static std::unique_ptr<RecordStore> store = RecordStore::Create(quiet);
  fuzz::WalkRecord(*store, fuzz::WriteScratch("record.tif", data, size), 16);
  return 0;
}
