#include "processing/text_output.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "common/file_handle.h"
#include "display/png_writer.h"
#include "processing/processing_messages.h"

namespace lumetra {

bool CommitPart(const std::string& part, const std::string& path, Reporter& reporter) {
  std::error_code ec;
  std::filesystem::rename(part, path, ec);
  if (!ec) return true;
  reporter.Modal(kExportFileOpenError, path + ": " + ec.message());
  std::filesystem::remove(part, ec);
  return false;
}

bool WriteTextAtomically(const std::string& path, std::string_view text, Reporter& reporter) {
  const std::string part = path + ".part";
  FileHandle f = OpenFile(part, "wb");
  if (!f) {
    reporter.Modal(kExportFileOpenError, OpenFailureDetail(path, errno));
    return false;
  }
  const bool written = std::fwrite(text.data(), 1, text.size(), f.get()) == text.size();
  const bool closed = std::fclose(f.release()) == 0;
  if (!written || !closed) {
    reporter.Modal(kExportWriteError, path);
    std::error_code ec;
    std::filesystem::remove(part, ec);
    return false;
  }
  return CommitPart(part, path, reporter);
}

bool WritePngAtomically(const std::string& path, const uint32_t* pixels, int32_t width,
                        int32_t height, Reporter& reporter) {
  const std::string part = path + ".part";
  if (!WritePng(part, pixels, width, height)) {
    reporter.Modal(kExportWriteError, path);
    std::error_code ec;
    std::filesystem::remove(part, ec);
    return false;
  }
  return CommitPart(part, path, reporter);
}

}  // namespace lumetra
