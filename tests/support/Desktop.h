#pragma once

#include <QImage>
#include <string>

#include "tests/support/Companion.h"
#include "tests/support/Scratch.h"

// A screen without glass, 1024 by 768, with a pointer and a keyboard that the test holds. DISPLAY
// names it while it lives.
class Desktop {
 public:
  Desktop();
  ~Desktop();
  Desktop(const Desktop&) = delete;
  Desktop& operator=(const Desktop&) = delete;

  // A panel at the top left with a tray in it, and the place of the tray's only item.
  void startPanel();
  void stopPanel() { panel_.end(); }
  static constexpr int kItemX = 12;
  static constexpr int kItemY = 12;

  void moveTo(int x, int y) const;
  void click(int x, int y, int button = 1) const;
  void press(const std::string& key) const;  // such as "Escape"

  QImage picture() const;
  // Keeps the picture for who wants to look, in the build folder.
  void keepPicture(const std::string& name) const;

 private:
  Scratch folder_;
  Companion server_;
  Companion panel_;
};
