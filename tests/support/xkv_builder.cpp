#include "tests/support/xkv_builder.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace lumetra::testing {

std::string TempPath(const std::string& name) {
  const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
  std::string prefix = info ? std::string(info->test_suite_name()) + "_" + info->name() : "lumetra";
  // Memory-backed when the machine has it: the hostile-file loop rewrites one
  // file thousands of times, which is slow on a disk that discards on truncate.
  std::error_code ec;
  const bool shm = std::filesystem::is_directory("/dev/shm", ec);
  auto dir = (shm ? std::filesystem::path("/dev/shm") : std::filesystem::temp_directory_path()) /
             "lumetra-tests";
  std::filesystem::create_directories(dir);
  return (dir / (prefix + "_" + name)).string();
}

}  // namespace lumetra::testing
