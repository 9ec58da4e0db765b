// MainRunLoop: how the host application runs the main queue.
#pragma once

#include <chrono>
#include <cstddef>

namespace zorlan {

// Work submitted to `DispatchQueue::main()` waits until the host runs the
// main queue with one of these calls; the thread that does is "the main
// thread" while it does. One thread at a time: running the main queue while
// it is already being run (from another thread, or from main-queue work)
// stops the process (precondition). Delayed work and timers on the main queue
// follow the dispatch clock (see `DispatchClock` for the manual test clock).
class MainRunLoop {
 public:
  // Runs main-queue work, waiting for more, until `stop()` is called.
  static void run();
  // Runs every item that is ready, including delayed work that is due on the
  // dispatch clock and items that the items run submit, and returns how many
  // ran. Never waits; for tests and for hosts with a loop of their own.
  static std::size_t runUntilIdle();
  // Runs main-queue work for `duration` of real time (waiting for more
  // meanwhile), then returns; returns early on `stop()`.
  static void runFor(std::chrono::nanoseconds duration);
  // Makes `run()` or `runFor()` return once the item it is running is done;
  // when the main queue is not being run, the next `run()` or `runFor()`
  // returns at once. Thread-safe.
  static void stop();
};

}  // namespace zorlan
