#include "ramdisk/QVRamDiskPreferences.h"

#include <chrono>
#include <string>

#include "core/Identifiers.h"
#include "extensions/PathExtension.h"
#include "extensions/PropertyList.h"
#include "platform/Services.h"

using platform::services;

namespace {

constexpr std::chrono::milliseconds kSaveDelay(1000);

}  // namespace

QVRamDiskPreferences& QVRamDiskPreferences::sharedInstance() {
  static QVRamDiskPreferences instance = [] {
    QVRamDiskPreferences made;
    made.restoreFromUserDefaults();
    return made;
  }();
  return instance;
}

std::int64_t QVRamDiskPreferences::styleOfMainApplication() {
  const std::string path = extensions::appendingPathComponent(
      services().places->preferencesDirectory(), std::string(kMainAppBundleId) + ".plist");
  if (services().files->kind(path) == platform::FileKind::Missing) return 0;
  const auto bytes = services().files->contents(path);
  if (!bytes) return 0;
  const auto list = extensions::parsePropertyList(*bytes);
  const auto* style = list ? list->find(kStatusItemIconStyleKey) : nullptr;
  return style ? style->integer().value_or(0) : 0;
}

void QVRamDiskPreferences::restoreFromUserDefaults() {
  statusItemIconStyle_ = services().defaults->integer(kStatusItemIconStyleKey).value_or(0);
}

void QVRamDiskPreferences::saveToUserDefaults() {
  services().defaults->setInteger(kStatusItemIconStyleKey, statusItemIconStyle_);
}

void QVRamDiskPreferences::synchroniseDelayed() {
  auto& loop = *services().mainLoop;
  if (pendingSave_) loop.cancel(*pendingSave_);
  pendingSave_ = loop.after(kSaveDelay, [this] {
    pendingSave_.reset();
    saveToUserDefaults();
  });
}
