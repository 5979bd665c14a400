#include <cerrno>
#include <exception>

#include "core/QVLog.h"
#include "extensions/KeyedArchiver.h"
#include "platform/Services.h"
#include "ramdisk/RegistryFile.h"
#include "ramdisk/RegistryKeys.h"

namespace {

using extensions::PropertyList;
using platform::FileKind;
using platform::services;
using Dictionary = PropertyList::Dictionary;
using Reason = RegistryFailure::Reason;
using namespace registry_keys;

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

RegistryFailure unwritable(const std::string& path, const platform::SystemError& error) {
  QVLogError("QVRamDiskEntries", "writeToFile==NO path:{}", path);
  QVLogError("QVRamDiskEntries", "{}", error.text);
  return {Reason::Unwritable, path, error.text};
}

}  // namespace

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
  if (const auto done = services().files->replaceContents(copy, *bytes); !done) {
    QVLogError("QVRamDiskEntries", "the damaged registry could not be kept: {}", done.error().text);
    return done;
  }
  QVLogWarning("QVRamDiskEntries", "part of {} could not be read; it is kept as {}", path_, copy);
  return {};
}

std::optional<RegistryFailure> RegistryFile::put(const RegistryContents& contents,
                                                 Dictionary dictionary) {
  if (damaged_)
    if (const auto done = keepDamagedFile(); !done)
      return RegistryFailure{Reason::Unwritable, path_, done.error().text};
  const auto bytes = extensions::xmlPropertyList(filled(std::move(dictionary), contents));
  const auto written = services().files->replaceContents(path_, bytes);
  return written ? std::nullopt : std::optional(unwritable(path_, written.error()));
}

std::optional<RegistryFailure> RegistryFile::change(const Edit& edit,
                                                    std::chrono::milliseconds patience) {
  const auto lock = RegistryLock::take(path_, patience);
  if (!lock && lock.error().code == EWOULDBLOCK)
    return RegistryFailure{Reason::Busy, RegistryLock::fileFor(path_), lock.error().text};
  if (!lock) return unwritable(path_, lock.error());
  auto present = dictionary();
  auto contents = contentsOf(present);
  if (!edit(contents) || !contents) return std::nullopt;
  return put(*contents, std::move(present).value_or(Dictionary()));
}

bool RegistryFile::write(const RegistryContents& contents) {
  return !change([&](auto& present) {
    present = contents;
    return true;
  });
}
