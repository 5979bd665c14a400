#pragma once
// The short form of a log line, "function:line message", for functions of no object.

#include <string>
#include <string_view>

#include "core/QVLog.h"

// `function` is the public name that callers know, whichever helper of it logs.
template <class... Args>
void QVLogFunctionError(std::string_view function, qvlog::Text<Args...> text, Args&&... args) {
  QVLog::logError(fmt::format("{}:{} {}", function, text.where.line,
                              fmt::format(text.format, std::forward<Args>(args)...)));
}

// The system's own words for an errno value.
std::string errnoText(int code);
