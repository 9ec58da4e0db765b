#include "zorlan/Platform/NotificationCenter.hpp"

#include <atomic>
#include <cstdint>
#include <exception>
#include <mutex>
#include <unordered_set>
#include <vector>

#include "zorlan/Rx/Observable.hpp"

namespace zorlan {

NotificationName::NotificationName(std::string_view rawValue) {
  // Interned for the life of the process (never destroyed, so names stay
  // valid in static destructors). Nodes of an unordered_set never move.
  static auto* names = new std::unordered_set<std::string>();
  static auto* lock = new std::mutex();
  std::lock_guard guard(*lock);
  text_ = &*names->emplace(rawValue).first;
}

namespace detail {

// The high bit marks a removed observer; the rest counts the calls into its
// handler that are running (or about to check the mark).
constexpr std::uint32_t kRemoved = 1u << 31;
constexpr std::uint32_t kCallsMask = kRemoved - 1;

struct NotificationObserverRecord {
  NotificationObserverRecord(std::optional<NotificationName> name, const void* sender,
                             NotificationCenter::Handler handler)
      : name(name), sender(sender), handler(std::move(handler)) {}
  const std::optional<NotificationName> name;
  const void* const sender;
  const NotificationCenter::Handler handler;
  std::atomic<std::uint32_t> state{0};
};

using RecordList = std::vector<std::shared_ptr<NotificationObserverRecord>>;

// The observers, replaced as a whole on every change and read without a lock
// by posts. Each name's list holds its own observers merged with those of
// every name, in the order they were added.
struct ObserverTable {
  std::unordered_map<NotificationName, RecordList> byName;
  RecordList anyName;

  const RecordList& observersOf(NotificationName name) const {
    auto found = byName.find(name);
    return found == byName.end() ? anyName : found->second;
  }
};

struct NotificationCenterState {
  std::mutex writeLock;  // serialises changes to the table
  // Guards only the pointer: posts copy it and read the table unlocked.
  // (A mutex rather than std::atomic<std::shared_ptr>: as fast here, and
  // thread sanitizers understand it.)
  mutable std::mutex tableLock;
  std::shared_ptr<const ObserverTable> table_ = std::make_shared<ObserverTable>();

  std::shared_ptr<const ObserverTable> table() const {
    std::lock_guard guard(tableLock);
    return table_;
  }
  void replaceTable(std::shared_ptr<const ObserverTable> next) {
    std::lock_guard guard(tableLock);
    table_.swap(next);  // the old table is released outside the lock
  }

  void add(const std::shared_ptr<NotificationObserverRecord>& record) {
    std::lock_guard guard(writeLock);
    auto next = std::make_shared<ObserverTable>(*table());
    if (record->name) {
      auto [entry, inserted] = next->byName.try_emplace(*record->name, next->anyName);
      entry->second.push_back(record);
    } else {
      next->anyName.push_back(record);
      for (auto& [name, list] : next->byName) list.push_back(record);
    }
    replaceTable(std::move(next));
  }

  void erase(const NotificationObserverRecord* record) {
    std::lock_guard guard(writeLock);
    auto next = std::make_shared<ObserverTable>(*table());
    auto without = [record](RecordList& list) {
      std::erase_if(list, [record](const auto& r) { return r.get() == record; });
    };
    without(next->anyName);
    for (auto entry = next->byName.begin(); entry != next->byName.end();) {
      without(entry->second);
      // A list left with only the observers of every name adds nothing.
      bool ownObservers = false;
      for (const auto& r : entry->second) ownObservers = ownObservers || r->name.has_value();
      entry = ownObservers ? std::next(entry) : next->byName.erase(entry);
    }
    replaceTable(std::move(next));
  }
};

namespace {

// How deep this thread is in handlers of any centre. A removal made from
// inside a handler does not wait for other threads' calls (see the header).
thread_local int tDeliveryDepth = 0;

struct DeliveryFrame {
  DeliveryFrame() noexcept { ++tDeliveryDepth; }
  ~DeliveryFrame() { --tDeliveryDepth; }
};

void removeRecord(const std::weak_ptr<NotificationCenterState>& center,
                  NotificationObserverRecord& record) {
  std::uint32_t previous = record.state.fetch_or(kRemoved);
  if ((previous & kRemoved) == 0) {
    if (auto state = center.lock()) state->erase(&record);
  }
  if (tDeliveryDepth > 0) return;
  // Every call that began before the mark was set ends before we return;
  // calls that begin after it see the mark and skip the handler.
  for (std::uint32_t s = record.state.load(); (s & kCallsMask) != 0; s = record.state.load()) {
    record.state.wait(s);
  }
}

}  // namespace
}  // namespace detail

NotificationCenter::Observation& NotificationCenter::Observation::operator=(
    Observation&& other) noexcept {
  if (this != &other) {
    remove();
    center_ = std::move(other.center_);
    record_ = std::move(other.record_);
  }
  return *this;
}

void NotificationCenter::Observation::remove() noexcept {
  if (!record_) return;
  detail::removeRecord(center_, *record_);
  record_.reset();
  center_.reset();
}

NotificationCenter::NotificationCenter()
    : state_(std::make_shared<detail::NotificationCenterState>()) {}

NotificationCenter::~NotificationCenter() = default;

NotificationCenter& NotificationCenter::defaultCenter() {
  static auto* center = new NotificationCenter();
  return *center;
}

NotificationCenter::Observation NotificationCenter::addObserver(
    std::optional<NotificationName> name, const void* sender, Handler handler) {
  auto record =
      std::make_shared<detail::NotificationObserverRecord>(name, sender, std::move(handler));
  state_->add(record);
  return Observation(state_, std::move(record));
}

void NotificationCenter::post(const Notification& notification) {
  std::shared_ptr<const detail::ObserverTable> table = state_->table();
  std::exception_ptr firstError;
  for (const auto& record : table->observersOf(notification.name())) {
    if (record->sender != nullptr && record->sender != notification.object()) continue;
    std::uint32_t previous = record->state.fetch_add(1, std::memory_order_acquire);
    if ((previous & detail::kRemoved) == 0) {
      detail::DeliveryFrame frame;
      try {
        record->handler(notification);
      } catch (...) {
        if (!firstError) firstError = std::current_exception();
      }
    }
    if (record->state.fetch_sub(1, std::memory_order_release) & detail::kRemoved) {
      record->state.notify_all();
    }
  }
  if (firstError) std::rethrow_exception(firstError);
}

rx::Observable<Notification> NotificationCenter::notifications(NotificationName name,
                                                               const void* sender) {
  std::weak_ptr<detail::NotificationCenterState> weakState = state_;
  return rx::Observable<Notification>::create(
      [weakState, name, sender](const rx::AnyObserver<Notification>& observer) {
        auto state = weakState.lock();
        if (!state) return rx::Disposable::create();
        auto record = std::make_shared<detail::NotificationObserverRecord>(
            name, sender, [observer](const Notification& n) { observer.onNext(n); });
        state->add(record);
        return rx::Disposable::create(
            [weakState, record] { detail::removeRecord(weakState, *record); });
      });
}

}  // namespace zorlan
