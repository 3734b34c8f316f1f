// The program's version string.
#pragma once
#include <string_view>

namespace lumetra {

std::string_view Version();

}  // namespace lumetra
