#include "platform/linux/LinuxLoginItems.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <set>

#include "platform/linux/InstalledApplications.h"
#include "platform/posix/FileContents.h"
#include "platform/posix/PosixError.h"
#include "platform/posix/PosixFiles.h"

namespace platform {
namespace {

namespace fs = std::filesystem;

constexpr char kExtension[] = ".desktop";
constexpr std::uintmax_t kMostEntryBytes = 1U << 20U;
constexpr int kMostNames = 100;

// nullopt for what is no readable file of a sensible size; a pipe must not hold the caller up.
std::optional<DesktopEntry> entryIn(const std::string& file) {
  std::error_code error;
  if (!fs::is_regular_file(file, error) || fs::file_size(file, error) > kMostEntryBytes)
    return std::nullopt;
  auto text = readWholeFile(file);
  if (!text) return std::nullopt;
  return DesktopEntry(std::move(*text));
}

bool isLink(const std::string& file) {
  std::error_code error;
  return fs::is_symlink(file, error);
}

std::string fileName(const std::string& path) { return fs::path(path).filename(); }

// Makes the entry start the program, unless it does so already, out of sight of the menus.
void makeStart(DesktopEntry& entry, const std::string& path) {
  if (entry.program() != path) entry.set("Exec", execOfProgram(path));
  entry.set("TryExec", escapedValue(path));
  entry.set("NoDisplay", "true");
  entry.remove("Hidden");
}

DesktopEntry entryStarting(const std::string& path) {
  DesktopEntry entry("[Desktop Entry]\nType=Application\n");
  entry.set("Name", escapedValue(fileName(path)));
  makeStart(entry, path);
  return entry;
}

}  // namespace

Result<std::vector<std::string>> LinuxLoginItems::namesIn(const std::string& folder) const {
  const PosixFiles files;
  if (files.kind(folder) == FileKind::Missing) return std::vector<std::string>();
  auto names = files.names(folder);
  if (!names) return names;
  std::erase_if(*names, [](const std::string& name) { return !name.ends_with(kExtension); });
  std::sort(names->begin(), names->end());
  return names;
}

// The folders for all users are not this user's to mend: one that cannot be read holds nothing.
Result<std::vector<LoginItem>> LinuxLoginItems::snapshot() const {
  std::vector<LoginItem> items;
  std::set<std::string> seen;
  auto own = namesIn(folders_.own);
  if (!own) return own.error();
  const auto add = [&](const std::string& folder, const std::vector<std::string>& names) {
    for (const std::string& name : names) {
      const std::string file = fs::path(folder) / name;
      const auto entry = seen.insert(name).second ? entryIn(file) : std::nullopt;
      if (entry && !entry->isHidden() && entry->isApplication())
        items.push_back(itemOf(*entry, file));
    }
  };
  add(folders_.own, *own);
  for (const std::string& folder : folders_.system)
    add(folder, namesIn(folder).value().value_or(std::vector<std::string>()));
  return items;
}

LoginItem LinuxLoginItems::itemOf(const DesktopEntry& entry, const std::string& file) const {
  const std::string program = programOf(entry);
  if (program.empty()) return {fs::path(file).stem(), file, std::nullopt, false};
  const auto isThere = [&](const std::string& name) {
    return findProgram(name, folders_.executables).has_value();
  };
  const bool isStale =
      !isThere(program) || (entry.value("TryExec") && !isThere(entry.string("TryExec")));
  return {fileName(program), file, program, isStale};
}

// Empty when the entry does not say. A name that is nowhere in PATH stays a name.
std::string LinuxLoginItems::programOf(const DesktopEntry& entry) const {
  const std::string program = entry.program().value_or("");
  return findProgram(program, folders_.executables).value_or(program);
}

bool LinuxLoginItems::isForAllUsers(const std::string& name) const {
  return std::any_of(
      folders_.system.begin(), folders_.system.end(),
      [&](const std::string& folder) { return entryIn(folder + "/" + name).has_value(); });
}

Outcome LinuxLoginItems::insertHiddenAtEnd(const std::string& path) {
  const std::string stem = fileName(path);
  for (int i = 1; i <= kMostNames; ++i) {
    const std::string name = stem + (i > 1 ? "-" + std::to_string(i) : "") + kExtension;
    auto entry = entryIn(ownPath(name));
    const bool isTaken = entry && fileName(programOf(*entry)) != stem;
    if (isTaken || (!entry && fs::exists(fs::symlink_status(ownPath(name))))) continue;
    if (!entry) return write(name, entryStarting(path));
    makeStart(*entry, path);
    return write(name, *entry);
  }
  return posixError(EEXIST, ownPath(stem + kExtension));
}

Outcome LinuxLoginItems::remove(const LoginItem& item) {
  const std::string name = fileName(item.reference);
  const auto entry = entryIn(item.reference);
  if (!entry) return posixError(ENOENT, item.reference);
  const bool isOwn = item.reference == ownPath(name);
  if (!isOwn || isForAllUsers(name)) return hide(item.reference, name);
  const bool isAsWritten = entry->text() == entryStarting(entry->program().value_or("")).text();
  if (isAsWritten || isLink(item.reference)) return PosixFiles().remove(item.reference);
  return hide(item.reference, name);
}

// The user's file of that name holds against the one for all users.
Outcome LinuxLoginItems::hide(const std::string& file, const std::string& name) {
  auto entry = entryIn(file);
  if (!entry) return posixError(ENOENT, file);
  entry->set("Hidden", "true");
  return write(name, *entry);
}

// A link is replaced and what it leads to left alone.
Outcome LinuxLoginItems::write(const std::string& name, const DesktopEntry& entry) {
  if (folders_.own.empty()) return posixError(ENOENT, "the folder of autostart entries");
  PosixFiles files;
  if (auto done = files.createDirectories(folders_.own); !done) return done;
  if (isLink(ownPath(name))) {
    if (auto done = files.remove(ownPath(name)); !done) return done;
  }
  return replaceWholeFile(ownPath(name), entry.text());
}

}  // namespace platform
