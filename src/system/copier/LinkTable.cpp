#include "system/copier/LinkTable.h"

#include <algorithm>
#include <string_view>

namespace copier {
namespace {

constexpr std::size_t kFirstSlots = 16;

// Spreads inode numbers, which tend to follow one another, over shards and slots.
std::uint64_t spread(std::uint64_t value) {
  value *= 0x9E3779B97F4A7C15ULL;
  return value ^ (value >> 32U);
}

// A quarter more at a time, as memory counts for more here than the time to move things.
std::size_t grown(std::size_t size) { return size + size / 4; }

}  // namespace

LinkTable::Turn LinkTable::turn(dev_t device, ino_t inode) {
  return {*this, shards_[spread(inode) % shards_.size()], device, inode};
}

LinkTable::Turn::Turn(LinkTable& table, Shard& shard, dev_t device, ino_t inode)
    : table_(table),
      shard_(shard),
      lock_(shard.mutex),
      slots_(shard.slotsOf(device)),
      inode_(inode) {}

std::optional<LinkTable::Made> LinkTable::Turn::made() const {
  if (slots_.used == 0) return std::nullopt;
  const Slot& slot = slots_.slotFor(inode_);
  if (slot.inode == 0) return std::nullopt;
  return Made{table_.folderOf(slot.folder), shard_.names.c_str() + slot.name};
}

void LinkTable::Turn::remember(const FolderPtr& folder, const char* name) {
  slots_.makeRoom();
  Slot& slot = slots_.slotFor(inode_);
  if (slot.inode == 0) ++slots_.used;
  std::string& names = shard_.names;
  slot = {inode_, table_.numberOf(folder), static_cast<std::uint32_t>(names.size())};
  const std::string_view text = name;
  if (names.size() + text.size() >= names.capacity()) names.reserve(grown(names.capacity()) + 256);
  names.append(text) += '\0';
}

LinkTable::Slots& LinkTable::Shard::slotsOf(dev_t device) {
  const auto known = std::find_if(devices.begin(), devices.end(),
                                  [device](const Slots& each) { return each.device == device; });
  return known != devices.end() ? *known : devices.emplace_back(Slots{device});
}

// The file's slot, or the empty one where it belongs. There is always an empty one.
LinkTable::Slot& LinkTable::Slots::slotFor(ino_t inode) {
  std::size_t at = (spread(inode) >> 8U) % slots.size();
  while (slots[at].inode != 0 && slots[at].inode != inode) at = (at + 1) % slots.size();
  return slots[at];
}

void LinkTable::Slots::makeRoom() {
  if (used * 8 < slots.size() * 7) return;
  std::vector<Slot> old(std::max(kFirstSlots, grown(slots.size())));
  old.swap(slots);
  for (const Slot& slot : old)
    if (slot.inode != 0) slotFor(slot.inode) = slot;
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
