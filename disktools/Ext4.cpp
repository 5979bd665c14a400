#include "disktools/Ext4.h"

#include <ext2fs/ext2fs.h>
#include <sys/random.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <memory>

namespace disktools {

namespace {

constexpr std::uint32_t kBlock = 4096;
constexpr std::uint32_t kBytesPerInode = 8192;

struct Abandon {
  void operator()(struct_ext2_filsys* fs) const { ext2fs_free(fs); }
};
using Filesystem = std::unique_ptr<struct_ext2_filsys, Abandon>;

ext2_super_block parameters(const Ext4Format& format) {
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
  ext2fs_blocks_count_set(&super, format.bytes / kBlock);
  const std::uint64_t inodes = std::max<std::uint64_t>(format.bytes / kBytesPerInode, 64);
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

errcode_t makeRoot(ext2_filsys fs, const Ext4Format& format) {
  if (const errcode_t error = ext2fs_mkdir(fs, EXT2_ROOT_INO, EXT2_ROOT_INO, nullptr)) return error;
  ext2_inode root{};
  if (const errcode_t error = ext2fs_read_inode(fs, EXT2_ROOT_INO, &root)) return error;
  root.i_mode = S_IFDIR | 0755;
  root.i_uid = static_cast<std::uint16_t>(format.uid & 0xFFFFU);
  root.i_gid = static_cast<std::uint16_t>(format.gid & 0xFFFFU);
  ext2fs_set_i_uid_high(root, static_cast<std::uint16_t>(format.uid >> 16U));
  ext2fs_set_i_gid_high(root, static_cast<std::uint16_t>(format.gid >> 16U));
  return ext2fs_write_inode(fs, EXT2_ROOT_INO, &root);
}

errcode_t fill(ext2_filsys fs, const Ext4Format& format) {
  identify(*fs->super, format.label);
  if (const errcode_t error = ext2fs_allocate_tables(fs)) return error;
  if (const errcode_t error = makeRoot(fs, format)) return error;
  reserveInodes(fs);
  return ext2fs_update_bb_inode(fs, nullptr);
}

errcode_t make(const std::string& path, const Ext4Format& format) {
  ext2_super_block super = parameters(format);
  ext2_filsys raw = nullptr;
  if (const errcode_t error =
          ext2fs_initialize(path.c_str(), EXT2_FLAG_64BITS, &super, unix_io_manager, &raw))
    return error;
  Filesystem fs(raw);
  if (const errcode_t error = fill(raw, format)) return error;
  if (const errcode_t error = ext2fs_close(raw)) return error;
  static_cast<void>(fs.release());  // closing has freed it
  return 0;
}

}  // namespace

Failure formatExt4(int file, const Ext4Format& format) {
  const errcode_t error = make("/proc/self/fd/" + std::to_string(file), format);
  if (error == 0) return std::nullopt;
  initialize_ext2_error_table();
  return Problem{"cannot format an ext4 file system", 0, error_message(error)};
}

}  // namespace disktools
