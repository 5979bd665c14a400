#include "system/copier/TreeWalk.h"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

namespace copier {
namespace {

constexpr std::size_t kBatch = 64;                // entries
constexpr std::chrono::microseconds kAlone{500};  // a walk that takes less starts no thread

}  // namespace

TreeWalk::TreeWalk(WalkVisitor& visitor, OpenFolders& open, unsigned threads)
    : visitor_(visitor),
      open_(open),
      mostThreads_(threads),
      helpFrom_(Clock::now() + kAlone),
      idle_(threads - 1) {}

void TreeWalk::run(const FolderPtr& root, Sides sides) {
  list(root, open_.add(root, std::move(sides)), 0);
  workWithOthers();
}

void TreeWalk::workWithOthers() {
  work(0);
  for (auto& thread : threads_) thread.join();
}

void TreeWalk::run(const FolderPtr& root, Sides sides, NameList names) {
  offerEntries(root, open_.add(root, std::move(sides)), std::move(names));
  workWithOthers();
}

void TreeWalk::work(unsigned worker) {
  while (auto task = next()) {
    std::visit([&](auto&& todo) { perform(std::forward<decltype(todo)>(todo), worker); },
               *std::move(task));
  }
}

std::optional<TreeWalk::Task> TreeWalk::next() {
  std::unique_lock lock(mutex_);
  const auto ready = [this] { return done_ || !batches_.empty() || !folders_.empty(); };
  if (!ready()) {
    ++idle_;
    wake_.wait(lock, ready);
    --idle_;
  }
  if (done_) return std::nullopt;
  Task task = take();
  if (!batches_.empty() || !folders_.empty()) callForHelp();
  return task;
}

// Batches first, so that folders that are open get done; then as deep as possible, so that few
// folders are under way at a time.
TreeWalk::Task TreeWalk::take() {
  if (!batches_.empty()) {
    Batch batch = std::move(batches_.back());
    batches_.pop_back();
    offered_ = batches_.size();
    return batch;
  }
  FolderPtr above = folders_.back();
  Begin begin{above, open_.find(above), above->subfolders.take()->name};
  if (above->subfolders.empty()) {
    above->subfolders = {};
    folders_.pop_back();
  } else {
    ++above->unfinished;
  }
  return begin;
}

void TreeWalk::callForHelp() {
  wake_.notify_one();
  startThread();
}

// One more, when there is one to start; it starts the next.
void TreeWalk::startThread() {
  const auto number = static_cast<unsigned>(threads_.size()) + 1;
  if (number >= mostThreads_ || Clock::now() < helpFrom_) return;
  try {
    threads_.emplace_back([this, number] { work(number); });
    --idle_;
  } catch (const std::system_error&) {
    // As many as there are do the work.
  }
}

void TreeWalk::perform(Batch batch, unsigned worker) {
  visitAll(batch, worker);
  release(std::move(batch.folder), std::move(batch.sides));
}

void TreeWalk::perform(Begin begin, unsigned worker) {
  const auto folder = std::make_shared<Folder>(std::move(begin.above), std::move(begin.name));
  const auto above = begin.sides ? std::move(begin.sides) : open_.acquire(folder->parent);
  if (above)
    open_.openAbove(folder->parent, above);
  else
    visitor_.failed(*folder, "openat", errno);
  auto sides = above ? visitor_.enter(folder, *above) : std::nullopt;
  if (sides)
    list(folder, open_.add(folder, *std::move(sides)), worker);
  else
    release(folder->parent, above);
}

void TreeWalk::list(const FolderPtr& folder, const SidesPtr& sides, unsigned worker) {
  Batch batch{folder, sides, {}};
  FolderListing listing((*sides)[folder->listed].get());
  const bool listFirst = visitor_.takesAway();
  while (const auto entry = listing.next()) {
    auto& names = entry->kind == EntryKind::Folder ? folder->subfolders : batch.names;
    names.add(entry->kind, entry->name);
    if (batch.names.size() == kBatch && !listFirst) visitAll(batch, worker);
  }
  folder->listingFailed = listing.error() != 0;
  if (folder->listingFailed) visitor_.failed(*folder, "readdir", listing.error());
  offerSubfolders(folder);
  perform(std::move(batch), worker);
}

void TreeWalk::visitAll(Batch& batch, unsigned worker) {
  while (!batch.names.empty()) {
    if (batch.names.size() > 1 && othersCouldHelp()) offerHalf(batch);
    visitor_.visit(batch.folder, *batch.sides, *batch.names.take(), worker);
  }
  batch.names = {};
}

bool TreeWalk::othersCouldHelp() const {
  return offered_.load(std::memory_order_relaxed) < idle_.load(std::memory_order_relaxed) &&
         Clock::now() >= helpFrom_;
}

void TreeWalk::offerHalf(Batch& batch) {
  ++batch.folder->unfinished;
  offer({batch.folder, batch.sides, batch.names.takeHalf()});
}

void TreeWalk::offer(Batch batch) {
  const std::lock_guard lock(mutex_);
  batches_.push_back(std::move(batch));
  offered_ = batches_.size();
  callForHelp();
}

void TreeWalk::offerSubfolders(const FolderPtr& folder) {
  if (folder->subfolders.empty()) return;
  ++folder->unfinished;
  const std::lock_guard lock(mutex_);
  folders_.push_back(folder);
  callForHelp();
}

// One part of a folder's work is done. The last one leaves it, and so perhaps those above it.
void TreeWalk::release(FolderPtr folder, SidesPtr sides) {
  while (folder && --folder->unfinished == 0) {
    if (!sides) sides = open_.acquire(folder);
    if (sides && offerMore(folder, sides)) return;
    leave(folder, sides);
    sides = nullptr;
    folder = folder->parent;
  }
  if (!folder) finish();
}

void TreeWalk::leave(const FolderPtr& folder, const SidesPtr& sides) {
  if (sides) {
    open_.openAbove(folder, sides);
    visitor_.leave(folder, *sides);
  } else {
    visitor_.notLeft(*folder, errno);
  }
  open_.close(folder);
}

// As a task, for what is more in each of many levels would take stack.
bool TreeWalk::offerMore(const FolderPtr& folder, const SidesPtr& sides) {
  if (std::exchange(folder->gotMore, true)) return false;
  NameList names = visitor_.more(folder, *sides);
  if (names.empty()) return false;
  folder->unfinished = 1;
  offerEntries(folder, sides, std::move(names));
  return true;
}

// The folder is as yet unfinished by one, which is the batch.
void TreeWalk::offerEntries(const FolderPtr& folder, const SidesPtr& sides, NameList names) {
  Batch batch{folder, sides, {}};
  while (const auto entry = names.take()) {
    auto& kin = entry->kind == EntryKind::Folder ? folder->subfolders : batch.names;
    kin.add(entry->kind, entry->name);
  }
  offerSubfolders(folder);
  offer(std::move(batch));
}

void TreeWalk::finish() {
  const std::lock_guard lock(mutex_);
  done_ = true;
  wake_.notify_all();
}

unsigned threadsFor(unsigned asked) {
  if (asked != 0) return asked;
  return std::clamp(std::thread::hardware_concurrency(), 1U, kMostThreads);
}

std::string withoutSlashes(const std::string& path) {
  const auto last = path.find_last_not_of('/');
  return path.substr(0, last == std::string::npos ? 1 : last + 1);
}

}  // namespace copier
