#pragma once

#include <sys/xattr.h>

#include "platform/posix/PosixFileCopying.h"
#include "system/TreeCopier.h"
#include "tests/system/SystemTest.h"
#include "tests/system/TreeFacts.h"

// The real thing in a scratch folder, which lies on a file system in memory.
class CopierTest : public SystemTest {
 protected:
  CopierTest() { use(std::make_shared<platform::PosixFileCopying>()); }

  void use(std::shared_ptr<platform::FileCopying> copying) {
    auto all = platform::services();
    all.fileCopying = std::move(copying);
    platform::install(all);
  }

  // Anew.
  CopyOutcome copy(unsigned threads = 2) const {
    fs::remove_all(to);
    return copyItemAtPath(from, to, {.progress = {}, .threads = threads});
  }

  // What differs between the tree and its copy.
  std::vector<std::string> differences() const { return ::differences(factsOf(from), factsOf(to)); }

  std::string inFrom(const std::string& relative) const { return from + "/" + relative; }

  // Makes the item and gives it times of its own.
  std::string file(const std::string& relative, const std::string& contents = "text") const {
    return aged(scratch.file("from/" + relative, contents));
  }
  std::string folder(const std::string& relative) const {
    return aged(scratch.directory("from/" + relative));
  }
  static std::string aged(const std::string& path) {
    static long nanoseconds = 0;
    const timespec times[] = {{1100000000, ++nanoseconds}, {1000000000, ++nanoseconds}};
    utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW);
    return path;
  }

  const std::string from = scratch.directory("from");
  const std::string to = scratch.path("to");
};

// Copies a tree twice, the second time with the first copy as the earlier one.
class EarlierCopyTest : public CopierTest {
 protected:
  // Copies the tree as it is, and lets all that is in it count as unchanged so far.
  void makeEarlier() {
    fs::create_directory(earlier);
    EXPECT_TRUE(copyItems(names(), from, earlier).complete());
    options.earlier.emplace().folder = earlier;
    options.earlier->unchangedBefore = laterThanNow();
  }

  CopyOutcome copyAgain() const {
    fs::remove_all(to);
    fs::create_directory(to);
    const auto outcome = copyItems(names(), from, to, options);
    copyDirectoryAttributes(from, to);
    return outcome;
  }

  static struct stat statusOf(const std::string& path) {
    struct stat facts {};
    lstat(path.c_str(), &facts);
    return facts;
  }
  static ino_t inodeOf(const std::string& path) { return statusOf(path).st_ino; }
  static nlink_t linksOf(const std::string& path) { return statusOf(path).st_nlink; }
  bool isShared(const std::string& name) const {
    return inodeOf(to + "/" + name) == inodeOf(earlier + "/" + name);
  }
  std::string copied(const std::string& name) const { return readFile(to + "/" + name); }
  bool isCopied(const std::string& name) const { return inodeOf(to + "/" + name) != 0; }

  // Without the second names that files of the copy have in the earlier one.
  std::vector<std::string> differences() const {
    auto original = factsOf(from);
    auto copy = factsOf(to);
    for (auto* facts : {&original, &copy})
      for (auto& [path, text] : *facts)
        if (text.ends_with(" is " + path)) text.resize(text.size() - path.size() - 4);
    return ::differences(original, copy);
  }

  void clear() const {
    for (const auto& path : {from, to, earlier}) fs::remove_all(path);
    fs::create_directory(from);
  }

  std::vector<std::string> names() const {
    std::vector<std::string> found;
    for (const auto& entry : fs::directory_iterator(from)) found.push_back(entry.path().filename());
    return found;
  }

  // A change time that a file gets after all that were made so far. The clock of change times goes
  // in ticks.
  timespec laterThanNow() const {
    const auto clock = scratch.file("clock");
    const auto before = *changeTime(clock);
    auto now = before;
    while (now.tv_sec == before.tv_sec && now.tv_nsec == before.tv_nsec) {
      chmod(clock.c_str(), 0644);
      now = *changeTime(clock);
    }
    return now;
  }

  std::string earlier = scratch.path("earlier");
  std::string to = scratch.path("to");  // in place of the other, for another disk
  CopyOptions options{.progress = {}, .threads = 2};
};
