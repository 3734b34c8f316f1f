// The record store's navigation, checked on whatever file a target hands it:
// every frame front to back, then go-to, previous, first and the wrap at the
// end. The frame shown after any of them is the frame of that number as the
// front-to-back pass read it, and a frame the reader refused is never shown.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace lumetra::fuzz {

// Writes the input to the scratch file `name`, opens it in the record store
// (its frame buffers allocated once, as the program does at start-up), walks
// the first `max_frames` frames and closes it.
void WalkRecord(const uint8_t* data, size_t size, std::string_view name, int32_t max_frames);

}  // namespace lumetra::fuzz
