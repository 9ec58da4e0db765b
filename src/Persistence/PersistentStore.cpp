#include "zorlan/Persistence/PersistentStore.hpp"

#include <algorithm>
#include <any>
#include <memory>
#include <string>
#include <utility>

#include "zorlan/Base/SourceLocation.hpp"
#include "zorlan/Environment/NotificationNames.hpp"
#include "zorlan/Logging/Log.hpp"
#include "zorlan/Platform/NotificationCenter.hpp"

namespace zorlan {

namespace {

// The sender named in the log event.
struct UserDefaults {};

constexpr const char* kFile = "Extensions/UserDefaults+PersistentStore";
constexpr const char* kFunction = "get(_:)";
constexpr int kUnknownErrorLine = 67;

}  // namespace

namespace detail {

void reportStoredDecodingFailure(std::exception_ptr error) noexcept {
  try {
    try {
      std::rethrow_exception(error);
    } catch (const MigrationError& failure) {
      auto info = std::make_shared<UserInfo>();
      info->emplace(AnyHashable(kMigrationErrorUserInfoKey), std::any(failure));
      NotificationCenter::defaultCenter().post(notifications::persistentStoreMigrationFailure(),
                                               nullptr, std::move(info));
    } catch (const std::exception& other) {
      Log::shared().error(
          UserDefaults{},
          std::string("failed to decode from persistent store with unknown error ") + other.what(),
          SourceLocation(kFile, kUnknownErrorLine, kFunction));
    } catch (...) {
      Log::shared().error(
          UserDefaults{},
          "failed to decode from persistent store with unknown error unknown exception",
          SourceLocation(kFile, kUnknownErrorLine, kFunction));
    }
  } catch (...) {
    // An observer of the failure threw, or memory ran out while reporting:
    // the read still answers absent.
  }
}

}  // namespace detail

void PersistentStore::removeValue(std::string_view key, std::function<void()> completion) {
  removeAll([only = std::string(key)](const std::string& k) { return k == only; },
            std::move(completion));
}

void PersistentStore::removeAll(std::vector<std::string> keep, std::function<void()> completion) {
  std::sort(keep.begin(), keep.end());
  removeAll([keep = std::move(keep)](
                const std::string& k) { return !std::binary_search(keep.begin(), keep.end(), k); },
            std::move(completion));
}

rx::Completable PersistentStore::removeAll(std::function<bool(const std::string&)> predicate) {
  return rx::Completable::create(
      [this, predicate = std::move(predicate)](const rx::CompletableObserver& observer) {
        removeAll(predicate, [&observer] { observer.completed(); });
        return rx::Disposable();
      });
}

rx::Completable PersistentStore::removeAll(std::vector<std::string> keep) {
  std::sort(keep.begin(), keep.end());
  return removeAll([keep = std::move(keep)](const std::string& k) {
    return !std::binary_search(keep.begin(), keep.end(), k);
  });
}

rx::Completable PersistentStore::removeAll() {
  return removeAll([](const std::string&) { return true; });
}

void PersistentStore::run(
    const std::vector<std::shared_ptr<PersistentStoreMigration>>& migrations) {
  for (const auto& migration : migrations) {
    if (migration) migration->migrate(*this);
  }
}

}  // namespace zorlan
