#include "system/DetachedThread.h"

#include <system_error>
#include <thread>

#include "core/QVLog.h"

platform::Failure startDetached(std::function<void()> work) {
  try {
    std::thread(std::move(work)).detach();
  } catch (const std::system_error& error) {
    QVLogError("DetachedThread", "thread==nil error:{}", error.what());
    return platform::SystemError{"POSIX", error.code().value(), error.what()};
  }
  return std::nullopt;
}
