#include "zorlan/Environment/HTTPStatusClasses.hpp"

#include <mutex>

#include "zorlan/Platform/HTTPStatus.hpp"

namespace zorlan {
namespace {

std::vector<int> knownCodes(int first, int last) {
  std::vector<int> codes;
  for (int code = first; code <= last; ++code) {
    if (HTTPStatus::isKnown(code)) codes.push_back(code);
  }
  return codes;
}

// The server-error list. A mutex rather than std::atomic<std::shared_ptr>:
// libstdc++ 12 releases that type's internal lock after a load with relaxed
// order, so a load and a later store are not ordered (and ThreadSanitizer
// says so). Never destroyed: threads may still read while the process exits.
struct ServerErrorSlot {
  std::mutex mutex;
  std::shared_ptr<const std::vector<int>> codes =
      std::make_shared<const std::vector<int>>(knownCodes(500, 599));
};
ServerErrorSlot& serverErrorSlot() {
  static auto* slot = new ServerErrorSlot();
  return *slot;
}

}  // namespace

const std::vector<int>& HTTPStatusClasses::informationCodes() {
  static const auto* codes = new std::vector<int>(knownCodes(100, 199));  // never destroyed
  return *codes;
}
const std::vector<int>& HTTPStatusClasses::successCodes() {
  static const auto* codes = new std::vector<int>(knownCodes(200, 299));  // never destroyed
  return *codes;
}
const std::vector<int>& HTTPStatusClasses::redirectCodes() {
  static const auto* codes = new std::vector<int>(knownCodes(300, 399));  // never destroyed
  return *codes;
}
const std::vector<int>& HTTPStatusClasses::clientErrorCodes() {
  static const auto* codes = new std::vector<int>(knownCodes(400, 499));  // never destroyed
  return *codes;
}

std::shared_ptr<const std::vector<int>> HTTPStatusClasses::serverErrorCodes() {
  ServerErrorSlot& slot = serverErrorSlot();
  std::lock_guard lock(slot.mutex);
  return slot.codes;
}

void HTTPStatusClasses::setServerErrorCodes(std::vector<int> codes) {
  auto replacement = std::make_shared<const std::vector<int>>(std::move(codes));
  ServerErrorSlot& slot = serverErrorSlot();
  std::lock_guard lock(slot.mutex);
  slot.codes.swap(replacement);  // the old list goes after the lock is released
}

}  // namespace zorlan
