// DefaultsStore: the persistent store kept in a suite of the defaults
// database.
//
//   auto store = std::make_shared<DefaultsStore>(Defaults::open("com.example.player", dir));
//   store->set(PersistentKey<bool>("autoplay"), true);
#pragma once

#include <memory>

#include "zorlan/Persistence/PersistentStore.hpp"
#include "zorlan/Platform/Defaults.hpp"

namespace zorlan {

// Every operation goes to the suite: values as PropertyListValue, bytes as
// Data, the change stream of a key as Defaults::observe. Safe from any
// thread. A database that cannot be written (DefaultsError) is reported on
// the log and the write is dropped, as the store's writes report nothing.
class DefaultsStore final : public PersistentStore {
 public:
  explicit DefaultsStore(std::shared_ptr<Defaults> defaults);

  // The suite.
  const std::shared_ptr<Defaults>& defaults() const noexcept { return defaults_; }

  std::vector<std::string> allKeys() const override;
  std::string suiteName() const override;
  void setData(const Data& data, std::string_view key, Lifetime lifetime = std::nullopt) override;
  std::optional<PropertyListValue> object(std::string_view key) const override;
  void reset(std::optional<std::string> suiteName, std::function<void()> completion) override;
  using PersistentStore::reset;
  bool hasStoredValue(std::string_view key) const override;
  void setObject(std::string_view key, std::optional<PropertyListValue> value) override;
  void removeAll(std::function<bool(const std::string&)> predicate,
                 std::function<void()> completion) override;
  using PersistentStore::removeAll;
  std::optional<URL> url(std::string_view key) const override;
  using PersistentStore::url;
  std::map<std::string, PropertyListValue> dictionaryRepresentation() const override;
  rx::Observable<std::optional<PropertyListValue>> observeObject(std::string_view key) const override;

 private:
  std::shared_ptr<Defaults> defaults_;
};

}  // namespace zorlan
