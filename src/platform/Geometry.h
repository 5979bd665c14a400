#pragma once

namespace platform {

// In points. The origin of a rectangle is its bottom left corner: y grows upwards everywhere.
struct Point {
  double x = 0;
  double y = 0;

  bool operator==(const Point&) const = default;
};

struct Size {
  double width = 0;
  double height = 0;

  bool operator==(const Size&) const = default;
};

struct Rect {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;

  bool operator==(const Rect&) const = default;

  double right() const { return x + width; }
  double top() const { return y + height; }
  Size size() const { return {width, height}; }
  bool holds(Point point) const {
    return point.x >= x && point.x < right() && point.y >= y && point.y < top();
  }
};

}  // namespace platform
