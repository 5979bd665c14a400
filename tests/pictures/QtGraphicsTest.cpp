// Pictures as Qt gives them: the program's own, an icon theme's, and what stands in for it.

#include <QIcon>
#include <QPainter>

#include "platform/qt/drawing/QtCanvas.h"
#include "platform/qt/drawing/QtGraphics.h"
#include "platform/qt/drawing/QtImage.h"
#include "tests/kinds/World.h"
#include "tests/pictures/Reference.h"

namespace {

using platform::Canvas;
using platform::Colour;
using platform::ImagePtr;
using platform::qt::QtGraphics;
using platform::qt::QtImage;

constexpr char kRed[] = "#ffff0000";
constexpr char kGreen[] = "#ff00ff00";
constexpr char kBlue[] = "#ff0000ff";
constexpr char kNone[] = "#00000000";

QImage square(int pixels, const char* colour) {
  QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
  image.fill(QColor(colour));
  return image;
}

QImage at(const ImagePtr& image, double scale) {
  const auto* const known = dynamic_cast<const QtImage*>(image.get());
  return known ? known->at(scale) : QImage();
}

std::string colourIn(const QImage& image, int x, int y) {
  return image.pixelColor(x, y).name(QColor::HexArgb).toStdString();
}

// The colour in the middle of the picture.
std::string shown(const ImagePtr& image, double scale = 1) {
  const QImage pixels = at(image, scale);
  return pixels.isNull() ? "null" : colourIn(pixels, pixels.width() / 2, pixels.height() / 2);
}

class RealVolumes : public doubles::FakeWorkspace {
  bool isVolume(const std::string& path) const override { return path.ends_with("volume"); }
};

class QtGraphicsTest : public testing::Test {
 protected:
  QtGraphicsTest() {
    putOn({});
    world.workspace = std::make_shared<RealVolumes>();
    world.install(world.places);
  }
  ~QtGraphicsTest() override { QIcon::setThemeName("no-such-theme"); }

  void picture(const std::string& path, int pixels, const char* colour) const {
    world.scratch.file(path);
    ASSERT_TRUE(square(pixels, colour).save(QString::fromStdString(world.scratch.path(path))));
  }

  // A theme with these icons, each green, of 16 and of 32 pixels.
  void makeTheme(const std::vector<std::string>& icons) const {
    std::string index = "[Icon Theme]\nName=made\nDirectories=16,32\n";
    for (const char* size : {"16", "32"}) {
      index += std::string("[") + size + "]\nSize=" + size + "\nType=Fixed\n";
      for (const auto& icon : icons)
        picture("themes/made/" + std::string(size) + "/" + icon + ".png", std::stoi(size), kGreen);
    }
    world.scratch.file("themes/made/index.theme", index);
    QIcon::setThemeSearchPaths({QString::fromStdString(world.scratch.path("themes"))});
    QIcon::setThemeName("made");
  }

  World world;
  QtGraphics graphics{world.scratch.directory("images"),
                      [](const std::string& path) -> std::optional<std::string> {
                        if (path.ends_with("browser")) return "the-browser";
                        return std::nullopt;
                      }};
};

TEST_F(QtGraphicsTest, NamedPicturesAreAsLargeAsTheirFileAndSharpWhereThereIsAnother) {
  picture("images/one.png", 20, kRed);
  picture("images/one@2x.png", 40, kGreen);
  picture("images/two@2x.png", 40, kBlue);
  world.scratch.file("images/broken.png", "no picture");
  const auto one = graphics.imageNamed("one");
  EXPECT_EQ(one->size(), (platform::Size{20, 20}));
  EXPECT_EQ(graphics.imageNamed("one"), one);
  EXPECT_EQ(shown(one, 0.5), kRed);
  EXPECT_EQ(shown(one, 1), kRed);
  EXPECT_EQ(shown(one, 1.5), kGreen);
  EXPECT_EQ(shown(one, 3), kGreen);
  EXPECT_EQ(at(one, 1.5).width(), 30);
  EXPECT_EQ(graphics.imageNamed("two")->size(), (platform::Size{20, 20}));
  for (const char* name : {"", "broken", "missing", "../images/one", "NSNothing"})
    EXPECT_EQ(graphics.imageNamed(name), nullptr) << name;
}

TEST_F(QtGraphicsTest, DrawingsAreMadeOnceForEachScale) {
  int drawings = 0;
  const auto image = graphics.makeImage({10, 10}, [&](Canvas& canvas) {
    ++drawings;
    canvas.fill({0, 0, 10, 5}, Colour::rgb(1, 0, 0));
  });
  EXPECT_EQ(drawings, 0);
  for (const double scale : {1., 2., 1., 2.}) {
    const QImage pixels = at(image, scale);
    EXPECT_EQ(pixels.height(), 10 * scale);
    EXPECT_EQ(colourIn(pixels, 0, pixels.height() - 1), kRed) << "y grows upwards";
    EXPECT_EQ(colourIn(pixels, 0, 0), kNone);
  }
  EXPECT_EQ(drawings, 2);
  const auto larger = graphics.resized(image, {20, 20});
  const auto copy = graphics.resized(image, {10, 10});
  EXPECT_NE(copy, image);
  EXPECT_EQ(at(copy, 1).constBits(), at(image, 1).constBits()) << "of the same pixels";
  EXPECT_EQ(colourIn(at(larger, 1), 19, 19), kRed);
  EXPECT_EQ(colourIn(at(graphics.resized(image, {20, 10}), 1), 19, 9), kRed);
  EXPECT_EQ(graphics.resized(nullptr, {1, 1}), nullptr);
}

TEST_F(QtGraphicsTest, FilesHaveTheThemesIconsByKind) {
  makeTheme(
      {"folder", "drive-harddisk", "text-x-csrc", "image-x-generic", "the-browser", "media-eject"});
  picture("images/generic-file.png", 32, kBlue);
  picture("images/RamDisk_10.10_128.png", 128, kRed);
  const auto file = [&](const std::string& path) {
    return shown(graphics.iconForFile(world.scratch.file(path)));
  };
  EXPECT_EQ(shown(graphics.iconForFile(world.scratch.directory("folder"))), kGreen);
  EXPECT_EQ(shown(graphics.iconForFile(world.scratch.directory("volume"))), kRed)
      << "no theme has a disk in memory";
  EXPECT_EQ(file("a.c"), kGreen);
  EXPECT_EQ(file("a.PNG"), kGreen) << "by the generic name";
  EXPECT_EQ(shown(graphics.iconForFile("/missing/b.c")), kGreen);
  EXPECT_EQ(shown(graphics.iconForFileType("text/x-csrc")), kGreen);
  EXPECT_EQ(file("a.unheard-of"), kBlue);
  EXPECT_EQ(file(".c"), kBlue) << "a name without an extension";
  EXPECT_EQ(file("none"), kBlue);
  EXPECT_EQ(shown(graphics.iconForFile(world.scratch.executable("browser", ""))), kGreen);
  EXPECT_EQ(shown(graphics.iconForFile(world.scratch.executable("program", ""))), kBlue);
  EXPECT_EQ(shown(graphics.iconForApplication("/opt/browser", "RamDisk_10.10_128")), kGreen)
      << "its own before ours";
  EXPECT_EQ(shown(graphics.iconForHFSType("ejec")), kGreen);
}

TEST_F(QtGraphicsTest, AFolderOfOneKindCostsOneIcon) {
  const auto icon = graphics.iconForFile(world.scratch.file("1.c"));
  EXPECT_EQ(graphics.iconForFile(world.scratch.file("2.C")), icon);
  EXPECT_EQ(graphics.iconForFile("/missing/3.c"), icon);
  EXPECT_EQ(graphics.iconForFile(world.scratch.directory("a")),
            graphics.iconForFile(world.scratch.directory("b.c")));
  for (int i = 0; i < 2000; ++i) graphics.iconForFileType("made-up-" + std::to_string(i));
  EXPECT_NE(graphics.iconForFile("/missing/3.c"), icon) << "what is kept has a limit";
}

TEST_F(QtGraphicsTest, WithoutAThemeOurOwnPicturesStandInAndNothingIsEmpty) {
  for (const char* code : {"rmov", "ejec", "burn", "ftrh", "abdg"})
    EXPECT_NE(shown(graphics.iconForHFSType(code)), code == std::string("abdg") ? kRed : kNone);
  EXPECT_NE(shown(graphics.iconForFileType("txt")), kNone) << "the sheet";
  EXPECT_EQ(graphics.iconForHFSType("none"), nullptr);

  picture("images/generic-file.png", 32, kRed);
  picture("images/generic-folder.png", 32, kGreen);
  picture("images/RamDisk_10.10_128.png", 128, kBlue);
  picture("images/hfs-abdg.png", 16, kBlue);
  picture("images/hfs-ftrh.png", 16, kGreen);
  picture("images/kind-chrome.png", 64, kBlue);
  picture("own.png", 48, kRed);
  const std::map<std::string, std::string> icons = {{"/named", "not-in-the-theme"},
                                                    {"/own", world.scratch.path("own.png")}};
  const QtGraphics anew(world.scratch.path("images"), [&](const std::string& path) {
    return icons.contains(path) ? std::optional(icons.at(path)) : std::nullopt;
  });
  EXPECT_EQ(shown(anew.iconForApplication("/own", "kind-chrome")), kRed);
  EXPECT_EQ(shown(anew.iconForFile("/missing/a.c")), kRed);
  EXPECT_EQ(shown(anew.iconForFile(world.scratch.directory("folder"))), kGreen);
  EXPECT_EQ(shown(anew.iconForFile(world.scratch.directory("volume"))), kBlue);
  EXPECT_EQ(shown(anew.iconForHFSType("ftrh")), kGreen);
  EXPECT_EQ(shown(anew.iconForHFSType("abdg")), kBlue);
  EXPECT_EQ(shown(anew.iconForApplication("/named", "kind-chrome")), kBlue);
  EXPECT_EQ(shown(anew.iconForApplication("/unnamed", "kind-chrome")), kBlue);
  EXPECT_EQ(shown(anew.iconForApplication("/unnamed", "kind-opera")), kRed);
}

// --- A volume's own icon

std::string bigEndian(std::size_t number) {
  std::string bytes;
  for (const unsigned shift : {24U, 16U, 8U, 0U})
    bytes += static_cast<char>((number >> shift) & 0xFFU);
  return bytes;
}

std::string entry(const std::string& type, const std::string& data) {
  return type + bigEndian(data.size() + 8) + data;
}

TEST_F(QtGraphicsTest, AVolumesOwnIconIsTheBestOfItsContainer) {
  picture("small.png", 32, kRed);
  picture("large.png", 128, kGreen);
  const auto inFile = [&](const std::string& name) { return readFile(world.scratch.path(name)); };
  const auto volume = world.scratch.directory("volume");
  const auto shownWith = [&](const std::string& contents, double scale) {
    world.scratch.file("volume/.VolumeIcon.icns", contents);
    return shown(graphics.iconForFile(volume), scale);
  };
  const std::string both = entry("ic07", inFile("large.png")) + entry("TOC ", "junk") +
                           entry("ic11", inFile("small.png"));
  const std::string whole = entry("icns", both);
  EXPECT_EQ(shownWith(whole, 0.25), kRed);
  EXPECT_EQ(shownWith(whole, 0.5), kGreen);
  EXPECT_EQ(shownWith(whole, 2), kGreen);

  picture("images/RamDisk_10.10_128.png", 128, kBlue);
  for (const std::string& hostile :
       {std::string(), std::string("icns"), std::string("junk and more junk"),
        entry("icns", "ic07" + bigEndian(0)), entry("icns", "ic07" + bigEndian(4'000'000'000)),
        entry("icns", entry("ic07", "\x89PNG but nothing else"))})
    EXPECT_EQ(shownWith(hostile, 1), kBlue);
}

// --- The canvas

QImage drawn(int scale, const std::function<void(Canvas&)>& drawing) {
  return painted({false, scale}, {20, 20}, drawing);
}

TEST_F(QtGraphicsTest, APartOfAPictureIsDrawnScaledAndTheRightWayUp) {
  picture("images/one.png", 20, kRed);
  picture("images/one@2x.png", 40, kGreen);
  const auto quarters = graphics.makeImage({8, 8}, [](Canvas& canvas) {
    canvas.fill({0, 0, 4, 4}, Colour::rgb(1, 0, 0));
    canvas.fill({4, 4, 4, 4}, Colour::rgb(0, 0, 1));
  });
  for (const int scale : {1, 2}) {
    const QImage pixels = drawn(scale, [&](Canvas& canvas) {
      canvas.draw(quarters, {0, 0, 10, 10}, {0, 0, 4, 4}, platform::Compositing::SourceOver, 1);
      canvas.draw(quarters, {10, 10, 10, 10}, {4, 4, 4, 4}, platform::Compositing::SourceOver, 1);
    });
    EXPECT_EQ(colourIn(pixels, 1, pixels.height() - 2), kRed);
    EXPECT_EQ(colourIn(pixels, pixels.width() - 2, 1), kBlue);
    EXPECT_EQ(colourIn(pixels, 1, 1), colourIn(pixels, pixels.width() - 2, pixels.height() - 2));
    const QImage whole = drawn(scale, [&](Canvas& canvas) {
      canvas.draw(graphics.imageNamed("one"), platform::Point{0, 0},
                  platform::Compositing::SourceOver, 1);
    });
    EXPECT_EQ(colourIn(whole, 10, 10), scale == 1 ? kRed : kGreen) << "the sharper one";
  }
}

TEST_F(QtGraphicsTest, AnInnerAreaIsClippedAndHasItsOwnOrigin) {
  const QImage pixels = drawn(1, [&](Canvas& canvas) {
    canvas.drawAt({5, 2}, {4, 6}, [](Canvas& inner) {
      inner.fill({-100, -100, 300, 300}, Colour::rgb(0, 0, 1));
      inner.fill({0, 0, 1, 1}, Colour::rgb(1, 0, 0));
    });
  });
  EXPECT_EQ(colourIn(pixels, 5, 17), kRed);
  EXPECT_EQ(colourIn(pixels, 8, 12), kBlue);
  for (const auto& [x, y] : {std::pair(4, 14), {9, 14}, {6, 11}, {6, 18}})
    EXPECT_EQ(colourIn(pixels, x, y), colourIn(pixels, 0, 0)) << x << "," << y;
}

// How many columns of pixels, from the first to the last, have ink; a text's ink and its height.
QRect inkOf(const std::string& text, platform::Font font, platform::Size size) {
  const QImage pixels = painted({}, size, [&](Canvas& canvas) {
    canvas.draw(text, {0, 0, size.width, size.height},
                platform::TextStyle{.font = font, .colour = Colour::white(0)});
  });
  QRect ink;
  for (int y = 0; y < pixels.height(); ++y)
    for (int x = 0; x < pixels.width(); ++x)
      if (qGray(pixels.pixel(x, y)) < 160) ink |= QRect(x, y, 1, 1);
  return ink;
}

TEST_F(QtGraphicsTest, TextFitsItsLineAndItsWidth) {
  const std::string name(80, 'W');
  EXPECT_LE(inkOf(name, {12}, {180, 18}).right(), 179);
  EXPECT_GT(inkOf(name, {12}, {180, 18}).width(), 150);
  EXPECT_EQ(inkOf("|", {0}, {40, 30}).height(), inkOf("|", {13}, {40, 30}).height())
      << "the menu's font is of 13 pixels";
  EXPECT_LT(inkOf("Hg", {60}, {100, 18}).height(), 18) << "made smaller to fit";
  const QRect line = inkOf("H", {12}, {100, 30});
  EXPECT_NEAR(line.center().y(), 15, 1.5);
  EXPECT_NEAR(line.left(), 1, 1.1);
  EXPECT_EQ(inkOf("a\nb", {12}, {100, 18}), inkOf("a b", {12}, {100, 18})) << "always one line";
  EXPECT_GT(inkOf("&x", {12}, {100, 18}).width(), inkOf("x", {12}, {100, 18}).width() + 5);
}

TEST_F(QtGraphicsTest, ImagesAreMadeAndLetGoOnAnyThread) {
  picture("images/one.png", 20, kRed);
  std::vector<ImagePtr> images;
  const auto make = [&] {
    for (int i = 0; i < 200; ++i) {
      graphics.iconForFile("/missing/" + std::to_string(i) + ".c" + std::to_string(i % 7));
      graphics.imageNamed("one");
      graphics.iconForHFSType("rmov");
    }
  };
  std::thread other([&] {
    make();
    images.push_back(graphics.imageNamed("one"));
  });
  make();
  other.join();
  EXPECT_EQ(shown(images.front()), kRed);
  std::thread([taken = std::move(images)]() mutable { taken.clear(); }).join();
}

}  // namespace
