#pragma once
// The directory below /run where the program keeps its private mounts and what it remembers.

#include <string>
#include <vector>

#include "disktools/Record.h"
#include "disktools/Result.h"
#include "leaf/Descriptor.h"

namespace disktools {

// Open, it holds the lock under which every verb runs, one at a time over all processes. The
// directory belongs to root and nobody else may write there, so its contents can be believed.
class State {
 public:
  // Makes the directory when it is not there and waits for the lock.
  static Result<State> open();

  // Where the device's private mount lies.
  static std::string home(const Record& record);

  // The numbers of everything kept here, of devices and of what is left of them, ascending.
  std::vector<unsigned> numbers() const;

  // A missing or damaged file gives a record of root's with 0 sectors.
  Record read(unsigned number) const;
  Failure write(const Record& record) const;  // whole or not at all

  // Makes the directory for the private mount and opens it by path only.
  Result<Descriptor> makeHome(const Record& record) const;
  Result<Descriptor> openHome(const Record& record) const;

  // Removes record and mount directory; what is not there is no failure.
  void forget(const Record& record) const;

 private:
  State(Descriptor directory, Descriptor lock)
      : directory_(std::move(directory)), lock_(std::move(lock)) {}

  Descriptor directory_;
  Descriptor lock_;
};

}  // namespace disktools
