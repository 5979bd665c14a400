#include "tests/system/TreeFacts.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <set>

namespace {

std::string timeText(const timespec& time) {
  return std::to_string(time.tv_sec) + "." + std::to_string(time.tv_nsec);
}

// A list or a value whose size the kernel tells when it is asked for none of it.
template <class Read>
std::string readWhole(Read read) {
  const ssize_t size = read(nullptr, 0);
  if (size <= 0) return {};
  std::string whole(static_cast<std::size_t>(size), '\0');
  read(whole.data(), whole.size());
  return whole;
}

std::string attributesOf(const std::string& path) {
  const auto names =
      readWhole([&](char* into, std::size_t size) { return llistxattr(path.c_str(), into, size); });
  std::set<std::string> texts;
  for (std::size_t at = 0; at < names.size(); at += std::strlen(names.c_str() + at) + 1) {
    const char* name = names.c_str() + at;
    texts.insert(std::string(" ") + name + "=" + readWhole([&](char* into, std::size_t size) {
                   return lgetxattr(path.c_str(), name, into, size);
                 }));
  }
  std::string all;
  for (const auto& text : texts) all += text;
  return all;
}

std::string contentsOf(const std::string& path, std::size_t size) {
  std::string text(size + 1, '\0');
  const int file = open(path.c_str(), O_RDONLY | O_NOATIME | O_CLOEXEC);
  const ssize_t got = read(file, text.data(), text.size());
  close(file);
  text.resize(static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
  return std::to_string(text.size()) + " bytes #" + std::to_string(std::hash<std::string>{}(text));
}

class Teller {
 public:
  explicit Teller(std::string root) : root_(std::move(root)) { tell("."); }
  TreeFacts facts;

 private:
  void tell(const std::string& relative) {
    const std::string path = relative == "." ? root_ : root_ + "/" + relative;
    struct stat is {};
    if (lstat(path.c_str(), &is) != 0) return;
    std::string text = std::to_string(is.st_mode) + " " + std::to_string(is.st_uid) + ":" +
                       std::to_string(is.st_gid) + " " + timeText(is.st_mtim) + attributesOf(path);
    if (!S_ISLNK(is.st_mode)) text += " read " + timeText(is.st_atim);  // looking reads a link
    if (S_ISREG(is.st_mode))
      text += " " + std::to_string(is.st_blocks) + " " +
              contentsOf(path, static_cast<std::size_t>(is.st_size));
    if (S_ISLNK(is.st_mode)) text += " to " + std::filesystem::read_symlink(path).string();
    if (S_ISDIR(is.st_mode)) list(relative, path);
    if (!S_ISDIR(is.st_mode) && is.st_nlink > 1)
      text += " is " + first_.try_emplace(is.st_ino, relative).first->second;
    facts[relative] = text;
  }

  void list(const std::string& relative, const std::string& path) {
    const int folder = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOATIME | O_CLOEXEC);
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(fdopendir(folder), closedir);
    std::set<std::string> names;  // in order, so that the first link is the same in every copy
    while (const dirent* entry = stream ? readdir(stream.get()) : nullptr)
      names.insert(entry->d_name);
    for (const auto& name : names)
      if (name != "." && name != "..") tell(relative == "." ? name : relative + "/" + name);
  }

  std::string root_;
  std::map<ino_t, std::string> first_;
};

}  // namespace

TreeFacts factsOf(const std::string& root) { return Teller(root).facts; }

std::vector<std::string> differences(const TreeFacts& a, const TreeFacts& b) {
  std::vector<std::string> found;
  for (const auto& [path, text] : a) {
    const auto other = b.find(path);
    if (other == b.end() || other->second != text)
      found.push_back(path + ": " + text + " | " + (other == b.end() ? "missing" : other->second));
  }
  for (const auto& [path, text] : b)
    if (a.count(path) == 0) found.push_back(path + ": missing | " + text);
  return found;
}

std::string accessListFor(unsigned rights) {
  constexpr unsigned kNobody = 0xFFFFFFFFU;
  const unsigned entries[][3] = {{0x01, 7, kNobody},
                                 {0x02, rights, getuid()},
                                 {0x04, 5, kNobody},
                                 {0x10, rights, kNobody},
                                 {0x20, 0, kNobody}};
  std::string list("\2\0\0\0", 4);
  for (const auto& [tag, perm, id] : entries) {
    list += {static_cast<char>(tag), 0, static_cast<char>(perm), 0};
    for (unsigned shift = 0; shift < 32; shift += 8) list += static_cast<char>(id >> shift);
  }
  return list;
}
