#pragma once
// A canvas that keeps what it is asked to draw as texts, and pictures that tell where they come
// from, for tests of geometry and of who asks for which picture.

#include <fmt/format.h>

#include <map>
#include <string>
#include <vector>

#include "platform/Graphics.h"

namespace doubles {

struct RecordedImage : platform::Image {
  RecordedImage(std::string made, platform::Size points, platform::Graphics::Drawing draws = {})
      : name(std::move(made)), points_(points), drawing(std::move(draws)) {}
  platform::Size size() const override { return points_; }

  const std::string name;

 private:
  const platform::Size points_;

 public:
  const platform::Graphics::Drawing drawing;
};

inline std::string nameOf(const platform::ImagePtr& image) {
  const auto* const recorded = dynamic_cast<const RecordedImage*>(image.get());
  return recorded ? recorded->name : "null";
}

inline std::string described(platform::Colour colour) {
  using Source = platform::Colour::Source;
  const std::map<Source, std::string> names = {
      {Source::Text, "Text"},
      {Source::SecondaryText, "SecondaryText"},
      {Source::SelectedMenuItem, "SelectedMenuItem"},
      {Source::SelectedMenuItemText, "SelectedMenuItemText"}};
  const auto found = names.find(colour.source);
  if (found != names.end()) return found->second;
  return fmt::format("rgba {:.3g} {:.3g} {:.3g} {:.3g}", colour.red, colour.green, colour.blue,
                     colour.alpha);
}

inline std::string described(platform::Rect rect) {
  return fmt::format("[{:g} {:g} {:g} {:g}]", rect.x, rect.y, rect.width, rect.height);
}

inline std::string described(platform::Point point) {
  const auto rounded = [](double number) { return std::round(number * 1000) / 1000 + 0.; };
  return fmt::format("{:g},{:g}", rounded(point.x), rounded(point.y));
}

// "M 0,0 L 1,0 C 1,1 Z": where a curve leads, without its handles.
inline std::string described(const platform::Path& path) {
  std::string text;
  for (const auto& element : path.elements()) {
    using Kind = platform::Path::Element::Kind;
    const std::map<Kind, std::string> letters = {
        {Kind::Move, "M"}, {Kind::Line, "L"}, {Kind::Curve, "C"}};
    if (!text.empty()) text += ' ';
    text +=
        element.kind == Kind::Close ? "Z" : letters.at(element.kind) + " " + described(element.to);
  }
  return text;
}

class RecordingCanvas : public platform::Canvas {
 public:
  using Canvas::draw;

  void fill(platform::Rect rect, platform::Colour colour) override {
    calls.push_back("fill " + described(rect) + " " + described(colour));
  }
  void fill(const platform::Path& path, platform::Colour colour) override {
    calls.push_back("fill " + described(path) + " " + described(colour));
  }
  void stroke(const platform::Path& path, platform::Colour colour) override {
    calls.push_back(
        fmt::format("stroke {:g} {} {}", path.lineWidth, described(path), described(colour)));
  }
  void draw(const platform::ImagePtr& image, platform::Rect to, platform::Rect from,
            platform::Compositing compositing, double opacity) override {
    if (!image) return;
    const bool over = compositing == platform::Compositing::SourceOver;
    calls.push_back(fmt::format("image {} {} from {} {} {:g}", nameOf(image), described(to),
                                described(from), over ? "over" : "atop", opacity));
  }
  void draw(const std::string& text, platform::Rect inside,
            const platform::TextStyle& style) override {
    calls.push_back(fmt::format("text '{}' {} {:g} {}{}", text, described(inside),
                                style.font.points, described(style.colour),
                                style.truncatesMiddle ? " middle" : ""));
  }
  void drawAt(platform::Point at, platform::Size clip,
              const std::function<void(platform::Canvas&)>& drawing) override {
    calls.push_back("at " + described(platform::Rect{at.x, at.y, clip.width, clip.height}));
    drawing(*this);
  }

  std::vector<std::string> calls;
};

using Calls = std::vector<std::string>;

// What a picture made by makeImage() draws.
inline Calls drawingOf(const platform::ImagePtr& image) {
  RecordingCanvas canvas;
  const auto* const recorded = dynamic_cast<const RecordedImage*>(image.get());
  if (recorded && recorded->drawing) recorded->drawing(canvas);
  return canvas.calls;
}

// Every call gives a new picture, but for named ones. Files have the pictures that the test says.
class RecordingGraphics : public platform::Graphics {
 public:
  platform::ImagePtr imageNamed(std::string_view name) const override {
    const auto found = named.find(std::string(name));
    return found == named.end() ? nullptr : found->second;
  }
  platform::ImagePtr makeImage(platform::Size size, const Drawing& drawing) const override {
    return std::make_shared<RecordedImage>("drawn", size, drawing);
  }
  platform::ImagePtr resized(const platform::ImagePtr& image, platform::Size size) const override {
    if (!image) return nullptr;
    return std::make_shared<RecordedImage>(
        fmt::format("{} as {:g}x{:g}", nameOf(image), size.width, size.height), size);
  }
  platform::ImagePtr iconForFile(const std::string& path) const override {
    asked.push_back(path);
    return filesHaveIcons ? icon("file " + path) : nullptr;
  }
  platform::ImagePtr iconForFileType(std::string_view type) const override {
    return icon("type " + std::string(type));
  }
  platform::ImagePtr iconForHFSType(std::string_view code) const override {
    hfsAsked.emplace_back(code);
    const bool known = knowsAllTypes || code == "abdg" || code == "rmov";
    return known ? icon("hfs " + std::string(code)) : nullptr;
  }

  void name(const std::string& imageName, double size) {
    named[imageName] = std::make_shared<RecordedImage>(imageName, platform::Size{size, size});
  }

  std::map<std::string, platform::ImagePtr> named;
  bool filesHaveIcons = true;
  bool knowsAllTypes = false;              // of the classic codes
  mutable std::vector<std::string> asked;  // for the icons of these paths
  mutable std::vector<std::string> hfsAsked;

 private:
  static platform::ImagePtr icon(std::string from) {
    return std::make_shared<RecordedImage>(std::move(from), platform::Size{32, 32});
  }
};

}  // namespace doubles
