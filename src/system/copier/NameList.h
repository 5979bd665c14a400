#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace copier {

enum class EntryKind : char { Folder = 'd', File = 'f', Other = 'o' };

inline EntryKind kindOf(const struct stat& facts) {
  if (S_ISDIR(facts.st_mode)) return EntryKind::Folder;
  return S_ISREG(facts.st_mode) ? EntryKind::File : EntryKind::Other;
}

// Names of a folder's entries in the order they were added, packed so that a million of them take
// little more than their letters. What was taken is freed along the way.
class NameList {
 public:
  struct Entry {
    EntryKind kind;
    const char* name;  // valid until the next entry is taken
  };

  void add(EntryKind kind, std::string_view name);
  std::size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }

  // Takes the first entry away; nullopt when there is none.
  std::optional<Entry> take();

  // Takes the first half away.
  NameList takeHalf();

 private:
  std::vector<std::string> blocks_;  // each entry a kind, a name, a terminator
  std::size_t block_ = 0;            // where the first entry lies
  std::size_t offset_ = 0;
  std::size_t size_ = 0;
};

}  // namespace copier
