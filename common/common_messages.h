// Texts that several subsystems show for the same failure, defined once.
#pragma once

#include <string_view>

namespace lumetra {

inline constexpr std::string_view kFileOpenError = "File open ERROR";
inline constexpr std::string_view kCanNotOpenForWriting = "Can not Open File for Writing";

}  // namespace lumetra
