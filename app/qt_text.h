// Conversions between the core's texts (UTF-8 std::string and string_view)
// and Qt's QString.
#pragma once

#include <QString>
#include <QStringList>
#include <string>
#include <string_view>

namespace lumetra {

inline QString Q(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

inline std::string S(const QString& text) {
  return text.toStdString();
}

// A filter in the "Name|*.ext|Name2|*.e2" form of the program's texts as a
// Qt file dialog filter: "Name (*.ext);;Name2 (*.e2)".
inline QString DialogFilter(std::string_view pairs) {
  const QStringList parts = Q(pairs).split(QLatin1Char('|'));
  QStringList filters;
  for (int i = 0; i + 1 < parts.size(); i += 2)
    filters << parts[i] + QStringLiteral(" (") + parts[i + 1] + QLatin1Char(')');
  return filters.join(QStringLiteral(";;"));
}

}  // namespace lumetra
