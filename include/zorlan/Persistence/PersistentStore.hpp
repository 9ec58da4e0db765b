// PersistentStore: the library's key-value store of persistable values, with
// lifetimes. DefaultsStore (DefaultsStore.hpp) keeps it in the defaults
// database; tests and apps may implement it otherwise.
//
//   PersistentKey<bool> autoplay("autoplay");
//   store.set(autoplay, false);                        // kept natively, as a Boolean
//   std::optional<bool> on = store.get(autoplay);      // false
//   store.set("profile", profile, 3600.0);             // JSON bytes, an hour's lifetime
//   std::optional<Profile> p = store.get<Profile>("profile");   // migrated if old
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "zorlan/JSON/JSONFragment.hpp"
#include "zorlan/Persistence/Persistable.hpp"
#include "zorlan/Persistence/PersistentStoreMigration.hpp"
#include "zorlan/Platform/PropertyListValue.hpp"
#include "zorlan/Platform/URL.hpp"
#include "zorlan/Rx/Completable.hpp"
#include "zorlan/Rx/Observable.hpp"

namespace zorlan {

// Opt in for types that stand as a lone JSON scalar (an enumeration with a
// raw value, say): a store writes such a value as the object {"value": ...}
// (JSONFragmentWrapper), with no lifetime, and reads it back through the
// type's persistable decoding.
template <class T>
inline constexpr bool isJSONFragment = false;

// The user information key under which the migration-failure notification
// carries its MigrationError.
inline constexpr std::string_view kMigrationErrorUserInfoKey = "error";

namespace detail {
template <class T>
struct IsOptionalFragment : std::false_type {};
template <class T>
struct IsOptionalFragment<std::optional<T>> : std::bool_constant<isJSONFragment<T>> {};

// A core value as the store keeps it, and back (exact kind; integers
// checked against T's range).
template <class T>
PropertyListValue toStoredValue(const T& value);
template <class T>
std::optional<T> fromStoredValue(PropertyListValue&& stored);
}  // namespace detail

// Lifetimes are seconds from the moment of writing; absent means none.
using Lifetime = std::optional<double>;

// The store. Writes never report failure (a value that cannot be encoded
// leaves the previous one in place); reads never throw (they answer absent
// and report undecodable bytes: a MigrationError is posted on the default
// notification centre as notifications::persistentStoreMigrationFailure()
// with the error under kMigrationErrorUserInfoKey; any other failure is
// logged as "failed to decode from persistent store with unknown error "
// followed by the error).
//
// Core values (isPersistableCoreType) are kept natively when written through
// a PersistentKey of a core type; written through a String key they go the
// general way, as JSON bytes. Reading a core type, by either key form, reads
// the native value of exactly that type only: keep core values under typed
// keys.
//
// Lifetimes: after a value is written as bytes (or with setData), the URL the
// store holds under the key (`url`), if any, gets its refresh date set to now
// plus the lifetime, or cleared without one.
//
// The typed operations are templates over the virtual primitives below, so
// an implementation supplies only those. Thread safety is the
// implementation's; DefaultsStore is safe from any thread.
class PersistentStore {
 public:
  virtual ~PersistentStore() = default;

  // Every key the store holds, in no particular order.
  virtual std::vector<std::string> allKeys() const = 0;
  // A name for the store (a suite name), for messages and tools.
  virtual std::string suiteName() const = 0;

  // Writes `value` under `key`: an absent optional removes the key; bytes
  // (Data) are kept as they are; a JSON fragment as {"value": ...}; anything
  // else as its persistable bytes, then the lifetime as above. No lifetime is
  // recorded for the first three.
  template <Persistable T>
  void set(std::string_view key, const T& value, Lifetime lifetime = std::nullopt);

  // Writes bytes under `key` as they are, then the lifetime as above.
  virtual void setData(const Data& data, std::string_view key,
                       Lifetime lifetime = std::nullopt) = 0;

  // The value under `key`: for a core type, the stored value when it has
  // exactly that type; otherwise the stored bytes decoded (and migrated) as
  // T. Absent when there is nothing, or nothing of that type, or the bytes
  // do not decode (reported as above).
  template <Persistable T>
  std::optional<T> get(std::string_view key) const;

  // The stored value under `key` as it is; absent when there is none.
  virtual std::optional<PropertyListValue> object(std::string_view key) const = 0;

  // The value under `key` now, then after every change of the key, read as
  // `get` reads it.
  template <Persistable T>
  rx::Observable<std::optional<T>> observe(std::string_view key) const;

  // Removes every value of the suite named `suiteName` (an absent name
  // names the suite ""), then calls `completion` if given.
  virtual void reset(std::optional<std::string> suiteName, std::function<void()> completion) = 0;
  void reset(std::optional<std::string> suiteName = std::nullopt) {
    reset(std::move(suiteName), nullptr);
  }

  // Whether anything is stored under `key`.
  virtual bool hasStoredValue(std::string_view key) const = 0;

  // Stores a value as it is under `key` (absent removes the key), with no
  // lifetime: the primitive the typed writes use.
  virtual void setObject(std::string_view key, std::optional<PropertyListValue> value) = 0;

  // Removes every key for which `predicate` holds, then calls `completion`
  // if given.
  virtual void removeAll(std::function<bool(const std::string&)> predicate,
                         std::function<void()> completion) = 0;

  // The URL stored under `key` (see Defaults::url); absent otherwise.
  virtual std::optional<URL> url(std::string_view key) const = 0;
  std::optional<URL> url(const PersistentKey<URL>& key) const { return url(key.identifier); }
  // Every key and its stored value.
  virtual std::map<std::string, PropertyListValue> dictionaryRepresentation() const = 0;

  // Typed keys: a core type is kept natively; other types as `set` with a
  // String key does.
  template <Persistable T>
  void set(const PersistentKey<T>& key, const T& value, Lifetime lifetime = std::nullopt);
  template <Persistable T>
  std::optional<T> get(const PersistentKey<T>& key) const {
    return get<T>(key.identifier);
  }
  template <Persistable T>
  rx::Observable<std::optional<T>> observe(const PersistentKey<T>& key) const {
    return observe<T>(key.identifier);
  }

  // The observable primitive: the stored value under `key` now, then after
  // every change.
  virtual rx::Observable<std::optional<PropertyListValue>> observeObject(
      std::string_view key) const = 0;

  // --- Derived operations ---

  // removeAll with a predicate for `key` alone.
  void removeValue(std::string_view key, std::function<void()> completion = nullptr);
  // removeAll with a predicate for every key not in `keep`.
  void removeAll(std::vector<std::string> keep, std::function<void()> completion);
  // As above, as a Completable that removes when subscribed and then
  // completes. The store must outlive its subscriptions.
  rx::Completable removeAll(std::function<bool(const std::string&)> predicate);
  rx::Completable removeAll(std::vector<std::string> keep);
  rx::Completable removeAll();
  // Runs each migration against this store, in order.
  void run(const std::vector<std::shared_ptr<PersistentStoreMigration>>& migrations);

 private:
  template <class T>
  static std::optional<T> decodeStored(std::optional<PropertyListValue> stored);
  template <class T>
  static T decodeBytes(const Data& bytes);
};

namespace detail {
// Reports stored bytes that did not decode (see PersistentStore).
void reportStoredDecodingFailure(std::exception_ptr error) noexcept;
}  // namespace detail

// --- Implementation ---

template <Persistable T>
void PersistentStore::set(std::string_view key, const T& value, Lifetime lifetime) {
  if constexpr (detail::IsOptional<T>::value) {
    if (!value) {
      setObject(key, std::nullopt);
      return;
    }
    using Wrapped = typename T::value_type;
    if constexpr (std::same_as<Wrapped, Data> || isJSONFragment<Wrapped>) {
      set<Wrapped>(key, *value);  // kept as it is, or as a fragment: no lifetime
      return;
    }
  } else if constexpr (std::same_as<T, Data>) {
    setObject(key, PropertyListValue(value));
    return;
  }
  Data bytes;
  try {
    if constexpr (isJSONFragment<T>) {
      bytes = JSONEncoder().encode(JSONFragmentWrapper<T>{value});
    } else {
      bytes = PersistableTraits<T>::encode(value);
    }
  } catch (const std::exception&) {
    return;  // nothing written, deliberately silent
  }
  if constexpr (isJSONFragment<T>) {
    setObject(key, PropertyListValue(std::move(bytes)));  // no lifetime for a fragment
  } else {
    setData(bytes, key, lifetime);
  }
}

template <Persistable T>
void PersistentStore::set(const PersistentKey<T>& key, const T& value, Lifetime lifetime) {
  if constexpr (isPersistableCoreType<T>) {
    (void)lifetime;
    if constexpr (detail::IsOptional<T>::value) {
      if (!value) {
        setObject(key.identifier, std::nullopt);
      } else {
        setObject(key.identifier, detail::toStoredValue(*value));
      }
    } else {
      setObject(key.identifier, detail::toStoredValue(value));
    }
  } else {
    set<T>(std::string_view(key.identifier), value, lifetime);
  }
}

template <Persistable T>
std::optional<T> PersistentStore::get(std::string_view key) const {
  return decodeStored<T>(object(key));
}

template <Persistable T>
rx::Observable<std::optional<T>> PersistentStore::observe(std::string_view key) const {
  return observeObject(key).map(
      [](const std::optional<PropertyListValue>& stored) { return decodeStored<T>(stored); });
}

template <class T>
T PersistentStore::decodeBytes(const Data& bytes) {
  if constexpr (isJSONFragment<T>) {
    return JSONFragment<T>::decode(bytes);
  } else if constexpr (detail::IsOptionalFragment<T>::value) {
    return JSONFragment<typename T::value_type>::decode(bytes);
  } else {
    return PersistableTraits<T>::decode(bytes);
  }
}

template <class T>
std::optional<T> PersistentStore::decodeStored(std::optional<PropertyListValue> stored) {
  if (!stored) return std::nullopt;
  if constexpr (isPersistableCoreType<T>) {
    if constexpr (detail::IsOptional<T>::value) {
      auto inner = detail::fromStoredValue<typename T::value_type>(std::move(*stored));
      if (!inner) return std::nullopt;
      return T(std::move(*inner));
    } else {
      return detail::fromStoredValue<T>(std::move(*stored));
    }
  } else {
    const Data* bytes = stored->get<Data>();
    if (!bytes) return std::nullopt;
    try {
      return decodeBytes<T>(*bytes);
    } catch (...) {
      detail::reportStoredDecodingFailure(std::current_exception());
      return std::nullopt;
    }
  }
}

namespace detail {

template <class T>
PropertyListValue toStoredValue(const T& value) {
  if constexpr (PersistableInteger<T>) {
    return PropertyListValue(static_cast<std::int64_t>(value));
  } else {
    return PropertyListValue(value);
  }
}

template <class T>
std::optional<T> fromStoredValue(PropertyListValue&& stored) {
  if constexpr (PersistableInteger<T>) {
    const std::int64_t* n = stored.get<std::int64_t>();
    if (!n || !std::in_range<T>(*n)) return std::nullopt;
    return static_cast<T>(*n);
  } else {
    T* v = stored.get<T>();
    if (!v) return std::nullopt;
    return std::move(*v);
  }
}

}  // namespace detail

}  // namespace zorlan
