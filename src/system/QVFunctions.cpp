#include "system/QVFunctions.h"

#include <uuid/uuid.h>

#include <array>
#include <cstdlib>
#include <ctime>
#include <iomanip>
#include <locale>
#include <sstream>

#include "core/QVLog.h"
#include "extensions/PathExtension.h"
#include "platform/Services.h"
#include "system/Kept.h"

namespace {

using OptionalText = std::optional<std::string>;

const std::shared_ptr<platform::Bundle>& bundle() { return platform::services().bundle; }

}  // namespace

OptionalText QVFunctions::UUIDString() {
  constexpr std::size_t kTextBytes = 37;  // 36 characters and the terminator
  uuid_t identifier;
  std::array<char, kTextBytes> text{};
  uuid_generate_random(identifier);
  uuid_unparse_upper(identifier, text.data());
  return text.data();
}

std::string QVFunctions::appName() {
  static Kept<std::string> kept;
  return kept.get(bundle(),
                  [] { return extensions::lastPathComponent(bundle()->executablePath()); });
}

OptionalText QVFunctions::appVersion() {
  static Kept<OptionalText> kept;
  return kept.get(bundle(), [] { return bundle()->information("CFBundleShortVersionString"); });
}

OptionalText QVFunctions::appBuild() {
  static Kept<OptionalText> kept;
  return kept.get(bundle(), [] { return bundle()->information("CFBundleVersion"); });
}

std::optional<double> QVFunctions::dateCompiled() {
  std::istringstream text(__DATE__ " " __TIME__);
  text.imbue(std::locale::classic());
  std::tm date{};
  text >> std::get_time(&date, "%b %d %Y %H:%M:%S");
  date.tm_isdst = -1;  // whether it was summer then is the system's to say
  const std::time_t seconds = text.fail() ? -1 : std::mktime(&date);
  if (seconds != -1) return static_cast<double>(seconds);
  QVLogCriticalException("QVFunctions", "d==nil");
  return std::nullopt;
}

bool QVFunctions::isSandboxedApp() {
  static Kept<bool> kept;
  return kept.get(bundle(), [] { return std::getenv("APP_SANDBOX_CONTAINER_ID") != nullptr; });
}

platform::ImagePtr QVFunctions::wsIconForFileHFSType(std::string_view type, double size) {
  const auto& graphics = *platform::services().graphics;
  return graphics.resized(graphics.iconForHFSType(type), {size, size});
}
