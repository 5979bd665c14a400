#include "BareLinks.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <functional>
#include <thread>
#include <vector>

#include "Ground.h"
#include "leaf/Descriptor.h"

namespace bench {
namespace {

namespace fs = std::filesystem;

struct Closer {
  void operator()(DIR* stream) const { closedir(stream); }
};

// The folders of a tree, relative to it, each after the one above.
std::vector<std::string> foldersOf(const std::string& tree) {
  std::vector<std::string> folders = {"."};
  for (const auto& entry : fs::recursive_directory_iterator(tree))
    if (entry.is_directory()) folders.push_back(fs::relative(entry.path(), tree));
  return folders;
}

Descriptor openFolder(const std::string& path) {
  Descriptor folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder) giveUp(path + " cannot be opened");
  return folder;
}

// Calls `visit` with each name in the folder that is not a folder's.
void eachFile(const std::string& path, const std::function<void(const char*)>& visit) {
  const std::unique_ptr<DIR, Closer> stream(opendir(path.c_str()));
  while (const dirent* entry = stream ? readdir(stream.get()) : nullptr)
    if (entry->d_type != DT_DIR) visit(entry->d_name);
}

void inParallel(const std::vector<std::string>& folders,
                const std::function<void(const std::string&)>& work) {
  std::atomic<std::size_t> next{0};
  std::vector<std::thread> threads;
  for (unsigned i = 0; i < std::max(1U, std::thread::hardware_concurrency()); ++i)
    threads.emplace_back([&] {
      for (std::size_t at = next++; at < folders.size(); at = next++) work(folders[at]);
    });
  for (auto& thread : threads) thread.join();
}

void linkFolder(const std::string& volume, const std::string& earlier, const std::string& made) {
  const Descriptor from = openFolder(volume);
  const Descriptor before = openFolder(earlier);
  const Descriptor to = openFolder(made);
  eachFile(volume, [&](const char* name) {
    struct stat facts {};
    fstatat(from.get(), name, &facts, AT_SYMLINK_NOFOLLOW);
    fstatat(before.get(), name, &facts, AT_SYMLINK_NOFOLLOW);
    linkat(before.get(), name, to.get(), name, 0);
  });
}

void emptyFolder(const std::string& path) {
  const Descriptor folder = openFolder(path);
  eachFile(path, [&](const char* name) { unlinkat(folder.get(), name, 0); });
}

}  // namespace

void bareLinks(const std::string& volume, const std::string& earlier) {
  const std::string made = earlier + ".new";
  const auto folders = foldersOf(volume);
  fs::create_directory(made);
  for (const auto& folder : folders) fs::create_directory(made + "/" + folder);
  inParallel(folders, [&](const std::string& each) {
    linkFolder(volume + "/" + each, earlier + "/" + each, made + "/" + each);
  });
  syncfs(openFolder(made).get());
  inParallel(folders, [&](const std::string& each) { emptyFolder(earlier + "/" + each); });
  for (auto each = folders.rbegin(); each != folders.rend(); ++each)
    rmdir((earlier + "/" + *each).c_str());
  fs::remove(earlier);
  fs::rename(made, earlier);
}

}  // namespace bench
