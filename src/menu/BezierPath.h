#pragma once

#include <cstdint>

#include "platform/Canvas.h"

namespace menu {

// A closed triangle that fills the rectangle and points right ('r'), down ('b') or up ('t');
// capital letters do as well. Any other letter gives an empty path.
platform::Path qv_bezierPathTriangleInRect(platform::Rect rect, char sens);

// A balloon with round corners and an arrow in the middle of its upper edge, within the rectangle.
// Every corner is round and the arrow is always there, whatever `corners` and `arrowPosition` say.
platform::Path bezierPathWithRoundedRect(platform::Rect rect, double borderLineWidth,
                                         std::uint64_t corners, double cornerRadius,
                                         std::int64_t arrowPosition, platform::Size arrowSize);

}  // namespace menu
