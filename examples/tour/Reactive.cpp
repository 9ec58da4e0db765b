// Stops of the tour about live values and time.
#include <chrono>
#include <string>

#include "Tour.hpp"
#include "zorlan/Rx/DisposeBag.hpp"
#include "zorlan/Rx/Subjects.hpp"
#include "zorlan/Rx/VirtualTimeScheduler.hpp"
#include "zorlan/Scheduling/BehaviorReader.hpp"
#include "zorlan/Scheduling/RxOperators.hpp"

namespace tour {

using namespace zorlan;
using namespace std::chrono_literals;

void reactiveValues() {
  heading("A behaviour reader following a relay");
  rx::BehaviorRelay<int> volume(5);
  BehaviorReader<int> reader = asBehaviorReader(volume);  // read-only view for everyone else
  BehaviorReader<std::string> label =
      reader.map([](int v) { return std::to_string(v * 10) + "%"; });

  rx::DisposeBag bag;
  label.distinctUntilChanged()
      .asObservable()
      .subscribe([](const std::string& text) { std::cout << "  volume label: " << text << "\n"; })
      .disposed(bag);
  withPrevious(reader.asObservable())
      .subscribe([](const std::pair<int, int>& change) {
        std::cout << "  volume went from " << change.first << " to " << change.second << "\n";
      })
      .disposed(bag);

  for (int v : {7, 7, 3}) {
    std::cout << "  owner accepts " << v << "\n";
    volume.accept(v);
  }
  std::cout << "  reader.value() = " << reader.value() << "\n";
}

void virtualTime() {
  heading("A timer in virtual time");
  auto scheduler = rx::TestScheduler::make();
  rx::PublishSubject<std::string> playback;
  rx::DisposeBag bag;
  afterTimeout(playback.asObservable(), 3s, std::string("(no playback event for 3 s: stall?)"),
               scheduler)
      .subscribe([&](const std::string& event) {
        auto at = std::chrono::duration_cast<std::chrono::milliseconds>(
            scheduler->now().time_since_epoch());
        std::cout << "  t=" << at.count() << " ms  " << event << "\n";
      })
      .disposed(bag);
  rx::timer(1s, scheduler, 1s)
      .take(4)
      .subscribe([](std::int64_t tick) { std::cout << "  tick " << tick << "\n"; })
      .disposed(bag);
  std::cout << "  advancing the virtual clock by 5 s, instantly\n";
  scheduler->advanceBy(5s);
  playback.onNext("playing");
}

}  // namespace tour
