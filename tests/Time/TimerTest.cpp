// zorlan/Time/IntervalTimer.hpp, RelativeTimer.hpp: the inactivity timer's states in virtual time,
// and the one-shot timer on a dispatch timer source driven by the manual dispatch clock.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "support/MainQueueFixture.hpp"
#include "zorlan/Rx/VirtualTimeScheduler.hpp"
#include "zorlan/Time/IntervalTimer.hpp"
#include "zorlan/Time/RelativeTimer.hpp"

namespace zorlan {
namespace {

using State = IntervalTimerState;

// Every scheduler is the one test scheduler.
class VirtualSchedulers final : public SchedulerFactory {
 public:
  explicit VirtualSchedulers(std::shared_ptr<rx::TestScheduler> s) : s_(std::move(s)) {}
  rx::SchedulerPtr mainInstance() const override { return s_; }
  rx::SchedulerPtr mainShared() const override { return s_; }
  rx::SchedulerPtr asyncShared() const override { return s_; }
  rx::SchedulerPtr serialInstance(DispatchQoS, const std::string&) const override { return s_; }
  rx::SchedulerPtr serialInstance(DispatchQoS) const override { return s_; }
  rx::SchedulerPtr concurrentInstance(const DispatchQueue&) const override { return s_; }
  rx::SchedulerPtr concurrentInstance(DispatchQoS) const override { return s_; }
  rx::SchedulerPtr mainConcurrentShared() const override { return s_; }

 private:
  std::shared_ptr<rx::TestScheduler> s_;
};

struct Step {
  double atMs;
  double interval;  // NaN: stop()
};
struct Row {
  const char* name;
  std::vector<Step> steps;
  std::vector<std::pair<double, State>> expected;  // (virtual ms, state published)
};

const double kStop = std::numeric_limits<double>::quiet_NaN();

TEST(InactivityTimerTest, PublishesItsStatesAtTheirVirtualTimes) {
  const Row rows[] = {
      {"runs out", {{0, 2}}, {{0, State::idle}, {0, State::running}, {2000, State::completed}}},
      {"restart never reports the earlier countdown",
       {{0, 2}, {1000, 2}},
       {{0, State::idle}, {0, State::running}, {1000, State::running}, {3000, State::completed}}},
      {"0.0001 s is 1 ms",
       {{0, 0.0001}},
       {{0, State::idle}, {0, State::running}, {1, State::completed}}},
      {"stop during a countdown",
       {{0, 2}, {500, kStop}},
       {{0, State::idle}, {0, State::running}, {500, State::idle}}},
      {"start after completion",
       {{0, 1}, {1500, 1}},
       {{0, State::idle},
        {0, State::running},
        {1000, State::completed},
        {1500, State::running},
        {2500, State::completed}}},
      {"stop when idle", {{100, kStop}}, {{0, State::idle}, {100, State::idle}}},
      {"negative interval is due at once",
       {{100, -1}},
       {{0, State::idle}, {100, State::running}, {100, State::completed}}},
  };
  for (const Row& row : rows) {
    auto scheduler = rx::TestScheduler::make();
    auto timer = std::make_shared<InactivityTimer>(std::make_shared<VirtualSchedulers>(scheduler));
    auto observer = scheduler->createObserver<State>();
    rx::DisposeBag bag;
    timer->state().asObservable().subscribe(observer.asObserver()).disposed(bag);
    for (const Step& step : row.steps) {
      scheduler->scheduleAbsolute(
          rx::TestScheduler::at(std::chrono::microseconds(std::llround(step.atMs * 1000))),
          [timer, step] {
            std::isnan(step.interval) ? timer->stop() : timer->start(step.interval);
            return rx::Disposable();
          });
    }
    scheduler->advanceBy(std::chrono::seconds(60));
    std::vector<std::pair<double, State>> got;
    for (const auto& r : observer.events()) {
      got.emplace_back(std::chrono::duration<double, std::milli>(r.time.time_since_epoch()).count(),
                       *r.event.element);
    }
    EXPECT_EQ(got, row.expected) << row.name;
    EXPECT_EQ(timer->state().value(), row.expected.back().second) << row.name;
  }
}

TEST(InactivityTimerDeathTest, AnIntervalWithoutWholeMillisecondsStopsTheProcess) {
  auto timer = std::make_shared<InactivityTimer>(
      std::make_shared<VirtualSchedulers>(rx::TestScheduler::make()));
  EXPECT_DEATH(timer->start(std::numeric_limits<double>::infinity()), "not finite");
  EXPECT_DEATH(timer->start(1e300), "too large");
}

using RelativeTimerTest = testing::MainQueueFixture;

TEST_F(RelativeTimerTest, FiresOnceOnItsQueueAfterTheDueTime) {
  int fired = 0;
  auto timer = RelativeTimer::scheduledTimer(
      2.0, DispatchQueue::main(), DispatchTimeInterval::milliseconds(5), [&] { ++fired; });
  advance(1999);
  EXPECT_EQ(fired, 0);
  advance(1);
  EXPECT_EQ(fired, 1);
  advance(10000);
  EXPECT_EQ(fired, 1);
  timer->cancel();  // after firing: harmless
  EXPECT_FALSE(timer->isArmed());
}

TEST_F(RelativeTimerTest, CancellingOrDestroyingBeforeTheDueTimeKeepsTheActionFromRunning) {
  int fired = 0;
  auto cancelled = RelativeTimer::scheduledTimer(
      1.0, DispatchQueue::main(), DispatchTimeInterval::nanoseconds(0), [&] { ++fired; });
  auto destroyed = RelativeTimer::scheduledTimer(
      1.0, DispatchQueue::main(), DispatchTimeInterval::nanoseconds(0), [&] { fired += 10; });
  auto kept = RelativeTimer::scheduledTimer(
      1.0, DispatchQueue::main(), DispatchTimeInterval::nanoseconds(0), [&] { fired += 100; });
  advance(500);
  cancelled->cancel();
  cancelled->cancel();
  destroyed.reset();
  advance(5000);
  EXPECT_EQ(fired, 100);
}

}  // namespace
}  // namespace zorlan
