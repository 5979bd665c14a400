#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/MainLoop.h"
#include "ramdisk/QVRamDisk.h"
#include "ramdisk/RegistryFile.h"

class QVRamDiskEntries;

// What became of the last look at the file.
enum class RegistryReading { NoFolder, Missing, Unreadable, PartlyDamaged, Whole };

// Posted to the user's other programs when the registry changed; the object says who posts.
inline constexpr char QVRamDiskEntriesDidChangeToAllNotification[] =
    "QVRamDiskEntriesDidChangeToAllNotification";
inline constexpr char kSenderHelper[] = "Tarnvale-Helper";
inline constexpr char kSenderApp[] = "Tarnvale-App";

// Who follows a registry.
class QVRamDiskEntriesDelegate {
 public:
  virtual ~QVRamDiskEntriesDelegate() = default;

  // A record's action reported; on the action's thread.
  virtual void ramDiskEntries(QVRamDiskEntries& entries, const QVRamDiskPtr& ramDiskDidUpdated) = 0;
  // The refresh timer saw a record change; on the main thread.
  virtual void ramDiskEntriesUpdator(QVRamDiskEntries&, const QVRamDiskPtr& /*ramDiskUpdated*/) {}
  // Contents are being copied; on the action's thread.
  virtual void ramDiskEntriesProgress(QVRamDiskEntries&, const QVRamDiskPtr&,
                                      const QVRamDiskProgress&) {}
};

// The ordered list of RAM disks, its file, and its refresh. Main thread only, but for the reports
// of running actions, which are passed on as they come. Held by a shared pointer, which running
// actions keep.
class QVRamDiskEntries : public QVRamDiskDelegate,
                         public std::enable_shared_from_this<QVRamDiskEntries> {
 public:
  static constexpr std::size_t kMostRamDisks = 15;
  static constexpr std::int64_t kNotFound = std::numeric_limits<std::int64_t>::max();

  static std::shared_ptr<QVRamDiskEntries> init();
  static std::shared_ptr<QVRamDiskEntries> initWithDelegate(
      std::shared_ptr<QVRamDiskEntriesDelegate> delegate);
  ~QVRamDiskEntries() override;

  // --- The list

  const std::vector<QVRamDiskPtr>& ramDisks() const { return ramDisks_; }
  QVRamDiskPtr addRamDisk();  // null when the list is full
  // Deletes the record's backups too. Gives the record to select next.
  QVRamDiskPtr removeEntry(const QVRamDiskPtr& ramDisk);
  QVRamDiskPtr ramDiskWithIdentifier(const std::optional<std::string>& identifier) const;
  std::int64_t indexOfRamDiskWithIdentifier(const std::optional<std::string>& identifier) const;
  // The same without touching the backups: for a removal that has still to be saved.
  QVRamDiskPtr takeOut(const QVRamDiskPtr& ramDisk);
  // Moves a record into a gap of the present list: 0 before the first, count after the last.
  bool setPositionIndex(std::int64_t index, const QVRamDiskPtr& ofRamDisk);

  // --- Actions; the registry is their delegate

  void create(const QVRamDiskPtr& ramDisk, std::int64_t inBackground);
  void eject(const QVRamDiskPtr& ramDisk, std::int64_t inBackground);
  void startAction(QVRamDiskAction action, const QVRamDiskPtr& forRamDisk,
                   std::int64_t inBackground);
  bool hasRunningAction() const;
  void waitingEndAll();  // at most 30 seconds
  void ramDiskDidUpdated(const QVRamDiskPtr& ramDisk) override;
  void ramDiskDidProgress(const QVRamDiskPtr& ramDisk, const QVRamDiskProgress& progress) override;

  // --- The file

  // Reads the list and brings every record in line with the system. A file that is missing or
  // cannot be read leaves the list as it was. Always NO.
  bool readRamDisksFromDefaultLocation();
  // The same, with the states of these records as they are now: for a list that was kept while
  // others may have changed the file.
  void readAgainKeepingStatesOf(const std::vector<QVRamDiskPtr>& observed);
  RegistryReading lastReading() const { return lastReading_; }

  // Changes the list and the file in one go: under the file's lock the list is read anew, changed
  // by `edit` and written; with NO from the edit nothing is. After a failure the list may hold what
  // the file does not; nothing was read when the lock could not be had.
  Checked changeFile(const std::function<bool()>& edit,
                     std::chrono::milliseconds patience = RegistryLock::kPatience);

  // Puts what these records were observed to be into the file, and nothing else of them: what
  // others changed there stays, and so do the records of this list. Those whose state could not be
  // saved are kept for the next call; while another program keeps the file locked the refresh
  // tries again, without waiting.
  Checked saveStatesOf(const std::vector<QVRamDiskPtr>& observed,
                       std::chrono::milliseconds patience = RegistryLock::kPatience);

  // Writes the list as it stands over that of the file: for a list that nobody else changes.
  // What the present file holds and cannot be read is kept beside it first.
  bool writeRamDisksToDefaultLocation();

  bool showInMenuBar() const { return showInMenuBar_; }
  void setShowInMenuBar(bool show) { showInMenuBar_ = show; }
  bool showInMenuBarAtLogin() const { return showInMenuBarAtLogin_; }
  void setShowInMenuBarAtLogin(bool show) { showInMenuBarAtLogin_ = show; }

  // Whether the helper saves what is mounted when the session ends. Default on.
  bool saveAtSessionEnd() const { return saveAtSessionEnd_.value_or(true); }
  void setSaveAtSessionEnd(bool save) { saveAtSessionEnd_ = save; }

  // --- Refresh

  void setUpdator(std::int64_t run);  // 1 starts the timer, 0 stops it
  void updatorAction();

  // --- The helper's login item

  void setNeedsSynchronizeHelper(bool needed);
  void synchronizeHelperAuto();
  void synchronizeHelper();
  bool needsSynchronizeHelper() const { return needsSynchronizeHelper_; }
  // Whether the helper should be started at login.
  bool wantsHelperAtLogin() const;

  static void postDidChangeToAllNotificationWithSender(const std::string& sender);

 private:
  QVRamDiskEntries() = default;
  void replaceList(const std::vector<QVRamDiskPtr>& records,
                   const std::vector<QVRamDiskPtr>& observed);
  void takeOver(const std::optional<RegistryContents>& contents, bool isDamaged,
                const std::vector<QVRamDiskPtr>& observed);
  RegistryContents contents() const;
  void putStates(std::optional<RegistryContents>& contents) const;
  void saveStatesAtLast();

  std::vector<QVRamDiskPtr> ramDisks_;
  std::shared_ptr<QVRamDiskEntriesDelegate> delegate_;
  std::optional<platform::MainLoop::TimerId> updator_;
  bool needsSynchronizeHelper_ = false;
  bool showInMenuBar_ = false;
  bool showInMenuBarAtLogin_ = false;
  std::optional<bool> saveAtSessionEnd_;  // as read or set
  RegistryReading lastReading_ = RegistryReading::Missing;
  std::vector<QVRamDiskPtr> unsaved_;  // the file does not have their states
  bool isWaitingForFile_ = false;      // because another program keeps it locked
};
