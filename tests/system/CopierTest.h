#pragma once

#include <fcntl.h>
#include <sys/stat.h>
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

  CopyOutcome copy(unsigned threads = 2) const {
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
