#include "zorlan/Platform/DataFetcherError.hpp"

#include <utility>

#include "zorlan/Base/Precondition.hpp"

namespace zorlan {
namespace {

std::string describeWrapped(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const std::exception& e) {
    return e.what();
  } catch (...) {
    return "unknown error";
  }
}

}  // namespace

DataFetcherError::DataFetcherError(Kind kind, std::optional<int> status,
                                   std::exception_ptr underlying, std::string description)
    : kind_(kind),
      status_(status),
      underlying_(std::move(underlying)),
      description_(std::move(description)) {}

DataFetcherError DataFetcherError::invalidRequest() {
  return DataFetcherError(Kind::invalidRequest, std::nullopt, nullptr,
                          "DataFetcherError.invalidRequest");
}

DataFetcherError DataFetcherError::httpStatus(int status) {
  return DataFetcherError(Kind::httpStatus, status, nullptr,
                          "DataFetcherError.httpStatus(" + std::to_string(status) + ")");
}

DataFetcherError DataFetcherError::underlying(std::exception_ptr error) {
  ZORLAN_PRECONDITION(error != nullptr, "DataFetcherError.underlying needs an error to wrap");
  std::string description = "DataFetcherError.underlying(" + describeWrapped(error) + ")";
  return DataFetcherError(Kind::underlying, std::nullopt, std::move(error), std::move(description));
}

}  // namespace zorlan
