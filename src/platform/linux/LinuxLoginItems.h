#pragma once

#include <string>
#include <vector>

#include "platform/Session.h"
#include "platform/linux/DesktopEntry.h"

namespace platform {

struct AutostartFolders {
  std::string own;                       // the user's; empty for none
  std::vector<std::string> system;       // for all users, the best first
  std::vector<std::string> executables;  // of programs that an entry names without a path
};

// The list of programs started at login as freedesktop.org's autostart entries: files ".desktop" in
// the user's folder, then those for all users that no file of the user's replaces. They have no
// order of their own; the snapshot gives them by name.
//
// An entry is shown under the file name of its program, which is what it is told apart by, and
// refers to its file. It is stale when the program, or the one in "TryExec", is missing. An entry
// that its user has hidden counts as deleted; one that a desktop has switched off is still listed.
//
// Only the entries that insertHiddenAtEnd() and remove() are about are written: insertion takes an
// entry of the same program up again where there is one, with all that its user put into it, and
// gives way to another program's file of that name. Removal deletes what insertion wrote, and
// links; other entries, which someone wrote or that hold for all users, are hidden.
class LinuxLoginItems : public LoginItems {
 public:
  explicit LinuxLoginItems(AutostartFolders folders) : folders_(std::move(folders)) {}

  Result<std::vector<LoginItem>> snapshot() const override;
  Outcome insertHiddenAtEnd(const std::string& path) override;
  Outcome remove(const LoginItem& item) override;

 private:
  std::string ownPath(const std::string& name) const { return folders_.own + "/" + name; }
  Result<std::vector<std::string>> namesIn(const std::string& folder) const;
  LoginItem itemOf(const DesktopEntry& entry, const std::string& file) const;
  std::string programOf(const DesktopEntry& entry) const;
  bool isForAllUsers(const std::string& name) const;
  Outcome hide(const std::string& file, const std::string& name);
  Outcome write(const std::string& name, const DesktopEntry& entry);

  AutostartFolders folders_;
};

}  // namespace platform
