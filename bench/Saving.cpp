// Saves, against what keeps a copy up to date otherwise, and against the bare system calls that no
// save by second names can do without.

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "Contest.h"
#include "Ground.h"
#include "Measurements.h"
#include "core/QVError.h"
#include "leaf/Descriptor.h"
#include "ramdisk/QVRamDiskBackup.h"

namespace fs = std::filesystem;

namespace bench {
namespace {

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

// What a save by second names cannot do without: each file looked at on the volume and in the
// earlier copy, given a second name in a new one, all flushed, and the earlier names taken away.
// The bare calls on as many threads as there are cores, with nothing decided and nothing copied.
// `earlier` becomes the new copy again.
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

// Copies of a volume on the disk, each kept by its own program in a folder of its own, and each
// flushed to the disk as part of the work.
class Saves {
 public:
  Saves(std::string volume, const std::string& folder)
      : volume_(std::move(volume)), folder_(folder) {
    for (const char* each : {kEngine, kCopied, kSynced, kLinked, kBare})
      fs::create_directories(folder_ + "/" + each);
  }

  std::string of(const char* program) const { return folder_ + "/" + program + "/now"; }
  std::string nextOf(const char* program) const { return folder_ + "/" + program + "/next"; }

  void save() const {
    if (QVRamDiskBackup::sharedInstance().backupRamDiskAtPath(volume_, of(kEngine), "previous"))
      giveUp("the volume cannot be saved");
  }
  void copy(const std::string& to) const {
    shell("cp -a '" + volume_ + "/.' '" + to + "'" + sync());
  }
  void rsync(const std::string& options, const std::string& to) const {
    shell("rsync -a " + options + " '" + volume_ + "/' '" + to + "'" + sync());
  }

  void check(const char* program) const { expectSame(volume_, of(program)); }
  void drop(const char* program) const { fs::remove_all(of(program)); }
  // What was made beside the standing copy takes its place.
  void turnOver(const char* program) const {
    drop(program);
    fs::rename(nextOf(program), of(program));
    check(program);
  }

  static constexpr char kEngine[] = "tarnvale";
  static constexpr char kCopied[] = "cp";
  static constexpr char kSynced[] = "rsync";
  static constexpr char kLinked[] = "rsync links";
  static constexpr char kBare[] = "bare calls";

 private:
  std::string sync() const { return " && sync -f '" + folder_ + "'"; }

  std::string volume_;
  std::string folder_;
};

std::string firstSaves(const DataSet& set, const Saves& saves) {
  const auto drop = [&](const char* program) { return [&, program] { saves.drop(program); }; };
  const auto check = [&](const char* program) { return [&, program] { saves.check(program); }; };
  const auto engine = Saves::kEngine;
  const auto copied = Saves::kCopied;
  const auto synced = Saves::kSynced;
  return hold(
      {"A first, full save of " + set.description,
       {{"Tarnvale", [&] { saves.save(); }, drop(engine), check(engine)},
        {"cp -a, sync -f", [&] { saves.copy(saves.of(copied)); }, drop(copied), check(copied), 1.3},
        {"rsync -a, sync -f", [&] { saves.rsync("", saves.of(synced)); }, drop(synced),
         check(synced), 1.3}}});
}

// The standing copies are those that the first saves left.
std::string laterSaves(const DataSet& set, const Saves& saves, const std::string& volume) {
  saves.rsync("", saves.of(Saves::kLinked));
  saves.rsync("", saves.of(Saves::kBare));
  const auto check = [&](const char* program) { return [&, program] { saves.check(program); }; };
  const auto turn = [&](const char* program) { return [&, program] { saves.turnOver(program); }; };
  const std::string link = "--link-dest='" + saves.of(Saves::kLinked) + "'";
  std::uint64_t round = 0;
  return hold({"Saving after 1 % of the files changed, of " + set.description,
               {{"Tarnvale", [&] { saves.save(); }, {}, check(Saves::kEngine)},
                {"rsync -a --delete, sync -f",
                 [&] { saves.rsync("--delete", saves.of(Saves::kSynced)); },
                 {},
                 check(Saves::kSynced),
                 1.8},
                {"rsync -a --link-dest, sync -f",
                 [&] { saves.rsync(link, saves.nextOf(Saves::kLinked)); },
                 {},
                 turn(Saves::kLinked),
                 8},
                {"cp -a, sync -f",
                 [&] { saves.copy(saves.nextOf(Saves::kCopied)); },
                 {},
                 turn(Saves::kCopied),
                 8},
                {"only the calls that second names take, with `syncfs`",
                 [&] { bareLinks(volume, saves.of(Saves::kBare)); }}},
               [&] { changeSome(set, volume, round++); }});
}

}  // namespace

std::string saving(const DataSet& set, const std::string& scratch) {
  MemoryVolume volume(scratch + "/volume");
  volume.mount();
  fill(scratch + "/" + set.name, volume.path);
  const std::string folder = scratch + "/saves of " + set.name;
  const Saves saves(volume.path, folder);
  std::string tables = firstSaves(set, saves);
  tables += laterSaves(set, saves, volume.path);
  volume.unmount();
  fs::remove_all(folder);
  return tables;
}

}  // namespace bench
