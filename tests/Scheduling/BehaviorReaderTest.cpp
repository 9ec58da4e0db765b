#include <gtest/gtest.h>

#include "zorlan/Dispatch/MainRunLoop.hpp"
#include "zorlan/Platform/Logger.hpp"
#include "zorlan/Rx/Completable.hpp"
#include "zorlan/Scheduling/BehaviorReader.hpp"
#include "zorlan/Scheduling/RelayBindings.hpp"

namespace zorlan {
namespace {

TEST(BehaviorReaderTest, FollowsItsSourceAndReleasesItWhenTheLastHolderGoes) {
  rx::PublishSubject<int> source;
  std::vector<int> seen;
  rx::Disposable subscription;
  {
    BehaviorReader<int> reader(source.asObservable(), 7);
    BehaviorReader<int> copy = reader;  // copies share the one reader
    EXPECT_EQ(copy.value(), 7);
    source.onNext(8);
    EXPECT_EQ(copy.value(), 8);
    subscription = reader.asObservable().subscribe([&](int v) { seen.push_back(v); });
    EXPECT_EQ(seen, (std::vector<int>{8}));  // the present value at once
  }
  // The reader handles are gone, but the subscription keeps it alive.
  source.onNext(9);
  EXPECT_EQ(seen, (std::vector<int>{8, 9}));
  EXPECT_TRUE(source.hasObservers());
  subscription.dispose();
  EXPECT_FALSE(source.hasObservers());
  {
    BehaviorReader<int> unobserved(source.asObservable(), 0);
    EXPECT_TRUE(source.hasObservers());
  }
  EXPECT_FALSE(source.hasObservers());
}

TEST(BehaviorReaderTest, ObservablePropertyIsMetByRelaysAndReaders) {
  static_assert(ObservableProperty<rx::BehaviorRelay<int>>);
  static_assert(ObservableProperty<BehaviorReader<std::string>>);
  static_assert(!ObservableProperty<rx::PublishRelay<int>>);  // holds no value
}

TEST(BehaviorReaderTest, ConversionsFromRelaysAndObservables) {
  rx::BehaviorRelay<std::string> relay("a");
  BehaviorReader<std::string> reader = asBehaviorReader(relay);
  relay.accept("b");
  EXPECT_EQ(reader.value(), "b");  // the very relay

  rx::PublishSubject<int> subject;
  BehaviorReader<std::optional<int>> optional = asBehaviorReader(subject.asObservable());
  EXPECT_EQ(optional.value(), std::nullopt);  // absent first
  subject.onNext(3);
  EXPECT_EQ(optional.value(), 3);

  EXPECT_EQ(BehaviorReader<int>::just(4).value(), 4);
}

TEST(BehaviorReaderTest, MappedAndDistinctReadersFollowTheirSource) {
  rx::BehaviorRelay<int> relay(1);
  BehaviorReader<int> reader(relay);
  auto doubled = reader.map([](int v) { return v * 2; });
  auto distinct = reader.map([](int v) { return v / 10; }).distinctUntilChanged();
  std::vector<int> changes;
  rx::Disposable d = distinct.asObservable().subscribe([&](int v) { changes.push_back(v); });
  for (int v : {2, 5, 12, 15, 21}) relay.accept(v);
  EXPECT_EQ(doubled.value(), 42);
  EXPECT_EQ(changes, (std::vector<int>{0, 1, 2}));
  d.dispose();  // a live subscription keeps its reader alive
}

class RecordingSink : public LogSink {
 public:
  void log(const LogEvent& event) noexcept override {
    lines.emplace_back(event.message());
    levels.push_back(event.level());
    functions.push_back(event.source() ? event.source()->function : "");
    sourceLines.push_back(event.source() ? event.source()->line : 0);
  }
  std::vector<std::string> lines;
  std::vector<LoggerLevel> levels;
  std::vector<std::string> functions;
  std::vector<int> sourceLines;
};

std::shared_ptr<RecordingSink> sharedRecorder() {
  static auto sink = [] {
    auto s = std::make_shared<RecordingSink>();
    Logger::shared().add(s);
    return s;
  }();
  sink->lines.clear();
  sink->levels.clear();
  sink->functions.clear();
  sink->sourceLines.clear();
  return sink;
}

TEST(RelayBindingTest, ErrorsAndCompletionAreLoggedAndIgnored) {
  auto sink = sharedRecorder();
  rx::BehaviorRelay<int> relay(1);
  rx::AnyObserver<int> observer = asObserver(relay);
  observer.onNext(2);
  observer.onError(std::make_exception_ptr(std::runtime_error("socket closed")));
  EXPECT_EQ(relay.value(), 2);
  observer.onCompleted();
  observer.onNext(3);
  EXPECT_EQ(relay.value(), 3);

  rx::PublishRelay<int> publish;
  int received = 0;
  rx::Disposable d = publish.asObservable().subscribe([&](int v) { received = v; });
  rx::AnyObserver<int> publishObserver = asObserver(publish);
  publishObserver.onError(std::make_exception_ptr(std::runtime_error("gone")));
  publishObserver.onCompleted();
  publishObserver.onNext(5);
  EXPECT_EQ(received, 5);

  EXPECT_EQ(sink->lines, (std::vector<std::string>{
                             "BehaviorRelay binding received error: socket closed but will ignore.",
                             "BehaviorRelay binding received completion but will ignore.",
                             "PublishRelay binding received error: gone but will ignore.",
                             "PublishRelay binding received completion but will ignore."}));
  for (std::size_t i = 0; i < sink->lines.size(); ++i) {
    EXPECT_EQ(sink->levels[i], LoggerLevel::error);
    EXPECT_EQ(sink->functions[i], "asObserver()");
  }
}

TEST(RelayBindingTest, AReaderKeepsItsValueWhenItsSourceFails) {
  auto sink = sharedRecorder();
  rx::PublishSubject<int> source;
  BehaviorReader<int> reader(source.asObservable(), 1);
  source.onNext(2);
  source.onError(std::make_exception_ptr(std::runtime_error("feed lost")));
  EXPECT_EQ(reader.value(), 2);
  EXPECT_EQ(sink->lines, (std::vector<std::string>{
                             "BehaviorRelay binding received error: feed lost but will ignore."}));
  reader.asRelay().accept(3);  // the relay itself was never ended
  EXPECT_EQ(reader.value(), 3);

  BehaviorReader<int> finite(rx::Observable<int>::just(5), 0);
  EXPECT_EQ(finite.value(), 5);
  EXPECT_EQ(sink->lines.size(), 1u);  // a source that completes is not an error
}

TEST(LogOperatorTest, WritesSubscribedAndDisposingWithTheCallersLocation) {
  Logger logger;
  logger.setEnabled(true);
  auto sink = std::make_shared<RecordingSink>();
  logger.add(sink);
  rx::PublishSubject<int> subject;
  std::vector<int> seen;
  const int line = __LINE__ + 1;
  auto logged = log(subject.asObservable(), "Test", "catalog", logger);
  rx::Disposable d = logged.subscribe([&](int v) { seen.push_back(v); });
  subject.onNext(1);
  d.dispose();
  EXPECT_EQ(seen, (std::vector<int>{1}));
  EXPECT_EQ(sink->levels[0], LoggerLevel::info);
  EXPECT_EQ(sink->sourceLines[0], line);

  // Singles and completables log too; ending by itself disposes the subscription.
  int value = 0;
  log(rx::Single<int>::just(8), "Test", "single", logger).subscribe([&](int v) { value = v; });
  bool failed = false;
  log(rx::Completable::error(std::make_exception_ptr(std::runtime_error("x"))), "Test",
      "completable", logger)
      .subscribe([] {}, [&](std::exception_ptr) { failed = true; });
  EXPECT_EQ(value, 8);
  EXPECT_TRUE(failed);
  EXPECT_EQ(sink->lines,
            (std::vector<std::string>{"catalog -> subscribed", "catalog -> disposing",
                                      "single -> subscribed", "single -> disposing",
                                      "completable -> subscribed", "completable -> disposing"}));
}

class ReaderOnMainQueueTest : public ::testing::Test {
 protected:
  void SetUp() override { MainRunLoop::runUntilIdle(); }
  void TearDown() override { MainRunLoop::runUntilIdle(); }
};

TEST_F(ReaderOnMainQueueTest, DriverConversionsDeliverOnTheMainQueue) {
  rx::BehaviorRelay<int> relay(1);
  BehaviorReader<int> reader(relay);
  std::vector<int> seen;
  rx::DisposeBag bag;
  reader.asDriver().drive([&](int v) { seen.push_back(v); }).disposed(bag);
  EXPECT_TRUE(seen.empty());
  MainRunLoop::runUntilIdle();
  EXPECT_EQ(seen, (std::vector<int>{1}));

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
