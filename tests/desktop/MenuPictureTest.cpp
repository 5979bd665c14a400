#include <QImage>

#include "tests/endtoend/HelperTest.h"

namespace {

// Neither a display nor a bus is there.
class MenuPictureTest : public HelperTest {
 protected:
  QImage drawn(const std::string& options) {
    const std::string file = scratch.path("menu.png");
    EXPECT_EQ(run("menu --png '" + file + "' " + options), 0) << options;
    return QImage(QString::fromStdString(file));
  }
  // What is below the figures of memory, which change.
  static QImage rows(const QImage& picture) {
    return picture.copy(0, picture.height() - 240, picture.width(), 240);
  }
  static int ground(const QImage& picture) { return picture.pixelColor(8, 100).lightness(); }
};

TEST_F(MenuPictureTest, IsDrawnWithoutADisplay) {
  add("first");
  add("second");
  ASSERT_EQ(run("create first"), 0);
  const QImage light = drawn("");
  ASSERT_FALSE(light.isNull());
  EXPECT_GE(light.width(), 2 * 260);
  EXPECT_GT(ground(light), 200);
  EXPECT_EQ(rows(light), rows(drawn(""))) << "nothing of them depends on when they are drawn";

  const QImage dark = drawn("--dark");
  EXPECT_EQ(dark.size(), light.size());
  EXPECT_LT(ground(dark), 80);

  const QImage open = drawn("--open first");
  EXPECT_GT(open.width(), light.width() + 100);
  ASSERT_EQ(run("remove second --yes"), 0);
  EXPECT_EQ(drawn("").height(), light.height() - 2 * 40) << "a row of 40 points less";
  EXPECT_NE(run("menu --png /nonexistent/menu.png"), 0);
}

}  // namespace
