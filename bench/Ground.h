#pragma once

#include <functional>
#include <string>
#include <vector>

#include "DataSets.h"
#include "platform/Places.h"

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

}  // namespace bench
