#include "cli/Settings.h"

#include <CLI/CLI.hpp>
#include <filesystem>

#include "cli/SizeText.h"
#include "cli/Words.h"
#include "core/QVLog.h"
#include "device/QVRamDiskDevice.h"
#include "extensions/PathExtension.h"
#include "kinds/QVRamDiskManager.h"
#include "platform/Services.h"

namespace cli {
namespace {

namespace fs = std::filesystem;
using Problem = std::optional<Refusal>;

// "~" stays where a shell did not replace it, as in --directory=~/x.
std::string expanded(const std::string& path) {
  return extensions::expandingTilde(path, platform::services().places->home().value_or(""));
}

Problem unavailable(const std::string& kind, std::int64_t status) {
  const char* why = status < 0 ? " is not installed, or its version is not supported"
                               : " cannot be used now: its directory is missing or not writable, "
                                 "or its version is not suitable";
  return Refusal{kRefused, "the application of the kind " + kind + why,
                 "'tarnvale kinds' shows what can be used"};
}

Problem applyKind(QVRamDisk& disk, const DiskOptions& options) {
  if (options.simulator) disk.setSimId(options.simulator);
  if (!options.kind && !options.simulator) return std::nullopt;
  const auto type = options.kind ? kindWords().value(*options.kind) : disk.type();
  if (!type) return Refusal{kWrongUsage, "there is no kind " + *options.kind, {}};
  if (options.simulator && *type != QVRamDiskType_CoreSimulator)
    return Refusal{kWrongUsage, "only a core-simulator disk takes a simulator device",
                   "add --kind core-simulator"};
  const auto infos = QVRamDiskManager::creationInfosOfRamDiskType(*type, disk.simId());
  if (!infos || infos->status != 1)
    return unavailable(kindWords().of(*type), infos ? infos->status : -1);
  disk.changeToType(*type, 0);
  return std::nullopt;
}

Problem applyPlace(QVRamDisk& disk, const DiskOptions& options) {
  if (!options.name && !options.directory) return std::nullopt;
  if (disk.type() != QVRamDiskType_Default)
    return Refusal{kWrongUsage,
                   "a disk of the kind " + kindWords().of(disk.type()) +
                       " has the name and the directory of its application",
                   "leave --name, --directory and the path out"};
  if (options.name) disk.setName(options.name);
  if (options.directory && options.directory->empty()) disk.setMountDirectory(std::nullopt);
  if (options.directory && !options.directory->empty())
    disk.setMountDirectory(absolutePath(expanded(*options.directory)));
  return std::nullopt;
}

Problem applySize(QVRamDisk& disk, const DiskOptions& options) {
  if (!options.size) return std::nullopt;
  const auto bytes = bytesFromText(*options.size);
  if (!bytes)
    return Refusal{kWrongUsage, "\"" + *options.size + "\" is not a size of a disk",
                   std::string(kSizeForms) + ", from 128M to 128G"};
  disk.setSize(*bytes);
  return std::nullopt;
}

Problem applyBackup(QVRamDisk& disk, const DiskOptions& options) {
  if (options.backup) disk.setBackupMode(*backupWords().value(*options.backup));
  if (!options.backupDir) return std::nullopt;
  if (options.backup && disk.backupMode() != QVRamDiskBackupMode_Directory)
    return Refusal{kWrongUsage, "--backup-dir goes with --backup directory only",
                   "leave one of the two out"};
  disk.setBackupMode(QVRamDiskBackupMode_Directory);
  disk.setBackupDir(absolutePath(expanded(*options.backupDir)));
  return std::nullopt;
}

Problem applyPostCommand(QVRamDisk& disk, const DiskOptions& options) {
  if (!options.postCommand) return std::nullopt;
  auto words = CLI::detail::split_up(*options.postCommand);
  for (auto& word : words) CLI::detail::remove_quotes(word);
  if (words.empty()) {
    disk.setPostCmd(std::nullopt);
    disk.setPostCmdArgs(std::nullopt);
    return std::nullopt;
  }
  const std::string command = QVRamDiskDevice::completePostCommand(expanded(words.front()));
  QVRamDiskDevice::Text reason;
  if (!QVRamDiskDevice::canStartPostCommand(command, &reason))
    return Refusal{kRefused, "the post-command " + command + ": " + QVText(reason),
                   "give the path of an executable"};
  words.erase(words.begin());
  disk.setPostCmd(command);
  disk.setPostCmdArgs(words);
  return std::nullopt;
}

void applySwitches(QVRamDisk& disk, const DiskOptions& options) {
  if (options.index) disk.setMdIndexMode(*indexWords().value(*options.index));
  if (options.format) disk.setFormat(*formatWords().value(*options.format));
  if (options.atLogin) disk.setCreateAtLogin(*options.atLogin);
  if (options.measure) disk.setDoNotCalculateBaseSize(!*options.measure);
}

}  // namespace

std::string absolutePath(const std::string& path) {
  std::error_code error;
  const bool isLink = fs::is_symlink(path, error);
  const fs::path whole = isLink ? fs::canonical(path, error) : fs::absolute(path, error);
  std::string text = (error ? fs::path(path) : whole).lexically_normal().string();
  if (text.size() > 1 && text.ends_with('/')) text.pop_back();
  return text;
}

std::optional<Refusal> applyOptions(QVRamDisk& disk, const DiskOptions& options) {
  for (const auto step : {applyKind, applyPlace, applySize, applyBackup, applyPostCommand})
    if (auto problem = step(disk, options)) return problem;
  applySwitches(disk, options);
  return std::nullopt;
}

}  // namespace cli
