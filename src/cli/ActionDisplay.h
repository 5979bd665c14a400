#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <ostream>
#include <string>

#include "cli/Context.h"
#include "ramdisk/QVRamDiskDelegate.h"

namespace cli {

// Shows how far the running action is. This one shows nothing. Main thread only.
class ActionDisplay {
 public:
  virtual ~ActionDisplay() = default;

  virtual void stage(const std::string& /*disk*/, const std::string& /*text*/) {}
  virtual void progress(const QVRamDiskProgress&) {}
  // The action ended, or something else is to be written: what is on the screen goes.
  virtual void end() {}
};

// One line for every stage: "NAME: stage".
class PlainDisplay : public ActionDisplay {
 public:
  explicit PlainDisplay(std::ostream& out) : out_(out) {}
  void stage(const std::string& disk, const std::string& text) override;
  void end() override { last_.clear(); }

 private:
  std::ostream& out_;
  std::string last_;
};

// One line of a terminal, written over and over: the stage, and while contents are copied how far
// that is. At most 20 drawings a second while copying.
class LiveDisplay : public ActionDisplay {
 public:
  using Clock = std::function<std::chrono::steady_clock::time_point()>;

  LiveDisplay(std::ostream& terminal, std::function<int()> width,
              Clock clock = std::chrono::steady_clock::now);

  void stage(const std::string& disk, const std::string& text) override;
  void progress(const QVRamDiskProgress& copied) override;
  void end() override;

 private:
  void draw(const std::string& line);
  std::size_t room() const;

  std::ostream& terminal_;
  std::function<int()> width_;  // columns
  Clock clock_;
  std::string stage_;
  std::string drawn_;  // what stands on the screen
  std::chrono::steady_clock::time_point lastProgress_;
  bool showsProgress_ = false;
};

// The display that suits the context's streams and options.
std::unique_ptr<ActionDisplay> displayFor(Context& context);

}  // namespace cli
