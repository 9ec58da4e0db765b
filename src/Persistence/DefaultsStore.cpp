#include "zorlan/Persistence/DefaultsStore.hpp"

#include <string>
#include <utility>

#include "zorlan/Base/Precondition.hpp"
#include "zorlan/Base/SourceLocation.hpp"
#include "zorlan/Logging/Log.hpp"
#include "zorlan/Rx/Observable.hpp"

namespace zorlan {

namespace {

struct UserDefaults {};

constexpr const char* kFile = "Extensions/UserDefaults+PersistentStore";

// A write the database refused: the store's writes report nothing to the
// caller, so the log is the one place it shows.
void reportWriteFailure(const DefaultsError& error, const char* function, int line) noexcept {
  try {
    Log::shared().error(UserDefaults{}, std::string("failed to write to persistent store: ") + error.what(),
                        SourceLocation(kFile, line, function));
  } catch (...) {
  }
}

}  // namespace

DefaultsStore::DefaultsStore(std::shared_ptr<Defaults> defaults) : defaults_(std::move(defaults)) {
  ZORLAN_PRECONDITION(defaults_ != nullptr, "DefaultsStore needs a Defaults suite");
}

std::vector<std::string> DefaultsStore::allKeys() const { return defaults_->allKeys(); }

std::string DefaultsStore::suiteName() const { return defaults_->suiteName(); }

void DefaultsStore::setData(const Data& data, std::string_view key, Lifetime lifetime) {
  try {
    defaults_->set(key, PropertyListValue(data));
  } catch (const DefaultsError& error) {
    reportWriteFailure(error, "setData(_:forKey:lifetime:)", 34);
    return;
  }
  if (std::optional<URL> location = defaults_->url(key)) location->setLifetime(lifetime);
}

std::optional<PropertyListValue> DefaultsStore::object(std::string_view key) const {
  return defaults_->object(key);
}

void DefaultsStore::reset(std::optional<std::string> suiteName, std::function<void()> completion) {
  try {
    defaults_->removePersistentDomain(suiteName.value_or(std::string()));
  } catch (const DefaultsError& error) {
    reportWriteFailure(error, "reset(suiteName:completion:)", 52);
  }
  if (completion) completion();
}

bool DefaultsStore::hasStoredValue(std::string_view key) const { return defaults_->hasObject(key); }

void DefaultsStore::setObject(std::string_view key, std::optional<PropertyListValue> value) {
  try {
    if (value) {
      defaults_->set(key, std::move(*value));
    } else {
      defaults_->removeObject(key);
    }
  } catch (const DefaultsError& error) {
    reportWriteFailure(error, "set(_:for:lifetime:)", 21);
  }
}

void DefaultsStore::removeAll(std::function<bool(const std::string&)> predicate,
                              std::function<void()> completion) {
  std::vector<std::string> doomed;
  for (std::string& key : defaults_->allKeys()) {
    if (predicate(key)) doomed.push_back(std::move(key));
  }
  try {
    defaults_->removeObjects(doomed);
  } catch (const DefaultsError& error) {
    reportWriteFailure(error, "removeAll(where:completion:)", 70);
  }
  if (completion) completion();
}

std::optional<URL> DefaultsStore::url(std::string_view key) const { return defaults_->url(key); }

std::map<std::string, PropertyListValue> DefaultsStore::dictionaryRepresentation() const {
  return defaults_->dictionaryRepresentation();
}

rx::Observable<std::optional<PropertyListValue>> DefaultsStore::observeObject(std::string_view key) const {
  return defaults_->observe(key);
}

}  // namespace zorlan
