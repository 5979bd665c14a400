#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "platform/Canvas.h"

namespace platform {

// Pictures of the platform. What is not overridden answers as where there is no screen: no image.
// Sizes are in points. Images are made and asked for on any thread; they are drawn on the main one.
class Graphics {
 public:
  using Drawing = std::function<void(Canvas&)>;

  virtual ~Graphics() = default;

  // A picture of the program's own resources, or a system one ("NS…"). Null where there is none.
  virtual ImagePtr imageNamed(std::string_view /*name*/) const { return nullptr; }

  // A new image that shows what `drawing` draws, which is called when it is wanted, once for every
  // scale that it is wanted at, and must hold all it needs.
  virtual ImagePtr makeImage(Size /*size*/, const Drawing& /*drawing*/) const { return nullptr; }

  // A new image of the same picture, in another size or the same. Null for null.
  virtual ImagePtr resized(const ImagePtr& /*image*/, Size /*size*/) const { return nullptr; }

  // --- What the desktop shows for files

  // The icon of an item: of a folder, an application, a volume with an icon of its own, or of a
  // file's type. The item need not exist.
  virtual ImagePtr iconForFile(const std::string& /*path*/) const { return nullptr; }

  // Of an installed application. Where the desktop has none for it: the program's picture of that
  // name.
  virtual ImagePtr iconForApplication(const std::string& path, std::string_view otherwise) const {
    ImagePtr icon = iconForFile(path);
    return icon ? icon : imageNamed(otherwise);
  }

  // By a content type ("text/plain") or an extension ("txt").
  virtual ImagePtr iconForFileType(std::string_view /*type*/) const { return nullptr; }

  // By a classic four-character code: "rmov" removable medium, "ejec" eject, "burn" burning, "ftrh"
  // full trash, "abdg" alias badge.
  virtual ImagePtr iconForHFSType(std::string_view /*code*/) const { return nullptr; }
};

}  // namespace platform
