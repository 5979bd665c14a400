#include <array>

#include "core/QVHelpers.h"
#include "core/QVLocalized.h"
#include "device/QVRamDiskDevice.h"
#include "extensions/PathExtension.h"
#include "extensions/Text.h"
#include "platform/Services.h"

namespace {

using platform::FileKind;
using platform::services;

constexpr std::array kSystemDirectories = {"/usr/bin", "/usr/sbin", "/bin", "/sbin"};

}  // namespace

bool QVRamDiskDevice::canStartPostCommand(const Text& command, Text* raison) {
  const auto refused = [&](std::string_view key) {
    return QV_ReturnNoWithMessage(QVLocalized(key), raison);
  };
  if (!command || command->empty() || *command == "/") return refused("The path is not correct");
  const FileKind kind = services().files->kind(*command);
  if (kind == FileKind::Missing) return refused("The command file does not exist");
  if (kind == FileKind::Directory) return refused("The command file can not be a directory");
  if (!services().files->isExecutable(*command)) return refused("The file path is not executable");
  return true;
}

std::string QVRamDiskDevice::completePostCommand(const std::string& command) {
  const std::string name = extensions::trimmedWhitespaceAndNewlines(command);
  if (name.empty() || command.find_first_of("/ ~") != std::string::npos) return command;
  for (const char* directory : kSystemDirectories) {
    std::string path = extensions::appendingPathComponent(directory, command);
    if (services().files->kind(path) != FileKind::Missing) return path;
  }
  return command;
}
