#include "disktools/Media.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

namespace disktools {

namespace {

constexpr int kOpen = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
constexpr int kMostNames = 100;

// A directory below `parent` that nobody but root can change; made when it is not there.
Result<Descriptor> rootsDirectory(int parent, const std::string& name, mode_t mode, gid_t group) {
  const bool made = mkdirat(parent, name.c_str(), 0700) == 0;
  if (!made && errno != EEXIST) return systemProblem("cannot make the media directory " + name);
  Descriptor directory(openat(parent, name.c_str(), kOpen));
  struct stat info {};
  if (!directory || fstat(directory.get(), &info) != 0)
    return systemProblem("cannot open the media directory " + name);
  if (info.st_uid != 0 || (info.st_mode & 002U) != 0)
    return Problem{"the media directory " + name + " is not root's", EPERM, {}};
  if (made && (fchown(directory.get(), 0, group) != 0 || fchmod(directory.get(), mode) != 0))
    return systemProblem("cannot make the media directory " + name);
  return directory;
}

Result<Descriptor> mediaDirectory(const Caller& caller) {
  const Descriptor run(open("/run", kOpen));
  if (!run) return systemProblem("cannot open /run");
  auto media = rootsDirectory(run.get(), "media", 0755, 0);
  if (!media) return media.problem();
  return rootsDirectory(media->get(), caller.name(), 0750, caller.gid);
}

}  // namespace

Result<MediaPlace> makeMediaPlace(const Caller& caller, const std::string& name) {
  auto media = mediaDirectory(caller);
  if (!media) return media.problem();
  for (int attempt = 0; attempt < kMostNames; ++attempt) {
    const std::string free = attempt == 0 ? name : name + " " + std::to_string(attempt);
    if (mkdirat(media->get(), free.c_str(), 0755) != 0) {
      if (errno == EEXIST) continue;
      return systemProblem("cannot make a directory for " + name);
    }
    Descriptor directory(openat(media->get(), free.c_str(), O_PATH | kOpen));
    if (!directory) return systemProblem("cannot open a directory for " + name);
    return MediaPlace{std::move(directory), "/run/media/" + caller.name() + "/" + free};
  }
  return Problem{"there are too many volumes named " + name, EEXIST, {}};
}

void removeMediaPlace(const std::string& path) {
  if (path.starts_with("/run/media/")) rmdir(path.c_str());
}

}  // namespace disktools
