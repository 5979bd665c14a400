#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

namespace kinds {

// Folders that are known by the beginning of their names alone. One once found is kept, whatever
// becomes of it; a search that found nothing is made again. Any thread.
class FoundFolders {
 public:
  // The name of the first directory in `directory`, in listing order, that begins with `prefix`.
  // What a RAM disk set aside there is not one. A listing that fails is logged and finds nothing.
  std::optional<std::string> find(const std::string& directory, const std::string& prefix);

  void forget();

 private:
  std::optional<std::string> known(const std::pair<std::string, std::string>& key) const;

  mutable std::mutex mutex_;
  std::map<std::pair<std::string, std::string>, std::string> names_;  // by directory and prefix
};

}  // namespace kinds
