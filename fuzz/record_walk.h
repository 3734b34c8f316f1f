// The record store's navigation, checked on whatever file a target hands it:
// every frame front to back, then go-to, previous, first and the wrap at the
// end. The frame shown after any of them is the frame of that number as the
// front-to-back pass read it, and a frame the reader refused is never shown.
#pragma once

#include <string>

#include "record/record_store.h"

namespace lumetra::fuzz {

// Opens `path` in `store`, walks the first `max_frames` frames and closes it.
void WalkRecord(RecordStore& store, const std::string& path, int32_t max_frames);

}  // namespace lumetra::fuzz
