// The SDK's queues: serial queues that keep each producer's order, a main queue the host runs, and a pool.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <future>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include "corvana/dispatch.h"
#include "support/TestPlatform.h"

namespace corvana {
namespace {

TEST(DispatchQueue, RunsTasksOneAtATimeInSubmissionOrderOfEachProducer) {
  constexpr int kProducers = 8, kTasksEach = 500;
  DispatchQueue queue("com.corvana.test.serial");
  std::vector<std::pair<int, int>> ran;  // touched only by the queue's tasks
  std::atomic<int> inside{0}, overlaps{0};
  std::vector<std::thread> producers;
  for (int p = 0; p < kProducers; ++p) {
    producers.emplace_back([&, p] {
      for (int i = 0; i < kTasksEach; ++i) {
        queue.async([&, p, i] {
          if (inside.fetch_add(1) != 0) overlaps.fetch_add(1);
          ran.emplace_back(p, i);
          inside.fetch_sub(1);
        });
      }
    });
  }
  for (auto& producer : producers) producer.join();
  queue.waitUntilIdle();

  EXPECT_EQ(overlaps.load(), 0);
  ASSERT_EQ(ran.size(), size_t{kProducers * kTasksEach});
  std::vector<int> next(kProducers, 0);
  for (auto [producer, index] : ran) EXPECT_EQ(index, next[producer]++) << "producer " << producer;
}

TEST(DispatchQueue, SyncRunsOnTheQueueInlineFromItsOwnTasksAndRethrows) {
  DispatchQueue queue("com.corvana.test.sync");
  EXPECT_FALSE(queue.isCurrent());
  std::vector<int> order;
  queue.sync([&] {
    order.push_back(queue.isCurrent() ? 1 : -1);
    queue.sync([&] { order.push_back(2); });  // would wait for itself if it were queued
    order.push_back(3);
  });
  EXPECT_THROW(queue.sync([] { throw std::runtime_error("task failed"); }), std::runtime_error);
  queue.sync([&] { order.push_back(4); });
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3, 4}));
}

TEST(DispatchQueue, AThrowingTaskIsLoggedAndTheTasksBehindItStillRun) {
  auto& tp = test::installTestPlatform();
  DispatchQueue serial("com.corvana.test.throwing");
  ConcurrentQueue concurrent(2);
  std::atomic<int> ran{0};
  serial.async([] { throw std::runtime_error("bad record"); });
  serial.async([&] { ++ran; });
  concurrent.async([] { throw 42; });
  concurrent.async([&] { ++ran; });
  Platform::current().mainQueue->async([] { throw std::runtime_error("bad view"); });
  Platform::current().mainQueue->async([&] { ++ran; });
  serial.waitUntilIdle();
  concurrent.waitUntilIdle();
  EXPECT_EQ(Platform::current().mainQueue->drain(), 2u);
  EXPECT_EQ(ran.load(), 3);
  EXPECT_TRUE(tp.log->contains("CorvanaSDK-A task on com.corvana.test.throwing failed and was skipped: bad record"));
  EXPECT_TRUE(tp.log->contains("CorvanaSDK-A task on a concurrent queue failed and was skipped."));
  EXPECT_TRUE(tp.log->contains("CorvanaSDK-A task on the main queue failed and was skipped: bad view"));
}

TEST(DispatchQueue, IdleOnlyWhenRunningTasksAndTheTasksTheyQueueAreDone) {
  std::atomic<int> finished{0};
  {
    DispatchQueue queue("com.corvana.test.idle");
    EXPECT_TRUE(queue.isIdle());
    std::promise<void> release;
    queue.async([&, released = release.get_future().share()] {
      released.wait();
      queue.async([&] { queue.async([&] { ++finished; }); });
    });
    EXPECT_FALSE(queue.isIdle());
    release.set_value();
    queue.waitUntilIdle();
    EXPECT_EQ(finished.load(), 1);
    EXPECT_TRUE(queue.isIdle());
    // Destroying the queue finishes what is still queued.
    for (int i = 0; i < 200; ++i) queue.async([&] { ++finished; });
  }
  EXPECT_EQ(finished.load(), 201);
}

TEST(MainQueue, SyncFromOtherThreadsRunsOnTheMainThreadWhileItRunsItsLoopOrDrains) {
  MainQueue main;
  std::thread::id ranOn;
  bool posterIsMain = true;
  std::thread poster([&] {
    posterIsMain = main.isMainThread();
    main.sync([&] { ranOn = std::this_thread::get_id(); });
    main.stop();
  });
  main.runMainLoop();
  poster.join();
  EXPECT_FALSE(posterIsMain);
  EXPECT_EQ(ranOn, std::this_thread::get_id());

  // The same from a host thread that binds itself as the main thread and drains.
  std::thread host([&] {
    main.bindToCurrentThread();
    std::thread other([&] { main.sync([&] { ranOn = std::this_thread::get_id(); }); });
    while (main.drainFor(100) == 0) {
    }
    other.join();
    EXPECT_EQ(ranOn, std::this_thread::get_id());
  });
  host.join();
  EXPECT_FALSE(main.isMainThread());
}

TEST(MainQueue, DrainRunsWhatTasksQueueAndStopEndsOneLoop) {
  MainQueue main;
  std::vector<int> order;
  main.async([&] {
    order.push_back(1);
    main.async([&] { order.push_back(3); });
    main.sync([&] { order.push_back(2); });  // on the main thread: at once
  });
  EXPECT_EQ(main.drain(), 2u);
  EXPECT_TRUE(main.isEmpty());

  main.stop();
  main.runMainLoop();  // a stop that came first ends this loop at once
  main.async([&] {
    order.push_back(4);
    main.stop();
  });
  main.runMainLoop();
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3, 4}));
}

TEST(ConcurrentQueue, RunsTasksInParallelAndWaitsUntilIdle) {
  constexpr int kThreads = 4;
  ConcurrentQueue pool(kThreads);
  std::mutex mutex;
  std::condition_variable changed;
  int started = 0;
  std::atomic<int> metAll{0}, finished{0};
  // Each of these waits until all have started, which only happens when the pool runs them at once; the generous
  // limit turns a fault into a failure instead of a hang.
  for (int i = 0; i < kThreads; ++i) {
    pool.async([&] {
      std::unique_lock<std::mutex> lock(mutex);
      ++started;
      changed.notify_all();
      if (changed.wait_for(lock, std::chrono::seconds(30), [&] { return started >= kThreads; })) ++metAll;
    });
  }
  for (int i = 0; i < 100; ++i) pool.async([&] { ++finished; });
  pool.waitUntilIdle();
  EXPECT_EQ(metAll.load(), kThreads);
  EXPECT_EQ(finished.load(), 100);
}

}  // namespace
}  // namespace corvana
