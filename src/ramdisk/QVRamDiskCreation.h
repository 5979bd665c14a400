#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ramdisk/QVRamDisk.h"
#include "ramdisk/QVRamDiskBackup.h"
#include "ramdisk/VolumeNotes.h"

// One run of the creation pipeline over a record, with the settings as they were when it began.
// Runs on the thread of the action; each step that fails leaves its error and ends the run.
class QVRamDiskCreation {
 public:
  QVRamDiskCreation(QVRamDiskPtr disk, QVRamDiskDelegatePtr delegate);

  // YES when every mandatory step succeeded.
  bool run();
  // May be set after a successful run, when contents could not be brought back.
  const QVErrorPtr& error() const { return error_; }

 private:
  using Text = std::optional<std::string>;

  bool checkPermission();
  bool handlesBase() const;
  bool setBaseAside();
  bool measureBase(const std::string& basePath);
  bool removeOldSavedBase(const std::string& savedBase);
  bool attach();
  bool findDevice(const std::string& output);
  bool makeFileSystem();
  bool checkFormatterOutput(const std::string& output);
  std::optional<std::string> folderOfNextSave() const;
  bool mount();
  void recordVolume(const std::string& mountedPath);
  bool bringContentsBack();
  void restore(const std::string& folder, std::uint64_t totalBytes);
  bool endRefill(std::optional<SaveNote> note);
  void applyVolumeIcon();
  bool runPostCommand();
  bool applyIndexing();
  bool runIndexer(const std::vector<std::string>& args);

  void inform(QVRamDiskActionInfo info);
  bool fail(std::string message, const char* reason, QVErrorCause cause = {},
            QVErrorCode code = QVErrorCode::None);
  bool failAndDetach(std::string message, const char* reason, QVErrorCause cause = {},
                     QVErrorCode code = QVErrorCode::None);

  const QVRamDiskPtr disk_;
  const QVRamDiskDelegatePtr delegate_;
  const QVRamDiskType type_;
  const QVRamDiskFormat format_;
  const Text name_;
  const std::uint64_t size_;
  const Text mountDirectory_;
  const bool preferWired_;
  const Text postCmd_;
  const std::vector<std::string> postCmdArgs_;
  const QVRamDiskMdIndexMode mdIndexMode_;
  const QVRamDiskBackupMode backupMode_;

  Text savedBase_;              // the directory's own contents, once set aside
  std::uint64_t baseSize_ = 0;  // bytes
  std::string deviceNode_;
  std::string volume_;       // where it is mounted
  bool toBeFilled_ = false;  // from the base or a backup
  QVRamDiskBackup::Lacking lacking_;
  QVErrorPtr error_;
};
