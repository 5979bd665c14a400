#pragma once
// What the measurements stand on: programs run, file systems mounted, files made.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ramdisk/QVRamDiskEntries.h"

namespace bench {

// Runs a program of PATH, or one named by its path, with its output thrown away, and waits for it.
// The benchmark ends when it fails, as there is nothing to measure then.
void run(const std::vector<std::string>& words);
void shell(const std::string& command);

// The same, giving what it wrote.
std::string outputOf(const std::vector<std::string>& words);

// The path of a program of this build.
std::string besideBench(const std::string& program);

[[noreturn]] void giveUp(const std::string& reason);

// A file system in memory over a folder, which is made.
class MemoryVolume {
 public:
  explicit MemoryVolume(std::string folder) : path(std::move(folder)) {}
  ~MemoryVolume() { unmount(); }
  MemoryVolume(const MemoryVolume&) = delete;
  MemoryVolume& operator=(const MemoryVolume&) = delete;

  void mount();
  void unmount();

  const std::string path;

 private:
  bool mounted_ = false;
};

// A new ext4 in a file of its own, mounted over a folder beside it: a disk's file system that is
// the same on every machine, whatever the disk itself is mounted with. Its writes go to the disk
// past the cache. Takes root.
class DiskImage {
 public:
  explicit DiskImage(const std::string& file);
  ~DiskImage();
  DiskImage(const DiskImage&) = delete;
  DiskImage& operator=(const DiskImage&) = delete;

  const std::string path;
};

// Ends the benchmark when the copy does not have the files and bytes of the original.
void expectSame(const std::string& original, const std::string& copy);

// Fills a volume; not what is measured.
void fill(const std::string& from, const std::string& volume);

// As many mounted disks as there may be, named "disk0" and so on, over folders of `folder`, in the
// registry of the home folder. They are ejected when this goes.
class MountedDisks {
 public:
  explicit MountedDisks(const std::string& folder);
  ~MountedDisks();
  MountedDisks(const MountedDisks&) = delete;
  MountedDisks& operator=(const MountedDisks&) = delete;

  QVRamDiskEntries& entries() { return *entries_; }

 private:
  std::shared_ptr<QVRamDiskEntries> entries_ = QVRamDiskEntries::init();
};

// Files that are the same in every run of the benchmark.
struct DataSet {
  std::string name;         // of its folder
  std::string description;  // for titles
  std::vector<std::string> paths;
  std::vector<std::size_t> sizes;  // of each file, in bytes
};

// 20,000 files of log-normal sizes in 64 folders, some 800 MB, as a browser keeps them.
DataSet browserCache();

// 50,000 small files in 2,400 folders, some 440 MB, as a compiler leaves them.
DataSet buildFolder();

void make(const DataSet& set, const std::string& folder);

// Gives one file in a hundred other contents, and so another modification time; other files in each
// of a hundred rounds.
void changeSome(const DataSet& set, const std::string& folder, std::uint64_t round);

}  // namespace bench
