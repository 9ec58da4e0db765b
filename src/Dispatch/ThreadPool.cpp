// The one thread pool behind the global concurrent queues.
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/thread_pool.hpp>

#include <algorithm>
#include <thread>

#include "Dispatch/QueueImpl.hpp"

namespace zorlan::detail {
namespace {

boost::asio::thread_pool& pool() {
  // Started on first use and kept for the life of the process: work may still
  // be queued while static objects are destroyed at exit.
  static auto* shared = new boost::asio::thread_pool(
      std::max<std::size_t>(2, std::thread::hardware_concurrency()));
  return *shared;
}

}  // namespace

void postToPool(std::function<void()> work) { boost::asio::post(pool(), std::move(work)); }

void postToPoolAfter(std::chrono::nanoseconds delay, std::function<void()> work) {
  auto timer = std::make_shared<boost::asio::steady_timer>(pool(), delay);
  timer->async_wait([timer, work = std::move(work)](const boost::system::error_code& error) {
    if (!error) work();
  });
}

}  // namespace zorlan::detail
