#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Canvas.h"

// Byte counts as short texts, and the small pictures of the menu. Any thread.
class QVRamDiskFunctions {
 public:
  // nullopt for a negative count. The texts are looked up once.
  static std::optional<std::string> stringFromBytesWithBin1000Style(std::int64_t bytes);
  static std::optional<std::string> stringFromBytesWithBin1024Style(std::int64_t bytes);

  // A picture of 16 points, the same object each time: a system image ("NS…"), "diskUtility" for
  // that application's icon, or "syncIcon". Null for any other name and for what is not there,
  // which is looked for anew.
  static platform::ImagePtr icon16Named(std::string_view name);
};
