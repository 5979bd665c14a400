#include "platform/linux/BusAddress.h"

#include <string_view>

namespace platform {
namespace {

// What may stand in a value of an address as it is.
bool isPlain(char c) {
  constexpr std::string_view kPlain = "-_/.\\*0123456789";
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || kPlain.find(c) != kPlain.npos;
}

std::string addressOfSocket(const std::string& path) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string address = "unix:path=";
  for (const char c : path) {
    const auto byte = static_cast<unsigned char>(c);
    if (isPlain(c)) {
      address += c;
    } else {
      address += {'%', kDigits[byte >> 4U], kDigits[byte & 15U]};
    }
  }
  return address;
}

}  // namespace

std::string sessionBusAddress(const Environment& environment) {
  if (const auto named = environment("DBUS_SESSION_BUS_ADDRESS")) return *named;
  const auto runtime = environment("XDG_RUNTIME_DIR");
  return runtime && runtime->starts_with('/') ? addressOfSocket(*runtime + "/bus") : "";
}

std::string systemBusAddress(const Environment& environment) {
  return environment("DBUS_SYSTEM_BUS_ADDRESS").value_or("unix:path=/run/dbus/system_bus_socket");
}

}  // namespace platform
