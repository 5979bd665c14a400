#pragma once

#include <QStringList>
#include <QWidget>
#include <functional>

#include "ramdisk/QVRamDisk.h"

namespace platform::qt {

// Asks whether a disk is to be removed and says what is lost; nothing waits.
void confirmRemoval(QWidget& parent, const QVRamDisk& disk, std::function<void()> confirmed);

// Asks what becomes of edits that are not applied; nothing is called when the window stays open.
void askAboutEdits(QWidget& parent, const QStringList& names, std::function<void()> apply,
                   std::function<void()> discard);

}  // namespace platform::qt
