#include "core/Trouble.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

#include "core/QVLocalized.h"

namespace {

constexpr char kDisks[] = "QVRamDiskLocalizable";

// A key, and the facts that fill its placeholders in order: s for the subject, p for the path, t
// for the text. What stands behind a "|" follows on lines of its own.
struct Saying {
  const char* key = nullptr;
  const char* facts = "";
  const char* table = "";
};

constexpr Saying says(const char* key, const char* facts = "") { return {key, facts}; }
constexpr Saying saysOfDisk(const char* key, const char* facts = "") {
  return {key, facts, kDisks};
}

// What the command line has no words of its own for, it says as the window does, behind the
// subject.
struct Row {
  Trouble trouble;
  Saying what{};
  Saying helps{};
  Saying commandWhat{};
  Saying commandHelps{};
};

constexpr Saying kNotInstalled =
    says("Its application is not installed, or its version is not supported.");
constexpr Saying kUnusable = says(
    "Its directory is missing or not writable, or the version of the application is not suitable.");

constexpr Saying kCreated = says(
    "The RamDisk is created. Eject it to change its kind, name, directory, size and format, or to "
    "remove it.");

constexpr Row kRows[] = {
    {.trouble = Trouble::ApplicationRunning,
     .what = saysOfDisk("%@ is running", "t"),
     .commandHelps = says("quit it first")},
    {.trouble = Trouble::NameMissing,
     .what = saysOfDisk("Please, specify a name of RamDisk"),
     .commandHelps = says("give it one with --name")},
    {.trouble = Trouble::NameIllegal,
     .what = saysOfDisk("The name contains invalid character."),
     .commandHelps = says("choose a name without slashes, control characters and the like")},
    {.trouble = Trouble::NameTooLong,
     .what = says("The name is too long for this directory, where it may have %@ bytes.", "t"),
     .commandHelps = says("choose a shorter name")},
    {.trouble = Trouble::SizeWrong,
     .what = saysOfDisk("Please, specify a correct size of RamDisk"),
     .commandHelps = says("choose from 128M to 128G")},
    {.trouble = Trouble::MemoryShort,
     .what = saysOfDisk("Insuffisant computer memory"),
     .commandHelps = says("choose a smaller size; this machine has %@", "t")},
    {.trouble = Trouble::DirectoryUnspecified,
     .what = saysOfDisk("The mount directory is not specified."),
     .commandHelps = says("give one with --directory")},
    {.trouble = Trouble::DirectoryMissing,
     .what = saysOfDisk("The mount directory does not exist."),
     .commandHelps = says("make it first or choose another")},
    {.trouble = Trouble::DirectoryIsNone,
     .what = saysOfDisk("The mount directory is not a directory."),
     .commandHelps = says("choose a directory")},
    {.trouble = Trouble::DirectoryNotLocal,
     .what = saysOfDisk("The mount directory is not local."),
     .commandHelps = says("choose one on a disk of this machine")},
    {.trouble = Trouble::DirectoryOfSystem,
     .what = saysOfDisk("The mount directory can not be a system directory."),
     .commandHelps = says("choose one of your own")},
    {.trouble = Trouble::DirectoryOfUsers,
     .what = saysOfDisk("The mount directory can not be /Users."),
     .commandHelps = says("choose a directory below it")},
    {.trouble = Trouble::DirectoryOfVolumes,
     .what = saysOfDisk("The mount directory can not be /Volumes."),
     .commandHelps = says("choose a directory below it")},
    {.trouble = Trouble::DirectoryInLibrary,
     .what = saysOfDisk("The mount directory can not be a library sub directory."),
     .commandHelps = says("choose one outside of it")},
    {.trouble = Trouble::DirectoryReadOnly,
     .what = saysOfDisk("The mount directory is not writable."),
     .commandHelps = says("choose one that you may write to")},
    {.trouble = Trouble::PlaceOverMount,
     .what = says("Another volume is mounted at %@, which the RamDisk would cover.", "p"),
     .commandHelps = says("unmount it or choose another directory")},
    {.trouble = Trouble::PlaceOfOther,
     .what = says("The RamDisk %@ needs %@, which lies in this directory or around it.", "tp"),
     .commandHelps = says("choose a directory apart from it")},
    {.trouble = Trouble::PlaceOverOwn,
     .what = says("The RamDisk would cover %@, which has to stay on the disk.", "p"),
     .commandHelps = says("choose a directory apart from it")},
    {.trouble = Trouble::KindNotInstalled,
     .what = kNotInstalled,
     .commandWhat = says(
         "the application of the kind %@ is not installed, or its version is not supported", "t"),
     .commandHelps = says("'tarnvale kinds' shows what can be used")},
    {.trouble = Trouble::KindUnusable,
     .what = kUnusable,
     .commandWhat = says("the application of the kind %@ cannot be used now: its directory is "
                         "missing or not writable, or its version is not suitable",
                         "t"),
     .commandHelps = says("'tarnvale kinds' shows what can be used")},
    {.trouble = Trouble::SimulatorOfOtherKind,
     .what = kUnusable,
     .commandWhat = says("only a core-simulator disk takes a simulator device"),
     .commandHelps = says("add --kind core-simulator")},
    {.trouble = Trouble::PlaceOfPreset,
     .what = kUnusable,
     .commandWhat =
         says("a disk of the kind %@ has the name and the directory of its application", "t"),
     .commandHelps = says("leave --name, --directory and the path out")},
    {.trouble = Trouble::BackupDirectoryUnused,
     .what = says("The backup directory is not specified."),
     .commandWhat = says("--backup-dir goes with --backup directory only"),
     .commandHelps = says("leave one of the two out")},
    {.trouble = Trouble::BackupDirectoryMissing,
     .what = says("The backup directory does not exist."),
     .commandWhat = says("the backup directory %@ is not there", "p"),
     .commandHelps = says("make it first or choose another")},
    {.trouble = Trouble::BackupDirectoryReadOnly,
     .what = says("The backup directory is not writable."),
     .commandWhat = says("the backup directory %@ is not writable", "p"),
     .commandHelps = says("choose one that you may write to")},
    {.trouble = Trouble::BackupDirectoryOnDisk,
     .what = says("The backup directory lies on the RamDisk itself."),
     .commandWhat = says("the backup directory %@ lies on the disk itself", "p"),
     .commandHelps = says("choose one outside of it")},
    {.trouble = Trouble::BackupDirectoryOnOther,
     .what = says("The backup directory lies on the RamDisk %@.", "t"),
     .commandWhat = says("the backup directory %@ lies on the disk %@", "pt"),
     .commandHelps = says("choose one outside of it")},
    {.trouble = Trouble::BackupDirectoryUnspecified,
     .what = says("The backup directory is not specified."),
     .commandWhat = says("there is no directory to keep the contents in"),
     .commandHelps = says("give one with --backup-dir")},
    {.trouble = Trouble::NoBase,
     .what = says("There is no mount directory to write the contents back to."),
     .commandWhat = says("there is no directory to write the contents back to"),
     .commandHelps = says("give one with --directory or choose another --backup")},
    {.trouble = Trouble::PostCommand,
     .what = {"%@", "t"},
     .commandWhat = says("the post-command %@: %@", "st"),
     .commandHelps = says("give the path of an executable")},
    {.trouble = Trouble::SharedPlace,
     .what = says("The RamDisk %@ has its place at %@ already.", "sp"),
     .commandWhat = says("the disk %@ has its place at %@ already", "sp"),
     .commandHelps = says("choose another name or directory, or change that one")},
    {.trouble = Trouble::ContentsReplaced,
     .what = says("%@ holds files, which a RamDisk that begins empty would leave out and then "
                  "replace.",
                  "p"),
     .commandHelps = says("bring them in with --measure, or choose another --backup")},
    {.trouble = Trouble::ContentsHidden,
     .what =
         says("What %@ holds is not on the RamDisk, and out of sight while that is mounted.", "p"),
     .commandHelps = says("--backup base brings it in and writes it back")},
    {.trouble = Trouble::BaseAside,
     .what = says("The directory's own contents still lie in %@. Create and eject the RamDisk to "
                  "put them back.",
                  "p"),
     .commandWhat = says("%@: the directory's own contents still lie aside in %@", "sp"),
     .commandHelps = says("create and eject the disk to put them back, or move them yourself")},
    {.trouble = Trouble::Created,
     .what = kCreated,
     .commandWhat = says("%@ is created", "s"),
     .commandHelps = says("eject it first with 'tarnvale eject'")},
    {.trouble = Trouble::CreatedAsItIs,
     .what = kCreated,
     .commandWhat = says("%@ is created; its kind, name, directory, size and format, and whether "
                         "it is kept in its base, cannot change now",
                         "s"),
     .commandHelps = says("eject it first with 'tarnvale eject'")},
    {.trouble = Trouble::Acting,
     .what = says("Another program is working on this RamDisk", "|t"),
     .commandWhat = says("another program is working on %@ (%@)", "st"),
     .commandHelps = says("try again when it is done")},
    {.trouble = Trouble::Full,
     .what = says("There are 15 RamDisks already, the most there can be."),
     .commandWhat = says("there are 15 disks already, the most there can be"),
     .commandHelps = says("remove one first with 'tarnvale remove'")},
    {.trouble = Trouble::Gone,
     .what = says("Another program removed the RamDisk."),
     .commandWhat = says("the disk is there no more")},
    {.trouble = Trouble::RegistryWithoutFolder,
     .what = says("The folder of the list of RamDisks can not be used."),
     .commandWhat = says("the folder of the registry cannot be had"),
     .commandHelps = says("check the permissions of your home directory")},
    {.trouble = Trouble::RegistryUnreadable,
     .what = says("The list of RamDisks (%@) can not be read. Restore it from a backup, or move it "
                  "away to start with an empty list.",
                  "p"),
     .commandWhat = says("the registry %@ cannot be read", "p"),
     .commandHelps = says("restore it from a backup or move it away to start with an empty list")},
    {.trouble = Trouble::RegistryUnwritable,
     .what = says("The list of RamDisks (%@) can not be written.", "p|t"),
     .commandWhat = says("the registry %@ cannot be written (%@)", "pt"),
     .commandHelps =
         says("check the permissions of this file and of its folder, and the free space there")},
    {.trouble = Trouble::RegistryBusy,
     .what = says("Another program keeps the list of RamDisks locked (%@). Try again when it is "
                  "done, or end it.",
                  "p"),
     .commandWhat = says("another program keeps the registry locked and does not come to an end"),
     .commandHelps = says("end it and try again; 'fuser %@' shows which it is", "p")},
    {.trouble = Trouble::ContentsTooLarge,
     .helps = says("Make the RAM disk larger in Tarnvale."),
     .commandHelps = says("make it larger with 'tarnvale set %@ --size SIZE'", "s")},
    {.trouble = Trouble::CommandFailed,
     .helps = says("Try the command by hand, or change it in Tarnvale."),
     .commandHelps =
         says("try the command by hand, or change it with 'tarnvale set %@ --post-command'", "s")},
    {.trouble = Trouble::PlaceTaken,
     .helps = says("Unmount what is mounted there, or give the RAM disk another place."),
     .commandHelps = says("unmount what is mounted there, or give the disk another place")},
    {.trouble = Trouble::OtherVolume,
     .helps = says("The device holds another volume. Create the RAM disk anew."),
     .commandHelps =
         says("the device holds another volume; 'tarnvale create %@' makes the disk anew", "s")},
    {.trouble = Trouble::Locked,
     .helps = says("Try again when it is done."),
     .commandHelps = says("try again when it is done")},
    {.trouble = Trouble::RefillUnfinished,
     .helps = says(
         "Its contents never came in whole; the command \"tarnvale recover %@\" undoes it.", "s"),
     .commandHelps =
         says("its contents never came in whole; 'tarnvale recover %@' undoes it", "s")},
    {.trouble = Trouble::NotRestored,
     .helps = says("The RAM disk is mounted, but its contents could not be brought back."),
     .commandHelps = says("the disk is mounted, but its contents could not be brought back")},
    {.trouble = Trouble::StillMounted,
     .helps = says("The RAM disk is still mounted with its contents. End what uses it, or make "
                   "room for saving, and try again."),
     .commandHelps = says("the disk is still mounted with its contents; end what uses it, or make "
                          "room for saving, and try again")},
    {.trouble = Trouble::BaseLeftAside,
     .helps = says("The directory's own contents lie in %@; the command \"tarnvale recover %@\" "
                   "puts them back.",
                   "ps"),
     .commandHelps = says(
         "the directory's own contents lie in %@; 'tarnvale recover %@' puts them back", "ps")},
    {.trouble = Trouble::InUse,
     .helps = says("Quit these programs, and try again."),
     .commandHelps = says("close what uses it and leave its folders, or go on with --force")},
    {.trouble = Trouble::NotAllSaved,
     .helps = says("The save before is kept too. Put right what stands in the way, and try again."),
     .commandHelps = says("the save before is kept too; put right what stands in the way and try "
                          "again, or eject with --force")},
    {.trouble = Trouble::CannotBeHeld,
     .helps = says("Make it readable, or take it out of the directory."),
     .commandHelps = says("make it readable or take it out of the directory, or go on with --force "
                          "and it stays aside")},
};

const std::string& factOf(const TroubleFacts& facts, char letter) {
  if (letter == 's') return facts.subject;
  return letter == 'p' ? facts.path : facts.text;
}

std::string said(const Saying& saying, const TroubleFacts& facts) {
  if (!saying.key) return {};
  const std::string_view letters = saying.facts;
  const auto end = std::min(letters.find('|'), letters.size());
  const auto value = [&](std::size_t index) {
    return index < end ? std::string_view(factOf(facts, letters[index])) : std::string_view();
  };
  std::string text = QVLocalizedFormat(saying.key, {value(0), value(1)}, saying.table);
  for (const char letter : letters.substr(std::min(end + 1, letters.size())))
    text += "\n" + factOf(facts, letter);
  return text;
}

const Row& rowOf(Trouble trouble) {
  static constexpr Row kNone{.trouble = Trouble::None};
  const auto* row = std::find_if(std::begin(kRows), std::end(kRows),
                                 [&](const Row& each) { return each.trouble == trouble; });
  return row == std::end(kRows) ? kNone : *row;
}

}  // namespace

std::string whatHappened(Trouble trouble, const TroubleFacts& facts) {
  return said(rowOf(trouble).what, facts);
}

std::string whatHelps(Trouble trouble, const TroubleFacts& facts) {
  return said(rowOf(trouble).helps, facts);
}

CommandSentence commandSentence(Trouble trouble, const TroubleFacts& facts) {
  const Row& row = rowOf(trouble);
  std::string todo = said(row.commandHelps, facts);
  if (row.commandWhat.key) return {said(row.commandWhat, facts), std::move(todo)};
  const std::string what = said(row.what, facts);
  return {facts.subject.empty() || what.empty() ? what : facts.subject + ": " + what,
          std::move(todo)};
}
