#include "cli/Words.h"

namespace cli {

const Words<QVRamDiskType>& kindWords() {
  static const Words<QVRamDiskType> words{{{QVRamDiskType_Default, "plain"},
                                           {QVRamDiskType_Safari, "safari"},
                                           {QVRamDiskType_XcodeBuild, "xcode"},
                                           {QVRamDiskType_IOsSimulator, "ios-simulator"},
                                           {QVRamDiskType_CoreSimulator, "core-simulator"},
                                           {QVRamDiskType_AppCodeCaches, "appcode"},
                                           {QVRamDiskType_Firefox, "firefox"},
                                           {QVRamDiskType_Chrome, "chrome"},
                                           {QVRamDiskType_Opera, "opera"}}};
  return words;
}

const Words<QVRamDiskStatus>& statusWords() {
  static const Words<QVRamDiskStatus> words{{{QVRamDiskStatus_notCreated, "notCreated"},
                                             {QVRamDiskStatus_created, "created"},
                                             {QVRamDiskStatus_mounted, "mounted"}}};
  return words;
}

const Words<QVRamDiskFormat>& formatWords() {
  static const Words<QVRamDiskFormat> words{
      {{QVRamDiskFormat_HFSPlus, "hfs+"},
       {QVRamDiskFormat_CaseSensitiveHFSPlus, "case-sensitive"}}};
  return words;
}

const Words<QVRamDiskMdIndexMode>& indexWords() {
  static const Words<QVRamDiskMdIndexMode> words{{{QVRamDiskMdIndexMode_Unchanged, "unchanged"},
                                                  {QVRamDiskMdIndexMode_On, "on"},
                                                  {QVRamDiskMdIndexMode_Off, "off"}}};
  return words;
}

const Words<QVRamDiskBackupMode>& backupWords() {
  static const Words<QVRamDiskBackupMode> words{{{QVRamDiskBackupMode_None, "none"},
                                                 {QVRamDiskBackupMode_AppSupport, "support"},
                                                 {QVRamDiskBackupMode_Directory, "directory"},
                                                 {QVRamDiskBackupMode_Base, "base"}}};
  return words;
}

const Words<RecoveryStep>& recoveryStepWords() {
  static const Words<RecoveryStep> words{{{RecoveryStep::Adopt, "adopt"},
                                          {RecoveryStep::UndoCreation, "undoCreation"},
                                          {RecoveryStep::FinishEject, "finishEject"},
                                          {RecoveryStep::PutBack, "putBack"},
                                          {RecoveryStep::KeepRescued, "keepRescued"},
                                          {RecoveryStep::GiveBack, "giveBack"},
                                          {RecoveryStep::DropUnfinished, "dropUnfinished"}}};
  return words;
}

}  // namespace cli
