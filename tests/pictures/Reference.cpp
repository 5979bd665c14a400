#include "tests/pictures/Reference.h"

#include <QApplication>
#include <QFontInfo>
#include <QIcon>
#include <QPainter>
#include <QPalette>

#include "platform/qt/drawing/QtCanvas.h"
#include "tests/support/Test.h"

namespace {

constexpr int kShade = 48;               // of 255, in a channel
constexpr double kMostOutliers = 0.003;  // of a band's pixels

// The program's object, which Qt wants gone before its own statics are.
class Program : public testing::Environment {
  void SetUp() override {
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
    program_.emplace(count_, arguments_.data());
    QIcon::setThemeName("no-such-theme");
  }
  void TearDown() override { program_.reset(); }

  std::string name_ = "test_pictures";
  std::array<char*, 2> arguments_ = {name_.data(), nullptr};
  int count_ = 1;
  std::optional<QApplication> program_;
};

[[maybe_unused]] const auto* const kProgram =
    testing::AddGlobalTestEnvironment(std::make_unique<Program>().release());

QPalette colours(bool dark) {
  const auto grey = [dark](int light, int inDark) {
    const int level = dark ? inDark : light;
    return QColor(level, level, level);
  };
  QPalette palette;
  palette.setColor(QPalette::Window, grey(246, 44));
  palette.setColor(QPalette::WindowText, grey(20, 238));
  palette.setColor(QPalette::PlaceholderText, grey(110, 160));
  palette.setColor(QPalette::Highlight, QColor(38, 108, 208));
  palette.setColor(QPalette::HighlightedText, Qt::white);
  return palette;
}

bool differs(QRgb one, QRgb other) {
  const auto apart = [&](int (*channel)(QRgb)) {
    return std::abs(channel(one) - channel(other)) > kShade;
  };
  return apart(qRed) || apart(qGreen) || apart(qBlue) || apart(qAlpha);
}

int outliers(const QImage& one, const QImage& other, int top, int height) {
  int count = 0;
  for (int y = top; y < top + height; ++y)
    for (int x = 0; x < one.width(); ++x)
      if (differs(one.pixel(x, y), other.pixel(x, y))) ++count;
  return count;
}

fs::path reference(const std::string& name) {
  return fs::path(TARNVALE_PICTURE_REFERENCES) / (name + ".png");
}

void keepForLooking(const QImage& picture, const std::string& name) {
  const fs::path folder = TARNVALE_FAILED_PICTURES;
  fs::create_directories(folder);
  picture.save(QString::fromStdString(folder / (name + ".png")));
}

}  // namespace

std::string Look::name() const { return (dark ? "dark@" : "light@") + std::to_string(scale) + "x"; }

void putOn(const Look& look) {
  QFont font("DejaVu Sans");
  font.setPixelSize(13);
  font.setHintingPreference(QFont::PreferNoHinting);
  font.setStyleStrategy(QFont::NoSubpixelAntialias);
  ASSERT_EQ(QFontInfo(font).family(), "DejaVu Sans") << "fonts-dejavu-core is missing";
  QApplication::setFont(font);
  QApplication::setFont(font, "QMenu");
  QApplication::setPalette(colours(look.dark));
  QApplication::setPalette(colours(look.dark), "QMenu");
}

QImage painted(const Look& look, platform::Size size,
               const std::function<void(platform::Canvas&)>& drawing) {
  QImage picture(static_cast<int>(size.width) * look.scale,
                 static_cast<int>(size.height) * look.scale, QImage::Format_ARGB32_Premultiplied);
  picture.setDevicePixelRatio(look.scale);
  picture.fill(colours(look.dark).color(QPalette::Window));
  QPainter painter(&picture);
  platform::qt::QtCanvas canvas(painter, size);
  drawing(canvas);
  painter.end();
  picture.setDevicePixelRatio(1);
  return picture.convertToFormat(QImage::Format_RGB888);
}

void expectMatches(const QImage& picture, const std::string& name, int bands) {
  const QString path = QString::fromStdString(reference(name));
  if (std::getenv("TARNVALE_REWRITE_PICTURES")) {
    ASSERT_TRUE(picture.save(path, "PNG", 0)) << "as small as it gets";
    return;
  }
  const QImage wanted(path);
  if (wanted.size() != picture.size()) {
    keepForLooking(picture, name);
    FAIL() << name << ": the reference is " << wanted.width() << "x" << wanted.height();
  }
  const int height = picture.height() / bands;
  const int most = static_cast<int>(kMostOutliers * height * picture.width());
  bool matches = true;
  for (int band = 0; band < bands; ++band) {
    const int count = outliers(picture, wanted, band * height, height);
    EXPECT_LE(count, most) << name << ", band " << band << " from the top";
    matches = matches && count <= most;
  }
  if (!matches) keepForLooking(picture, name);
}
