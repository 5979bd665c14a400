#pragma once

#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "platform/Program.h"
#include "platform/posix/Environment.h"

namespace platform {

struct PosixBundleFacts {
  std::string identifier;
  std::string executablePath;
  std::map<std::string, std::string> information;
  std::string resources;               // the folder that holds "<language>.lproj/<Table>.strings"
  std::vector<std::string> languages;  // the best first; English stands behind them all
};

// A program whose resources lie in a folder. A strings table is read once, at its first use; a key
// that the best language lacks is taken from the next.
class PosixBundle : public Bundle {
 public:
  explicit PosixBundle(PosixBundleFacts facts) : facts_(std::move(facts)) {}

  std::string identifier() const override { return facts_.identifier; }
  std::string executablePath() const override { return facts_.executablePath; }
  std::optional<std::string> information(std::string_view key) const override;
  std::string localizedString(std::string_view key, std::string_view table) const override;

 private:
  using Strings = std::map<std::string, std::string>;

  Strings readTable(const std::string& name) const;

  const PosixBundleFacts facts_;
  mutable std::mutex mutex_;  // guards what follows
  mutable std::map<std::string, Strings> tables_;
};

// The user's languages as the folders of translations name them, the best first: "de_CH", "de" for
// LANG=de_CH.UTF-8. The list LANGUAGE ("de_AT:fr") goes before the locale and ends at a "C" in it.
// None for the locales "C" and "POSIX", whatever LANGUAGE says: who sets them wants no translation.
std::vector<std::string> preferredLanguages(const Environment& environment);

// The running program's own file, links resolved; empty when the system does not say.
std::string runningExecutable();

// `relative` to the folder above the one that the executable lies in: "/usr/share/x" for
// "/usr/bin/x" and "share/x".
std::string besideExecutable(const std::string& executable, const std::string& relative);

}  // namespace platform
