// Defaults: the user-defaults database. One SQLite database (WAL mode) per
// suite under a directory the application chooses, values typed as
// PropertyListValue, reads from an in-memory cache, writes through to disk.
//
//   auto defaults = Defaults::open("com.example.player");   // ~/.config/<app>/...
//   defaults->set("autoplay", true);
//   std::optional<bool> autoplay = defaults->value<bool>("autoplay");   // true
//   auto watch = defaults->observe("autoplay").subscribe(...);         // now, then each change
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "zorlan/Platform/PropertyListValue.hpp"
#include "zorlan/Platform/URL.hpp"

namespace zorlan {

namespace rx {
template <class T>
class Observable;  // include zorlan/Rx/Observable.hpp to use `observe`
}

// A defaults database that cannot be opened, read or written. The message
// names the file and says what is wrong, for example
//   "defaults database /home/a/.config/app/x.sqlite: file is not a database".
// The file is never replaced, emptied or repaired by the library.
class DefaultsError : public std::runtime_error {
 public:
  DefaultsError(std::filesystem::path path, const std::string& problem);
  const std::filesystem::path& path() const noexcept { return path_; }

 private:
  std::filesystem::path path_;
};

// One suite of settings.
//
// Storage: each suite is a SQLite database file `<directory>/<suite>.sqlite`
// (the suite name percent-encoded where it is not a portable file name),
// in WAL mode with synchronous=NORMAL. Durability: a write returns after its
// transaction is in the write-ahead log, so a crash or kill of the process
// loses no write that returned; a power cut or operating-system crash can
// lose the writes of the last moments (since the last WAL checkpoint sync)
// but leaves the database consistent.
//
// Types: every value keeps its PropertyListValue kind on disk, so a Boolean
// reads back as a Boolean and never as an integer.
//
// Other processes: several processes may open one suite. Their writes are
// seen by this object after `synchronize()`, and otherwise within a second:
// reads look at the database's change counter at most every half second, and
// while a key is observed a timer does the same.
//
// Damage: a file that is not a SQLite database, or whose pages are damaged
// (truncated, overwritten) makes `open` throw DefaultsError naming the file;
// nothing is written to it. A row whose stored value cannot be read (an
// unknown kind, bytes of a container that do not parse) reads as absent, is
// listed by `damagedKeys()`, and stays in the file untouched until the key
// is written or removed.
//
// Thread safety: all operations may be called from any thread. Reads take a
// shared lock on the cache and never touch SQLite unless the half-second
// check is due (one reader does it, the others keep reading; it is skipped
// while a write is under way); writes are serialised. A write holds the
// suite's write lock until its observers have been called, so a write from
// another thread waits for them: a handler may write this suite itself, but
// must not wait for another thread that writes it.
class Defaults : public std::enable_shared_from_this<Defaults> {
 public:
  // The directory settings live in when the application names none:
  // `$XDG_CONFIG_HOME/<applicationIdentifier>`, or
  // `$HOME/.config/<applicationIdentifier>` when XDG_CONFIG_HOME is unset or
  // not absolute (the password database's home directory when HOME is unset
  // or not absolute). The identifier is percent-encoded as suite names are.
  // Throws std::invalid_argument for an empty identifier and
  // std::runtime_error when no home directory is known.
  static std::filesystem::path defaultDirectory(std::string_view applicationIdentifier);
  // The file that holds `suiteName` under `directory`: the name with every
  // byte outside [A-Za-z0-9._-] percent-encoded ("a/b" gives "a%2Fb.sqlite",
  // ".." gives "...sqlite"), so it never leaves `directory`.
  static std::filesystem::path databasePath(const std::filesystem::path& directory,
                                            std::string_view suiteName);

  // Opens the suite's database under `directory`, creating the directory
  // and the database when missing. Within one process, the same file is
  // always the same object (the last reference closes it). Throws
  // DefaultsError when the file cannot be created or opened, is not a
  // database, or is damaged. An empty suite name is refused
  // (std::invalid_argument).
  static std::shared_ptr<Defaults> open(std::string_view suiteName,
                                        const std::filesystem::path& directory);
  // A suite kept in memory only, for tests: the same behaviour, nothing on
  // disk, never shared with another object.
  static std::shared_ptr<Defaults> inMemory(std::string_view suiteName = "inMemory");

  ~Defaults();
  Defaults(const Defaults&) = delete;
  Defaults& operator=(const Defaults&) = delete;

  const std::string& suiteName() const noexcept;
  // The database file; empty for an in-memory suite.
  const std::filesystem::path& path() const noexcept;

  // --- Reading (from the cache; O(1) on average) ---

  // The value under `key`, absent when there is none.
  std::optional<PropertyListValue> object(std::string_view key) const;
  // The value under `key` when it is exactly of kind T (see
  // PropertyListValue::get); absent otherwise. Copies only the T.
  template <class T>
  std::optional<T> value(std::string_view key) const {
    std::optional<T> out;
    read(key, [&out](const PropertyListValue& v) {
      if (const T* p = v.get<T>()) out = *p;
    });
    return out;
  }
  // Whether any value is stored under `key`.
  bool hasObject(std::string_view key) const;
  // The URL under `key`: a stored URL; or a stored string that is an absolute
  // path (as a file URL, with a leading "~/" expanded from $HOME) or an
  // absolute URL text with a scheme. Absent for anything else.
  std::optional<URL> url(std::string_view key) const;
  // Every key and value.
  std::map<std::string, PropertyListValue> dictionaryRepresentation() const;
  // Every key, in no particular order.
  std::vector<std::string> allKeys() const;
  // Keys whose stored rows cannot be read (see Damage above).
  std::vector<std::string> damagedKeys() const;

  // --- Writing (through to disk, then to the cache, then to observers) ---

  // Stores `value` under `key`, replacing any value, in one transaction.
  // Throws DefaultsError when the database cannot be written, and
  // std::invalid_argument for a value nested more than 64 arrays or
  // dictionaries deep; nothing changes then. When a handler called for this
  // write throws, the write stands, the other observers are still called,
  // and the first exception then leaves `set` (the same holds for the
  // removals and `synchronize`).
  void set(std::string_view key, PropertyListValue value);
  // Removes the value under `key`; nothing happens when there is none.
  void removeObject(std::string_view key);
  // Removes every listed key in one transaction.
  void removeObjects(const std::vector<std::string>& keys);
  // Removes every value of the suite named `suiteName` in this object's
  // directory: this suite's own when the names are equal (its observers see
  // absent), another suite's file otherwise (its open objects see it as an
  // outside change). Nothing happens when there is no such suite.
  void removePersistentDomain(std::string_view suiteName);
  // Reads what other processes wrote since the last look, updates the cache
  // and tells observers of the keys that changed. Returns false when the
  // database could not be read (the cache is kept as it was).
  bool synchronize();

  // --- Observing ---

  // The value under `key` now (absent when none), then after every write of
  // this key (by this object or, once seen, by another process), including
  // writes of an equal value and removals (absent). Every observer sees the
  // changes of a key in the order they were committed. Elements are
  // delivered synchronously on the writing thread before the write returns;
  // outside changes on the suite's polling queue, in `synchronize()`, or by
  // the next write, whichever comes first. A handler may read and write this
  // suite: its write is delivered to every observer once the element being
  // delivered has reached them all (so no observer sees the two out of
  // order), before the outer write returns. A subscription does not keep
  // the suite open: once the last reference to it goes, no more elements
  // come. Never errors or completes; a handler that throws ends its own
  // subscription.
  rx::Observable<std::optional<PropertyListValue>> observe(std::string_view key) const;

 private:
  struct Impl;
  explicit Defaults(std::unique_ptr<Impl> impl);
  // Calls `reader` with the cached value under `key`, under the cache's
  // shared lock; returns whether there was one.
  template <class F>
  bool read(std::string_view key, F&& reader) const {
    return readWith(key, &invokeReader<F>, &reader);
  }
  template <class F>
  static void invokeReader(const PropertyListValue& value, void* context) {
    (*static_cast<F*>(context))(value);
  }
  bool readWith(std::string_view key, void (*reader)(const PropertyListValue&, void*),
                void* context) const;

  std::unique_ptr<Impl> impl_;
};

}  // namespace zorlan
