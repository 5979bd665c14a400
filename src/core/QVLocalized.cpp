#include "core/QVLocalized.h"

#include "platform/Services.h"

std::string QVLocalized(std::string_view key, std::string_view table) {
  return platform::services().bundle->localizedString(key, table);
}

std::string QVLocalizedFormat(std::string_view key, std::initializer_list<std::string_view> values,
                              std::string_view table) {
  constexpr std::string_view kPlaceholder = "%@";
  std::string text = QVLocalized(key, table);
  std::size_t from = 0;
  for (const auto value : values) {
    const auto place = text.find(kPlaceholder, from);
    if (place == std::string::npos) break;
    text.replace(place, kPlaceholder.size(), value);
    from = place + value.size();
  }
  return text;
}
