#include "system/TreeRemover.h"

#include <fcntl.h>

#include <cerrno>

#include "platform/Services.h"
#include "system/FunctionLog.h"
#include "system/copier/ItemRemover.h"
#include "system/copier/SharedRemover.h"
#include "system/copier/TreeWalk.h"

namespace {

#if defined(O_PATH)
constexpr int kOpenRoot = O_PATH | O_DIRECTORY | O_CLOEXEC;  // asks for no right to list it
#else
constexpr int kOpenRoot = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
#endif

platform::Failure failure(int code, const std::string& path) {
  return platform::SystemError{"POSIX", code, path + ": " + errnoText(code)};
}

}  // namespace

RemovalOutcome removeItems(const std::vector<std::string>& names, const std::string& folder,
                           unsigned threads) {
  const auto root = std::make_shared<copier::Folder>(nullptr, copier::withoutSlashes(folder));
  copier::OpenFolders open;
  copier::ItemRemover remover(*platform::services().fileCopying, open);
  copier::Sides sides;
  sides[0] = Descriptor(::open(folder.c_str(), kOpenRoot));
  if (sides[0]) {
    auto items = remover.begin(root, names, sides[0].get());
    copier::TreeWalk(remover, open, copier::threadsFor(threads)).run(root, std::move(sides), items);
  } else {
    const int code = errno;
    for (const auto& name : names) remover.fail(name, "open", root->path(name.c_str()), code);
  }
  return remover.finish();
}

platform::Failure removeItemAtPath(const std::string& path, unsigned threads) {
  const std::string trimmed = copier::withoutSlashes(path);
  if (trimmed.empty() || trimmed == "/") return failure(path.empty() ? ENOENT : EBUSY, path);
  const auto slash = trimmed.rfind('/');
  const bool alone = slash == std::string::npos;
  const std::string name = alone ? trimmed : trimmed.substr(slash + 1);
  const std::string folder = alone ? "." : trimmed.substr(0, slash + 1);
  auto outcome = removeItems({name}, folder, threads != 0 ? threads : copier::kMostThreads);
  if (outcome.complete()) return std::nullopt;
  return std::move(outcome.failedItems.begin()->second);
}

std::uint64_t removeShared(const std::string& folder, const std::string& other, unsigned threads) {
  copier::OpenFolders open;
  copier::SharedRemover remover(*platform::services().fileCopying, open);
  auto sides = remover.begin(folder.c_str(), other.c_str());
  if (!sides) return 0;
  const auto root = std::make_shared<copier::Folder>(nullptr, copier::withoutSlashes(folder));
  copier::TreeWalk(remover, open, copier::threadsFor(threads)).run(root, *std::move(sides));
  return remover.removed();
}
