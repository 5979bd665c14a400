#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/AtomicProperty.h"
#include "core/QVError.h"
#include "core/QVRamDiskTypes.h"
#include "extensions/KeyedArchiver.h"
#include "extensions/KeyedUnarchiver.h"
#include "kinds/QVSimDevice.h"
#include "platform/Canvas.h"
#include "ramdisk/QVRamDiskBackup.h"
#include "ramdisk/QVRamDiskDelegate.h"

// Options of changeToType.
inline constexpr std::uint64_t QVRamDiskChangeTypeKeepSettings = 1;

// What the status refresh compares.
struct QVComparableValues {
  std::optional<std::string> name;
  std::uint64_t size = 0;
  std::uint64_t sizeFree = 0;

  bool operator==(const QVComparableValues&) const = default;
};

// One configured RAM disk: its settings, its state as last observed, and the actions on it.
// Every property is atomic; one action runs at a time, see performAction. Always held by a shared
// pointer, which a running action keeps.
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

  // --- Settings

  QVRamDiskFormat format() const { return format_.get(); }
  void setFormat(QVRamDiskFormat format) { format_.set(format); }
  Text name() const { return name_.get(); }  // of the volume
  void setName(Text name) { name_.set(std::move(name)); }
  std::uint64_t size() const { return size_.get(); }  // bytes
  void setSize(std::uint64_t size) { size_.set(size); }
  // The volume is mounted over this directory's sub-directory `name`; absent: where the platform
  // shows volumes.
  Text mountDirectory() const { return mountDirectory_.get(); }
  void setMountDirectory(Text directory) { mountDirectory_.set(std::move(directory)); }
  Text simId() const { return simId_.get(); }
  void setSimId(Text simId) { simId_.set(std::move(simId)); }
  bool preferWired() const { return preferWired_.get(); }
  void setPreferWired(bool wired) { preferWired_.set(wired); }
  bool createAtLogin() const { return createAtLogin_.get(); }
  void setCreateAtLogin(bool create) { createAtLogin_.set(create); }
  bool doNotCalculateBaseSize() const { return doNotCalculateBaseSize_.get(); }
  void setDoNotCalculateBaseSize(bool skip) { doNotCalculateBaseSize_.set(skip); }
  Text postCmd() const { return postCmd_.get(); }
  void setPostCmd(Text command) { postCmd_.set(std::move(command)); }
  Texts postCmdArgs() const { return postCmdArgs_.get(); }
  void setPostCmdArgs(Texts args) { postCmdArgs_.set(std::move(args)); }
  QVRamDiskMdIndexMode mdIndexMode() const { return mdIndexMode_.get(); }
  void setMdIndexMode(QVRamDiskMdIndexMode mode) { mdIndexMode_.set(mode); }
  QVRamDiskBackupMode backupMode() const { return backupMode_.get(); }
  void setBackupMode(QVRamDiskBackupMode mode) { backupMode_.set(mode); }
  Text backupDir() const { return backupDir_.get(); }
  void setBackupDir(Text directory) { backupDir_.set(std::move(directory)); }

  // --- State as last observed

  QVRamDiskStatus status() const { return status_.get(); }
  void setStatus(QVRamDiskStatus status) { status_.set(status); }
  Text deviceNode() const { return deviceNode_.get(); }
  void setDeviceNode(Text node) { deviceNode_.set(std::move(node)); }
  Text path() const { return path_.get(); }  // mount point while mounted
  void setPath(Text path) { path_.set(std::move(path)); }
  Text uuid() const { return uuid_.get(); }  // from older archives only, as is devUUID
  void setUuid(Text uuid) { uuid_.set(std::move(uuid)); }
  std::optional<std::int64_t> devUUID() const { return devUUID_.get(); }
  void setDevUUID(std::optional<std::int64_t> number) { devUUID_.set(number); }
  std::uint64_t volSize() const { return volSize_.get(); }  // bytes
  void setVolSize(std::uint64_t size) { volSize_.set(size); }
  std::uint64_t volFree() const { return volFree_.get(); }  // bytes
  void setVolFree(std::uint64_t free) { volFree_.set(free); }
  QVRamDiskAction action() const { return action_.get(); }
  void setAction(QVRamDiskAction action) { action_.set(action); }
  QVRamDiskActionInfo lastActionInfo() const { return lastActionInfo_.get(); }
  void setLastActionInfo(QVRamDiskActionInfo info) { lastActionInfo_.set(info); }
  QVErrorPtr lastError() const { return lastError_.get(); }
  void setLastError(QVErrorPtr error) { lastError_.set(std::move(error)); }

  // --- Identity

  QVRamDiskType type() const { return type_.get(); }
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

  // Starts an action. Synchronisation, backup and rebuild always run on a thread of their own,
  // clean-up always on the caller's, the others as `threaded` says, which counts only when
  // exactly 1. Where the system has no thread to give, it runs on the caller's. A second action is
  // reported as a critical exception and started all the same.
  void performAction(QVRamDiskAction action, const QVRamDiskDelegatePtr& delegate,
                     std::int64_t threaded);
  // Keeps the progress code and the error, then tells the delegate on this thread.
  void inform(const QVRamDiskDelegatePtr& delegate, QVRamDiskActionInfo actionInfo,
              const QVErrorPtr& error);

  // --- A look at the system (QVRamDisk_State.cpp)

  // Brings the observed state in line with the system. YES when the status or the volume's name,
  // size or free space changed.
  bool update();
  // Whether the disk's own volume is mounted at `path` now, whatever was last observed: a directory
  // that it is gone from holds the user's own files.
  bool showsOwnVolume() const;
  double diskUsage() const;          // used fraction of the volume
  std::int64_t hasContents() const;  // 1, 0, or -1 when it cannot be told

  // --- Creation (QVRamDisk_Create.cpp)

  void performCreate(const QVRamDiskDelegatePtr& delegate);
  // YES when every mandatory step succeeded. `error` may be set all the same: contents that could
  // not be brought back are reported there and the creation goes on.
  bool createWithDelegate(const QVRamDiskDelegatePtr& delegate, QVErrorPtr& error);

  // --- Eject, remount and rebuild (QVRamDisk_Eject.cpp)

  void performEject(const QVRamDiskDelegatePtr& delegate);
  void performRemount(const QVRamDiskDelegatePtr& delegate);
  void performRebuild(const QVRamDiskDelegatePtr& delegate);
  // Saves the contents, unmounts, detaches and puts the base back. A failed save ends it there.
  QVErrorPtr eject(const QVRamDiskDelegatePtr& delegate);

  // --- Backups (QVRamDisk_Backup.cpp)

  Text backupDirPath() const;  // nullopt where the mode has no backup folder
  Text savedBasePath() const;  // where the directory's own contents are set aside
  bool isSavedIntoBase() const;
  bool savesContents() const;  // when it is ejected, into the base or a backup folder
  void deleteBackupDirs();
  void performBackup(const QVRamDiskDelegatePtr& delegate);
  void performSyncWithBase(const QVRamDiskDelegatePtr& delegate);

  // --- Deleting all files (QVRamDisk_CleanUp.cpp)

  // Touches nothing where the disk's volume is not mounted at `path` any more.
  void performCleanUpFiles();
  // The same for who cannot wait: on a thread of its own, with the disk marked as busy and with a
  // first and a last report, as other actions are.
  void startCleanUp(const QVRamDiskDelegatePtr& delegate);

 protected:
  QVRamDisk() = default;
  void readFrom(const extensions::KeyedUnarchiver& coder);

 private:
  Text simulatorName() const;
  platform::ImagePtr baseIcon() const;
  platform::ImagePtr volumeIcon(const std::string& path) const;
  void forgetDisplayIcons();
  void takeOnType(QVRamDiskType type, std::uint64_t options);
  virtual bool isOfClassOf(const QVRamDisk& other) const;
  using Operation = void (QVRamDisk::*)(const QVRamDiskDelegatePtr&);
  void dispatch(QVRamDiskAction action, const QVRamDiskDelegatePtr& delegate, bool threaded);
  void reportRunningAction() const;
  void startOnThread(QVRamDiskAction action, Operation operation,
                     const QVRamDiskDelegatePtr& delegate);
  void runAlone(Operation operation, const QVRamDiskDelegatePtr& delegate);
  // Null while the disk shows its own volume, or has no path, where nothing can be found. Else the
  // reason to leave alone what is there; the observed state is brought in line.
  QVErrorPtr checkVolume();
  void performCleanUp(const QVRamDiskDelegatePtr& delegate);
  void performReportedCleanUp(const QVRamDiskDelegatePtr& delegate);
  QVErrorPtr cleanUpFiles();
  QVErrorPtr saveInto(const Text& folder, const QVRamDiskDelegatePtr& delegate, SaveCare care);
  QVErrorPtr saveContents(const QVRamDiskDelegatePtr& delegate);
  QVErrorPtr saveLateChanges(const QVRamDiskDelegatePtr& delegate);
  QVErrorPtr ejectDevice(const QVRamDiskDelegatePtr& delegate);
  void putBaseBack();
  void findVolumeAgain();

  struct Observed;
  Observed observeMounted(const std::string& path);
  Observed observeUnmounted();

  AtomicProperty<QVRamDiskType> type_;
  Text identifier_;  // fixed once made
  AtomicProperty<QVRamDiskFormat> format_;
  AtomicProperty<Text> name_;
  AtomicProperty<std::uint64_t> size_;
  AtomicProperty<Text> mountDirectory_;
  AtomicProperty<Text> simId_;
  mutable AtomicProperty<std::shared_ptr<const QVSimDevice>> simDevice_;  // last one shown
  struct VolumeIcon {
    platform::ImagePtr image;
    double modified = 0;  // of its file, seconds since 1970
  };
  mutable AtomicProperty<VolumeIcon> volumeIcon_;
  mutable std::array<AtomicProperty<platform::ImagePtr>, 3> displayIcons_;  // one per size
  AtomicProperty<bool> preferWired_;
  AtomicProperty<bool> createAtLogin_;
  AtomicProperty<bool> doNotCalculateBaseSize_;
  AtomicProperty<Text> postCmd_;
  AtomicProperty<Texts> postCmdArgs_;
  AtomicProperty<QVRamDiskMdIndexMode> mdIndexMode_;
  AtomicProperty<QVRamDiskBackupMode> backupMode_;
  AtomicProperty<Text> backupDir_;
  AtomicProperty<QVRamDiskStatus> status_;
  AtomicProperty<Text> deviceNode_;
  AtomicProperty<Text> path_;
  AtomicProperty<Text> uuid_;
  AtomicProperty<std::optional<std::int64_t>> devUUID_;
  AtomicProperty<std::uint64_t> volSize_;
  AtomicProperty<std::uint64_t> volFree_;
  AtomicProperty<QVRamDiskAction> action_;
  AtomicProperty<QVRamDiskActionInfo> lastActionInfo_;
  AtomicProperty<QVErrorPtr> lastError_;
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
