#include "ramdisk/RegistryFile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <exception>

#include "core/QVLog.h"
#include "extensions/KeyedArchiver.h"
#include "extensions/PathExtension.h"
#include "extensions/PropertyList.h"
#include "kinds/QVRamDiskManager.h"
#include "platform/Services.h"

namespace {

using extensions::PropertyList;
using platform::FileKind;
using platform::services;
using Dictionary = PropertyList::Dictionary;
using namespace std::chrono_literals;

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

// Records that cannot be archived leave those that the file has.
void archive(const std::vector<QVRamDiskPtr>& ramDisks, Dictionary& dictionary) {
  try {
    auto bytes = extensions::archivedDataWithRootObject({ramDisks.begin(), ramDisks.end()});
    dictionary.insert_or_assign(kEntriesKey, PropertyList::Data{std::move(bytes)});
  } catch (const std::exception& exception) {
    QVLogError("QVRamDiskEntries", "NSKeyedArchiver archivedDataWithRootObject localException:{}",
               exception.what());
  }
}

Dictionary filled(Dictionary dictionary, const RegistryContents& contents) {
  archive(contents.ramDisks, dictionary);
  dictionary.insert_or_assign(kMenuBarKey, contents.showInMenuBar);
  dictionary.insert_or_assign(kMenuBarAtLoginKey, contents.showInMenuBarAtLogin);
  if (contents.saveAtSessionEnd)
    dictionary.insert_or_assign(kSaveAtSessionEndKey, *contents.saveAtSessionEnd);
  return dictionary;
}

Hindrance unwritable(const std::string& path, const platform::SystemError& error) {
  QVLogError("QVRamDiskEntries", "writeToFile==NO path:{}", path);
  QVLogError("QVRamDiskEntries", "{}", error.text);
  return {Trouble::RegistryUnwritable, {.path = path, .text = error.text}};
}

// Short, because nobody stands in line: who asks more often has better chances.
constexpr std::chrono::milliseconds kPass(2);

bool isUnsupported(std::int64_t code) {
  constexpr std::array kCodes = {ENOLCK, ENOTSUP, EOPNOTSUPP, ENOSYS};  // two may be the same
  return std::find(kCodes.begin(), kCodes.end(), code) != kCodes.end();
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

platform::Outcome RegistryFile::keepDamagedFile() {
  const auto bytes = services().files->contents(path_);
  if (!bytes) {
    QVLogError("QVRamDiskEntries", "{} cannot be read and is left as it is: {}", path_,
               bytes.error().text);
    return bytes.error();
  }
  std::string copy = path_ + ".damaged";
  for (int number = 2; services().files->kind(copy) != FileKind::Missing; ++number) {
    const auto present = services().files->contents(copy);
    if (present && *present == *bytes) return {};
    copy = path_ + ".damaged-" + std::to_string(number);
  }
  if (auto done = services().files->replaceContents(copy, *bytes); !done) {
    QVLogError("QVRamDiskEntries", "the damaged registry could not be kept: {}", done.error().text);
    return done;
  }
  QVLogWarning("QVRamDiskEntries", "part of {} could not be read; it is kept as {}", path_, copy);
  return {};
}

namespace {

// Whether a reader would find in the bytes what they were made from. Of others' keys that they are
// there: XML cannot hold every text.
bool readsBack(const std::string& bytes, const Dictionary& written, std::size_t records) {
  const auto list = extensions::parsePropertyList(bytes);
  const auto* read = list ? list->dictionary() : nullptr;
  if (!read || read->size() != written.size()) return false;
  for (const char* key : {kEntriesKey, kMenuBarKey, kMenuBarAtLoginKey, kSaveAtSessionEndKey})
    if (written.contains(key) && (!read->contains(key) || read->at(key) != written.at(key)))
      return false;
  const auto entries = written.find(kEntriesKey);
  if (entries == written.end() || !entries->second.data()) return true;
  const auto objects =
      extensions::unarchiveArray(entries->second.data()->bytes, kRecordClasses, nullptr);
  return objects && objects->size() == records;
}

}  // namespace

Checked RegistryFile::put(const RegistryContents& contents, Dictionary dictionary) {
  if (damaged_)
    if (const auto done = keepDamagedFile(); !done)
      return Hindrance{Trouble::RegistryUnwritable, {.path = path_, .text = done.error().text}};
  const auto full = filled(std::move(dictionary), contents);
  const auto bytes = extensions::xmlPropertyList(full);
  if (!readsBack(bytes, full, contents.ramDisks.size()))
    return unwritable(path_, {"PropertyList", 1, "it could not be read again"});
  if (const auto written = services().files->replaceContents(path_, bytes); !written)
    return unwritable(path_, written.error());
  return {};
}

Checked RegistryFile::change(const Edit& edit, std::chrono::milliseconds patience) {
  const auto lock = RegistryLock::take(path_, patience);
  if (!lock && lock.error().code == EWOULDBLOCK)
    return Hindrance{Trouble::RegistryBusy,
                     {.path = RegistryLock::fileFor(path_), .text = lock.error().text}};
  if (!lock) return unwritable(path_, lock.error());
  auto present = dictionary();
  auto contents = contentsOf(present);
  if (!edit(contents) || !contents) return {};
  return put(*contents, std::move(present).value_or(Dictionary()));
}

bool RegistryFile::write(const RegistryContents& contents) {
  return static_cast<bool>(change([&](auto& present) {
    present = contents;
    return true;
  }));
}

platform::Result<RegistryLock> RegistryLock::take(const std::string& registry,
                                                  std::chrono::milliseconds patience) {
  const std::string file = fileFor(registry);
  auto lock = services().files->lock(file);
  for (auto waited = kPass * 0; !lock && waited < patience; waited += kPass) {
    if (lock.error().code != EWOULDBLOCK) break;
    services().mainLoop->sleep(kPass);
    lock = services().files->lock(file);
  }
  if (lock) return RegistryLock(*lock);
  if (!isUnsupported(lock.error().code)) return lock.error();
  QVLogWarning("QVRamDiskEntries", "the registry is changed without a lock: {}", lock.error().text);
  return RegistryLock(nullptr);
}
