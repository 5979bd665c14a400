#pragma once

#include <QPainter>
#include <QRect>

#include "core/QVRamDiskTypes.h"

namespace platform::qt {

// A disk's picture as the menu shows it, with its kind's badge; paler unless it is mounted.
void paintDisk(QPainter& painter, const QRect& rect, QVRamDiskType type, bool mounted);

}  // namespace platform::qt
