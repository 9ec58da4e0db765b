#include "zorlan/Platform/BridgedError.hpp"

#include <algorithm>
#include <climits>
#include <map>
#include <memory>
#include <mutex>

namespace zorlan {
namespace {

class DomainCategory final : public std::error_category {
 public:
  explicit DomainCategory(std::string domain) : domain_(std::move(domain)) {}
  const char* name() const noexcept override { return domain_.c_str(); }
  std::string message(int code) const override {
    return domain_ + " error " + std::to_string(code);
  }

 private:
  std::string domain_;
};

}  // namespace

const std::error_category& errorDomainCategory(std::string_view domain) {
  // Categories live as long as the process: error codes holding them may
  // outlive any owner we could name.
  static std::mutex mutex;
  static auto* categories = new std::map<std::string, std::unique_ptr<DomainCategory>, std::less<>>;
  std::lock_guard lock(mutex);
  auto found = categories->find(domain);
  if (found == categories->end()) {
    found =
        categories
            ->emplace(std::string(domain), std::make_unique<DomainCategory>(std::string(domain)))
            .first;
  }
  return *found->second;
}

std::error_code BridgedError::toErrorCode() const {
  const long code = std::clamp<long>(errorCode(), INT_MIN, INT_MAX);
  return {static_cast<int>(code), errorDomainCategory(errorDomain())};
}

}  // namespace zorlan
