#pragma once

#include <cstdint>
#include <string>

#include "disktools/Result.h"
#include "leaf/Descriptor.h"

namespace disktools {

// A file system being configured, see fsopen(2). What the kernel has to say about a refusal is
// part of the problem that is handed back.
class FsContext {
 public:
  // `purpose` begins every problem: "cannot make a file system of 512 MB".
  static Result<FsContext> open(const char* type, std::string purpose);

  Failure set(const char* key, const std::string& value);
  Failure set(const char* flag);

  // Makes the file system and a mount of it that is attached nowhere: its descriptor is all that
  // keeps it.
  Result<Descriptor> mount(std::uint64_t attributes);

 private:
  FsContext(Descriptor context, std::string purpose)
      : context_(std::move(context)), purpose_(std::move(purpose)) {}

  Problem refused() const;

  Descriptor context_;
  std::string purpose_;
};

}  // namespace disktools
