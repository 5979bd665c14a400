#pragma once

#include <QString>
#include <string>

namespace platform::qt {

inline QString qtText(const std::string& text) { return QString::fromStdString(text); }
inline std::string plainText(const QString& text) { return text.toStdString(); }

}  // namespace platform::qt
