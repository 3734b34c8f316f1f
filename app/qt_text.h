// Conversions between the core's texts (UTF-8 std::string and string_view)
// and Qt's QString.
#pragma once

#include <QString>
#include <string>
#include <string_view>

namespace lumetra {

inline QString Q(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

inline std::string S(const QString& text) {
  return text.toStdString();
}

}  // namespace lumetra
