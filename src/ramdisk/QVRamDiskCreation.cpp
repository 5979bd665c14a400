#include <cerrno>
#include <filesystem>

#include "core/QVLocalized.h"
#include "core/QVLog.h"
#include "device/QVRamDiskDevice.h"
#include "extensions/PathExtension.h"
#include "extensions/PropertyList.h"
#include "extensions/Text.h"
#include "platform/Services.h"
#include "ramdisk/Generation.h"
#include "ramdisk/QVRamDisk.h"
#include "ramdisk/Recovery.h"
#include "ramdisk/Surroundings.h"
#include "ramdisk/Users.h"
#include "system/DiskPlaces.h"
#include "system/QVDirectoryStatistics.h"
#include "system/QVFunctions.h"
#include "system/QVMacInfo.h"
#include "system/TreeCopier.h"

// A creation is a pipeline; the first mandatory step that fails ends it, with its error:
//
//   permit      may this disk be made, here and of this size
//   recover     what an action left that was cut off: a set-aside folder, a device never used
//   look        who has the directory open, and what in it could not come in
//   set aside   the directory becomes the saved base, measured first so that it will fit
//   attach      the memory as a device, noted in a file until its volume is mounted and labelled
//   format, mount, label
//   fill        from the saved base, then with what only a backup has
//   finish      the volume's icon, the user's command, the search index
//
// A volume that is to be filled is marked before it is labelled as ours, and the mark goes when all
// is in: until then it is never saved, and recovery undoes it. So a kill at any point leaves the
// directory's contents where they were or in the saved base, never in memory alone. From attaching
// on a step that fails detaches the device with everything on it, and the base goes back in the
// same action (QVRamDisk::undoCreation). Filling is the exception: an entry that cannot be brought
// in leaves the disk mounted, is told, and is kept by every later save (see RefillNote in
// Generation.h). The last three steps work on a volume that is whole already.

namespace {

using extensions::appendingPathComponent;
using platform::services;
using platform::Tool;
using Text = std::optional<std::string>;

constexpr char kUnable[] = "Unable to create RamDisk";
constexpr char kVolumeIcon[] = ".VolumeIcon.icns";
constexpr std::uint64_t kLargestWired = 1'073'741'824;  // bytes
constexpr unsigned kSectorShift = 9;                    // sectors of 512 bytes

std::string withTildeExpanded(const std::string& path) {
  return extensions::expandingTilde(path, services().places->home().value_or(""));
}

std::string sizeText(std::uint64_t bytes) {
  return QVText(QVFunctions::stringFromBytesWithBin1024Style(static_cast<std::int64_t>(bytes)));
}

// The device node of the attached image's one entity.
Text singleDeviceNode(const std::string& output) {
  const auto list = extensions::parsePropertyList(output);
  const auto* entities = list ? list->find("system-entities") : nullptr;
  const auto* array = entities ? entities->array() : nullptr;
  if (!array || array->size() != 1) return std::nullopt;
  const auto* entry = array->back().find("dev-entry");
  const auto* node = entry ? entry->string() : nullptr;
  return node ? Text(*node) : std::nullopt;
}

bool announcesNewVolume(const std::string& line) {
  for (const char* expected : {"Initialized /dev/rdisk", " as a ", "HFS Plus volume"})
    if (line.find(expected) == std::string::npos) return false;
  return true;
}

// One run of the creation pipeline over a record, with the settings as they were when it began.
// Runs on the thread of the action; each step that fails leaves its error and ends the run.
class QVRamDiskCreation {
 public:
  QVRamDiskCreation(QVRamDiskPtr disk, QVRamDiskDelegatePtr delegate, const ActionLock& lock,
                    bool force, bool atLogin)
      : disk_(std::move(disk)),
        delegate_(std::move(delegate)),
        lock_(lock),
        terms_{force, atLogin},
        settings_(disk_->settings()) {}

  // YES when every mandatory step succeeded.
  bool run();
  // May be set after a successful run, when contents could not be brought back.
  const QVErrorPtr& error() const { return error_; }

 private:
  using Text = std::optional<std::string>;

  bool checkPermission();
  bool handlesBase() const;
  Text backupFolder() const { return settings_.backupFolder(disk_->identifier()); }
  bool setBaseAside();
  bool checkUsers(const std::string& base);
  bool checkContents(const std::string& base);
  bool measureBase(const std::string& basePath);
  bool clearSavedBase(const std::string& savedBase);
  platform::Outcome changePlaces(const std::string& base, const std::string& saved);
  void tellWhatIsLacking();
  bool attach();
  bool findDevice(const std::string& output);
  bool makeFileSystem();
  bool checkFormatterOutput(const std::string& output);
  std::optional<std::string> folderOfNextSave() const;
  bool mount();
  void openToOthers();
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
  const ActionLock& lock_;
  const struct {
    bool force;
    bool atLogin;
  } terms_;
  const DiskSettings settings_;  // as they were when it began

  Text savedBase_;                    // the directory's own contents, once set aside
  std::optional<timespec> baseSeen_;  // noted with it
  std::uint64_t baseSize_ = 0;        // bytes
  std::string deviceNode_;
  std::string volume_;       // where it is mounted
  bool toBeFilled_ = false;  // from the base or a backup
  QVRamDiskBackup::Lacking lacking_;
  QVErrorPtr error_;
};

bool QVRamDiskCreation::run() {
  if (!checkPermission()) return false;
  if (settings_.type != QVRamDiskType_Default)
    disk_->changeToType(settings_.type, QVRamDiskChangeTypeKeepSettings);
  putGenerationsBack(disk_, lock_);
  giveBackStrayDevice(disk_, lock_);
  if (handlesBase() && !setBaseAside()) return false;
  if (!attach() || !makeFileSystem() || !mount() || !bringContentsBack()) return false;
  applyVolumeIcon();
  return runPostCommand() && applyIndexing();
}

bool QVRamDiskCreation::checkPermission() {
  const auto can = checkCreationOf(*disk_);
  if (can) return true;
  const auto& [trouble, facts] = can.error();
  return fail(QVLocalized(kUnable), "canStatus==NO", QVCauseFromText(whatHappened(trouble, facts)));
}

bool QVRamDiskCreation::handlesBase() const {
  return !settings_.doNotCalculateBaseSize && settings_.isKeptInBase();
}

bool QVRamDiskCreation::setBaseAside() {
  inform(QVRamDiskActionInfo_creatingCalculatingBaseDirSize);
  const Text saved = settings_.savedBase();
  const std::string base = settings_.mountPath();
  if (!saved || !services().files->exists(base)) return true;
  if (!checkUsers(base) || !measureBase(base) || !checkContents(base)) return false;
  // Under a mounted volume the saved base is the only copy of the directory's own contents.
  if (QVRamDiskDevice::hasMountedVolumeAtPath(base) != 1 && !clearSavedBase(*saved)) return false;
  if (!services().files->exists(base)) return true;
  if (const auto done = changePlaces(base, *saved); !done)
    return fail(QVLocalizedFormat("Unable to move current base (%@) before create RamDisk",
                                  {withTildeExpanded(base)}),
                "removeItemAtPath==NO", done.error());
  savedBase_ = saved;
  baseSeen_ = noteSeenNow(*saved);
  return true;
}

// In one step where the file system can, so that the path never leads nowhere. What then stands
// there belongs to its owner alone until the volume covers it.
platform::Outcome QVRamDiskCreation::changePlaces(const std::string& base,
                                                  const std::string& saved) {
  auto& files = *services().files;
  if (QVRamDiskDevice::hasMountedVolumeAtPath(base) == 0 && files.createDirectories(saved)) {
    std::error_code refused;
    std::filesystem::permissions(saved, std::filesystem::perms::owner_all, refused);
    auto exchanged = files.exchange(base, saved);
    if (exchanged) return {};
    files.removeEmpty(saved);
    if (exchanged.error().code != ENOTSUP) return exchanged;
  }
  return files.move(base, saved);
}

// What they write goes on going there, wherever the directory is moved. Where nobody can be asked
// only who writes counts: a save tells what else changed there.
bool QVRamDiskCreation::checkUsers(const std::string& base) {
  if (terms_.force) return true;
  auto users = services().volumes->useBelow(base).users;
  if (terms_.atLogin) std::erase_if(users, [](const auto& user) { return !user.writing; });
  if (users.empty()) return true;
  error_ = inUseError(withTildeExpanded(base), users);
  return false;
}

// What its user cannot read stays in the saved base and is moved from save to save; what no volume
// can hold likewise. Both are told; the first is refused unless the user insists.
bool QVRamDiskCreation::checkContents(const std::string& base) {
  const auto contents = lookAtContents(base);
  if (!contents.unreadable.empty() && !terms_.force)
    return fail(QVLocalizedFormat("%@ holds what you may not read: %@",
                                  {withTildeExpanded(base), someOf(contents.unreadable)}),
                "unreadable", {}, QVErrorCode::CannotBeHeld);
  const auto most = services().volumes->mostEntries(settings_.size);
  if (most && contents.entries >= *most)
    return fail(QVLocalizedFormat("The RamDisk can hold %@ files and folders, and %@ holds %@",
                                  {std::to_string(*most), withTildeExpanded(base),
                                   std::to_string(contents.entries)}),
                "mostEntries", {}, QVErrorCode::ContentsTooLarge);
  if (!contents.special.empty())
    disk_->tell(QVLocalizedFormat("These are no files and stay aside until %@ is ejected: %@",
                                  {disk_->displayName().value_or(""), someOf(contents.special)}));
  return true;
}

bool QVRamDiskCreation::measureBase(const std::string& basePath) {
  QVDirectoryStatistics directoryStatistics;
  if (!QVGetDirectoryStatistics(&directoryStatistics, 0, basePath))
    return fail(QVLocalized("Unable to calculate size of base directory."), "executeCommand==NO");
  baseSize_ = directoryStatistics.totalSize;
  if (settings_.hasRoomFor(baseSize_)) return true;
  return fail(QVLocalizedFormat("Insufficient space to create RamDisk (RamDisk: %@, Base: %@)",
                                {sizeText(settings_.size), sizeText(baseSize_)}),
              "directoryStatistics.totalSize", {}, QVErrorCode::ContentsTooLarge);
}

// Recovery has put back or kept aside whatever was of the user's there; what is left now is nothing
// or something nobody knows, which is not taken away.
bool QVRamDiskCreation::clearSavedBase(const std::string& savedBase) {
  if (!services().files->exists(savedBase)) return true;
  const auto removed = services().files->removeEmpty(savedBase);
  if (removed) return true;
  return fail(QVLocalizedFormat("Unable to delete previous backup base (%@)",
                                {withTildeExpanded(savedBase)}),
              "removeItemAtPath==NO", removed.error());
}

bool QVRamDiskCreation::attach() {
  inform(QVRamDiskActionInfo_creating);
  std::vector<std::string> args = {"attach", "-nomount", "-plist",
                                   "ram://" + std::to_string(settings_.size >> kSectorShift)};
  if (settings_.size <= kLargestWired && settings_.preferWired && !QVMacInfo::isMavericksOrBetter())
    args.emplace_back("-kernel");
  std::int64_t status = 0;
  Text output;
  Text errors;
  if (!QVFunctions::executeCommand(services().places->tool(Tool::Attacher), args, status, &output,
                                   &errors) ||
      status != 0)
    return fail(QVLocalized(kUnable), "executeCommand==NO", QVCauseFromText(errors));
  return findDevice(output.value_or(""));
}

bool QVRamDiskCreation::findDevice(const std::string& output) {
  const Text node = singleDeviceNode(output);
  if (!node) return fail(QVLocalized(kUnable), "systemEntities");
  deviceNode_ = *node;
  noteAttachedDevice(disk_->identifier(), deviceNode_);
  return true;
}

bool QVRamDiskCreation::makeFileSystem() {
  inform(QVRamDiskActionInfo_creatingNewFileSystem);
  std::vector<std::string> args = {"-v", settings_.name.value_or(""), deviceNode_};
  if (settings_.format == QVRamDiskFormat_CaseSensitiveHFSPlus) args.insert(args.begin(), "-s");
  std::int64_t status = 0;
  Text output;
  Text errors;
  if (!QVFunctions::executeCommand(services().places->tool(Tool::Formatter), args, status, &output,
                                   &errors) ||
      status != 0)
    return failAndDetach(QVLocalized(kUnable), "executeCommand==NO", QVCauseFromText(errors));
  return checkFormatterOutput(output.value_or(""));
}

bool QVRamDiskCreation::checkFormatterOutput(const std::string& output) {
  const auto lines = QVFunctions::linesFromString(output);
  if (lines && lines->size() == 1 && announcesNewVolume(lines->front())) return true;
  return failAndDetach(QVLocalized(kUnable), "lines");
}

bool QVRamDiskCreation::mount() {
  inform(QVRamDiskActionInfo_creatingMoutingVolume);
  Text mounted;
  toBeFilled_ = folderOfNextSave().has_value();
  if (const auto cause = QVRamDiskDevice::mountDeviceNode(
          deviceNode_, settings_.mountDirectory, settings_.name, settings_.format, settings_.type,
          disk_->identifier(), mounted,
          toBeFilled_ ? QVVolumeState::NewToBeFilled : QVVolumeState::New))
    return failAndDetach(QVLocalized(kUnable), "mountDeviceNode", cause);
  forgetAttachedDevice(disk_->identifier());
  volume_ = mounted.value_or("");
  recordVolume(volume_);
  if (!toBeFilled_) openToOthers();
  return true;
}

// A new volume may belong to its owner alone; what is to be filled takes on its base's own rights.
void QVRamDiskCreation::openToOthers() {
  using std::filesystem::perms;
  std::error_code refused;
  std::filesystem::permissions(volume_,
                               perms::owner_all | perms::group_read | perms::group_exec |
                                   perms::others_read | perms::others_exec,
                               refused);
}

void QVRamDiskCreation::recordVolume(const std::string& mountedPath) {
  const auto attributes = services().volumes->attributes(mountedPath);
  if (!attributes)
    QVLogError("QVRamDisk", "attrs==nil mountedPath:{} e:{}", mountedPath,
               QVDescription(attributes.error()));
  const auto values = attributes.value().value_or(platform::FileSystemAttributes{});
  disk_->change([&](DiskSettings&, DiskObservation& observed) {
    observed.status = QVRamDiskStatus_mounted;
    observed.deviceNode = deviceNode_;
    observed.path = mountedPath;
    observed.volSize = values.size;
    observed.volFree = values.free;
  });
}

// What the volume will be saved into, while it has something to be filled from.
std::optional<std::string> QVRamDiskCreation::folderOfNextSave() const {
  if (savedBase_) return savedBase_;
  const Text backup = backupFolder();
  return backup ? Generation(*backup).whole() : std::nullopt;
}

// The directory's own contents come first; a backup then adds what they do not hold.
bool QVRamDiskCreation::bringContentsBack() {
  auto note = toBeFilled_ ? noteSaveBegun(volume_) : std::nullopt;
  if (savedBase_) {
    if (!baseSeen_) noteSeen(volume_, changeTime(*savedBase_).value());
    QVRamDiskBackup::takeOnAttributes(*savedBase_, volume_);  // before anything private comes in
    inform(QVRamDiskActionInfo_creatingRecopingFromBase);
    restore(*savedBase_, baseSize_);
  }
  if (const Text backup = backupFolder()) {
    inform(QVRamDiskActionInfo_creatingRestoring);
    restore(*backup, 0);
  }
  return !toBeFilled_ || endRefill(std::move(note));
}

// A volume that cannot be told whole would never be saved, so it is not kept.
bool QVRamDiskCreation::endRefill(std::optional<SaveNote> note) {
  if (const auto done = noteRefillEnded(volume_, lacking_.paths, lacking_.unlisted); !done)
    return failAndDetach(QVLocalized(kUnable), "noteRefillEnded", done.error());
  if (!lacking_.empty()) tellWhatIsLacking();
  const auto folder = folderOfNextSave();
  const auto identity = folder && note ? giveNewIdentity(*folder) : std::nullopt;
  if (!identity) return true;
  note->generation = *identity;
  noteSaveEnded(volume_, *note);
  return true;
}

// What is no file was told before.
void QVRamDiskCreation::tellWhatIsLacking() {
  const std::string from = savedBase_.value_or(backupFolder().value_or(""));
  auto paths = lacking_.paths;
  std::erase_if(paths,
                [&](const auto& path) { return isSpecial(appendingPathComponent(from, path)); });
  if (paths.empty() && !lacking_.unlisted) return;
  disk_->tell(QVLocalizedFormat(
      "%@ entries could not be brought into %@; they are kept and come back when it is ejected: %@",
      {std::to_string(paths.size()), disk_->displayName().value_or(""),
       someOf(paths, lacking_.unlisted)}));
}

void QVRamDiskCreation::restore(const std::string& folder, std::uint64_t totalBytes) {
  const auto cause = QVRamDiskBackup::sharedInstance().restoreRamDiskAtPath(
      disk_->path(), folder, disk_->progressFor(delegate_, totalBytes), &lacking_);
  if (!cause) return;
  lacking_.unlisted = true;
  error_ = QVError::errorWithMessage(QVLocalized(kUnable), "restoreRamDiskAtPath", cause,
                                     QVErrorCode::NotRestored);
}

void QVRamDiskCreation::applyVolumeIcon() {
  const std::string path = disk_->path().value_or("");
  const std::string icon = appendingPathComponent(path, kVolumeIcon);
  if (!services().files->exists(icon) || services().workspace->setIconFromFile(icon, path)) return;
  QVLogError("QVRamDisk", "icon==nil || setIcon==NO volIconPath:{}", icon);
}

bool QVRamDiskCreation::runPostCommand() {
  const std::string command =
      extensions::trimmedWhitespaceAndNewlines(settings_.postCmd.value_or(""));
  if (command.empty()) return true;
  inform(QVRamDiskActionInfo_creatingExecutingPostCommand);
  std::int64_t status = 0;
  Text errors;
  if (QVFunctions::executeCommand(command,
                                  settings_.postCmdArgs.value_or(std::vector<std::string>()),
                                  std::nullopt, disk_->path(), status, nullptr, &errors) &&
      status == 0)
    return true;
  return failAndDetach(QVLocalized("Can not execute post-command"), "runPostCommand",
                       QVCauseFromText(errors), QVErrorCode::CommandFailed);
}

bool QVRamDiskCreation::applyIndexing() {
  if (settings_.mdIndexMode != QVRamDiskMdIndexMode_On &&
      settings_.mdIndexMode != QVRamDiskMdIndexMode_Off)
    return true;
  inform(QVRamDiskActionInfo_creatingMdIndexMode);
  const std::string path = disk_->path().value_or("");
  if (settings_.mdIndexMode == QVRamDiskMdIndexMode_On) return runIndexer({"-i", "on", path});
  return runIndexer({"-i", "off", path}) && runIndexer({"-E", path}) && runIndexer({"-d", path});
}

bool QVRamDiskCreation::runIndexer(const std::vector<std::string>& args) {
  std::int64_t status = 0;
  Text errors;
  if (QVFunctions::executeCommand(services().places->tool(Tool::Indexer), args, status, nullptr,
                                  &errors) &&
      status == 0)
    return true;
  return failAndDetach(QVLocalized("Can not apply status of MD Index"), "executeCommand==NO",
                       QVCauseFromText(errors));
}

void QVRamDiskCreation::inform(QVRamDiskActionInfo info) {
  disk_->inform(delegate_, info, nullptr);
}

bool QVRamDiskCreation::fail(std::string message, const char* reason, QVErrorCause cause,
                             QVErrorCode code) {
  error_ = QVError::errorWithMessage(std::move(message), reason, std::move(cause), code);
  return false;
}

// The device goes with everything on it; the set-aside base stays where it is.
bool QVRamDiskCreation::failAndDetach(std::string message, const char* reason, QVErrorCause cause,
                                      QVErrorCode code) {
  fail(std::move(message), reason, std::move(cause), code);
  if (!QVRamDiskDevice::ejectRamDiskDeviceNode(deviceNode_, std::nullopt,
                                               settings_.ownsMountDirectory()))
    forgetAttachedDevice(disk_->identifier());
  return false;
}

}  // namespace

// A link that an earlier action set aside in place of the directory goes back first.
void QVRamDisk::useRealPlace(const ActionLock& lock) {
  auto real = settings();
  const std::string given = real.mountPath();
  real.useRealPlace();
  if (real.mountPath() == given) return;
  putGenerationsBack(shared_from_this(), lock);
  change([](DiskSettings& settings, DiskObservation&) { settings.useRealPlace(); });
}

bool QVRamDisk::createVolume(const QVRamDiskDelegatePtr& delegate, QVErrorPtr& error,
                             const ActionLock& lock) {
  useRealPlace(lock);
  const auto terms = insistence();
  QVRamDiskCreation creation(shared_from_this(), delegate, lock, terms.force, terms.atLogin);
  const bool created = creation.run();
  error = creation.error();
  return created;
}

bool QVRamDisk::createWithDelegate(const QVRamDiskDelegatePtr& delegate, QVErrorPtr& error) {
  const auto lock = lockForAction({}, error);
  return lock && createVolume(delegate, error, *lock);
}
