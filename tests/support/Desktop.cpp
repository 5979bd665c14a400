#include "tests/support/Desktop.h"

#include <QtEndian>

#include "leaf/Descriptor.h"
#include "tests/support/Test.h"

namespace {

void tool(const std::string& arguments) {
  EXPECT_EQ(std::system(("xdotool " + arguments).c_str()), 0) << arguments;
}

// Whole: who tells it does so in pieces, and ends when nobody listens any more.
std::string lineFrom(int descriptor) {
  std::string line;
  for (char c = 0; read(descriptor, &c, 1) == 1 && c != '\n';) line += c;
  EXPECT_FALSE(line.empty()) << "no X server";
  return line;
}

// The fields of an X window dump's header, all of four bytes with the greatest first.
enum DumpField : std::size_t {
  kHeaderSize = 0,
  kWidth = 4,
  kHeight = 5,
  kBytesPerLine = 12,
  kColours = 19
};

std::size_t field(const std::string& dump, DumpField which) {
  return qFromBigEndian<quint32>(dump.data() + 4 * which);
}

}  // namespace

Desktop::Desktop() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) std::abort();
  const Descriptor told(ends[0]);
  Descriptor telling(ends[1]);
  // The server writes its number once it takes connections, and then the end of the line; nobody
  // to read that would be the end of it. It must not begin anew when its first client has gone, or
  // it turns the next one away meanwhile.
  server_ = Companion({"Xvfb", "-displayfd", std::to_string(Companion::kTellOn), "-screen", "0",
                       "1024x768x24", "-noreset", "-nolisten", "tcp", "-fbdir", folder_.path()},
                      telling.get());
  telling.reset();
  setenv("DISPLAY", (":" + lineFrom(told.get())).c_str(), 1);
}

Desktop::~Desktop() { unsetenv("DISPLAY"); }

void Desktop::startPanel() {
  panel_ = Companion({"trayer", "--edge", "top", "--align", "left", "--widthtype", "pixel",
                      "--width", "100", "--height", "24", "--iconspacing", "0"});
}

void Desktop::moveTo(int x, int y) const {
  tool("mousemove " + std::to_string(x) + " " + std::to_string(y));
}

void Desktop::click(int x, int y, int button) const {
  tool("mousemove " + std::to_string(x) + " " + std::to_string(y) + " click " +
       std::to_string(button));
}

void Desktop::press(const std::string& key) const { tool("key " + key); }

QImage Desktop::picture() const {
  const std::string dump = readFile(folder_.path("Xvfb_screen0"));
  if (dump.size() < 100) return {};
  const std::size_t pixels = field(dump, kHeaderSize) + field(dump, kColours) * 12;
  const QImage shown(reinterpret_cast<const uchar*>(dump.data() + pixels),
                     static_cast<int>(field(dump, kWidth)), static_cast<int>(field(dump, kHeight)),
                     static_cast<qsizetype>(field(dump, kBytesPerLine)), QImage::Format_RGB32);
  return shown.copy();
}

void Desktop::keepPicture(const std::string& name) const {
  std::filesystem::create_directories(TARNVALE_PICTURES);
  EXPECT_TRUE(picture().save(QString::fromStdString(TARNVALE_PICTURES "/" + name + ".png")));
}
