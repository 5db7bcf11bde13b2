#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "corvana/export.h"

namespace corvana {

using Task = std::function<void()>;

// A serial work queue: tasks run one at a time, in submission order, on the queue's own thread.
// The thread starts with the first task and is joined when the queue is destroyed.
class CORVANA_EXPORT DispatchQueue {
 public:
  explicit DispatchQueue(std::string label);
  ~DispatchQueue();
  DispatchQueue(const DispatchQueue&) = delete;
  DispatchQueue& operator=(const DispatchQueue&) = delete;

  const std::string& label() const { return label_; }

  void async(Task task);
  // Runs the task on the queue and waits for it. Calling it from the queue's own thread would wait forever,
  // so such a call runs the task at once instead.
  void sync(const Task& task);
  bool isCurrent() const;
  // The queue whose task is running on the calling thread, or null on any other thread.
  static DispatchQueue* current();

  // Blocks until the queue has no task waiting or running. Meant for hosts that shut down and for tests.
  void waitUntilIdle();
  bool isIdle();

 private:
  void run();

  std::string label_;
  std::mutex mutex_;
  std::condition_variable wake_;
  std::condition_variable idle_;
  std::deque<Task> tasks_;
  bool running_ = false;
  bool stopping_ = false;
  size_t ranSinceIdle_ = 0;
  std::thread worker_;
  std::thread::id workerId_;
};

// A queue of tasks that run on the host's main (user-interface) thread. The host runs them: `drain` from its
// own event loop, or `runMainLoop` when it has none. The main thread is the thread that created the queue
// unless the host names another with `bindToCurrentThread`.
class CORVANA_EXPORT MainQueue {
 public:
  MainQueue();
  MainQueue(const MainQueue&) = delete;
  MainQueue& operator=(const MainQueue&) = delete;

  void bindToCurrentThread();
  bool isMainThread() const;

  void async(Task task);
  // Runs the task on the main thread and waits for it; on the main thread it runs at once.
  void sync(const Task& task);

  // Runs every task queued so far and those they queue, until none is left. Answers how many ran.
  // Must be called on the main thread.
  size_t drain();
  // Runs tasks as they arrive until `stop` is called (from any thread, or from a task).
  void runMainLoop();
  void stop();
  // Waits up to `timeoutMs` for a task to be queued, running every task queued by then. Answers how many ran.
  size_t drainFor(int timeoutMs);
  bool isEmpty();

 private:
  bool runOne(std::unique_lock<std::mutex>& lock);

  mutable std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<Task> tasks_;
  bool stopRequested_ = false;
  std::thread::id mainId_;
};

// The global background queue: a few worker threads that run independent tasks concurrently.
class CORVANA_EXPORT ConcurrentQueue {
 public:
  explicit ConcurrentQueue(size_t threads);
  ~ConcurrentQueue();
  ConcurrentQueue(const ConcurrentQueue&) = delete;
  ConcurrentQueue& operator=(const ConcurrentQueue&) = delete;

  void async(Task task);
  void waitUntilIdle();

 private:
  void run();

  size_t threadCount_;
  std::mutex mutex_;
  std::condition_variable wake_;
  std::condition_variable idle_;
  std::deque<Task> tasks_;
  size_t active_ = 0;
  bool stopping_ = false;
  std::vector<std::thread> workers_;
};

}  // namespace corvana
