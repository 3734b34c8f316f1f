#include "record/frame_source.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "common/file_handle.h"
#include "record/record_messages.h"
#include "record/tiff_source.h"
#include "record/xkv_source.h"

namespace lumetra {

std::unique_ptr<FrameSource> MakeFrameSource(const std::string& path, uint8_t* byte_buffer,
                                             const TiffReadOptions& tiff, Reporter& reporter) {
  std::error_code ec;
  // A folder opens for reading on some systems and then reads as nothing.
  const bool folder = std::filesystem::is_directory(path, ec);
  FileHandle f = folder ? nullptr : OpenFile(path, "rb");
  if (!f) {
    reporter.Modal(kFileOpenError, OpenFailureDetail(path, folder ? EISDIR : errno));
    return nullptr;
  }
  // By content, not by name: a TIFF renamed .xkv is still read as TIFF, and
  // XKV files have no magic of their own.
  uint8_t magic[4] = {};
  const bool tiff_magic = std::fread(magic, 1, 4, f.get()) == 4 && IsTiffMagic(magic);
  std::rewind(f.get());
  if (tiff_magic) {
    f.reset();
    return std::make_unique<TiffFrameSource>(path, tiff);
  }
  return std::make_unique<XkvFrameSource>(path, std::move(f), byte_buffer);
}

}  // namespace lumetra
