// The defaults database: a read cache over one SQLite connection per suite.
//
// Locks, outermost first:
//   registry mutex   open suites by canonical path (held while one opens)
//   writeMutex       recursive; the connection, the change sequence, the
//                    queue of changes to deliver, and their delivery
//   cacheMutex       shared: readers; exclusive: cache updates (always made
//                    while writeMutex is held, so writeMutex alone suffices
//                    to read the cache)
//   observersMutex   the observer lists (never held while calling out)
//
// Order of observed changes: every change (a write, a removal, a key another
// process changed) gets the next sequence number and is appended to the
// pending queue while writeMutex is held, in commit order. The thread that
// holds writeMutex then delivers the queue front to back before letting go.
// A handler that writes the suite re-enters writeMutex on its own thread:
// its change joins the queue behind the one being delivered, so every
// observer sees every key's changes in commit order, and the outer write
// returns only after the inner one reached its observers. A subscription
// records the sequence number at which it read its first value and skips
// queued changes at or below it.
#include "zorlan/Platform/Defaults.hpp"

#include <pwd.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <deque>
#include <limits>
#include <mutex>
#include <shared_mutex>
#include <unordered_map>

#include "Platform/DefaultsDatabase.hpp"
#include "Platform/DefaultsEncoding.hpp"
#include "zorlan/Dispatch/DispatchQueue.hpp"
#include "zorlan/Dispatch/DispatchSourceTimer.hpp"
#include "zorlan/Rx/Observable.hpp"

namespace zorlan {

DefaultsError::DefaultsError(std::filesystem::path path, const std::string& problem)
    : std::runtime_error("defaults database " + path.string() + ": " + problem),
      path_(std::move(path)) {}

namespace {

namespace fs = std::filesystem;
using OptionalValue = std::optional<PropertyListValue>;

struct StringHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view s) const noexcept {
    return std::hash<std::string_view>()(s);
  }
};
template <class V>
using StringMap = std::unordered_map<std::string, V, StringHash, std::equal_to<>>;

// How often reads and the polling timer look for other processes' commits.
constexpr std::int64_t kCheckIntervalNanoseconds = 500'000'000;

// A clock of a few milliseconds' resolution that costs no system call.
std::int64_t coarseNow() noexcept {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
  return static_cast<std::int64_t>(now.tv_sec) * 1'000'000'000 + now.tv_nsec;
}

// Where outside changes of observed suites are looked for and delivered.
const DispatchQueue& pollingQueue() {
  static const auto* queue = new DispatchQueue("com.zorlan.defaults.polling");
  return *queue;
}

struct Registry {
  std::mutex mutex;
  StringMap<std::weak_ptr<Defaults>> open;
};
Registry& registry() {
  static auto* instance = new Registry();
  return *instance;
}

bool portable(unsigned char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '.' ||
         c == '_' || c == '-';
}

std::string percentEncoded(std::string_view name) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string out;
  out.reserve(name.size());
  for (unsigned char c : name) {
    if (portable(c)) {
      out += static_cast<char>(c);
    } else {
      out += '%';
      out += kHex[c >> 4];
      out += kHex[c & 0xf];
    }
  }
  return out;
}

// An absolute directory from the environment variable `name`, if set so.
std::optional<std::string> absoluteFromEnvironment(const char* name) {
  const char* value = std::getenv(name);
  if (value == nullptr || value[0] != '/') return std::nullopt;
  return std::string(value);
}

std::string homeDirectory() {
  if (auto home = absoluteFromEnvironment("HOME")) return *home;
  std::vector<char> buffer(16384);
  passwd entry{};
  passwd* found = nullptr;
  if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr &&
      found->pw_dir != nullptr && found->pw_dir[0] == '/') {
    return found->pw_dir;
  }
  return {};
}

std::optional<URL> urlFromText(std::string_view text) {
  if (text.starts_with("~/")) {
    auto home = absoluteFromEnvironment("HOME");
    if (!home) return std::nullopt;
    while (!home->empty() && home->back() == '/') home->pop_back();
    return URL::fileURL(*home + std::string(text.substr(1)));
  }
  if (text.starts_with('/')) return URL::fileURL(text);
  auto url = URL::fromString(text);
  if (url && url->scheme()) return url;
  return std::nullopt;
}

fs::path canonicalFile(const fs::path& file) {
  std::error_code error;
  fs::path canonical = fs::weakly_canonical(file, error);
  return error ? fs::absolute(file, error) : canonical;
}

struct ObserverRecord {
  ObserverRecord(std::string k, rx::AnyObserver<OptionalValue> o, std::uint64_t since)
      : key(std::move(k)), observer(std::move(o)), startSequence(since) {}
  const std::string key;
  const rx::AnyObserver<OptionalValue> observer;
  // Changes numbered up to this one happened before the subscription read
  // its first value.
  const std::uint64_t startSequence;
};

}  // namespace

struct Defaults::Impl {
  Impl(std::string suiteName, fs::path file, fs::path folder)
      : suite(std::move(suiteName)), path(std::move(file)), directory(std::move(folder)), db(path) {
    dataVersion = db.dataVersion();
    db.readAll([this](std::string_view key, OptionalValue value) {
      if (value) {
        values.emplace(std::string(key), std::move(*value));
      } else {
        damaged.emplace_back(key);
      }
    });
    if (path.empty()) nextCheck.store(std::numeric_limits<std::int64_t>::max());
  }

  struct Change {
    std::uint64_t sequence;
    std::string key;
    OptionalValue value;
  };

  const std::string suite;
  const fs::path path;       // empty in memory
  const fs::path directory;  // empty in memory

  std::recursive_mutex writeMutex;
  detail::DefaultsDatabase db;
  std::int64_t dataVersion = 0;
  std::uint64_t lastSequence = 0;
  std::deque<Change> pending;
  bool delivering = false;

  mutable std::shared_mutex cacheMutex;
  StringMap<PropertyListValue> values;
  std::vector<std::string> damaged;

  std::atomic<std::int64_t> nextCheck{0};

  std::mutex observersMutex;
  StringMap<std::vector<std::shared_ptr<ObserverRecord>>> observers;
  std::atomic<std::size_t> observerCount{0};
  std::unique_ptr<DispatchSourceTimer> timer;

  // ----- changes (writeMutex held) -----

  bool notifying() const noexcept { return observerCount.load(std::memory_order_acquire) > 0; }

  void enqueue(std::string_view key, OptionalValue value) {
    pending.push_back({++lastSequence, std::string(key), std::move(value)});
  }

  void store(std::string_view key, PropertyListValue&& value) {
    const bool notify = notifying();
    OptionalValue delivered;
    if (notify) delivered = value;
    {
      std::unique_lock lock(cacheMutex);
      if (auto found = values.find(key); found != values.end()) {
        found->second = std::move(value);
      } else {
        values.emplace(std::string(key), std::move(value));
      }
      if (!damaged.empty()) std::erase(damaged, key);
    }
    if (notify) {
      enqueue(key, std::move(delivered));
    } else {
      ++lastSequence;
    }
  }

  // Drops `key` from the cache; returns whether it was there (readable or
  // damaged).
  bool forget(std::string_view key) {
    bool known = false;
    {
      std::unique_lock lock(cacheMutex);
      if (auto found = values.find(key); found != values.end()) {
        values.erase(found);
        known = true;
      }
      if (auto found = std::find(damaged.begin(), damaged.end(), key); found != damaged.end()) {
        damaged.erase(found);
        known = true;
      }
    }
    if (known) {
      if (notifying()) {
        enqueue(key, std::nullopt);
      } else {
        ++lastSequence;
      }
    }
    return known;
  }

  // Looks at the data version; when another connection committed, reloads
  // the table and queues the keys whose values differ. False when the
  // database could not be read (the cache stays).
  bool lookOutside() {
    nextCheck.store(coarseNow() + kCheckIntervalNanoseconds, std::memory_order_relaxed);
    try {
      std::int64_t version = db.dataVersion();
      if (version == dataVersion) return true;
      StringMap<PropertyListValue> fresh;
      std::vector<std::string> freshDamaged;
      db.readAll([&](std::string_view key, OptionalValue value) {
        if (value) {
          fresh.emplace(std::string(key), std::move(*value));
        } else {
          freshDamaged.emplace_back(key);
        }
      });
      dataVersion = version;
      std::vector<std::pair<std::string, OptionalValue>> changed;
      if (notifying()) {
        for (const auto& [key, value] : values) {
          if (!fresh.contains(key)) changed.emplace_back(key, std::nullopt);
        }
        for (const auto& [key, value] : fresh) {
          auto old = values.find(key);
          if (old == values.end() || !detail::identicalValues(old->second, value)) {
            changed.emplace_back(key, value);
          }
        }
      }
      {
        std::unique_lock lock(cacheMutex);
        values.swap(fresh);
        damaged.swap(freshDamaged);
      }
      ++lastSequence;  // subscriptions from now on start after this reload
      for (auto& [key, value] : changed) enqueue(key, std::move(value));
      return true;
    } catch (const DefaultsError&) {
      return false;
    }
  }

  // Delivers the queued changes in order, unless this thread is delivering
  // already further up its stack (that loop will reach them). The first
  // exception a handler throws is kept in `failure`; delivery goes on.
  void deliver(std::exception_ptr& failure) {
    if (delivering) return;
    delivering = true;
    struct Done {
      bool& flag;
      ~Done() { flag = false; }
    } done{delivering};
    while (!pending.empty()) {
      Change change = std::move(pending.front());
      pending.pop_front();
      std::vector<std::shared_ptr<ObserverRecord>> recipients;
      {
        std::lock_guard lock(observersMutex);
        if (auto found = observers.find(change.key); found != observers.end()) {
          recipients = found->second;
        }
      }
      for (const auto& record : recipients) {
        if (record->startSequence >= change.sequence) continue;
        try {
          record->observer.onNext(change.value);
        } catch (...) {
          if (!failure) failure = std::current_exception();
        }
      }
    }
  }

  // ----- outside changes -----

  // The timer's work: look, then deliver here on the polling queue.
  void poll() {
    std::exception_ptr dropped;  // the throwing handler's subscription has ended
    std::lock_guard lock(writeMutex);
    lookOutside();
    deliver(dropped);
  }

  // The reads' look, at most every half second and by one thread at a time;
  // skipped while a write is under way. What it finds is delivered on the
  // polling queue (or by the next write, whichever comes first), so a read
  // never calls a handler.
  void lookFromRead(const Defaults& self) {
    std::int64_t due = nextCheck.load(std::memory_order_relaxed);
    const std::int64_t now = coarseNow();
    if (now < due) return;
    if (!nextCheck.compare_exchange_strong(due, now + kCheckIntervalNanoseconds,
                                           std::memory_order_relaxed)) {
      return;  // another thread is looking
    }
    std::unique_lock lock(writeMutex, std::try_to_lock);
    if (!lock.owns_lock()) return;
    lookOutside();
    if (!pending.empty() && !delivering) {
      std::weak_ptr<const Defaults> weak = self.weak_from_this();
      pollingQueue().async([weak] {
        if (auto owner = weak.lock()) {
          std::exception_ptr dropped;
          std::lock_guard again(owner->impl_->writeMutex);
          owner->impl_->deliver(dropped);
        }
      });
    }
  }

  // ----- observers -----

  void addObserver(const std::shared_ptr<ObserverRecord>& record,
                   const std::weak_ptr<Defaults>& owner) {
    std::lock_guard lock(observersMutex);
    observers[record->key].push_back(record);
    if (observerCount.fetch_add(1, std::memory_order_acq_rel) == 0 && !path.empty()) {
      timer = std::make_unique<DispatchSourceTimer>(pollingQueue());
      timer->setEventHandler([owner] {
        if (auto self = owner.lock()) self->impl_->poll();
      });
      auto interval = DispatchTimeInterval::nanoseconds(kCheckIntervalNanoseconds);
      timer->schedule(DispatchTime::now() + interval, interval);
      timer->resume();
    }
  }

  void removeObserver(const std::shared_ptr<ObserverRecord>& record) {
    std::unique_ptr<DispatchSourceTimer> stopped;  // cancelled outside the lock
    std::lock_guard lock(observersMutex);
    auto found = observers.find(record->key);
    if (found == observers.end()) return;
    auto& list = found->second;
    auto at = std::find(list.begin(), list.end(), record);
    if (at == list.end()) return;
    list.erase(at);
    if (list.empty()) observers.erase(found);
    if (observerCount.fetch_sub(1, std::memory_order_acq_rel) == 1) stopped = std::move(timer);
  }

  rx::Disposable subscribe(const std::shared_ptr<Defaults>& owner, const std::string& key,
                           const rx::AnyObserver<OptionalValue>& observer) {
    std::lock_guard lock(writeMutex);
    auto record = std::make_shared<ObserverRecord>(key, observer, lastSequence);
    addObserver(record, owner);
    OptionalValue now;
    if (auto found = values.find(key); found != values.end()) now = found->second;
    const bool outermost = !delivering;
    delivering = true;  // writes from the handler queue up behind this value
    try {
      observer.onNext(now);
    } catch (...) {
      if (outermost) delivering = false;
      removeObserver(record);
      throw;
    }
    if (outermost) {
      delivering = false;
      std::exception_ptr dropped;
      deliver(dropped);
    }
    std::weak_ptr<Defaults> weak = owner;
    return rx::Disposable::create([weak, record] {
      if (auto self = weak.lock()) self->impl_->removeObserver(record);
    });
  }
};

// ----- paths -----

fs::path Defaults::defaultDirectory(std::string_view applicationIdentifier) {
  if (applicationIdentifier.empty()) {
    throw std::invalid_argument("Defaults::defaultDirectory: the application identifier is empty");
  }
  const std::string folder = percentEncoded(applicationIdentifier);
  if (auto config = absoluteFromEnvironment("XDG_CONFIG_HOME")) return fs::path(*config) / folder;
  std::string home = homeDirectory();
  if (home.empty()) {
    throw std::runtime_error(
        "Defaults::defaultDirectory: no home directory (HOME is unset and the user has none)");
  }
  return fs::path(home) / ".config" / folder;
}

fs::path Defaults::databasePath(const fs::path& directory, std::string_view suiteName) {
  return directory / (percentEncoded(suiteName) + ".sqlite");
}

// ----- opening -----

Defaults::Defaults(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}

Defaults::~Defaults() {
  if (impl_->path.empty()) return;
  Registry& open = registry();
  std::lock_guard lock(open.mutex);
  auto found = open.open.find(impl_->path.string());
  if (found != open.open.end() && found->second.expired()) open.open.erase(found);
}

std::shared_ptr<Defaults> Defaults::open(std::string_view suiteName, const fs::path& directory) {
  if (suiteName.empty()) throw std::invalid_argument("Defaults::open: the suite name is empty");
  const fs::path file = databasePath(directory, suiteName);
  std::error_code error;
  fs::create_directories(directory, error);
  if (error) {
    throw DefaultsError(
        file, "cannot create the directory " + directory.string() + ": " + error.message());
  }
  const fs::path canonical = canonicalFile(file);
  Registry& open = registry();
  std::lock_guard lock(open.mutex);
  auto found = open.open.find(canonical.string());
  if (found != open.open.end()) {
    if (auto existing = found->second.lock()) return existing;
  }
  auto impl = std::make_unique<Impl>(std::string(suiteName), canonical, canonical.parent_path());
  std::shared_ptr<Defaults> defaults(new Defaults(std::move(impl)));
  open.open.insert_or_assign(canonical.string(), defaults);
  return defaults;
}

std::shared_ptr<Defaults> Defaults::inMemory(std::string_view suiteName) {
  auto impl = std::make_unique<Impl>(std::string(suiteName), fs::path(), fs::path());
  return std::shared_ptr<Defaults>(new Defaults(std::move(impl)));
}

const std::string& Defaults::suiteName() const noexcept { return impl_->suite; }
const fs::path& Defaults::path() const noexcept { return impl_->path; }

// ----- reading -----

bool Defaults::readWith(std::string_view key, void (*reader)(const PropertyListValue&, void*),
                        void* context) const {
  if (coarseNow() >= impl_->nextCheck.load(std::memory_order_relaxed)) [[unlikely]] {
    impl_->lookFromRead(*this);
  }
  std::shared_lock lock(impl_->cacheMutex);
  auto found = impl_->values.find(key);
  if (found == impl_->values.end()) return false;
  reader(found->second, context);
  return true;
}

std::optional<PropertyListValue> Defaults::object(std::string_view key) const {
  std::optional<PropertyListValue> out;
  read(key, [&out](const PropertyListValue& value) { out = value; });
  return out;
}

bool Defaults::hasObject(std::string_view key) const {
  return read(key, [](const PropertyListValue&) {});
}

std::optional<URL> Defaults::url(std::string_view key) const {
  std::optional<URL> out;
  read(key, [&out](const PropertyListValue& value) {
    if (const URL* url = value.get<URL>()) {
      out = *url;
    } else if (const std::string* text = value.get<std::string>()) {
      out = urlFromText(*text);
    }
  });
  return out;
}

std::map<std::string, PropertyListValue> Defaults::dictionaryRepresentation() const {
  impl_->lookFromRead(*this);
  std::shared_lock lock(impl_->cacheMutex);
  return {impl_->values.begin(), impl_->values.end()};
}

std::vector<std::string> Defaults::allKeys() const {
  impl_->lookFromRead(*this);
  std::shared_lock lock(impl_->cacheMutex);
  std::vector<std::string> keys;
  keys.reserve(impl_->values.size());
  for (const auto& [key, value] : impl_->values) keys.push_back(key);
  return keys;
}

std::vector<std::string> Defaults::damagedKeys() const {
  impl_->lookFromRead(*this);
  std::shared_lock lock(impl_->cacheMutex);
  std::vector<std::string> keys = impl_->damaged;
  std::sort(keys.begin(), keys.end());
  return keys;
}

// ----- writing -----

void Defaults::set(std::string_view key, PropertyListValue value) {
  std::exception_ptr failure;
  {
    std::lock_guard lock(impl_->writeMutex);
    impl_->db.upsert(key, value);
    impl_->store(key, std::move(value));
    impl_->deliver(failure);
  }
  if (failure) std::rethrow_exception(failure);
}

void Defaults::removeObject(std::string_view key) {
  std::exception_ptr failure;
  {
    std::lock_guard lock(impl_->writeMutex);
    impl_->db.remove(key);
    impl_->forget(key);
    impl_->deliver(failure);
  }
  if (failure) std::rethrow_exception(failure);
}

void Defaults::removeObjects(const std::vector<std::string>& keys) {
  std::exception_ptr failure;
  {
    std::lock_guard lock(impl_->writeMutex);
    impl_->db.remove(keys);
    for (const auto& key : keys) impl_->forget(key);
    impl_->deliver(failure);
  }
  if (failure) std::rethrow_exception(failure);
}

void Defaults::removePersistentDomain(std::string_view suiteName) {
  if (suiteName == impl_->suite) {
    std::exception_ptr failure;
    {
      std::lock_guard lock(impl_->writeMutex);
      impl_->db.clear();
      std::vector<std::string> keys;
      {
        std::shared_lock cache(impl_->cacheMutex);
        for (const auto& [key, value] : impl_->values) keys.push_back(key);
        keys.insert(keys.end(), impl_->damaged.begin(), impl_->damaged.end());
      }
      for (const auto& key : keys) impl_->forget(key);
      impl_->deliver(failure);
    }
    if (failure) std::rethrow_exception(failure);
    return;
  }
  if (impl_->directory.empty()) return;  // an in-memory suite has no neighbours
  const fs::path file = canonicalFile(databasePath(impl_->directory, suiteName));
  std::shared_ptr<Defaults> other;
  {
    Registry& open = registry();
    std::lock_guard lock(open.mutex);
    if (auto found = open.open.find(file.string()); found != open.open.end()) {
      other = found->second.lock();
    }
  }
  if (other) {
    other->removePersistentDomain(other->suiteName());
  } else {
    detail::DefaultsDatabase::clearFile(file);
  }
}

bool Defaults::synchronize() {
  std::exception_ptr failure;
  bool read = false;
  {
    std::lock_guard lock(impl_->writeMutex);
    read = impl_->lookOutside();
    impl_->deliver(failure);
  }
  if (failure) std::rethrow_exception(failure);
  return read;
}

// ----- observing -----

rx::Observable<std::optional<PropertyListValue>> Defaults::observe(std::string_view key) const {
  auto self = std::const_pointer_cast<Defaults>(shared_from_this());
  return rx::Observable<OptionalValue>::create(
      [self, key = std::string(key)](const rx::AnyObserver<OptionalValue>& observer) {
        return self->impl_->subscribe(self, key, observer);
      });
}

}  // namespace zorlan
