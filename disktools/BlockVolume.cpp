#include <ext2fs/ext2fs.h>
#include <fcntl.h>
#include <linux/loop.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

#include "disktools/Volume.h"
#include "leaf/DeviceNames.h"
#include "leaf/VolumeLimits.h"

namespace disktools {

namespace {

constexpr std::uint32_t kBlock = 4096;
constexpr std::uint64_t kOwnInodes = 16;  // that the format keeps to itself, and some

struct Abandon {
  void operator()(struct_ext2_filsys* fs) const { ext2fs_free(fs); }
};
using Filesystem = std::unique_ptr<struct_ext2_filsys, Abandon>;

ext2_super_block parameters(const Record& record) {
  ext2_super_block super{};
  super.s_rev_level = EXT2_DYNAMIC_REV;
  super.s_log_block_size = 2;  // 1024 << 2
  super.s_log_cluster_size = 2;
  super.s_inode_size = 256;  // room for the attributes that the engine keeps, and nanoseconds
  super.s_log_groups_per_flex = 4;
  super.s_max_mnt_count = -1;
  super.s_errors = EXT2_ERRORS_RO;
  super.s_feature_compat = EXT2_FEATURE_COMPAT_EXT_ATTR | EXT2_FEATURE_COMPAT_DIR_INDEX;
  super.s_feature_incompat = EXT2_FEATURE_INCOMPAT_FILETYPE | EXT3_FEATURE_INCOMPAT_EXTENTS |
                             EXT4_FEATURE_INCOMPAT_FLEX_BG | EXT4_FEATURE_INCOMPAT_64BIT;
  super.s_feature_ro_compat = EXT2_FEATURE_RO_COMPAT_SPARSE_SUPER |
                              EXT2_FEATURE_RO_COMPAT_LARGE_FILE | EXT4_FEATURE_RO_COMPAT_HUGE_FILE |
                              EXT4_FEATURE_RO_COMPAT_DIR_NLINK | EXT4_FEATURE_RO_COMPAT_EXTRA_ISIZE;
  ext2fs_blocks_count_set(&super, record.bytes() / kBlock);
  const std::uint64_t inodes = leaf::mostInodes(record.bytes()) + kOwnInodes;
  super.s_inodes_count = static_cast<std::uint32_t>(std::min<std::uint64_t>(inodes, 1U << 31U));
  return super;
}

// A name is not cut in the midst of a UTF-8 character.
std::string_view cutLabel(std::string_view label, std::size_t most) {
  if (label.size() <= most) return label;
  while (most > 0 && (static_cast<unsigned char>(label[most]) & 0xC0U) == 0x80) --most;
  return label.substr(0, most);
}

void identify(ext2_super_block& super, const std::string& label) {
  const std::string_view cut = cutLabel(label, sizeof super.s_volume_name);
  std::memcpy(super.s_volume_name, cut.data(), cut.size());
  super.s_def_hash_version = EXT2_HASH_HALF_MD4;
  // Without random numbers the volume would only look like another one made so.
  static_cast<void>(getrandom(super.s_uuid, sizeof super.s_uuid, 0));
  static_cast<void>(getrandom(super.s_hash_seed, sizeof super.s_hash_seed, 0));
}

// The format keeps the first ten inodes to itself.
void reserveInodes(ext2_filsys fs) {
  ext2fs_inode_alloc_stats2(fs, EXT2_BAD_INO, +1, 0);
  for (ext2_ino_t inode = EXT2_ROOT_INO + 1; inode < EXT2_FIRST_INODE(fs->super); ++inode)
    ext2fs_inode_alloc_stats2(fs, inode, +1, 0);
}

errcode_t makeRoot(ext2_filsys fs, const Record& record) {
  if (const errcode_t error = ext2fs_mkdir(fs, EXT2_ROOT_INO, EXT2_ROOT_INO, nullptr)) return error;
  ext2_inode root{};
  if (const errcode_t error = ext2fs_read_inode(fs, EXT2_ROOT_INO, &root)) return error;
  root.i_mode = S_IFDIR | 0700;
  root.i_uid = static_cast<std::uint16_t>(record.uid & 0xFFFFU);
  root.i_gid = static_cast<std::uint16_t>(record.gid & 0xFFFFU);
  ext2fs_set_i_uid_high(root, static_cast<std::uint16_t>(record.uid >> 16U));
  ext2fs_set_i_gid_high(root, static_cast<std::uint16_t>(record.gid >> 16U));
  return ext2fs_write_inode(fs, EXT2_ROOT_INO, &root);
}

errcode_t fill(ext2_filsys fs, const Record& record) {
  identify(*fs->super, record.label);
  if (const errcode_t error = ext2fs_allocate_tables(fs)) return error;
  if (const errcode_t error = makeRoot(fs, record)) return error;
  reserveInodes(fs);
  return ext2fs_update_bb_inode(fs, nullptr);
}

errcode_t make(const std::string& path, const Record& record) {
  ext2_super_block super = parameters(record);
  ext2_filsys raw = nullptr;
  if (const errcode_t error =
          ext2fs_initialize(path.c_str(), EXT2_FLAG_64BITS, &super, unix_io_manager, &raw))
    return error;
  Filesystem fs(raw);
  if (const errcode_t error = fill(raw, record)) return error;
  if (const errcode_t error = ext2fs_close(raw)) return error;
  static_cast<void>(fs.release());  // closing has freed it
  return 0;
}

// No journal, as the contents do not outlive the machine, no lost+found, and nothing kept back for
// root. `file` reads as zeros. The layout is that of https://docs.kernel.org/filesystems/ext4/.
Outcome formatExt4(const Descriptor& file, const Record& record) {
  const errcode_t error = make("/proc/self/fd/" + std::to_string(file.get()), record);
  if (error == 0) return {};
  initialize_ext2_error_table();
  return Problem{"cannot format an ext4 file system", 0, error_message(error)};
}

struct LoopDevice {
  Descriptor device;
  std::string path;  // "/dev/loopK"
};

constexpr const char* kNoLoopDevice = "cannot get a loop block device";

// Another program may take the free device between asking for it and configuring it.
constexpr int kAttempts = 32;

bool configure(const Descriptor& device, const Descriptor& file) {
  loop_config config{};
  config.fd = static_cast<__u32>(file.get());
  config.info.lo_flags = LO_FLAGS_AUTOCLEAR;
  return ioctl(device.get(), LOOP_CONFIGURE, &config) == 0;
}

Result<LoopDevice> attachLoop(const Descriptor& file) {
  const Descriptor control(open("/dev/loop-control", O_RDWR | O_CLOEXEC));
  if (!control) return systemProblem(kNoLoopDevice, "/dev/loop-control");
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    const int number = ioctl(control.get(), LOOP_CTL_GET_FREE);
    if (number < 0) return systemProblem(kNoLoopDevice);
    std::string path = "/dev/loop" + std::to_string(number);
    Descriptor device(open(path.c_str(), O_RDWR | O_CLOEXEC));
    if (!device) return systemProblem(kNoLoopDevice, path);
    if (configure(device, file)) return LoopDevice{std::move(device), std::move(path)};
    if (errno != EBUSY) return systemProblem(kNoLoopDevice, path);
  }
  return Problem{kNoLoopDevice, EBUSY, {}};
}

// The name is what /sys/block/loopK/loop/backing_file shows, the only way from a block device in
// the mount table back to ours.
Result<Descriptor> makeMemoryFile(const Record& record, const std::string& purpose) {
  Descriptor file(memfd_create(backingFileName(record.number).c_str(), MFD_CLOEXEC));
  if (!file || ftruncate(file.get(), static_cast<off_t>(record.bytes())) != 0)
    return systemProblem(purpose);
  return file;
}

Result<Descriptor> mountExt4(const LoopDevice& loop, const std::string& purpose) {
  auto context = FsContext::open("ext4", purpose);
  if (!context) return context.error();
  if (auto set = context->set("source", loop.path); !set) return set.error();
  if (auto set = context->set("discard"); !set) return set.error();
  return context->mount(kVolumeAttributes);
}

}  // namespace

Result<Descriptor> makeBlockVolume(const Record& record) {
  const std::string purpose = "cannot make a file system of " + sizeText(record.bytes());
  auto file = makeMemoryFile(record, purpose);
  if (!file) return file.error();
  if (auto formatted = formatExt4(*file, record); !formatted) return formatted.error();
  auto loop = attachLoop(*file);
  if (!loop) return loop.error();
  return mountExt4(*loop, purpose);
}

}  // namespace disktools
