#include "platform/Canvas.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace platform {
namespace {

constexpr double kQuarter = 90;
constexpr double kFullTurn = 360;

double radians(double degrees) { return degrees * std::numbers::pi / 180; }

Point onCircle(Point centre, double radius, double angle) {
  return {centre.x + radius * std::cos(radians(angle)),
          centre.y + radius * std::sin(radians(angle))};
}

// The signed sweep of an arc. Equal angles, and whole turns apart, are as Bézier paths have them:
// nothing for the former, a full turn for the latter.
double sweep(double start, double end, bool clockwise) {
  double turn = clockwise ? start - end : end - start;
  if (std::abs(turn) > kFullTurn) turn = std::fmod(turn, kFullTurn);
  if (turn < 0) turn += kFullTurn;
  return clockwise ? -turn : turn;
}

}  // namespace

void Path::moveTo(Point point) { elements_.push_back({Element::Kind::Move, point, {}, {}}); }

void Path::lineTo(Point point) { elements_.push_back({Element::Kind::Line, point, {}, {}}); }

void Path::curveTo(Point control1, Point control2, Point point) {
  elements_.push_back({Element::Kind::Curve, point, control1, control2});
}

// What follows a closed path begins where that one began.
void Path::close() {
  Point start{};
  for (const Element& element : elements_)
    if (element.kind == Element::Kind::Move) start = element.to;
  elements_.push_back({Element::Kind::Close, start, {}, {}});
}

// One cubic for every quarter turn at most, which stays within 0.03 % of the circle.
void Path::appendArc(Point centre, double radius, double startAngle, double endAngle,
                     bool clockwise) {
  const double whole = sweep(startAngle, endAngle, clockwise);
  const Point start = onCircle(centre, radius, startAngle);
  elements_.empty() ? moveTo(start) : lineTo(start);
  const auto pieces = static_cast<int>(std::ceil(std::abs(whole) / kQuarter));
  for (int piece = 0; piece < pieces; ++piece) {
    const double from = startAngle + whole * piece / pieces;
    const double to = startAngle + whole * (piece + 1) / pieces;
    const double handle = radius * 4 / 3 * std::tan(radians(to - from) / 4);
    const Point begin = onCircle(centre, radius, from);
    const Point end = onCircle(centre, radius, to);
    curveTo(
        {begin.x - handle * std::sin(radians(from)), begin.y + handle * std::cos(radians(from))},
        {end.x + handle * std::sin(radians(to)), end.y - handle * std::cos(radians(to))}, end);
  }
}

void Path::appendArcFromPoint(Point from, Point to, double radius) {
  if (elements_.empty()) return moveTo(from);
  const Point here = elements_.back().to;
  const Point back{here.x - from.x, here.y - from.y};
  const Point on{to.x - from.x, to.y - from.y};
  const double lengths = std::hypot(back.x, back.y) * std::hypot(on.x, on.y);
  const double cross = back.x * on.y - back.y * on.x;
  if (lengths == 0 || radius <= 0 || std::abs(cross) < 1e-9 * lengths) return lineTo(from);

  const double half = std::acos(std::clamp((back.x * on.x + back.y * on.y) / lengths, -1., 1.)) / 2;
  const double distance = radius / std::tan(half);  // of the points of touch from the corner
  const auto along = [&](Point direction, double length) {
    const double scale = length / std::hypot(direction.x, direction.y);
    return Point{from.x + direction.x * scale, from.y + direction.y * scale};
  };
  const Point begin = along(back, distance);
  const Point end = along(on, distance);
  const Point middle{(begin.x + end.x) / 2 - from.x, (begin.y + end.y) / 2 - from.y};
  const Point centre = along(middle, radius / std::sin(half));
  const auto angle = [&](Point point) {
    return std::atan2(point.y - centre.y, point.x - centre.x) * 180 / std::numbers::pi;
  };
  appendArc(centre, radius, angle(begin), angle(end), cross > 0);
}

void Path::appendOval(Rect inside) {
  constexpr double kHandle = 0.5522847498;  // of a quarter circle of radius 1
  const double a = inside.width / 2;
  const double b = inside.height / 2;
  const Point centre{inside.x + a, inside.y + b};
  const auto at = [&](double x, double y) { return Point{centre.x + a * x, centre.y + b * y}; };
  moveTo(at(1, 0));
  curveTo(at(1, kHandle), at(kHandle, 1), at(0, 1));
  curveTo(at(-kHandle, 1), at(-1, kHandle), at(-1, 0));
  curveTo(at(-1, -kHandle), at(-kHandle, -1), at(0, -1));
  curveTo(at(kHandle, -1), at(1, -kHandle), at(1, 0));
  close();
}

void Canvas::draw(const ImagePtr& image, Point at, Compositing compositing, double opacity) {
  if (!image) return;
  const Size size = image->size();
  draw(image, {at.x, at.y, size.width, size.height}, {0, 0, size.width, size.height}, compositing,
       opacity);
}

}  // namespace platform
