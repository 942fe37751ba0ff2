// The host's task library: work posted to named runners, dropped by key.
#pragma once

#include <cstdint>
#include <functional>

#include "Kit/KitExport.h"

namespace TesselTask {

constexpr const char* kMainThreadRunner = "main.thread.runner";

class KIT_API ITesselTask {
 public:
  virtual ~ITesselTask();
  virtual const char* GetLabel() const = 0;
  virtual void Run() = 0;
  // Ends the task's life; called once, after Run or instead of it when dropped.
  virtual void Release() = 0;
};

class KIT_API ITLTManager {
 public:
  virtual ~ITLTManager();
  // Takes the task; false (and the task released) when there is no such runner.
  virtual bool PostTask(const char* runner, ITesselTask* task, uint64_t key) = 0;
  // Drops (releases unrun) every queued task posted under `key`.
  virtual void DropTasks(uint64_t key) = 0;
};

// A task from two callables: the work, and what releases its data.
KIT_API ITesselTask* CreateTesselTask(const char* label, std::function<void()> work,
                                      std::function<void()> release);
KIT_API ITLTManager* GetTLTManager();
// The same label always gives the same key; different labels, different keys.
KIT_API uint64_t GenerateUniqueKey(const char* label);
// The key of the task that runs now on this thread, 0 outside a task.
KIT_API uint64_t GetCurrentUniqueKey();

}  // namespace TesselTask
