#include "kinds/QVRamDiskManager.h"

#include "core/Identifiers.h"
#include "core/QVError.h"
#include "core/QVLog.h"
#include "extensions/PathExtension.h"
#include "kinds/Presets.h"
#include "platform/Services.h"

namespace {

std::optional<std::string> pathOfApplicationOfType(QVRamDiskType type) {
  const auto facts = kinds::factsOfType(type);
  return facts ? kinds::applicationPath(facts->application) : std::nullopt;
}

// What the first running copy is called.
std::optional<std::string> nameOfRunning(const std::string& bundleIdentifier) {
  const auto running = platform::services().applications->running(bundleIdentifier);
  if (running.empty()) return std::nullopt;
  return running.front().localizedName.value_or(running.front().bundleIdentifier);
}

}  // namespace

std::optional<QVCreationInfos> QVRamDiskManager::creationInfosOfRamDiskType(
    QVRamDiskType type, const std::optional<std::string>& simId) {
  if (type == QVRamDiskType_Default) return QVCreationInfos{.status = 1};
  return kinds::creationInfosOf(type, simId);
}

std::optional<std::string> QVRamDiskManager::appSupportPath() {
  const auto directories = platform::services().places->applicationSupportDirectories();
  if (directories.empty()) {
    QVLogError("QVRamDiskManager", "dirPath==nil");
    return std::nullopt;
  }
  std::string path = extensions::appendingPathComponent(directories.back(), kMainAppBundleId);
  const auto& files = platform::services().files;
  if (files->kind(path) != platform::FileKind::Missing) return path;
  if (const auto done = files->createDirectories(path); !done) {
    QVLogError("QVRamDiskManager", "createDirectoryAtPath==NO dirPath:{} error:{}", path,
               QVDescription(done.error()));
    return std::nullopt;
  }
  return path;
}

bool QVRamDiskManager::hasRunningApplication(const std::optional<std::string>& bundleIdentifier,
                                             Message* message) {
  const auto running = nameOfRunning(bundleIdentifier.value_or(""));
  if (message) message->reset();
  if (running && message) *message = whatHappened(Trouble::ApplicationRunning, {.text = *running});
  return running.has_value();
}

bool QVRamDiskManager::hasRunningAppForType(QVRamDiskType type, Message* message) {
  const auto facts = kinds::factsOfType(type);
  if (!facts) return false;
  for (const auto& identifier : facts->application.runningIdentifiers)
    if (hasRunningApplication(identifier, message)) return true;
  return false;
}

Checked QVRamDiskManager::checkApplication(QVRamDiskType type) {
  const auto facts = kinds::factsOfType(type);
  if (!facts) return {};
  for (const auto& identifier : facts->application.runningIdentifiers)
    if (auto running = nameOfRunning(identifier))
      return Hindrance{Trouble::ApplicationRunning, {.text = *std::move(running)}};
  return {};
}

std::optional<std::string> QVRamDiskManager::favoriteXcodePath() {
  return pathOfApplicationOfType(QVRamDiskType_XcodeBuild);
}

std::optional<std::string> QVRamDiskManager::favoriteSafariPath() {
  return pathOfApplicationOfType(QVRamDiskType_Safari);
}

std::optional<std::string> QVRamDiskManager::favoriteFirefoxAppPath() {
  return pathOfApplicationOfType(QVRamDiskType_Firefox);
}

std::optional<std::string> QVRamDiskManager::favoriteChromeAppPath() {
  return pathOfApplicationOfType(QVRamDiskType_Chrome);
}

std::optional<std::string> QVRamDiskManager::favoriteOperaAppPath() {
  return pathOfApplicationOfType(QVRamDiskType_Opera);
}

void QVRamDiskManager::forgetCachedAnswers() {
  kinds::forgetPresets();
  kinds::forgetDirectoryRules();
  kinds::forgetIcons();
}
