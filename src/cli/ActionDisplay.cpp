#include "cli/ActionDisplay.h"

#include <fmt/format.h>

#include <algorithm>

#include "cli/Output.h"
#include "settings/TypedText.h"

namespace cli {
namespace {

using namespace std::chrono_literals;

constexpr auto kBetweenDrawings = 50ms;

// Cells of the parts of a line with progress.
constexpr std::size_t kShare = 6;         // " 100 %"
constexpr std::size_t kBarFrame = 3;      // " []"
constexpr std::size_t kNarrowestBar = 8;  // without its frame; below that there is none
constexpr std::size_t kWidestBar = 40;
constexpr std::size_t kSizes = 23;          // " 999.99 MB of 999.99 MB"
constexpr std::size_t kItems = 13;          // ", 99999 items", which give way first
constexpr std::size_t kShortestStage = 16;  // then the stage, down to this
constexpr std::uint64_t kWhole = 100;       // per cent

std::uint64_t percentOf(const QVRamDiskProgress& copied) {
  const auto share =
      static_cast<long double>(copied.bytes) / static_cast<long double>(copied.totalBytes);
  return static_cast<std::uint64_t>(std::min(1.0L, share) * kWhole);
}

// How the parts share a line. It does not depend on the numbers, which would make the bar jump.
struct Layout {
  std::size_t stage = 0;
  std::size_t bar = 0;
  bool items = true;
};

Layout layoutFor(std::size_t room, std::size_t stage) {
  const std::size_t least = kShare + kBarFrame + kNarrowestBar + kSizes;
  if (room < kShortestStage + least) return {stage, 0, true};
  const bool items = room >= stage + least + kItems;
  const std::size_t left = room - least - (items ? kItems : 0) + kNarrowestBar;
  const std::size_t shown = std::min(stage, left - kNarrowestBar);
  return {shown, std::min(left - shown, kWidestBar), items};
}

std::string bar(std::uint64_t percent, std::size_t width) {
  if (width == 0) return {};
  const std::size_t filled = width * percent / kWhole;
  return " [" + std::string(filled, '#') + std::string(width - filled, '-') + "]";
}

std::string progressLine(const std::string& stage, const QVRamDiskProgress& copied,
                         std::size_t room) {
  const std::string items = fmt::format(", {} items", copied.entries);
  if (copied.totalBytes == 0) return stage + " " + settings::sizeText(copied.bytes) + items;
  const auto percent = percentOf(copied);
  const Layout layout = layoutFor(room, columns(stage));
  return fitted(stage, layout.stage) + fmt::format(" {:3} %", percent) + bar(percent, layout.bar) +
         fmt::format(" {} of {}", settings::sizeText(copied.bytes),
                     settings::sizeText(copied.totalBytes)) +
         (layout.items ? items : "");
}

}  // namespace

void PlainDisplay::stage(const std::string& disk, const std::string& text) {
  const std::string line = printable(disk + ": " + text);
  if (line == last_) return;
  last_ = line;
  out_ << line << std::endl;
}

LiveDisplay::LiveDisplay(std::ostream& terminal, std::function<int()> width, Clock clock)
    : terminal_(terminal), width_(std::move(width)), clock_(std::move(clock)) {}

// The last cell of a line stays empty: some terminals go on to the next line behind it.
std::size_t LiveDisplay::room() const {
  return static_cast<std::size_t>(std::max(width_(), 2)) - 1;
}

void LiveDisplay::draw(const std::string& line) {
  const std::string shown = fitted(line, room());
  if (shown == drawn_) return;
  drawn_ = shown;
  terminal_ << "\r" + shown + "\x1b[K" << std::flush;
}

void LiveDisplay::stage(const std::string& disk, const std::string& text) {
  stage_ = printable(disk + ": " + text);
  showsProgress_ = false;
  draw(stage_);
}

void LiveDisplay::progress(const QVRamDiskProgress& copied) {
  const auto now = clock_();
  if (showsProgress_ && now - lastProgress_ < kBetweenDrawings) return;
  showsProgress_ = true;
  lastProgress_ = now;
  draw(progressLine(stage_, copied, room()));
}

void LiveDisplay::end() {
  if (!drawn_.empty()) terminal_ << "\r\x1b[K" << std::flush;
  drawn_.clear();
  showsProgress_ = false;
}

std::unique_ptr<ActionDisplay> displayFor(Context& context) {
  Streams& streams = context.streams;
  if (context.quiet) return std::make_unique<ActionDisplay>();
  // Lines of the log would be written into the one that is redrawn.
  if (streams.errIsTerminal && streams.rewritesLines && !context.verbose)
    return std::make_unique<LiveDisplay>(streams.err, streams.width);
  return std::make_unique<PlainDisplay>(streams.out);
}

}  // namespace cli
