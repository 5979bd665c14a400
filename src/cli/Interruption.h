#pragma once

#include <array>

namespace cli {

// While one exists, the first signal that asks the process to end is only noted, so that nobody
// dies in the middle of a save; the second ends it, with a command of the user's that it runs. A
// reader that goes away does not end it either, nor a limit on how large files may be. One at a
// time, main thread only.
class Interruption {
 public:
  Interruption();
  ~Interruption();
  Interruption(const Interruption&) = delete;
  Interruption& operator=(const Interruption&) = delete;

  bool noted() const;

 private:
  using Handler = void (*)(int);
  std::array<Handler, 5> former_{};
};

}  // namespace cli
