// The host's task library: one runner, "main.thread.runner", whose queue the
// test or the reference host's loop runs explicitly.
#include <cstring>

#include "SimState.h"

namespace hostsim {
namespace {

thread_local uint64_t tCurrentKey = 0;

class CallableTask : public TesselTask::ITesselTask {
 public:
  CallableTask(const char* label, std::function<void()> work, std::function<void()> release)
      : label_(label ? label : ""), work_(std::move(work)), release_(std::move(release)) {}
  const char* GetLabel() const override { return label_.c_str(); }
  void Run() override {
    if (work_) work_();
  }
  void Release() override {
    if (release_) release_();
    delete this;
  }

 private:
  std::string label_;
  std::function<void()> work_;
  std::function<void()> release_;
};

class SimTaskManager : public TesselTask::ITLTManager {
 public:
  bool PostTask(const char* runner, TesselTask::ITesselTask* task, uint64_t key) override {
    if (!task) return false;
    if (!runner || std::strcmp(runner, TesselTask::kMainThreadRunner) != 0) {
      task->Release();
      return false;
    }
    std::lock_guard<std::mutex> lock(State().taskMutex);
    State().tasks.push_back({task, key});
    return true;
  }
  void DropTasks(uint64_t key) override {
    std::deque<QueuedTask> dropped;
    {
      std::lock_guard<std::mutex> lock(State().taskMutex);
      auto& q = State().tasks;
      for (auto it = q.begin(); it != q.end();) {
        if (it->key == key) {
          dropped.push_back(*it);
          it = q.erase(it);
        } else {
          ++it;
        }
      }
    }
    for (auto& t : dropped) t.task->Release();
  }
};

}  // namespace

void ResetTasks() {
  std::deque<QueuedTask> dropped;
  {
    std::lock_guard<std::mutex> lock(State().taskMutex);
    dropped.swap(State().tasks);
  }
  for (auto& t : dropped) t.task->Release();
}

std::size_t RunMainQueue() {
  std::size_t ran = 0;
  for (;;) {
    QueuedTask next;
    {
      std::lock_guard<std::mutex> lock(State().taskMutex);
      if (State().tasks.empty()) return ran;
      next = State().tasks.front();
      State().tasks.pop_front();
    }
    const uint64_t outer = tCurrentKey;
    tCurrentKey = next.key;
    next.task->Run();
    tCurrentKey = outer;
    next.task->Release();
    ++ran;
  }
}

std::size_t PendingTaskCount() {
  std::lock_guard<std::mutex> lock(State().taskMutex);
  return State().tasks.size();
}

}  // namespace hostsim

namespace TesselTask {

ITesselTask* CreateTesselTask(const char* label, std::function<void()> work,
                              std::function<void()> release) {
  return new hostsim::CallableTask(label, std::move(work), std::move(release));
}

ITLTManager* GetTLTManager() {
  static hostsim::SimTaskManager manager;
  return hostsim::State().Fails("tasks.manager") ? nullptr : &manager;
}

uint64_t GenerateUniqueKey(const char* label) {
  std::lock_guard<std::mutex> lock(hostsim::State().taskMutex);
  auto& keys = hostsim::State().taskKeys;
  auto it = keys.find(label ? label : "");
  if (it != keys.end()) return it->second;
  const uint64_t key = keys.size() + 1;
  keys.emplace(label ? label : "", key);
  return key;
}

uint64_t GetCurrentUniqueKey() { return hostsim::tCurrentKey; }

}  // namespace TesselTask
