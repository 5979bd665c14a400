#pragma once

#include <deque>
#include <memory>
#include <string>

#include "core/QVError.h"

namespace menu {

// Tells the user of failures, one after the other. Main thread only. Held by a shared pointer.
class FailureAlerts : public std::enable_shared_from_this<FailureAlerts> {
 public:
  // Returns at once; the main loop shows it. An error that was told already is not told again.
  void tell(std::string title, const QVErrorPtr& error);

 private:
  void showNext();

  struct Failure {
    std::string title;
    QVErrorPtr error;
  };
  std::deque<Failure> waiting_;
  bool isShowing_ = false;
};

}  // namespace menu
