#include "platform/Services.h"
#include "system/QVFunctions.h"

platform::ImagePtr QVFunctions::wsIconForFileHFSType(std::string_view type, double size) {
  const auto& graphics = *platform::services().graphics;
  return graphics.resized(graphics.iconForHFSType(type), {size, size});
}
