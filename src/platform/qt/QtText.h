#pragma once

#include <QString>
#include <optional>
#include <string>

namespace platform::qt {

inline QString qtText(const std::string& text) { return QString::fromStdString(text); }
inline QString qtText(const std::optional<std::string>& text) {
  return qtText(text.value_or(std::string()));
}
inline std::string plainText(const QString& text) { return text.toStdString(); }

}  // namespace platform::qt
