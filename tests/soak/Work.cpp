#include "tests/soak/Work.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "tests/support/Scratch.h"

namespace soak {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kLargest = 3'000'000;
constexpr std::array<const char*, 6> kFolders = {"", "a/", "a/b/", "a/b/c/", "d/", "d d/e/"};

std::size_t sizeOfSome(Random& random) {
  constexpr std::array<std::size_t, 4> kMost = {1, 4'000, 40'000, 300'000};
  return random.below(kMost[random.below(kMost.size())]);
}

void write(const std::string& path, const Content& content) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << textOf(content);
  file.close();
  if (!file) throw std::runtime_error("cannot write " + path);
}

class Worker {
 public:
  Worker(std::string folder, Tree& tree, unsigned& stamp, Random& random)
      : folder_(std::move(folder)), tree_(tree), stamp_(stamp), random_(random) {}

  void writeInPlace() {
    const std::string path = at(some());
    write(path, renewed(some_, true));
  }
  void writeByRename() {
    const std::string next = at(some()) + ".next";
    write(next, renewed(some_, true));
    fs::rename(next, at(some_));
  }
  // As an archiver or a careless clock would.
  void writeUnnoticed() {
    const std::string path = at(some());
    struct stat before {};
    stat(path.c_str(), &before);
    write(path, renewed(some_, false));
    const std::array<timespec, 2> times = {before.st_atim, before.st_mtim};
    utimensat(AT_FDCWD, path.c_str(), times.data(), 0);
  }
  void create() {
    const std::string path = newPath();
    fs::create_directories(fs::path(at(path)).parent_path());
    const unsigned file = ++stamp_;
    tree_[path] = {file, ++stamp_, sizeOfSome(random_)};
    write(at(path), tree_[path]);
  }
  void remove() {
    fs::remove(at(some()));
    tree_.erase(some_);
  }
  void rename() {
    const std::string path = newPath();
    fs::create_directories(fs::path(at(path)).parent_path());
    fs::rename(at(some()), at(path));
    tree_[path] = tree_.at(some_);
    tree_.erase(some_);
  }

 private:
  std::string at(const std::string& path) const { return folder_ + "/" + path; }

  const std::string& some() {
    some_ =
        std::next(tree_.begin(), static_cast<std::ptrdiff_t>(random_.below(tree_.size())))->first;
    return some_;
  }
  std::string newPath() {
    return fmt::format("{}new {}", kFolders[random_.below(kFolders.size())], ++stamp_);
  }
  Content renewed(const std::string& path, bool resized) {
    Content& content = tree_.at(path);
    content.version = ++stamp_;
    if (resized && random_.oneIn(2)) content.size = sizeOfSome(random_);
    return content;
  }

  std::string folder_;
  Tree& tree_;
  unsigned& stamp_;
  Random& random_;
  std::string some_;
};

constexpr std::array kChanges = {&Worker::writeInPlace,   &Worker::writeByRename,
                                 &Worker::writeUnnoticed, &Worker::create,
                                 &Worker::remove,         &Worker::rename};

bool belongsToVolume(const fs::path& path) {
  return path.filename() == ".fseventsd" || path.filename() == "lost+found";
}

}  // namespace

Tree firstTree(Random& random) {
  Tree tree;
  for (unsigned file = 1; file <= kFiles; ++file)
    tree[fmt::format("{}file {}", kFolders[file % kFolders.size()], file)] = {
        file, 1, file == kFiles ? kLargest : sizeOfSome(random)};
  return tree;
}

void writeTree(const Tree& tree, const std::string& folder) {
  for (const auto& [path, content] : tree) {
    const fs::path file = fs::path(folder) / path;
    fs::create_directories(file.parent_path());
    write(file, content);
  }
}

Tree workIn(const std::string& folder, Tree tree, unsigned& stamp, Random& random) {
  Worker worker(folder, tree, stamp, random);
  for (auto changes = 4 + random.below(12); changes > 0; --changes)
    (worker.*kChanges[random.below(kChanges.size())])();
  return tree;
}

Found readTree(const std::string& folder) {
  Found found;
  if (!fs::is_directory(folder)) return found;
  for (const auto& entry : fs::recursive_directory_iterator(folder))
    if (!entry.is_directory() && !belongsToVolume(entry.path()))
      found[entry.path().string().substr(folder.size() + 1)] = readFile(entry.path());
  return found;
}

}  // namespace soak
