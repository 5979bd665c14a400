#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "platform/Result.h"

// Keeps the user's programs from changing the registry at the same time. The registry is replaced
// whenever it is written, so what is locked is a file beside it, which is made once and stays; who
// may write the one may use the other. Held until the object goes, or the program ends however it
// may. Within one program it holds others off too: who has it must not take it again. Any thread.
class RegistryLock {
 public:
  // What a command waits for others, each of which needs some milliseconds. Who has it for longer
  // hangs.
  static constexpr std::chrono::milliseconds kPatience{5000};

  // "RamDiskEntries.lock" for the registry's own path.
  static std::string fileFor(const std::string& registry) { return registry + ".lock"; }

  // Waits for others, not longer than `patience`, which may be 0. EWOULDBLOCK when one still has
  // it then. Where the file system knows no locks the change goes on without, and the log says so.
  static platform::Result<RegistryLock> take(const std::string& registry,
                                             std::chrono::milliseconds patience);

 private:
  explicit RegistryLock(std::shared_ptr<void> held) : held_(std::move(held)) {}

  std::shared_ptr<void> held_;  // null without a lock
};
