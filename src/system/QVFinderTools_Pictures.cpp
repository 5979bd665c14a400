#include <utility>

#include "platform/Services.h"
#include "system/Kept.h"
#include "system/QVFinderTools.h"

namespace {

using platform::Canvas;
using platform::Colour;
using platform::Compositing;
using platform::ImagePtr;
using platform::Point;
using platform::Size;

constexpr Size kSize{16, 16};

const platform::Graphics& graphics() { return *platform::services().graphics; }

Colour colourOf(std::uint32_t rgb) {
  const auto part = [rgb](unsigned shift) { return ((rgb >> shift) & 0xFFU) / 255.; };
  return Colour::rgb(part(16), part(8), part(0));
}

ImagePtr badgeOf(std::uint32_t colour) {
  return graphics().makeImage(kSize, [colour](Canvas& canvas) {
    platform::Path oval;
    oval.appendOval({2, 2, 12, 12});
    canvas.fill(oval, colourOf(colour));
    canvas.stroke(oval, Colour::white(0.5, 0.33));
  });
}

ImagePtr aliasBadge() {
  static Kept<ImagePtr> kept;
  return kept.get(platform::services().graphics,
                  [] { return graphics().resized(graphics().iconForHFSType("abdg"), kSize); });
}

}  // namespace

std::vector<QVFinderLabel> QVFinderTools::finderLabelsAsNameAndBadges() {
  std::vector<QVFinderLabel> labels;
  bool standsForNone = true;
  for (const auto& [name, colour] : platform::services().workspace->fileLabels())
    if (!std::exchange(standsForNone, false)) labels.push_back({name, badgeOf(colour)});
  return labels;
}

ImagePtr QVFinderTools::iconWithAliasMaskForType(const Text& type) {
  const ImagePtr badge = aliasBadge();
  const ImagePtr icon =
      type ? graphics().resized(graphics().iconForFileType(*type), kSize) : nullptr;
  return graphics().makeImage(kSize, [icon, badge](Canvas& canvas) {
    for (const ImagePtr& layer : {icon, badge})
      canvas.draw(layer, Point{0, 0}, Compositing::SourceOver, 1);
  });
}
