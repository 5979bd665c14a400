#pragma once

#include <future>
#include <memory>
#include <utility>

#include "platform/MainLoop.h"

namespace platform {

// Posts the task and waits. Whether it has run or was dropped, its end releases who waits: the task
// goes first, then the promise.
inline void postAndAwait(MainLoop& loop, MainLoop::Task task) {
  struct Awaited {
    std::shared_ptr<std::promise<void>> finished;
    MainLoop::Task task;
    void operator()() const { task(); }
  };
  auto finished = std::make_shared<std::promise<void>>();
  const auto released = finished->get_future();
  loop.post(Awaited{std::move(finished), std::move(task)});
  released.wait();
}

}  // namespace platform
