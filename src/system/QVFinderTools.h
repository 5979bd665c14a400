#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/Canvas.h"

// Names that the system keeps in folders and volumes for itself. Names are compared whole and with
// case; lengths are in bytes. Any thread.

// Names that listings, backups and clean-ups leave out. With bit 0 of the mode set, ".DS_Store" and
// the custom-icon file are not among them.
bool QVIsFilenameHiddenExcluded(const char* name, std::size_t length, std::int64_t mode);
// What a file system keeps at its root.
bool QVIsVolumeHiddenFilename(const char* name, std::size_t length);
// What the start-up volume keeps at its root; fewer names with a mode other than 0.
bool QVIsVolumeSystemHiddenFilename(const char* name, std::size_t length, std::int64_t mode);

// A label of the file manager.
struct QVFinderLabel {
  std::string label;         // its name
  platform::ImagePtr badge;  // a spot of its colour, 16 points
};

// Files as the desktop's file manager sees them. Paths are absolute. Any thread.
class QVFinderTools {
 public:
  using Text = std::optional<std::string>;

  // An absent name, or one that no file can have, is none of these.
  static bool isSystemFileNameInFolder(const Text& name, std::int64_t mode);
  static bool isVolumeHiddenFilename(const Text& name);
  static bool isVolumeSystemHiddenFilename(const Text& name, std::int64_t mode);

  // Whether a file may be moved to the trash. 1: it may; 0: it is not there or the user has no
  // right; -1: the rules forbid it. With mode 1 the rules hold only the user's own folders back,
  // with any other one everything outside the home and in its library too. Folders are compared as
  // texts. `reason`, which may be null, is set with each answer but 1.
  static std::int64_t trashableStatusForFile(const Text& path, std::int64_t mode, Text* reason);

  // Opens the information window. NO for what does not exist; a file manager that refuses is
  // logged.
  static bool displayFinderGetInfoOfPath(const Text& path);

  // The labels in their order, without the one that stands for none.
  static std::vector<QVFinderLabel> finderLabelsAsNameAndBadges();

  // The icon of a content type or an extension with the alias badge over it, 16 points. The badge
  // is kept.
  static platform::ImagePtr iconWithAliasMaskForType(const Text& type);

  // Of the item itself, not of what a link leads to.
  static bool isFinderFolderAtFileURL(const Text& url);
};
