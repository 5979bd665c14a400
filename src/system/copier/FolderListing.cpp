#include "system/copier/FolderListing.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <string_view>

#include "system/Descriptor.h"

namespace copier {

FolderListing::FolderListing(int folder) : folder_(folder) {
  Descriptor copy(fcntl(folder, F_DUPFD_CLOEXEC, 0));
  if (copy) stream_.reset(fdopendir(copy.get()));
  if (stream_)
    copy.release();
  else
    error_ = errno;
}

std::optional<NameList::Entry> FolderListing::next() {
  while (stream_) {
    errno = 0;
    const dirent* entry = readdir(stream_.get());
    if (!entry) {
      error_ = errno;
      return std::nullopt;
    }
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") return NameList::Entry{kindOf(*entry), entry->d_name};
  }
  return std::nullopt;
}

// Not every file system tells the type in its listing.
EntryKind FolderListing::kindOf(const dirent& entry) const {
  if (entry.d_type == DT_DIR) return EntryKind::Folder;
  if (entry.d_type == DT_REG) return EntryKind::File;
  if (entry.d_type != DT_UNKNOWN) return EntryKind::Other;
  struct stat facts {};
  if (fstatat(folder_, entry.d_name, &facts, AT_SYMLINK_NOFOLLOW) != 0) return EntryKind::Other;
  return copier::kindOf(facts);
}

}  // namespace copier
