#include "system/DetachedThread.h"

#include <system_error>
#include <thread>

#include "core/QVLog.h"

namespace {

bool isStarted(const std::function<void()>& work) {
  try {
    std::thread(work).detach();
    return true;
  } catch (const std::system_error& error) {
    QVLogError("DetachedThread", "thread==nil error:{}", error.what());
    return false;
  }
}

}  // namespace

void runOnOwnThreadElseHere(const std::function<void()>& work) {
  if (!isStarted(work)) work();
}

void runOnOwnThread(const std::function<void()>& work) { isStarted(work); }
