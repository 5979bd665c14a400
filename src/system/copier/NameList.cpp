#include "system/copier/NameList.h"

namespace copier {
namespace {

constexpr std::size_t kBlockBytes = 64 << 10;

}  // namespace

void NameList::add(EntryKind kind, std::string_view name) {
  const std::size_t bytes = name.size() + 2;
  if (blocks_.empty() || blocks_.back().size() + bytes > kBlockBytes) blocks_.emplace_back();
  std::string& block = blocks_.back();
  block += static_cast<char>(kind);
  block += name;
  block += '\0';
  ++size_;
}

std::optional<NameList::Entry> NameList::take() {
  if (empty()) return std::nullopt;
  if (offset_ == blocks_[block_].size()) {
    blocks_[block_++] = std::string();
    offset_ = 0;
  }
  const char* entry = blocks_[block_].data() + offset_;
  offset_ += std::string_view(entry).size() + 1;
  --size_;
  return Entry{static_cast<EntryKind>(*entry), entry + 1};
}

NameList NameList::takeHalf() {
  NameList half;
  for (std::size_t left = size_ / 2; left > 0; --left) {
    const auto entry = take();
    half.add(entry->kind, entry->name);
  }
  return half;
}

}  // namespace copier
