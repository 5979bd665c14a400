#pragma once
// A saved folder and what stands around it while a save is under way:
//
//   FOLDER              the generation
//   FOLDER.previous     the one before, kept until the new one is whole and on the device
//   FOLDER.incomplete   an empty folder; while it is there, FOLDER is not whole
//
// A save sets FOLDER aside as the previous one, marks, fills FOLDER anew, flushes, unmarks, and
// only then drops the previous one. So whatever cuts it off, one of the two is whole, and which one
// can be told. Stateless but for the paths; any thread.

#include <optional>
#include <string>
#include <string_view>

#include "platform/Result.h"

inline constexpr std::string_view kPreviousExtension = "previous";

class Generation {
 public:
  explicit Generation(std::string folder, std::string_view previousExt = kPreviousExtension);

  const std::string& folder() const { return folder_; }
  const std::string& previous() const { return previous_; }

  bool exists() const;
  bool hasPrevious() const;
  bool isMarked() const;

  // The one to restore from, never a marked one. nullopt: none.
  std::optional<std::string> whole() const;

  // Both are on the device when they return. The folder above exists.
  platform::Outcome mark() const;
  platform::Outcome unmark() const;  // without a mark it does nothing

 private:
  std::string folder_;
  std::string previous_;
  std::string marker_;
};

// What tells a generation from every other, kept with the folder; a copy or a restored folder does
// not have it. nullopt where the file system keeps no attributes.
std::optional<std::string> generationIdentity(const std::string& folder);
std::optional<std::string> giveNewIdentity(const std::string& folder);
void takeIdentity(const std::string& folder);

// The attributes of ours begin so; a folder that stands for another does not take them on.
inline constexpr char kOwnAttributePrefix[] = "com.tarnvale.";
