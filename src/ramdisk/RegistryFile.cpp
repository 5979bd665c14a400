#include "ramdisk/RegistryFile.h"

#include <array>

#include "core/QVLog.h"
#include "extensions/PathExtension.h"
#include "extensions/PropertyList.h"
#include "kinds/QVRamDiskManager.h"
#include "platform/Services.h"
#include "ramdisk/RegistryKeys.h"

namespace {

using extensions::PropertyList;
using platform::FileKind;
using platform::services;
using Dictionary = PropertyList::Dictionary;
using namespace registry_keys;

constexpr char kFileName[] = "RamDiskEntries";
constexpr std::array<std::string_view, 2> kRecordClasses = {"QVRamDisk", "QVRamDiskEntry"};

std::optional<bool> present(const Dictionary& dictionary, const char* key) {
  const auto found = dictionary.find(key);
  return found == dictionary.end() ? std::nullopt : found->second.boolean();
}

bool flag(const Dictionary& dictionary, const char* key) {
  return present(dictionary, key).value_or(false);
}

QVRamDiskPtr record(const extensions::UnarchivedObject& object) {
  if (object.className == "QVRamDiskEntry") return QVRamDiskEntry::initWithCoder(object.coder);
  return QVRamDisk::initWithCoder(object.coder);
}

}  // namespace

std::optional<std::string> RegistryFile::defaultPath() {
  const auto folder = QVRamDiskManager::appSupportPath();
  if (!folder) return std::nullopt;
  return extensions::appendingPathComponent(*folder, kFileName);
}

// nullopt when the file is missing, which is no damage, or holds no dictionary.
std::optional<Dictionary> RegistryFile::dictionary() {
  damaged_ = false;
  if (services().files->kind(path_) == FileKind::Missing) return std::nullopt;
  const auto bytes = services().files->contents(path_);
  const auto list = bytes ? extensions::parsePropertyList(*bytes) : bytes.error();
  damaged_ = !list || !list->dictionary();
  if (damaged_) {
    QVLogError("QVRamDiskEntries", "dico==nil path:{}", path_);
    if (!list) QVLogError("QVRamDiskEntries", "{}", list.error().text);
    return std::nullopt;
  }
  return *list->dictionary();
}

std::optional<std::vector<QVRamDiskPtr>> RegistryFile::unarchived(const Dictionary& dictionary) {
  const auto entry = dictionary.find(kEntriesKey);
  const auto* data = entry == dictionary.end() ? nullptr : entry->second.data();
  damaged_ = entry != dictionary.end();  // until it turns out to be readable
  if (!data) return std::nullopt;
  std::vector<std::string> problems;
  const auto objects = extensions::unarchiveArray(data->bytes, kRecordClasses, &problems);
  if (!objects) {
    QVLogError("QVRamDiskEntries", "NSKeyedUnarchiver unarchiveObjectWithData localException:{}",
               objects.error().text);
    return std::nullopt;
  }
  std::vector<QVRamDiskPtr> records;
  for (const auto& object : *objects) records.push_back(record(object));
  for (const auto& problem : problems) QVLogWarning("QVRamDiskEntries", "{}: {}", path_, problem);
  damaged_ = !problems.empty();
  return records;
}

std::optional<RegistryContents> RegistryFile::contentsOf(
    const std::optional<Dictionary>& dictionary) {
  if (!dictionary) return std::nullopt;
  auto ramDisks = unarchived(*dictionary);
  if (!ramDisks) {
    QVLogError("QVRamDiskEntries", "ramDisks==nil");
    return std::nullopt;
  }
  return RegistryContents{std::move(*ramDisks), flag(*dictionary, kMenuBarKey),
                          flag(*dictionary, kMenuBarAtLoginKey),
                          present(*dictionary, kSaveAtSessionEndKey)};
}

std::optional<RegistryContents> RegistryFile::read() { return contentsOf(dictionary()); }
