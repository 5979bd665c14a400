#include "cli/ActionDisplay.h"

#include <fmt/format.h>

#include <algorithm>

#include "cli/Columns.h"
#include "cli/SizeText.h"

namespace cli {
namespace {

using namespace std::chrono_literals;

constexpr auto kBetweenDrawings = 50ms;
constexpr std::size_t kWidestBar = 40;    // cells between its brackets
constexpr std::size_t kNarrowestBar = 8;  // below that there is none
constexpr std::size_t kNumbers = 36;      // cells of " 999.99 MB of 999.99 MB, 99999 items"
constexpr std::uint64_t kWhole = 100;     // per cent

std::uint64_t percentOf(const QVRamDiskProgress& copied) {
  const auto share =
      static_cast<long double>(copied.bytes) / static_cast<long double>(copied.totalBytes);
  return static_cast<std::uint64_t>(std::min(1.0L, share) * kWhole);
}

// " [####------]", or nothing where the room does not suffice. Its width does not depend on the
// numbers, which would make it jump.
std::string bar(std::uint64_t percent, std::size_t room) {
  constexpr std::size_t kFrame = 3;
  if (room < kNarrowestBar + kFrame + kNumbers) return {};
  const std::size_t width = std::min(room - kFrame - kNumbers, kWidestBar);
  const std::size_t filled = width * percent / kWhole;
  return " [" + std::string(filled, '#') + std::string(width - filled, '-') + "]";
}

// What follows the stage in so many cells.
std::string progressText(const QVRamDiskProgress& copied, std::size_t room) {
  const std::string items = fmt::format(", {} items", copied.entries);
  if (copied.totalBytes == 0) return " " + sizeText(copied.bytes) + items;
  const auto percent = percentOf(copied);
  const std::string share = fmt::format(" {:3} %", percent);
  return share + bar(percent, room > share.size() ? room - share.size() : 0) +
         fmt::format(" {} of {}", sizeText(copied.bytes), sizeText(copied.totalBytes)) + items;
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
  const std::size_t used = columns(stage_);
  draw(stage_ + progressText(copied, room() > used ? room() - used : 0));
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
