#include "corvana/dispatch.h"

#include <malloc.h>

#include <exception>
#include <utility>

#include "util/Log.h"

namespace corvana {

namespace {

// The queue whose worker is the current thread, if any: answers `isCurrent` without reading another thread's
// state.
thread_local const void* currentQueue = nullptr;

// How many tasks a queue runs between two idle moments before its drain hands freed heap back to the system.
constexpr size_t kTrimAfterTasks = 256;

// Runs `task` through `submit` and waits for it; an exception the task throws is rethrown here.
template <typename Submit>
void runAndWait(const Task& task, Submit submit) {
  std::mutex mutex;
  std::condition_variable finished;
  bool done = false;
  std::exception_ptr failure;
  submit([&] {
    try {
      task();
    } catch (...) {
      failure = std::current_exception();
    }
    // Notified under the lock: the waiter cannot return, and destroy these locals, before this task is done
    // with them.
    std::lock_guard<std::mutex> lock(mutex);
    done = true;
    finished.notify_one();
  });
  std::unique_lock<std::mutex> lock(mutex);
  finished.wait(lock, [&] { return done; });
  if (failure) std::rethrow_exception(failure);
}

// A task that throws must not end the host's process, nor stop the queue: the tasks behind it (stored events,
// reports) still run. The failure is logged for the integrating developer.
void runGuarded(const Task& task, const std::string& label) {
  try {
    task();
  } catch (const std::exception& e) {
    CRVLog("CorvanaSDK-A task on " + label + " failed and was skipped: " + e.what());
  } catch (...) {
    CRVLog("CorvanaSDK-A task on " + label + " failed and was skipped.");
  }
}

}  // namespace

// ---------------------------------------------------------------------------------------------------------------
// DispatchQueue

DispatchQueue::DispatchQueue(std::string label) : label_(std::move(label)) {}

DispatchQueue::~DispatchQueue() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_all();
  // The worker finishes every queued task, including those queued meanwhile, before it ends.
  if (worker_.joinable()) worker_.join();
}

void DispatchQueue::async(Task task) {
  if (!task) return;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    tasks_.push_back(std::move(task));
    if (!worker_.joinable()) worker_ = std::thread([this] { run(); });
  }
  wake_.notify_one();
}

void DispatchQueue::sync(const Task& task) {
  if (!task) return;
  if (isCurrent()) {
    task();
    return;
  }
  runAndWait(task, [this](Task wrapped) { async(std::move(wrapped)); });
}

bool DispatchQueue::isCurrent() const { return currentQueue == this; }

DispatchQueue* DispatchQueue::current() {
  return static_cast<DispatchQueue*>(const_cast<void*>(currentQueue));
}

void DispatchQueue::waitUntilIdle() {
  // From one of its own tasks the queue is never idle; waiting would never end.
  if (isCurrent()) return;
  std::unique_lock<std::mutex> lock(mutex_);
  idle_.wait(lock, [this] { return tasks_.empty() && !running_; });
}

bool DispatchQueue::isIdle() {
  std::lock_guard<std::mutex> lock(mutex_);
  return tasks_.empty() && !running_;
}

void DispatchQueue::run() {
  currentQueue = this;
  std::unique_lock<std::mutex> lock(mutex_);
  workerId_ = std::this_thread::get_id();
  for (;;) {
    wake_.wait(lock, [this] { return stopping_ || !tasks_.empty(); });
    if (tasks_.empty()) break;  // stopping, and nothing left to do
    Task task = std::move(tasks_.front());
    tasks_.pop_front();
    running_ = true;
    lock.unlock();
    runGuarded(task, label_);
    task = nullptr;  // the task's captures go before the queue counts as idle
    lock.lock();
    running_ = false;
    ++ranSinceIdle_;
    if (tasks_.empty()) {
      idle_.notify_all();
      // A burst of host calls leaves the heap holding what its queued tasks took; give it back once drained, so a
      // host that recorded in a burst does not keep that memory for the rest of its life.
      if (ranSinceIdle_ >= kTrimAfterTasks) {
        lock.unlock();
        ::malloc_trim(0);
        lock.lock();
      }
      ranSinceIdle_ = 0;
    }
  }
  currentQueue = nullptr;
}

// ---------------------------------------------------------------------------------------------------------------
// MainQueue

MainQueue::MainQueue() : mainId_(std::this_thread::get_id()) {}

void MainQueue::bindToCurrentThread() {
  std::lock_guard<std::mutex> lock(mutex_);
  mainId_ = std::this_thread::get_id();
}

bool MainQueue::isMainThread() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return mainId_ == std::this_thread::get_id();
}

void MainQueue::async(Task task) {
  if (!task) return;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    tasks_.push_back(std::move(task));
  }
  wake_.notify_all();
}

void MainQueue::sync(const Task& task) {
  if (!task) return;
  if (isMainThread()) {
    task();
    return;
  }
  runAndWait(task, [this](Task wrapped) { async(std::move(wrapped)); });
}

bool MainQueue::runOne(std::unique_lock<std::mutex>& lock) {
  if (tasks_.empty()) return false;
  Task task = std::move(tasks_.front());
  tasks_.pop_front();
  lock.unlock();
  runGuarded(task, "the main queue");
  task = nullptr;
  lock.lock();
  return true;
}

size_t MainQueue::drain() {
  std::unique_lock<std::mutex> lock(mutex_);
  size_t ran = 0;
  while (runOne(lock)) ++ran;
  return ran;
}

void MainQueue::runMainLoop() {
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    wake_.wait(lock, [this] { return stopRequested_ || !tasks_.empty(); });
    if (stopRequested_) break;
    runOne(lock);
  }
  // A stop ends one loop: the next `runMainLoop` runs until it is stopped again.
  stopRequested_ = false;
}

void MainQueue::stop() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stopRequested_ = true;
  }
  wake_.notify_all();
}

size_t MainQueue::drainFor(int timeoutMs) {
  std::unique_lock<std::mutex> lock(mutex_);
  wake_.wait_for(lock, std::chrono::milliseconds(timeoutMs > 0 ? timeoutMs : 0), [this] { return !tasks_.empty(); });
  size_t ran = 0;
  while (runOne(lock)) ++ran;
  return ran;
}

bool MainQueue::isEmpty() {
  std::lock_guard<std::mutex> lock(mutex_);
  return tasks_.empty();
}

// ---------------------------------------------------------------------------------------------------------------
// ConcurrentQueue

ConcurrentQueue::ConcurrentQueue(size_t threads) : threadCount_(threads > 0 ? threads : 1) {}

ConcurrentQueue::~ConcurrentQueue() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_all();
  for (auto& worker : workers_) worker.join();
}

void ConcurrentQueue::async(Task task) {
  if (!task) return;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    tasks_.push_back(std::move(task));
    // The workers start with the first task, so a queue that is never used costs no thread.
    if (workers_.empty()) {
      for (size_t i = 0; i < threadCount_; ++i) workers_.emplace_back([this] { run(); });
    }
  }
  wake_.notify_one();
}

void ConcurrentQueue::waitUntilIdle() {
  std::unique_lock<std::mutex> lock(mutex_);
  idle_.wait(lock, [this] { return tasks_.empty() && active_ == 0; });
}

void ConcurrentQueue::run() {
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    wake_.wait(lock, [this] { return stopping_ || !tasks_.empty(); });
    if (tasks_.empty()) break;
    Task task = std::move(tasks_.front());
    tasks_.pop_front();
    ++active_;
    lock.unlock();
    runGuarded(task, "a concurrent queue");
    task = nullptr;
    lock.lock();
    --active_;
    if (tasks_.empty() && active_ == 0) idle_.notify_all();
  }
}

}  // namespace corvana
