#include "platform/linux/FileManager.h"

#include <systemd/sd-bus.h>

#include <cerrno>
#include <memory>

#include "extensions/PathExtension.h"
#include "platform/posix/PosixError.h"

namespace platform {
namespace {

constexpr char kName[] = "org.freedesktop.FileManager1";
constexpr char kObject[] = "/org/freedesktop/FileManager1";

struct CloseBus {
  void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
};
using Connection = std::unique_ptr<sd_bus, CloseBus>;

class BusError {
 public:
  BusError() = default;
  ~BusError() { sd_bus_error_free(&error_); }
  BusError(const BusError&) = delete;
  BusError& operator=(const BusError&) = delete;

  sd_bus_error* get() { return &error_; }
  std::string text() const { return error_.message == nullptr ? "" : error_.message; }

 private:
  sd_bus_error error_ = SD_BUS_ERROR_NULL;
};

// Below 0 the negated errno of what failed.
int connect(const std::string& address, std::chrono::microseconds limit, Connection& connection) {
  sd_bus* made = nullptr;
  if (const int code = sd_bus_new(&made); code < 0) return code;
  connection.reset(made);
  if (const int code = sd_bus_set_address(made, address.c_str()); code < 0) return code;
  if (const int code = sd_bus_set_bus_client(made, 1); code < 0) return code;
  const auto microseconds = static_cast<std::uint64_t>(limit.count());
  if (const int code = sd_bus_set_method_call_timeout(made, microseconds); code < 0) return code;
  return sd_bus_start(made);
}

int call(sd_bus* bus, const std::string& url, BusError& error) {
  return sd_bus_call_method(bus, kName, kObject, kName, "ShowItemProperties", error.get(), nullptr,
                            "ass", 1U, url.c_str(), "");
}

}  // namespace

std::string fileManagerBus(const Environment& environment) {
  if (const auto address = environment("DBUS_SESSION_BUS_ADDRESS")) return *address;
  const auto runtime = environment("XDG_RUNTIME_DIR");
  return runtime ? "unix:path=" + *runtime + "/bus" : "";
}

Outcome showItemProperties(const std::string& bus, const std::string& path,
                           std::chrono::microseconds limit) {
  Connection connection;
  BusError error;
  int code = bus.empty() ? -ENOENT : connect(bus, limit, connection);
  if (code < 0) return posixError(-code, "the session bus");
  code = call(connection.get(), extensions::fileUrl(path), error);
  if (code >= 0) return {};
  auto failure = posixError(-code, kName);
  if (!error.text().empty()) failure.text += " (" + error.text() + ")";
  return failure;
}

}  // namespace platform
