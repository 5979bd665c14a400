#include <gtest/gtest.h>

#include "menu/View.h"
#include "tests/support/RecordingGraphics.h"

namespace {

using platform::Path;
using platform::Point;

TEST(Paths, TrianglesPointWhereTheyAreTold) {
  const auto triangle = [](char sens) {
    return doubles::described(menu::qv_bezierPathTriangleInRect({10, 20, 8, 4}, sens));
  };
  EXPECT_EQ(triangle('r'), "M 10,24 L 18,22 L 10,20 Z");
  EXPECT_EQ(triangle('b'), "M 10,24 L 18,24 L 14,20 Z");
  EXPECT_EQ(triangle('t'), "M 10,20 L 12,24 L 18,20 Z") << "by half the height";
  for (const char sens : {'R', 'B', 'T'})
    EXPECT_EQ(triangle(sens), triangle(static_cast<char>(sens - 'A' + 'a')));
  EXPECT_EQ(triangle('l'), "");
  EXPECT_EQ(triangle('\0'), "");
}

TEST(Paths, TheBalloonHasRoundCornersAndAnArrow) {
  const auto balloon = menu::bezierPathWithRoundedRect({10, 20, 101, 51}, 3, 0, 5, 7, {20, 10});
  EXPECT_EQ(balloon.lineWidth, 3);
  EXPECT_EQ(doubles::described(balloon),
            "M 10,40 L 10,56 C 15,61 L 50,61 L 60,71 L 70,61 L 106,61 C 111,56 L 111,40 "
            "L 111,25 C 106,20 L 15,20 C 10,25 Z");
  EXPECT_EQ(menu::bezierPathWithRoundedRect({0, 0, 9, 9}, 0, 0, 1, 0, {2, 2}).lineWidth, 1);
}

TEST(Paths, APathGoesOnWhereAClosedOneBegan) {
  Path path;
  path.moveTo({10, 0});
  path.lineTo({20, 0});
  path.close();
  path.appendArcFromPoint({10, 10}, {20, 10}, 4);
  EXPECT_EQ(doubles::described(path), "M 10,0 L 20,0 Z L 10,6 C 14,10");
  Path straight;
  straight.moveTo({0, 0});
  straight.appendArcFromPoint({5, 0}, {9, 0}, 4);
  EXPECT_EQ(doubles::described(straight), "M 0,0 L 5,0") << "no arc touches a straight line";
}

}  // namespace
