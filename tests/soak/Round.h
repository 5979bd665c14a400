#pragma once

#include <string>
#include <vector>

#include "tests/soak/Model.h"
#include "tests/soak/Plan.h"
#include "tests/soak/Program.h"

namespace soak {

struct Report {
  std::vector<std::string> faults;
  Outcome act;              // of what the scenario kills
  bool secondKill = false;  // the next verb was killed as well
  bool lostVolume = false;  // a volume went with the power
  std::size_t rescued = 0;  // folders kept under another name
  std::size_t strays = 0;   // devices that nothing gave back
};

// Takes every device and its volume away without a word to the program, as a power cut would.
// What the page cache still owes to a real disk stays, so it is no test of flushing.
void loseVolumes();

// One disk from its first file to the check of what is left, in a home of its own, which is emptied
// before. The process that runs it is in a private mount namespace.
class Round {
 public:
  Round(std::string program, const Plan& plan, std::string home, Random& random);

  Report run();

  // The folder that holds the contents when the disk is ejected, and its neighbours.
  static constexpr char kDisk[] = "disk";

 private:
  void prepare();
  void fillBackupFolder(const Tree& tree);
  void bringToTheAct();
  void act();
  void goOn();
  void settle();
  void takeNextStep();
  void bringBackEjected();
  void judge();

  Words verb(const std::string& name) const;
  Words wordsOfAct() const;
  bool must(const std::string& name);
  void work();
  void lose();
  void note(std::string fault) { report_.faults.push_back(std::move(fault)); }

  const Plan& plan_;
  std::string home_;
  std::string place_ = home_ + "/desk";
  std::string folder_ = place_ + "/" + kDisk;
  std::string backups_ = home_ + "/backups";
  Program program_;
  Random& random_;
  unsigned stamp_ = 0;
  Model model_{{}};
  Report report_;
};

}  // namespace soak
