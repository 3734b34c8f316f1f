// Writing a text table or an image so that it appears only complete: the
// bytes go to NAME.part beside it, which is renamed to NAME at the end. A
// failure names the file and the reason and leaves no file behind.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "common/report.h"

namespace lumetra {

bool WriteTextAtomically(const std::string& path, std::string_view text, Reporter& reporter);

// The image (0x00RRGGBB, row-major) as PNG, the same way.
bool WritePngAtomically(const std::string& path, const uint32_t* pixels, int32_t width,
                        int32_t height, Reporter& reporter);

// Renames `part` to `path`; on failure reports and removes `part`.
bool CommitPart(const std::string& part, const std::string& path, Reporter& reporter);

}  // namespace lumetra
