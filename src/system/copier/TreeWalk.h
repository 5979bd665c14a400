#pragma once
// The walk that copying, measuring and removing share: one tree, several threads, and a visitor
// that is told of each folder and entry.
//
// Who begins a folder lists it, and visits its entries in the order of the listing while it goes on
// listing. What is left to do is kept as tasks: batches of entries of a folder that is open, and
// folders that have subfolders not yet begun. A thread without work takes a batch, or else begins a
// subfolder of the folder that was put down last, which is the deepest: so the walk goes down
// before it goes wide, and what is known of but not begun stays few. A thread that has work looks,
// before each entry, whether more threads are idle than there are batches on offer, and if so
// offers the second half of its own. One folder with a million files is shared out by that as well
// as a million folders with one, and nobody hands out work that nobody waits for.
//
// Threads are started one by one, by whoever finds work left over, and not in the first half
// millisecond, in which most walks are over. Fewer than were asked for do the same work; none but
// the caller's is needed.
//
// A folder is left when its listing, its batches and all folders below are done; each of them is
// counted (Folder::unfinished), and who ends the last one leaves the folder, and those above it
// that this completes. That is a loop, as is everything here that goes up or down: depth takes no
// stack.
//
// Bounds: names are kept packed (NameList), and only those of folders begun but not done;
// descriptors are those of OpenFolders and what the threads hold at the moment. So neither memory
// nor descriptors grow with the number of files, but where visits take entries away: the names of a
// folder at hand, which must be listed to its end first, are all kept then.

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <variant>
#include <vector>

#include "system/copier/Folders.h"

namespace copier {

// What is done at each entry of a walked tree. Called from several threads at once, but for one
// folder in the order enter, visit, more, leave, where leave comes after all below it was left.
class WalkVisitor {
 public:
  virtual ~WalkVisitor() = default;

  // Opens a folder on its sides, of which Folder::listed is listed, by its name in the sides of the
  // one above. nullopt: it is not walked, and the visitor has said so where that is a failure.
  virtual std::optional<Sides> enter(const FolderPtr& folder, const Sides& above) = 0;

  // Anything but a folder. `worker` numbers the thread, from 0.
  virtual void visit(const FolderPtr& folder, const Sides& sides, const NameList::Entry& entry,
                     unsigned worker) = 0;

  // More entries to be visited, asked for when all that was listed is done and before the folder is
  // left. Only once for a folder.
  virtual NameList more(const FolderPtr& /*folder*/, const Sides& /*sides*/) { return {}; }

  virtual void leave(const FolderPtr& folder, const Sides& sides) = 0;

  // Whether visits take entries away. A folder is then listed to its end before any is visited, as
  // not every file system lists all of a folder that loses entries meanwhile.
  virtual bool takesAway() const { return false; }

  // A folder could not be opened anew or listed to its end; `verb` names the call.
  virtual void failed(const Folder& folder, const char* verb, int code) = 0;

  // It could not be opened anew when it was to be left.
  virtual void notLeft(const Folder& folder, int code) { failed(folder, "openat", code); }
};

// Walks a tree with several threads: one lists a folder and visits its entries, the others take
// batches of them and the folders found. Memory and open descriptors do not grow with the number of
// files, and depth takes no stack. Never follows a link.
class TreeWalk {
 public:
  // The calling thread is one of `threads`; the others are started when there is work for them.
  TreeWalk(WalkVisitor& visitor, OpenFolders& open, unsigned threads);

  // Blocks until the root was left. Once.
  void run(const FolderPtr& root, Sides sides);

  // The same with only these entries of the root.
  void run(const FolderPtr& root, Sides sides, NameList names);

 private:
  using Clock = std::chrono::steady_clock;

  struct Batch {
    FolderPtr folder;
    SidesPtr sides;
    NameList names;
  };
  struct Begin {
    FolderPtr above;
    SidesPtr sides;  // of the folder above; null while it is closed
    std::string name;
  };
  using Task = std::variant<Batch, Begin>;

  void workWithOthers();
  void work(unsigned worker);
  std::optional<Task> next();
  Task take();
  void callForHelp();
  void startThread();
  void perform(Batch batch, unsigned worker);
  void perform(Begin begin, unsigned worker);
  void list(const FolderPtr& folder, const SidesPtr& sides, unsigned worker);
  void visitAll(Batch& batch, unsigned worker);
  bool offerMore(const FolderPtr& folder, const SidesPtr& sides);
  void offerEntries(const FolderPtr& folder, const SidesPtr& sides, NameList names);
  void offer(Batch batch);
  bool othersCouldHelp() const;
  void offerHalf(Batch& batch);
  void offerSubfolders(const FolderPtr& folder);
  void release(FolderPtr folder, SidesPtr sides);
  void leave(const FolderPtr& folder, const SidesPtr& sides);
  void finish();

  WalkVisitor& visitor_;
  OpenFolders& open_;
  const unsigned mostThreads_;
  const Clock::time_point helpFrom_;

  std::mutex mutex_;  // guards what follows and Folder::subfolders
  std::condition_variable wake_;
  std::vector<Batch> batches_;
  std::vector<FolderPtr> folders_;  // with subfolders not begun; the last is the deepest
  std::vector<std::thread> threads_;
  bool done_ = false;

  // Read without the lock, as hints.
  std::atomic<unsigned> idle_;           // threads that wait, and those not started yet
  std::atomic<std::size_t> offered_{0};  // batches
};

inline constexpr unsigned kMostThreads = 8;  // more only wait for one another

// How many a walk takes: the number asked for, or one a processor for 0.
unsigned threadsFor(unsigned asked);

// A slash at the end would have a link followed. "/" stays.
std::string withoutSlashes(const std::string& path);

}  // namespace copier
