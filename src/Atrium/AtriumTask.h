// A unit of main-thread work, handed to the host's task library for the
// runner "main.thread.runner".
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace tessel_atriumclient {

struct AtriumTask {
  std::string label;
  std::function<void()> work;
  std::function<void()> release;

  // Posts the task under `key`. False, with the task dropped unrun, when the
  // host has no task manager.
  bool PostToMainThread(uint64_t key) &&;
};

}  // namespace tessel_atriumclient
