#pragma once
// Pictures compared with references, tests/pictures/references/NAME.png.
//
// To make the references anew, run with TARNVALE_REWRITE_PICTURES=1 and look at them. A picture
// that does not match is written as NAME.png into the folder "pictures" of the build.

#include <QImage>
#include <functional>
#include <string>

#include "platform/Canvas.h"

// One desktop to draw for: colours and fonts are dictated, so that a picture does not depend on the
// machine's.
struct Look {
  bool dark = false;
  int scale = 1;

  std::string name() const;  // "light@2x"
};

// Sets the program's font and colours. Qt's object of the program is there while tests run.
void putOn(const Look& look);

// What the drawing shows on the look's background; `size` is in points.
QImage painted(const Look& look, platform::Size size,
               const std::function<void(platform::Canvas&)>& drawing);

// Looks at each of the `bands` of equal height, top down, by itself. Few of its pixels may differ
// by more than a shade. Fails the test otherwise.
void expectMatches(const QImage& picture, const std::string& name, int bands);
