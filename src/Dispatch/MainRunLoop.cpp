#include "zorlan/Dispatch/MainRunLoop.hpp"

#include "Dispatch/QueueImpl.hpp"

namespace zorlan {

void MainRunLoop::run() {
  detail::mainQueueImpl()->runMain(true, std::chrono::steady_clock::time_point::max());
}

std::size_t MainRunLoop::runUntilIdle() {
  return detail::mainQueueImpl()->runMain(false, std::chrono::steady_clock::time_point::min());
}

void MainRunLoop::runFor(std::chrono::nanoseconds duration) {
  using Clock = std::chrono::steady_clock;
  const auto now = Clock::now();
  const auto room = Clock::time_point::max() - now;
  const auto until = duration >= room ? Clock::time_point::max() : now + duration;
  detail::mainQueueImpl()->runMain(true, until);
}

void MainRunLoop::stop() { detail::mainQueueImpl()->stopMain(); }

}  // namespace zorlan
