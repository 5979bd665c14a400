#include "ramdisk/RegistryFile.h"

#include <array>
#include <exception>

#include "core/QVLog.h"
#include "extensions/PathExtension.h"
#include "extensions/PropertyList.h"
#include "kinds/QVRamDiskManager.h"
#include "platform/Services.h"

namespace {

using extensions::PropertyList;
using platform::FileKind;
using platform::services;
using Dictionary = PropertyList::Dictionary;

constexpr std::string_view kClass = "QVRamDiskEntries";
constexpr char kFileName[] = "RamDiskEntries";
constexpr char kEntriesKey[] = "RamDiskEntries";
constexpr char kMenuBarKey[] = "showInMenuBar";
constexpr char kMenuBarAtLoginKey[] = "showInMenuBarAtLogin";
constexpr char kSaveAtSessionEndKey[] = "saveAtSessionEnd";
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

std::string archived(const std::vector<QVRamDiskPtr>& ramDisks) {
  return extensions::archivedDataWithRootObject({ramDisks.begin(), ramDisks.end()});
}

}  // namespace

std::optional<std::string> RegistryFile::defaultPath() {
  const auto folder = QVRamDiskManager::appSupportPath();
  if (!folder) return std::nullopt;
  return extensions::appendingPathComponent(*folder, kFileName);
}

// nullopt when the file is missing, which is no damage, or holds no dictionary.
std::optional<Dictionary> RegistryFile::dictionary() {
  if (services().files->kind(path_) == FileKind::Missing) return std::nullopt;
  const auto bytes = services().files->contents(path_);
  const auto list = bytes ? extensions::parsePropertyList(*bytes) : bytes.error();
  damaged_ = !list || !list->dictionary();
  if (damaged_) {
    QVLogError(kClass, "dico==nil path:{}", path_);
    if (!list) QVLogError(kClass, "{}", list.error().text);
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
    QVLogError(kClass, "NSKeyedUnarchiver unarchiveObjectWithData localException:{}",
               objects.error().text);
    return std::nullopt;
  }
  std::vector<QVRamDiskPtr> records;
  for (const auto& object : *objects) records.push_back(record(object));
  for (const auto& problem : problems) QVLogWarning(kClass, "{}: {}", path_, problem);
  damaged_ = !problems.empty();
  return records;
}

std::optional<RegistryContents> RegistryFile::read() {
  damaged_ = false;
  const auto dico = dictionary();
  if (!dico) return std::nullopt;
  auto ramDisks = unarchived(*dico);
  if (!ramDisks) {
    QVLogError(kClass, "ramDisks==nil");
    return std::nullopt;
  }
  return RegistryContents{std::move(*ramDisks), flag(*dico, kMenuBarKey),
                          flag(*dico, kMenuBarAtLoginKey), present(*dico, kSaveAtSessionEndKey)};
}

bool RegistryFile::keepDamagedFile() {
  const auto bytes = services().files->contents(path_);
  if (!bytes) {
    QVLogError(kClass, "{} cannot be read and is left as it is: {}", path_, bytes.error().text);
    return false;
  }
  std::string copy = path_ + ".damaged";
  for (int number = 2; services().files->kind(copy) != FileKind::Missing; ++number) {
    const auto present = services().files->contents(copy);
    if (present && *present == *bytes) return true;
    copy = path_ + ".damaged-" + std::to_string(number);
  }
  if (const auto error = services().files->replaceContents(copy, *bytes)) {
    QVLogError(kClass, "the damaged registry could not be kept: {}", error->text);
    return false;
  }
  QVLogWarning(kClass, "part of {} could not be read; it is kept as {}", path_, copy);
  return true;
}

bool RegistryFile::write(const RegistryContents& contents) {
  damaged_ = false;
  auto dico = dictionary().value_or(Dictionary());
  if (dico.contains(kEntriesKey)) unarchived(dico);
  if (damaged_ && !keepDamagedFile()) return false;
  try {
    dico.insert_or_assign(kEntriesKey, PropertyList::Data{archived(contents.ramDisks)});
  } catch (const std::exception& exception) {
    QVLogError(kClass, "NSKeyedArchiver archivedDataWithRootObject localException:{}",
               exception.what());
  }
  dico.insert_or_assign(kMenuBarKey, contents.showInMenuBar);
  dico.insert_or_assign(kMenuBarAtLoginKey, contents.showInMenuBarAtLogin);
  if (contents.saveAtSessionEnd)
    dico.insert_or_assign(kSaveAtSessionEndKey, *contents.saveAtSessionEnd);
  if (!services().files->replaceContents(path_, extensions::xmlPropertyList(dico))) return true;
  QVLogError(kClass, "writeToFile==NO path:{}", path_);
  return false;
}
