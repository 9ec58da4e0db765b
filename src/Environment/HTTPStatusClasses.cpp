#include "zorlan/Environment/HTTPStatusClasses.hpp"

#include <atomic>

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

// Never destroyed: threads may still read while the process exits.
std::atomic<std::shared_ptr<const std::vector<int>>>& serverErrorSlot() {
  static auto* slot = new std::atomic<std::shared_ptr<const std::vector<int>>>(
      std::make_shared<const std::vector<int>>(knownCodes(500, 599)));
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
  return serverErrorSlot().load(std::memory_order_acquire);
}

void HTTPStatusClasses::setServerErrorCodes(std::vector<int> codes) {
  serverErrorSlot().store(std::make_shared<const std::vector<int>>(std::move(codes)),
                          std::memory_order_release);
}

}  // namespace zorlan
