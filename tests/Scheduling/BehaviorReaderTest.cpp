// zorlan/Scheduling/BehaviorReader.hpp, RelayBindings.hpp: readers follow their source and keep
// their value; relay bindings log and ignore errors and completion; the log operator.
#include <gtest/gtest.h>

#include "Rx/RxTestSupport.hpp"
#include "support/MainQueueFixture.hpp"
#include "support/RecordingLogSink.hpp"
#include "zorlan/Platform/Logger.hpp"
#include "zorlan/Rx/Completable.hpp"
#include "zorlan/Scheduling/BehaviorReader.hpp"
#include "zorlan/Scheduling/RelayBindings.hpp"

namespace zorlan {
namespace {

using rx::testing::Ints;
using Lines = std::vector<std::string>;

TEST(BehaviorReaderTest, FollowsItsSourceAndReleasesItWhenTheLastHolderGoes) {
  rx::PublishSubject<int> source;
  Ints seen;
  rx::Disposable subscription;
  {
    BehaviorReader<int> reader(source.asObservable(), 7);
    BehaviorReader<int> copy = reader;  // copies share the one reader
    EXPECT_EQ(copy.value(), 7);
    source.onNext(8);
    EXPECT_EQ(copy.value(), 8);
    subscription = reader.asObservable().subscribe([&](int v) { seen.push_back(v); });
    EXPECT_EQ(seen, (Ints{8}));  // the present value at once
  }
  // The reader handles are gone, but the subscription keeps it alive.
  source.onNext(9);
  EXPECT_EQ(seen, (Ints{8, 9}));
  EXPECT_TRUE(source.hasObservers());
  subscription.dispose();
  EXPECT_FALSE(source.hasObservers());
  {
    BehaviorReader<int> unobserved(source.asObservable(), 0);
    EXPECT_TRUE(source.hasObservers());
  }
  EXPECT_FALSE(source.hasObservers());
}

TEST(BehaviorReaderTest, ConversionsMapsAndDistinctReaders) {
  rx::BehaviorRelay<std::string> relay("a");
  BehaviorReader<std::string> reader = asBehaviorReader(relay);
  relay.accept("b");
  EXPECT_EQ(reader.value(), "b");  // the very relay
  rx::PublishSubject<int> subject;
  BehaviorReader<std::optional<int>> optional = asBehaviorReader(subject.asObservable());
  EXPECT_EQ(optional.value(), std::nullopt);  // absent first
  subject.onNext(3);
  EXPECT_EQ(optional.value(), 3);

  rx::BehaviorRelay<int> ints(1);
  BehaviorReader<int> source(ints);
  auto doubled = source.map([](int v) { return v * 2; });
  auto distinct = source.map([](int v) { return v / 10; }).distinctUntilChanged();
  auto changes = rx::testing::collect(distinct.asObservable());
  for (int v : {2, 5, 12, 15, 21}) ints.accept(v);
  EXPECT_EQ(doubled.value(), 42);
  EXPECT_EQ(changes->elements, (Ints{0, 1, 2}));
  changes->subscription.dispose();
}

using testing::RecordingLogSink;

// The recorder on the shared logger, emptied.
std::shared_ptr<RecordingLogSink> sharedRecorder() {
  static auto sink = [] {
    auto s = std::make_shared<RecordingLogSink>();
    Logger::shared().add(s);
    return s;
  }();
  *sink = RecordingLogSink();
  return sink;
}

TEST(RelayBindingTest, ErrorsAndCompletionAreLoggedAndIgnored) {
  auto sink = sharedRecorder();
  rx::BehaviorRelay<int> relay(1);
  rx::PublishRelay<int> publish;
  int received = 0;
  rx::Disposable d = publish.asObservable().subscribe([&](int v) { received = v; });
  for (rx::AnyObserver<int> observer : {asObserver(relay), asObserver(publish)}) {
    observer.onError(rx::testing::failure("gone"));
    observer.onCompleted();
    observer.onNext(5);  // still open
  }
  EXPECT_EQ(relay.value(), 5);
  EXPECT_EQ(received, 5);
  EXPECT_EQ(sink->messages, (Lines{"BehaviorRelay binding received error: gone but will ignore.",
                                   "BehaviorRelay binding received completion but will ignore.",
                                   "PublishRelay binding received error: gone but will ignore.",
                                   "PublishRelay binding received completion but will ignore."}));
  EXPECT_EQ(sink->levels, std::vector<LoggerLevel>(4, LoggerLevel::error));
  for (const auto& source : sink->sources)
    EXPECT_EQ(source.value_or(LogSource{}).function, "asObserver()");

  // A reader keeps its value when its source fails; a source that completes is not an error.
  *sink = RecordingLogSink();
  rx::PublishSubject<int> source;
  BehaviorReader<int> reader(source.asObservable(), 1);
  source.onNext(2);
  source.onError(rx::testing::failure("feed lost"));
  EXPECT_EQ(reader.value(), 2);
  reader.asRelay().accept(3);  // the relay itself was never ended
  EXPECT_EQ(reader.value(), 3);
  BehaviorReader<int> finite(rx::Observable<int>::just(5), 0);
  EXPECT_EQ(finite.value(), 5);
  EXPECT_EQ(sink->messages,
            (Lines{"BehaviorRelay binding received error: feed lost but will ignore."}));
}

TEST(LogOperatorTest, WritesSubscribedAndDisposingWithTheCallersLocation) {
  Logger logger;
  logger.setEnabled(true);
  auto sink = std::make_shared<RecordingLogSink>();
  logger.add(sink);
  rx::PublishSubject<int> subject;
  Ints seen;
  const int line = __LINE__ + 1;
  auto logged = log(subject.asObservable(), "Test", "catalog", logger);
  rx::Disposable d = logged.subscribe([&](int v) { seen.push_back(v); });
  subject.onNext(1);
  d.dispose();
  EXPECT_EQ(seen, (Ints{1}));
  EXPECT_EQ(sink->levels[0], LoggerLevel::info);
  EXPECT_EQ(sink->sources[0].value_or(LogSource{}).line, line);
  // Singles and completables log too; ending by itself disposes the subscription.
  int value = 0;
  log(rx::Single<int>::just(8), "Test", "single", logger).subscribe([&](int v) { value = v; });
  bool failed = false;
  log(rx::Completable::error(std::make_exception_ptr(std::runtime_error("x"))), "Test",
      "completable", logger)
      .subscribe([] {}, [&](std::exception_ptr) { failed = true; });
  EXPECT_EQ(value, 8);
  EXPECT_TRUE(failed);
  EXPECT_EQ(sink->messages, (Lines{"catalog -> subscribed", "catalog -> disposing",
                                   "single -> subscribed", "single -> disposing",
                                   "completable -> subscribed", "completable -> disposing"}));
}

using ReaderOnMainQueueTest = testing::MainQueueFixture;

TEST_F(ReaderOnMainQueueTest, DriverConversionsDeliverOnTheMainQueue) {
  rx::BehaviorRelay<int> relay(1);
  BehaviorReader<int> reader(relay);
  Ints seen;
  rx::DisposeBag bag;
  reader.asDriver().drive([&](int v) { seen.push_back(v); }).disposed(bag);
  EXPECT_TRUE(seen.empty());
  MainRunLoop::runUntilIdle();
  EXPECT_EQ(seen, (Ints{1}));
  rx::PublishSubject<int> subject;
  auto driver = rx::asDriver(subject.asObservable(), -1);
  BehaviorReader<std::optional<int>> optional = asBehaviorReader(driver);
  BehaviorReader<int> withInitial = asBehaviorReader(driver, 0);
  subject.onNext(7);
  EXPECT_EQ(optional.value(), std::nullopt);  // not before the main queue runs
  MainRunLoop::runUntilIdle();
  EXPECT_EQ(optional.value(), 7);
  EXPECT_EQ(withInitial.value(), 7);
}

}  // namespace
}  // namespace zorlan
