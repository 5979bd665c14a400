#pragma once

#include <QPainter>

#include "menu/View.h"

namespace platform::qt {

// Draws the view with its top left corner at the painter's origin.
void paintView(QPainter& painter, menu::View& view);

}  // namespace platform::qt
