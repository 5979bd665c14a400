#pragma once
// What is drawn, and what it is drawn on.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

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

// A colour: either fixed, or one that the desktop's look decides when it is drawn.
struct Colour {
  enum class Source : std::uint8_t {
    Fixed,
    Text,                  // of labels
    SecondaryText,         // grey, of lesser labels
    SelectedMenuItem,      // behind a menu item that is chosen
    SelectedMenuItemText,  // on it
  };

  Source source = Source::Fixed;
  double red = 0;  // components and opacity from 0 to 1, for fixed colours
  double green = 0;
  double blue = 0;
  double alpha = 1;

  bool operator==(const Colour&) const = default;

  static Colour rgb(double red, double green, double blue, double alpha = 1) {
    return {Source::Fixed, red, green, blue, alpha};
  }
  static Colour white(double level, double alpha = 1) { return rgb(level, level, level, alpha); }
  static Colour of(Source source) { return {source}; }
};

// A path of straight lines, curves and arcs; a plain value.
class Path {
 public:
  struct Element {
    enum class Kind : std::uint8_t { Move, Line, Curve, Close };
    Kind kind = Kind::Move;
    Point to{};        // the present point from here on; of a Close, where its path began
    Point control1{};  // of curves
    Point control2{};

    bool operator==(const Element&) const = default;
  };

  void moveTo(Point point);
  void lineTo(Point point);
  void curveTo(Point control1, Point control2, Point point);
  // Degrees, 0 at three o'clock, growing counter-clockwise. A line leads from the present point, if
  // there is one, to the arc's start.
  void appendArc(Point centre, double radius, double startAngle, double endAngle, bool clockwise);
  // An arc that touches the lines from the present point to `from` and from there to `to`, with a
  // line to where it begins. Straight to `from` where there is no such arc.
  void appendArcFromPoint(Point from, Point to, double radius);
  void appendOval(Rect inside);
  void close();

  bool isEmpty() const { return elements_.empty(); }
  const std::vector<Element>& elements() const { return elements_; }

  double lineWidth = 1;

  bool operator==(const Path&) const = default;

 private:
  std::vector<Element> elements_;
};

enum class Compositing : std::uint8_t { SourceOver, DestinationAtop };

struct Font {
  double points = 0;  // 0: the size of the system's menus

  bool operator==(const Font&) const = default;
};

struct TextStyle {
  Font font{};
  Colour colour = Colour::of(Colour::Source::Text);
  bool truncatesMiddle = true;  // with "…" where the text does not fit

  bool operator==(const TextStyle&) const = default;
};

class Canvas;

// A picture in points, sharp at any scale that it was made for. Never changes; two images are the
// same when they are the same object.
class Image {
 public:
  virtual ~Image() = default;
  virtual Size size() const = 0;
};
using ImagePtr = std::shared_ptr<const Image>;

// What is drawn on. The origin is at the bottom left. Used on the thread that was handed it.
class Canvas {
 public:
  virtual ~Canvas() = default;

  virtual void fill(Rect rect, Colour colour) = 0;
  virtual void fill(const Path& path, Colour colour) = 0;
  virtual void stroke(const Path& path, Colour colour) = 0;  // as wide as the path says

  // The part `from` of the image, in its own points, scaled to `to`. A null image draws nothing.
  virtual void draw(const ImagePtr& image, Rect to, Rect from, Compositing compositing,
                    double opacity) = 0;
  // The whole image in its own size.
  void draw(const ImagePtr& image, Point at, Compositing compositing, double opacity);

  // One line of UTF-8 text, in the middle of the rectangle's height, beginning at its left edge.
  virtual void draw(const std::string& text, Rect inside, const TextStyle& style) = 0;

  // Draws with the origin at `at`, clipped to what lies within `clip` of there.
  virtual void drawAt(Point at, Size clip, const std::function<void(Canvas&)>& drawing) = 0;
};

}  // namespace platform
