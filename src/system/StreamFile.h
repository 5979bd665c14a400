#pragma once

#include <sys/types.h>

#include <string>

#include "system/Descriptor.h"

// Where a tool's output stream is collected: a file without a name that grows as far as it must,
// so that the tool never waits for a reader, and that can be read to where it ends now although
// something that the tool left behind may still hold it open. Goes away with its last descriptor.
class StreamFile {
 public:
  // In memory where the system has such files, in the folder of temporary files otherwise. All
  // three give an invalid one with errno set when it cannot be had.
  static StreamFile make();
  static StreamFile inMemory();
  static StreamFile inTemporaryFolder();

  explicit operator bool() const { return static_cast<bool>(file_); }
  int descriptor() const { return file_.get(); }  // writes append; closed on exec

  // Holds back what is written later from the reads that follow.
  void seal();

  // The next bytes, up to the sealed end; empty at the end, and when they cannot be read.
  std::string nextChunk();

 private:
  static StreamFile over(Descriptor file);

  Descriptor file_;
  off_t position_ = 0;
  off_t end_ = 0;
};
