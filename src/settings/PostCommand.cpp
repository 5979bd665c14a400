#include "settings/PostCommand.h"

#include "core/QVLog.h"
#include "device/QVRamDiskDevice.h"
#include "settings/PathText.h"

namespace settings {

std::vector<std::string> postCommandOf(const QVRamDisk& disk) {
  const auto command = disk.postCmd();
  if (!command) return {};
  std::vector<std::string> words = {*command};
  const auto args = disk.postCmdArgs().value_or(std::vector<std::string>());
  words.insert(words.end(), args.begin(), args.end());
  return words;
}

std::string completedCommand(const std::string& word) {
  return QVRamDiskDevice::completePostCommand(expandedPath(word));
}

std::optional<Problem> problemOfPostCommand(const std::vector<std::string>& words) {
  if (words.empty()) return std::nullopt;
  const std::string command = completedCommand(words.front());
  QVRamDiskDevice::Text reason;
  if (QVRamDiskDevice::canStartPostCommand(command, &reason)) return std::nullopt;
  return Problem{.reason = Reason::PostCommand,
                 .field = Field::PostCommand,
                 .subject = command,
                 .text = QVText(reason)};
}

}  // namespace settings
