#include "zorlan/Values/ErrorQueries.hpp"

#include <cxxabi.h>

#include <future>
#include <system_error>
#include <typeinfo>
#include <utility>

#include "Values/TypeName.hpp"
#include "zorlan/Base/Precondition.hpp"
#include "zorlan/Platform/BridgedError.hpp"
#include "zorlan/Platform/DataFetcherError.hpp"
#include "zorlan/Platform/URLError.hpp"

namespace zorlan {
namespace {

// What the queries need to know of one thrown value. The pointers refer to the
// thrown object and are valid only while it is being inspected.
struct ErrorView {
  const std::type_info* type = nullptr;       // dynamic type; null if unknown
  const std::exception* exception = nullptr;  // null for other thrown values
  const BridgedError* bridged = nullptr;      // null unless it bridges itself
};

ErrorView viewOf(const std::exception& error) {
  return ErrorView{&typeid(error), &error, dynamic_cast<const BridgedError*>(&error)};
}

// Calls `inspect` with a view of the object `error` holds, while that object
// is being handled (so the view's pointers stay valid).
template <class F>
auto withView(const std::exception_ptr& error, F&& inspect) {
  ZORLAN_PRECONDITION(error != nullptr, "An error query was given a null std::exception_ptr");
  try {
    std::rethrow_exception(error);
  } catch (const std::exception& e) {
    return inspect(viewOf(e));
  } catch (const BridgedError& e) {
    return inspect(ErrorView{&typeid(e), nullptr, &e});
  } catch (...) {
    return inspect(ErrorView{abi::__cxa_current_exception_type(), nullptr, nullptr});
  }
}

const std::error_code* standardErrorCode(const ErrorView& view) {
  if (const auto* e = dynamic_cast<const std::system_error*>(view.exception)) return &e->code();
  if (const auto* e = dynamic_cast<const std::future_error*>(view.exception)) return &e->code();
  return nullptr;
}

std::string qualifiedName(const ErrorView& view) {
  return view.type != nullptr ? detail::qualifiedTypeName(*view.type) : "unknown exception";
}

std::string typeNameOf(const ErrorView& view) {
  return detail::unqualifiedTypeName(qualifiedName(view));
}

long codeOf(const ErrorView& view) {
  if (view.bridged != nullptr) return view.bridged->errorCode();
  if (const std::error_code* ec = standardErrorCode(view)) return ec->value();
  return 1;
}

std::string domainOf(const ErrorView& view) {
  if (view.bridged != nullptr) return view.bridged->errorDomain();
  if (const std::error_code* ec = standardErrorCode(view)) return ec->category().name();
  return qualifiedName(view);
}

const std::nested_exception* nestedOf(const ErrorView& view) {
  if (view.exception != nullptr) return dynamic_cast<const std::nested_exception*>(view.exception);
  return dynamic_cast<const std::nested_exception*>(view.bridged);
}

std::vector<long> underlyingCodesOf(const ErrorView& view) {
  std::vector<std::exception_ptr> underlying;
  if (view.bridged != nullptr) underlying = view.bridged->underlyingErrors();
  if (const std::nested_exception* nested = nestedOf(view)) {
    if (std::exception_ptr inner = nested->nested_ptr()) underlying.push_back(std::move(inner));
  }
  std::vector<long> codes;
  codes.reserve(underlying.size());
  for (const std::exception_ptr& error : underlying) {
    if (error != nullptr) codes.push_back(code(error));
  }
  return codes;
}

std::string codeListText(const std::vector<long>& codes) {
  std::string text = "[";
  for (std::size_t i = 0; i < codes.size(); ++i) {
    if (i > 0) text += ", ";
    text += std::to_string(codes[i]);
  }
  return text + "]";
}

// "<type> - <code> - <underlying codes>".
std::string plainTypeString(const ErrorView& view) {
  return typeNameOf(view) + " - " + std::to_string(codeOf(view)) + " - " +
         codeListText(underlyingCodesOf(view));
}

std::string typeStringOf(const ErrorView& view) {
  const auto* fetcher = dynamic_cast<const DataFetcherError*>(view.exception);
  if (fetcher != nullptr && fetcher->kind() == DataFetcherError::Kind::underlying) {
    return typeNameOf(view) + " - " +
           withView(fetcher->underlyingError(),
                    [](const ErrorView& wrapped) { return plainTypeString(wrapped); });
  }
  return plainTypeString(view);
}

// The URL-loading codes that have a symbolic name in summaries.
constexpr std::pair<URLError::Code, const char*> kURLCodeNames[] = {
    {URLError::Code::badURL, "NSURLErrorBadURL"},
    {URLError::Code::timedOut, "NSURLErrorTimedOut"},
    {URLError::Code::cannotFindHost, "NSURLErrorCannotFindHost"},
    {URLError::Code::cannotConnectToHost, "NSURLErrorCannotConnectToHost"},
    {URLError::Code::cannotParseResponse, "NSURLErrorCannotParseResponse"},
    {URLError::Code::internationalRoamingOff, "NSURLErrorInternationalRoamingOff"},
    {URLError::Code::callIsActive, "NSURLErrorCallIsActive"},
    {URLError::Code::dataNotAllowed, "NSURLErrorDataNotAllowed"},
    {URLError::Code::secureConnectionFailed, "NSURLErrorSecureConnectionFailed"},
};

std::string urlCodeNameOf(const ErrorView& view) {
  const long value = codeOf(view);
  if (domainOf(view) == URLError::kDomain) {
    for (const auto& [known, name] : kURLCodeNames) {
      if (static_cast<long>(known) == value) return name;
    }
  }
  return std::to_string(value);
}

}  // namespace

long code(const std::exception& error) { return codeOf(viewOf(error)); }
long code(const std::exception_ptr& error) { return withView(error, codeOf); }

std::string domain(const std::exception& error) { return domainOf(viewOf(error)); }
std::string domain(const std::exception_ptr& error) { return withView(error, domainOf); }

std::vector<long> underlyingErrorCodes(const std::exception& error) {
  return underlyingCodesOf(viewOf(error));
}
std::vector<long> underlyingErrorCodes(const std::exception_ptr& error) {
  return withView(error, underlyingCodesOf);
}

std::string errorTypeString(const std::exception& error) { return typeStringOf(viewOf(error)); }
std::string errorTypeString(const std::exception_ptr& error) {
  return withView(error, typeStringOf);
}

std::string urlErrorCodeName(const std::exception& error) { return urlCodeNameOf(viewOf(error)); }
std::string urlErrorCodeName(const std::exception_ptr& error) {
  return withView(error, urlCodeNameOf);
}

}  // namespace zorlan
