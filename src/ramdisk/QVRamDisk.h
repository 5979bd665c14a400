#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "core/QVError.h"
#include "core/QVRamDiskTypes.h"
#include "extensions/KeyedArchiver.h"
#include "extensions/KeyedUnarchiver.h"
#include "leaf/Descriptor.h"
#include "platform/Canvas.h"
#include "ramdisk/ActionLock.h"
#include "ramdisk/DiskSettings.h"
#include "ramdisk/QVRamDiskBackup.h"
#include "ramdisk/QVRamDiskDelegate.h"

// Options of changeToType.
inline constexpr std::uint64_t QVRamDiskChangeTypeKeepSettings = 1;

// How an action is to be done.
struct ActionTerms {
  ActionTerms() = default;
  ActionTerms(ActionLock held) : lock(std::move(held)) {}

  std::optional<ActionLock> lock;  // that the caller holds and hands on
  // The user insists: also when programs use the disk or its directory, when the directory holds
  // what cannot be read, or when not everything can be saved.
  bool force = false;
  bool atLogin = false;  // nobody can be asked
};

// What the status refresh compares.
struct QVComparableValues {
  std::optional<std::string> name;
  std::uint64_t size = 0;
  std::uint64_t sizeFree = 0;

  bool operator==(const QVComparableValues&) const = default;
};

// One configured RAM disk: its settings, its state as last observed, and the actions on it. Any
// thread may read and change the two values while an action runs; one action runs at a time, see
// performAction. Always held by a shared pointer, which a running action keeps.
class QVRamDisk : public extensions::KeyedArchivable,
                  public std::enable_shared_from_this<QVRamDisk> {
 public:
  using Text = std::optional<std::string>;
  using Texts = std::optional<std::vector<std::string>>;

  // A record of the plain kind with an identity of its own.
  static std::shared_ptr<QVRamDisk> init();
  // A record read back; a key that is missing reads as 0, NO or nothing, the identifier included.
  static std::shared_ptr<QVRamDisk> initWithCoder(const extensions::KeyedUnarchiver& coder);

  static std::uint64_t defaultCapSize();  // bytes

  // --- The two values, each whole under one lock. Who needs several parts of one takes it once;
  // two calls may see it before and after a change. The function of a change runs under the lock
  // and asks nothing of the record.

  DiskSettings settings() const {
    const std::lock_guard lock(mutex_);
    return settings_;
  }
  DiskObservation observed() const {
    const std::lock_guard lock(mutex_);
    return observed_;
  }
  template <class Change>
  void change(Change&& edit) {
    const std::lock_guard lock(mutex_);
    edit(settings_, observed_);
  }

  // --- Settings, see DiskSettings.h

  QVRamDiskFormat format() const { return get(&DiskSettings::format); }
  void setFormat(QVRamDiskFormat format) { set(&DiskSettings::format, format); }
  Text name() const { return get(&DiskSettings::name); }
  void setName(Text name) { set(&DiskSettings::name, std::move(name)); }
  std::uint64_t size() const { return get(&DiskSettings::size); }  // bytes
  void setSize(std::uint64_t size) { set(&DiskSettings::size, size); }
  Text mountDirectory() const { return get(&DiskSettings::mountDirectory); }
  void setMountDirectory(Text mountDirectory) {
    set(&DiskSettings::mountDirectory, std::move(mountDirectory));
  }
  Text simId() const { return get(&DiskSettings::simId); }
  void setSimId(Text simId) { set(&DiskSettings::simId, std::move(simId)); }
  bool preferWired() const { return get(&DiskSettings::preferWired); }
  void setPreferWired(bool preferWired) { set(&DiskSettings::preferWired, preferWired); }
  bool createAtLogin() const { return get(&DiskSettings::createAtLogin); }
  void setCreateAtLogin(bool createAtLogin) { set(&DiskSettings::createAtLogin, createAtLogin); }
  bool doNotCalculateBaseSize() const { return get(&DiskSettings::doNotCalculateBaseSize); }
  void setDoNotCalculateBaseSize(bool doNotCalculateBaseSize) {
    set(&DiskSettings::doNotCalculateBaseSize, doNotCalculateBaseSize);
  }
  Text postCmd() const { return get(&DiskSettings::postCmd); }
  void setPostCmd(Text postCmd) { set(&DiskSettings::postCmd, std::move(postCmd)); }
  Texts postCmdArgs() const { return get(&DiskSettings::postCmdArgs); }
  void setPostCmdArgs(Texts postCmdArgs) {
    set(&DiskSettings::postCmdArgs, std::move(postCmdArgs));
  }
  QVRamDiskMdIndexMode mdIndexMode() const { return get(&DiskSettings::mdIndexMode); }
  void setMdIndexMode(QVRamDiskMdIndexMode mdIndexMode) {
    set(&DiskSettings::mdIndexMode, mdIndexMode);
  }
  QVRamDiskBackupMode backupMode() const { return get(&DiskSettings::backupMode); }
  void setBackupMode(QVRamDiskBackupMode backupMode) { set(&DiskSettings::backupMode, backupMode); }
  Text backupDir() const { return get(&DiskSettings::backupDir); }
  void setBackupDir(Text backupDir) { set(&DiskSettings::backupDir, std::move(backupDir)); }

  // --- State as last observed

  QVRamDiskStatus status() const { return get(&DiskObservation::status); }
  void setStatus(QVRamDiskStatus status) { set(&DiskObservation::status, status); }
  Text deviceNode() const { return get(&DiskObservation::deviceNode); }
  void setDeviceNode(Text deviceNode) { set(&DiskObservation::deviceNode, std::move(deviceNode)); }
  Text path() const { return get(&DiskObservation::path); }  // mount point while mounted
  void setPath(Text path) { set(&DiskObservation::path, std::move(path)); }
  Text uuid() const { return get(&DiskObservation::uuid); }
  void setUuid(Text uuid) { set(&DiskObservation::uuid, std::move(uuid)); }
  std::optional<std::int64_t> devUUID() const { return get(&DiskObservation::devUUID); }
  void setDevUUID(std::optional<std::int64_t> devUUID) { set(&DiskObservation::devUUID, devUUID); }
  std::uint64_t volSize() const { return get(&DiskObservation::volSize); }  // bytes
  void setVolSize(std::uint64_t volSize) { set(&DiskObservation::volSize, volSize); }
  std::uint64_t volFree() const { return get(&DiskObservation::volFree); }  // bytes
  void setVolFree(std::uint64_t volFree) { set(&DiskObservation::volFree, volFree); }
  QVRamDiskAction action() const { return get(&DiskObservation::action); }
  void setAction(QVRamDiskAction action) { set(&DiskObservation::action, action); }
  QVRamDiskActionInfo lastActionInfo() const { return get(&DiskObservation::lastActionInfo); }
  void setLastActionInfo(QVRamDiskActionInfo lastActionInfo) {
    set(&DiskObservation::lastActionInfo, lastActionInfo);
  }
  QVErrorPtr lastError() const { return get(&DiskObservation::lastError); }
  void setLastError(QVErrorPtr lastError) {
    set(&DiskObservation::lastError, std::move(lastError));
  }

  // --- Identity

  QVRamDiskType type() const { return get(&DiskSettings::type); }
  Text identifier() const { return identifier_; }
  std::size_t hash() const;
  // Equal by identifier, which both must have, and only to records of this class or below it.
  bool isEqual(const std::shared_ptr<const QVRamDisk>& other) const;
  std::string description() const;

  // --- Archiving (QVRamDisk_Coding.cpp)

  std::vector<std::string> archiveClasses() const override;
  void encodeWithCoder(extensions::KeyedArchiver& coder) const override;

  // --- Display and kind (QVRamDisk.cpp)

  QVComparableValues comparableValues() const;
  Text displayName() const;
  std::string displayStatus() const;
  // For 32, 48 or 128 points; null, a critical exception, for any other size. Main thread.
  // (QVRamDisk_Icon.cpp)
  platform::ImagePtr displayIcon(double size) const;
  // Takes on a kind's name and directory, and its size unless the settings are kept. A kind that
  // is not available makes a plain disk of the record, unless the settings are kept.
  void changeToType(QVRamDiskType type, std::uint64_t options);

  // --- Action engine (QVRamDisk_Engine.cpp)

  // Every action holds the disk's ActionLock; who cannot have it is told so and nothing is done.
  // Who holds it already hands it on, and may let go of it at once.

  // Starts an action. Synchronisation, backup and rebuild always run on a thread of their own,
  // clean-up always on the caller's, the others as `threaded` says, which counts only when
  // exactly 1. Where the system has no thread to give, it runs on the caller's. A second action is
  // reported as a critical exception and started all the same.
  //
  // Whoever starts an action, what a cut-off one left is put right before it, and it is refused
  // where it would take files from under a program, unless the terms say otherwise.
  void performAction(QVRamDiskAction action, const QVRamDiskDelegatePtr& delegate,
                     std::int64_t threaded, ActionTerms terms = {});
  // Clean-up for who cannot wait: on a thread of its own, with the disk marked as busy and with a
  // first and a last report, as other actions are.
  void startCleanUp(const QVRamDiskDelegatePtr& delegate, ActionTerms terms = {});
  // Keeps the progress code and the error, then tells the delegate on this thread.
  void inform(const QVRamDiskDelegatePtr& delegate, QVRamDiskActionInfo actionInfo,
              const QVErrorPtr& error);
  // Adds a sentence to what the user is told at the end of the running action, and to the log.
  void tell(std::string notice);
  // Passes a copy's progress on to the delegate. `totalBytes` is 0 when nobody knows.
  QVRamDiskBackup::Progress progressFor(const QVRamDiskDelegatePtr& delegate,
                                        std::uint64_t totalBytes);

  // One action each, on this thread.
  void performCreate(const QVRamDiskDelegatePtr& delegate);
  void performEject(const QVRamDiskDelegatePtr& delegate);
  void performRemount(const QVRamDiskDelegatePtr& delegate);
  void performRebuild(const QVRamDiskDelegatePtr& delegate);
  void performBackup(const QVRamDiskDelegatePtr& delegate);
  void performSyncWithBase(const QVRamDiskDelegatePtr& delegate);
  // Touches nothing where the disk's volume is not mounted at `path` any more.
  void performCleanUpFiles();
  // Removes a folder that lies on the disk's own volume, with all that is in it, by its path. Fails
  // when the volume is not mounted, and where a link or another mount is on the way down from it.
  platform::Outcome removeFolder(const std::string& path);

  // --- A look at the system (QVRamDisk_State.cpp)

  // Brings the observed state in line with the system. YES when the status or the volume's name,
  // size or free space changed.
  bool update();
  // Whether the disk's own volume is mounted at `path` now, whatever was last observed: a directory
  // that it is gone from holds the user's own files.
  bool showsOwnVolume() const;
  double diskUsage() const;          // used fraction of the volume
  std::int64_t hasContents() const;  // 1, 0, or -1 when it cannot be told

  // --- The parts of actions

  // YES when every mandatory step succeeded. `error` may be set all the same: contents that could
  // not be brought back are reported there and the creation goes on. (QVRamDiskCreation.cpp)
  bool createWithDelegate(const QVRamDiskDelegatePtr& delegate, QVErrorPtr& error);
  // Saves the contents, unmounts, detaches and puts the base back. A failed save ends it there.
  // (QVRamDisk_Eject.cpp)
  QVErrorPtr eject(const QVRamDiskDelegatePtr& delegate);
  QVErrorPtr eject(const QVRamDiskDelegatePtr& delegate, const ActionLock& lock);

  // --- What is kept where, see DiskSettings.h

  std::string mountPath() const { return settings().mountPath(); }
  std::string shownPath() const { return settings().shownPath(); }
  // Where its saves go now: beside the volume, where the directory above was renamed since.
  Text folderOfSaves() const;
  Text backupDirPath() const { return settings().backupFolder(identifier_); }
  Text savedBasePath() const { return settings().savedBase(); }
  bool isSavedIntoBase() const { return settings().isKeptInBase(); }
  bool savesContents() const;  // when it is ejected, into the base or a backup folder
  // Of the program's own folder; one of the user's stays. (QVRamDisk_Saving.cpp)
  void deleteBackupDirs();

 protected:
  QVRamDisk() = default;
  void readFrom(const extensions::KeyedUnarchiver& coder);

 private:
  struct Operation;
  using Lock = std::optional<ActionLock>;  // as a caller gave it
  // The terms of the running action.
  struct Insistence {
    bool force = false;
    bool atLogin = false;
  };
  // What was last drawn or looked up for showing it (QVRamDisk_Icon.cpp).
  struct Shown;

  template <class Value>
  Value get(Value DiskSettings::*part) const {
    const std::lock_guard lock(mutex_);
    return settings_.*part;
  }
  template <class Value>
  Value get(Value DiskObservation::*part) const {
    const std::lock_guard lock(mutex_);
    return observed_.*part;
  }
  template <class Value>
  void set(Value DiskSettings::*part, std::type_identity_t<Value> value) {
    const std::lock_guard lock(mutex_);
    settings_.*part = std::move(value);
  }
  template <class Value>
  void set(Value DiskObservation::*part, std::type_identity_t<Value> value) {
    const std::lock_guard lock(mutex_);
    observed_.*part = std::move(value);
  }

  virtual bool isOfClassOf(const QVRamDisk& other) const;
  Text simulatorName() const;
  platform::ImagePtr baseIcon() const;
  platform::ImagePtr volumeIcon(const std::string& path) const;
  void forgetWhatIsShown();

  void dispatch(QVRamDiskAction action, const QVRamDiskDelegatePtr& delegate, bool threaded,
                ActionTerms terms);
  void reportRunningAction() const;
  static const Operation* operationOf(QVRamDiskAction action);
  void startOnThread(const Operation& operation, const QVRamDiskDelegatePtr& delegate,
                     ActionTerms terms);
  void run(const Operation& operation, const QVRamDiskDelegatePtr& delegate,
           ActionTerms terms = {});
  Insistence insistence() const {
    const std::lock_guard lock(mutex_);
    return insistence_;
  }
  // (QVRamDisk_Readiness.cpp)
  QVErrorPtr makeReady(QVRamDiskAction action, const ActionLock& lock);
  QVErrorPtr recoverBefore(QVRamDiskAction action, const ActionLock& lock);
  QVErrorPtr checkUnused() const;
  QVErrorPtr checkRebuilds() const;
  QVErrorPtr checkNotThere() const;
  void cleanUpHere(const QVRamDiskDelegatePtr& delegate, Lock lock);
  std::shared_ptr<const ActionLock> lockForAction(Lock given, QVErrorPtr& error);

  void useRealPlace(const ActionLock& lock);
  QVErrorPtr create(const QVRamDiskDelegatePtr& delegate, const ActionLock& lock);
  bool createVolume(const QVRamDiskDelegatePtr& delegate, QVErrorPtr& error,
                    const ActionLock& lock);
  void undoCreation(const ActionLock& lock);
  QVErrorPtr remount(const QVRamDiskDelegatePtr& delegate, const ActionLock& lock);
  QVErrorPtr rebuild(const QVRamDiskDelegatePtr& delegate, const ActionLock& lock);
  QVErrorPtr backup(const QVRamDiskDelegatePtr& delegate, const ActionLock& lock);
  QVErrorPtr syncWithBase(const QVRamDiskDelegatePtr& delegate, const ActionLock& lock);
  QVErrorPtr cleanUpFiles(const QVRamDiskDelegatePtr& delegate, const ActionLock& lock);
  QVErrorPtr saveInto(const Text& folder, const QVRamDiskDelegatePtr& delegate, SaveCare care,
                      bool waitsForCalm, const ActionLock& lock);
  QVErrorPtr saveFrom(const Text& volume, const Text& folder, const QVRamDiskDelegatePtr& delegate,
                      SaveCare care, bool waitsForCalm);
  QVErrorPtr errorOf(const SaveOutcome& outcome) const;
  bool mayGoOnAfter(const QVErrorPtr& saved);
  void keepMissingAside(const std::string& volume, const std::vector<std::string>& missing);
  QVErrorPtr saveContents(const QVRamDiskDelegatePtr& delegate, const ActionLock& lock);
  QVErrorPtr ejectDevice(const QVRamDiskDelegatePtr& delegate, const ActionLock& lock);
  QVErrorPtr ejectSaved(const QVRamDiskDelegatePtr& delegate, const ActionLock& lock);
  bool holdWritersOff() const;
  QVErrorPtr saveHeldOff(const QVRamDiskDelegatePtr& delegate, const ActionLock& lock);
  QVErrorPtr ejectFromUnderWriters(const QVRamDiskDelegatePtr& delegate);
  QVErrorPtr saveTillCalm(const std::string& place, const QVRamDiskDelegatePtr& delegate);
  void putBaseBack(const std::string& place, const ActionLock& lock);
  void findVolumeAgain();
  Text placeOfVolume() const;
  // Null while the disk shows its own volume, or has no path, where nothing can be found. Else the
  // reason to leave alone what is there; the observed state is brought in line.
  QVErrorPtr checkVolume();
  // The root of the disk's own volume, open, so that what is done by it stays on that volume
  // whatever comes to lie at the path meanwhile. None, with errno set, when the volume is gone.
  Descriptor openVolume() const;

  struct Sight;
  Sight lookAtMounted(const std::string& path);
  Sight lookAtUnmounted();

  Text identifier_;           // fixed once made
  mutable std::mutex mutex_;  // of the values and of acting_
  DiskSettings settings_;
  DiskObservation observed_;
  std::weak_ptr<const ActionLock> acting_;  // what the running action holds
  Insistence insistence_;
  SaveOutcome lastSave_;  // of the action's thread alone
  const std::shared_ptr<Shown> shown_ = makeShown();
  static std::shared_ptr<Shown> makeShown();
};

using QVRamDiskPtr = std::shared_ptr<QVRamDisk>;

// The class under which older registries keep their records; it adds nothing.
class QVRamDiskEntry : public QVRamDisk {
 public:
  static std::shared_ptr<QVRamDisk> initWithCoder(const extensions::KeyedUnarchiver& coder);
  std::vector<std::string> archiveClasses() const override;

 private:
  bool isOfClassOf(const QVRamDisk& other) const override;
};
