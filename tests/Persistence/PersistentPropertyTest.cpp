// zorlan/Persistence/PersistentProperty.hpp: a stored setting with a live
// default, its announcements, its reactive view and two-way binding.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/MainQueueFixture.hpp"
#include "zorlan/Persistence/DefaultsStore.hpp"
#include "zorlan/Persistence/PersistentProperty.hpp"

namespace zorlan {
namespace {

class PersistentPropertyTest : public testing::MainQueueFixture {
 protected:
  std::shared_ptr<Defaults> defaults = Defaults::inMemory();
  std::shared_ptr<DefaultsStore> store = std::make_shared<DefaultsStore>(defaults);
  rx::BehaviorRelay<int> remoteDefault{10};
};

TEST_F(PersistentPropertyTest, ReadsTheStoreElseTheDefaultsPresentValueAndNeverWritesTheDefault) {
  PersistentProperty<int> volume(PersistentKey<int>("volume"), BehaviorReader<int>(remoteDefault),
                                 store);
  EXPECT_EQ(volume.value(), 10);
  remoteDefault.accept(11);
  EXPECT_EQ(volume.value(), 11);
  EXPECT_FALSE(store->hasStoredValue("volume"));

  volume.setValue(11);  // the default, written explicitly, is stored
  remoteDefault.accept(12);
  EXPECT_EQ(volume.value(), 11);
  EXPECT_EQ(defaults->object("volume"), PropertyListValue(11));

  PersistentProperty<std::optional<std::string>> name("name", store);
  EXPECT_EQ(name.value(), std::nullopt);
  PersistentProperty<std::vector<std::string>> recent("recent", std::vector<std::string>{"x"},
                                                      store);
  recent.accept({"a", "b"});
  EXPECT_EQ(recent.value(), (std::vector<std::string>{"a", "b"}));
}

TEST_F(PersistentPropertyTest, AnnouncesEveryWriteOnceBeforeTheStoreChanges) {
  PersistentProperty<int> volume(PersistentKey<int>("volume"), 0, store);
  std::vector<std::optional<int>> storedWhenAnnounced;
  auto watching = volume.objectWillChange().subscribe([&](std::monostate) {
    storedWhenAnnounced.push_back(store->get(PersistentKey<int>("volume")));
  });
  volume.setValue(1);
  volume.accept(2);
  volume.setValue(2);
  EXPECT_EQ(storedWhenAnnounced, (std::vector<std::optional<int>>{std::nullopt, 1, 2}));
}

TEST_F(PersistentPropertyTest, TheReactiveValueFollowsTheStoreAndTheDefault) {
  PersistentProperty<int> volume(PersistentKey<int>("volume"), BehaviorReader<int>(remoteDefault),
                                 store);
  std::vector<int> seen;
  auto watching = volume.asObservable().subscribe([&](int v) { seen.push_back(v); });
  remoteDefault.accept(20);                       // no stored value: the new default
  defaults->set("volume", PropertyListValue(5));  // written behind the property's back
  remoteDefault.accept(30);                       // stored value wins
  defaults->removeObject("volume");               // back to the default
  EXPECT_EQ(seen, (std::vector<int>{10, 20, 5, 5, 30}));

  BehaviorReader<int> reader = volume.asBehaviorReader();
  volume.setValue(7);
  EXPECT_EQ(reader.value(), 7);

  // The binder side writes on the main scheduler, through setValue.
  int announcements = 0;
  auto announced = volume.objectWillChange().subscribe([&](std::monostate) { ++announcements; });
  volume.rx().value.onNext(8);
  MainRunLoop::runUntilIdle();
  EXPECT_EQ(volume.value(), 8);
  EXPECT_EQ(announcements, 1);
  watching.dispose();
  announced.dispose();
}

TEST_F(PersistentPropertyTest, SynchronizeBindsBothWaysStartingFromTheStoredValue) {
  PersistentProperty<int> volume(PersistentKey<int>("volume"), 0, store);
  volume.setValue(3);
  rx::BehaviorRelay<int> slider(50);
  rx::ControlProperty<int> control(slider.asObservable(),
                                   rx::AnyObserver<int>::make([slider](int v) { slider.accept(v); },
                                                              [](std::exception_ptr) {}, [] {}));
  int writes = 0;
  auto counting = volume.objectWillChange().subscribe([&](std::monostate) { ++writes; });
  rx::Disposable binding = synchronize(control, volume);
  EXPECT_EQ(slider.value(), 3);
  EXPECT_EQ(writes, 0);  // echoing the stored value back writes nothing
  slider.accept(4);
  EXPECT_EQ(volume.value(), 4);
  volume.setValue(5);
  EXPECT_EQ(slider.value(), 5);
  EXPECT_EQ(writes, 2);
  binding.dispose();
  slider.accept(6);
  EXPECT_EQ(volume.value(), 5);
}

TEST_F(PersistentPropertyTest, ViewsDoNotKeepThePropertyAliveThroughTheStore) {
  std::weak_ptr<DefaultsStore> weakStore;
  {
    PersistentProperty<int> volume(PersistentKey<int>("volume"), 0, store);
    (void)volume.rx();
    weakStore = store;
  }
  store.reset();
  EXPECT_TRUE(weakStore.expired());
}

}  // namespace
}  // namespace zorlan
