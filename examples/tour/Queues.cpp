// Stops of the tour about dispatch queues.
#include "zorlan/Scheduling/Queues.hpp"

#include <sstream>
#include <vector>

#include "Tour.hpp"
#include "zorlan/Scheduling/Dispatcher.hpp"

namespace tour {

using namespace zorlan;

void queues() {
  heading("Work on a serial queue");
  DispatchQueue queue = queues::serial("tour.downloads", DispatchQoS::utility);
  std::cout << "  queue label: " << queue.label() << "\n";
  std::vector<int> done;
  for (int i = 1; i <= 5; ++i) queue.async([&done, i] { done.push_back(i); });
  // sync waits for everything submitted before it and runs on this thread.
  std::size_t count = queue.sync([&] { return done.size(); });
  std::ostringstream order;
  for (int i : done) order << i << ' ';
  std::cout << "  after sync: " << count << " items ran, in order: " << order.str() << "\n";

  heading("The main queue runs where the host runs it");
  AsyncDispatcher main(DispatchQueue::main());
  main.dispatchSingle([] { return std::string("value computed on the main queue"); })
      .subscribe([](const std::string& v) {
        std::cout << "  " << v << " (isMain: " << std::boolalpha << queues::isMain() << ")\n";
      });
  std::cout << "  nothing has run yet; the host now drains the main queue\n";
  MainRunLoop::runUntilIdle();
}

}  // namespace tour
