#include "Ground.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/mount.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>

#include "leaf/Descriptor.h"
#include "ramdisk/QVRamDiskBackup.h"
#include "system/Command.h"
#include "system/QVDirectoryStatistics.h"

namespace fs = std::filesystem;

namespace bench {
namespace {

constexpr std::uint64_t kFirstDraw = 20'261'121;  // fixed, so that every run has the same files
constexpr std::uint64_t kOneIn = 100;

std::vector<char> noise(std::uint64_t draw) {
  std::mt19937_64 engine(draw);
  std::vector<char> bytes(1U << 20U);
  std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(engine()); });
  return bytes;
}

void write(const std::string& path, const std::vector<char>& bytes, std::size_t size) {
  std::ofstream file(path, std::ios::binary);
  for (std::size_t left = size; left > 0;) {
    const std::size_t part = std::min(left, bytes.size());
    file.write(bytes.data(), static_cast<std::streamsize>(part));
    left -= part;
  }
}

std::string programNamed(const std::string& name) {
  if (name.find('/') != std::string::npos) return name;
  for (const char* folder : {"/usr/bin/", "/bin/", "/usr/sbin/", "/sbin/"})
    if (access((folder + name).c_str(), X_OK) == 0) return folder + name;
  giveUp("there is no " + name);
}

void runInto(const std::vector<std::string>& words, int output) {
  SpawnRequest request;
  request.path = programNamed(words.front());
  request.arguments.assign(words.begin() + 1, words.end());
  request.standardOutput = output;
  pid_t process = 0;
  std::int64_t status = 0;
  if (const int code = spawnProgram(request, process))
    giveUp(words.front() + ": " + std::strerror(code));
  if (awaitProgram(process, status) != 0 || status != 0)
    giveUp(fmt::format("{} failed: {}", words.front(), status));
}

QVDirectoryStatistics measured(const std::string& folder) {
  QVDirectoryStatistics statistics{};
  GetDirectoryStatistics(folder.c_str(), &statistics);
  return statistics;
}

}  // namespace

std::string besideBench(const std::string& program) {
  return fs::read_symlink("/proc/self/exe").replace_filename(program);
}

void run(const std::vector<std::string>& words) {
  static const Descriptor nothing(open("/dev/null", O_WRONLY | O_CLOEXEC));
  runInto(words, nothing.get());
}

void shell(const std::string& command) { run({"sh", "-c", command}); }

// Only for what fits into a pipe.
std::string outputOf(const std::vector<std::string>& words) {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) giveUp("no pipe");
  const Descriptor reading(ends[0]);
  Descriptor writing(ends[1]);
  runInto(words, writing.get());
  writing.reset();
  std::string text;
  std::array<char, 4096> buffer{};
  for (ssize_t got = 0; (got = read(reading.get(), buffer.data(), buffer.size())) > 0;)
    text.append(buffer.data(), static_cast<std::size_t>(got));
  return text;
}

void giveUp(const std::string& reason) {
  fmt::print(stderr, "bench: {}\n", reason);
  std::exit(1);
}

void MemoryVolume::mount() {
  fs::create_directories(path);
  if (::mount("tmpfs", path.c_str(), "tmpfs", 0, "size=2g,mode=755") != 0)
    giveUp(path + ": " + std::strerror(errno));
  mounted_ = true;
}

void MemoryVolume::unmount() {
  if (mounted_ && umount2(path.c_str(), 0) != 0) giveUp(path + ": " + std::strerror(errno));
  mounted_ = false;
}

DiskImage::DiskImage(const std::string& file) : path(file + ".mounted") {
  fs::create_directories(path);
  run({"fallocate", "-l", "16G", file});
  run({"mkfs.ext4", "-q", "-F", "-E", "nodiscard,lazy_itable_init=0,lazy_journal_init=0", file});
  std::string device = outputOf({"losetup", "--direct-io=on", "--show", "-f", file});
  device.erase(device.find_last_not_of('\n') + 1);
  run({"mount", device, path});
  run({"losetup", "-d", device});  // once it is unmounted
}

DiskImage::~DiskImage() { umount2(path.c_str(), MNT_DETACH); }

void expectSame(const std::string& original, const std::string& copy) {
  const auto a = measured(original);
  const auto b = measured(copy);
  if (a.fileCount != b.fileCount || a.directoryCount != b.directoryCount ||
      a.totalSize != b.totalSize)
    giveUp(fmt::format("{} is no whole copy of {}: {} of {} files", copy, original, b.fileCount,
                       a.fileCount));
}

void fill(const std::string& from, const std::string& volume) {
  if (QVRamDiskBackup::sharedInstance().restoreRamDiskAtPath(volume, from)) giveUp("no refill");
}

MountedDisks::MountedDisks(const std::string& folder) {
  for (std::size_t i = 0; i < QVRamDiskEntries::kMostRamDisks; ++i) {
    const auto disk = entries_->addRamDisk();
    disk->setName(fmt::format("disk{}", i));
    disk->setMountDirectory(folder);
    disk->setSize(128'000'000);
    disk->setBackupMode(QVRamDiskBackupMode_AppSupport);
    std::filesystem::create_directories(folder + "/" + *disk->name());
    entries_->create(disk, 0);
    if (disk->status() != QVRamDiskStatus_mounted) giveUp(fmt::format("no disk {}", i));
  }
  entries_->writeRamDisksToDefaultLocation();
}

MountedDisks::~MountedDisks() {
  for (const auto& disk : entries_->ramDisks()) entries_->eject(disk, 0);
}

DataSet browserCache() {
  constexpr int kFiles = 20'000;
  constexpr int kFolders = 64;
  DataSet set{"browser", "a browser cache of 20,000 files, 800 MB", {}, {}};
  std::mt19937_64 engine(kFirstDraw);
  std::lognormal_distribution<double> sizes(9.6, 1.4);
  for (int i = 0; i < kFiles; ++i) {
    set.paths.push_back(fmt::format("{:02x}/{:08x}_0", i % kFolders, i));
    set.sizes.push_back(static_cast<std::size_t>(sizes(engine)));
  }
  return set;
}

DataSet buildFolder() {
  constexpr int kFolders = 2'400;
  constexpr int kFiles = 50'000;
  DataSet set{"build", "a build folder of 50,000 files, 440 MB", {}, {}};
  std::mt19937_64 engine(kFirstDraw);
  std::uniform_int_distribution<std::size_t> sizes(200, 17'400);
  for (int i = 0; i < kFiles; ++i) {
    const int number = i % kFolders;
    set.paths.push_back(fmt::format("{}/{}/unit{}.o", number / 40, number, i));
    set.sizes.push_back(sizes(engine));
  }
  return set;
}

void make(const DataSet& set, const std::string& folder) {
  const auto bytes = noise(kFirstDraw);
  for (std::size_t i = 0; i < set.paths.size(); ++i) {
    const fs::path path = folder + "/" + set.paths[i];
    fs::create_directories(path.parent_path());
    write(path, bytes, set.sizes[i]);
  }
}

void changeSome(const DataSet& set, const std::string& folder, std::uint64_t round) {
  const auto bytes = noise(kFirstDraw + 1 + round);
  for (std::size_t i = round % kOneIn; i < set.paths.size(); i += kOneIn)
    write(folder + "/" + set.paths[i], bytes, set.sizes[i]);
}

}  // namespace bench
