#include "system/copier/LinkTable.h"

#include <algorithm>

namespace copier {
namespace {

constexpr std::size_t kFirstSlots = 16;

// Spreads inode numbers, which tend to follow one another, over shards and slots.
std::uint64_t spread(std::uint64_t value) {
  value *= 0x9E3779B97F4A7C15ULL;
  return value ^ (value >> 32U);
}

}  // namespace

LinkTable::Turn LinkTable::turn(dev_t device, ino_t inode) {
  return {*this, shards_[spread(inode) % shards_.size()], device, inode};
}

LinkTable::Turn::Turn(LinkTable& table, Shard& shard, dev_t device, ino_t inode)
    : table_(table),
      shard_(shard),
      lock_(shard.mutex),
      device_(shard.numberOf(device)),
      inode_(inode) {}

std::optional<LinkTable::Made> LinkTable::Turn::made() const {
  if (shard_.slots.empty()) return std::nullopt;
  const Slot& slot = shard_.slotFor(device_, inode_);
  if (slot.inode == 0) return std::nullopt;
  return Made{table_.folderOf(slot.folder), shard_.names.c_str() + slot.name};
}

void LinkTable::Turn::remember(const FolderPtr& folder, const char* name) {
  if (shard_.used * 8 >= shard_.slots.size() * 7) shard_.grow();
  Slot& slot = shard_.slotFor(device_, inode_);
  if (slot.inode == 0) ++shard_.used;
  slot = {inode_, device_, table_.numberOf(folder),
          static_cast<std::uint32_t>(shard_.names.size())};
  shard_.names.append(name) += '\0';
}

std::uint32_t LinkTable::Shard::numberOf(dev_t device) {
  const auto found = std::find(devices.begin(), devices.end(), device);
  const auto number = found - devices.begin();
  if (found == devices.end()) devices.push_back(device);
  return static_cast<std::uint32_t>(number);
}

// The file's slot, or the empty one where it belongs. There is always an empty one.
LinkTable::Slot& LinkTable::Shard::slotFor(std::uint32_t device, ino_t inode) {
  const std::size_t mask = slots.size() - 1;
  std::size_t at = (spread(inode) >> 8U) & mask;
  while (slots[at].inode != 0 && (slots[at].inode != inode || slots[at].device != device))
    at = (at + 1) & mask;
  return slots[at];
}

void LinkTable::Shard::grow() {
  std::vector<Slot> old(std::max(kFirstSlots, slots.size() * 2));
  old.swap(slots);
  for (const Slot& slot : old)
    if (slot.inode != 0) slotFor(slot.device, slot.inode) = slot;
}

std::uint32_t LinkTable::numberOf(const FolderPtr& folder) {
  const std::lock_guard lock(mutex_);
  if (folder->number == 0) {
    folders_.push_back(folder);
    folder->number = static_cast<std::uint32_t>(folders_.size());
  }
  return folder->number;
}

FolderPtr LinkTable::folderOf(std::uint32_t number) {
  const std::lock_guard lock(mutex_);
  return folders_[number - 1];
}

}  // namespace copier
