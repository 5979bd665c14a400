#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/AtomicProperty.h"

// A simulated phone or tablet, as its folder in the user's library describes it. Immutable once
// read. Any thread.
class QVSimDevice {
 public:
  using Text = std::optional<std::string>;

  static constexpr std::int64_t kHasBeenUsed = 1;  // bit of `state`: its library holds a file

  // The folder that holds a folder for each device; kept. nullopt where the home is unknown.
  static Text devicesDirPath();

  // Whether a folder of this name is there. A name that leads elsewhere is none.
  static bool canSimDeviceWithDirId(const Text& dirId);

  // nullptr for what cannot be read, which is logged, and for a device of another sort: watches and
  // televisions have folders too.
  static std::shared_ptr<const QVSimDevice> simDeviceWithDirId(const Text& dirId);

  const Text& type() const { return type_; }             // such as "iPhone-8"
  const Text& dirId() const { return dirId_; }           // its unique identifier
  const Text& name() const { return name_; }             // its user's name for it
  const Text& version() const { return version_; }       // of the system it runs, such as "12-1"
  double plistModDate() const { return plistModDate_; }  // seconds since 1970; 0 when not known
  std::int64_t state() const { return state_; }

  Text displayName() const;
  std::string description() const;

  struct Fields {
    Text type{};
    Text dirId{};
    Text name{};
    Text version{};
    double plistModDate = 0;
    std::int64_t state = 0;
  };
  explicit QVSimDevice(Fields fields);

  // What became of reading a folder. `isOther`: it is whole and of a device of another sort.
  struct Reading {
    std::shared_ptr<const QVSimDevice> device{};
    bool isOther = false;
  };
  // The same as simDeviceWithDirId of a folder that is known to be there.
  static Reading read(const std::string& dirId);

 private:
  const Text type_;
  const Text dirId_;
  const Text name_;
  const Text version_;
  const double plistModDate_;
  const std::int64_t state_;
};

// The simulator devices that have been used, by type, version and name. Filled when first asked
// for and read again only by update(): devices made or erased meanwhile are not seen. Any thread;
// a race on first use reads the folders twice.
class QVSimDeviceList {
 public:
  using Devices = std::vector<std::shared_ptr<const QVSimDevice>>;

  static QVSimDeviceList& sharedInstance();

  std::shared_ptr<const Devices> devices();  // never null
  void update();
  std::shared_ptr<const QVSimDevice> simDeviceWithDirId(const std::optional<std::string>& dirId);

 private:
  AtomicProperty<std::shared_ptr<const Devices>> devices_;
};
