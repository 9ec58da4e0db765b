// zorlan/Values/ErrorQueries.hpp (with the URL and fetcher errors it reads): domains, codes,
// underlying codes and summaries of any thrown error.
#include <gtest/gtest.h>

#include <future>
#include <system_error>

#include "Values/TypeName.hpp"
#include "zorlan/Platform/BridgedError.hpp"
#include "zorlan/Platform/DataFetcherError.hpp"
#include "zorlan/Platform/URLError.hpp"
#include "zorlan/Values/ErrorQueries.hpp"
#include "zorlan/Values/NoSelfError.hpp"

namespace zorlan {
namespace {

using Code = URLError::Code;

// An error of a client's own, bridging itself to a chosen domain and code.
struct CustomError : std::exception, BridgedError {
  CustomError(std::string domain, long code) : domain(std::move(domain)), number(code) {}
  const char* what() const noexcept override { return "CustomError"; }
  std::string errorDomain() const override { return domain; }
  long errorCode() const override { return number; }
  std::string domain;
  long number;
};

// A thrown value that bridges itself but is not a std::exception.
struct BridgedOnly : BridgedError {
  std::string errorDomain() const override { return "BridgedOnlyDomain"; }
  long errorCode() const override { return 77; }
  std::vector<std::exception_ptr> underlyingErrors() const override {
    return {std::make_exception_ptr(URLError(Code::cancelled))};
  }
};

std::exception_ptr enoent() {
  return std::make_exception_ptr(
      std::system_error(std::make_error_code(std::errc::no_such_file_or_directory)));
}

std::exception_ptr nestedInside(std::exception_ptr inner, auto outer) {
  try {
    std::rethrow_exception(inner);
  } catch (...) {
    try {
      std::throw_with_nested(outer);
    } catch (...) {
      return std::current_exception();
    }
  }
  return nullptr;
}

struct Case {
  const char* label;
  std::exception_ptr error;
  std::string domain;
  long code;
  std::vector<long> underlyingCodes;
  std::string typeString;
  std::string urlCodeName;
};

template <class E>
std::exception_ptr error(E e) {
  return std::make_exception_ptr(std::move(e));
}

std::vector<Case> cases() {
  const long noState = static_cast<long>(std::future_errc::no_state);
  const std::string noStateText = std::to_string(noState);
  const auto timedOutCantFindHost = URLError(
      Code::timedOut,
      {error(URLError(Code::cannotFindHost, {enoent()})), nullptr, error(std::runtime_error("x"))});
  const auto offline =
      URLError(Code::notConnectedToInternet, {error(URLError(Code::timedOut)), enoent()});
  // clang-format off
  return {
      {"URL error with underlying errors, one level deep", error(timedOutCantFindHost),
       "NSURLErrorDomain", -1001, {-1003, 1}, "URLError - -1001 - [-1003, 1]", "NSURLErrorTimedOut"},
      {"fetcher error wrapping a URL error", error(DataFetcherError::underlying(error(offline))),
       "zorlan::DataFetcherError", 2, {}, "DataFetcherError - URLError - -1009 - [-1001, 2]", "2"},
      {"system error", enoent(), "generic", 2, {}, "system_error - 2 - []", "2"},
      {"future error", error(std::future_error(std::future_errc::no_state)),
       "future", noState, {}, "future_error - " + noStateText + " - []", noStateText},
      {"plain standard exception", error(std::runtime_error("x")),
       "std::runtime_error", 1, {}, "runtime_error - 1 - []", "1"},
      {"client error in the URL domain", error(CustomError("NSURLErrorDomain", -1200)),
       "NSURLErrorDomain", -1200, {}, "CustomError - -1200 - []", "NSURLErrorSecureConnectionFailed"},
      {"nested in a plain exception",
       nestedInside(error(URLError(Code::timedOut)), std::runtime_error("load failed")),
       "std::runtime_error", 1, {-1001}, "runtime_error - 1 - [-1001]", "1"},
      {"nested in a bridged exception",
       nestedInside(enoent(), URLError(Code::badURL, {error(NoSelfError())})),
       "NSURLErrorDomain", -1000, {1, 2}, "URLError - -1000 - [1, 2]", "NSURLErrorBadURL"},
      {"thrown value that is not an exception", error(42), "int", 1, {}, "int - 1 - []", "1"},
      {"thrown value that only bridges itself", error(BridgedOnly()),
       "BridgedOnlyDomain", 77, {-999}, "BridgedOnly - 77 - [-999]", "77"},
  };
  // clang-format on
}

// Each error through the pointer form and, when it is a std::exception, through a
// base reference, so the queries must look at the dynamic type.
TEST(ErrorQueriesTest, ReduceErrorsToDomainCodeAndSummaries) {
  for (const Case& c : cases()) {
    SCOPED_TRACE(c.label);
    const auto check = [&c](const auto& error) {
      EXPECT_EQ(domain(error), c.domain);
      EXPECT_EQ(code(error), c.code);
      EXPECT_EQ(underlyingErrorCodes(error), c.underlyingCodes);
      EXPECT_EQ(errorTypeString(error), c.typeString);
      EXPECT_EQ(urlErrorCodeName(error), c.urlCodeName);
    };
    check(c.error);
    try {
      std::rethrow_exception(c.error);
    } catch (const std::exception& e) {
      check(e);
    } catch (...) {
    }
  }
}

TEST(ErrorQueriesTest, URLErrorCodeNamesFollowTheirTable) {
  // Well-known codes left out of the table fall through to decimal.
  // clang-format off
  const std::pair<long, const char*> table[] = {
      {-1000, "NSURLErrorBadURL"}, {-1018, "NSURLErrorInternationalRoamingOff"},
      {-1020, "NSURLErrorDataNotAllowed"}, {-1002, "-1002"}, {-999, "-999"}, {0, "0"}};
  // clang-format on
  for (const auto& [number, name] : table) {
    SCOPED_TRACE(number);
    const URLError error(static_cast<Code>(number));
    EXPECT_EQ(urlErrorCodeName(error), name);
    // The same code outside the URL domain is only a number.
    EXPECT_EQ(urlErrorCodeName(CustomError("OtherDomain", number)), std::to_string(number));
  }
}

TEST(ErrorQueriesTest, URLErrorDescribesItselfAndDropsNullUnderlyingErrors) {
  const auto inner = std::make_exception_ptr(NoSelfError());
  const URLError error(Code::notConnectedToInternet, {nullptr, inner});
  EXPECT_STREQ(error.what(),
               "The operation couldn't be completed. (NSURLErrorDomain error -1009.)");
  EXPECT_EQ(error.underlyingErrors(), std::vector<std::exception_ptr>{inner});
  EXPECT_EQ(error, URLError(Code::notConnectedToInternet, {inner}));
  EXPECT_NE(error, URLError(Code::notConnectedToInternet));
  EXPECT_NE(error, URLError(Code::timedOut, {inner}));
}

TEST(ErrorQueriesTest, DataFetcherErrorCasesDescribeTheirPayloads) {
  const auto wrapped = std::make_exception_ptr(URLError(Code::timedOut));
  EXPECT_STREQ(DataFetcherError::invalidRequest().what(), "DataFetcherError.invalidRequest");
  EXPECT_EQ(code(DataFetcherError::invalidRequest()), 0);
  EXPECT_STREQ(DataFetcherError::httpStatus(503).what(), "DataFetcherError.httpStatus(503)");
  EXPECT_STREQ(DataFetcherError::underlying(wrapped).what(),
               "DataFetcherError.underlying(The operation couldn't be completed. "
               "(NSURLErrorDomain error -1001.))");
}

TEST(ErrorQueriesDeathTest, NullErrorsAreRefused) {
  EXPECT_DEATH(code(std::exception_ptr()), "null std::exception_ptr");
  EXPECT_DEATH(DataFetcherError::underlying(nullptr), "needs an error to wrap");
}

TEST(TypeNameTest, QualifiersAreDroppedEverywhere) {
  // clang-format off
  const std::pair<const char*, const char*> table[] = {
      {"zorlan::(anonymous namespace)::Local", "Local"}, {"a::Outer<b::X>::Inner", "Inner"},
      {"a::Pair<a::b::C, std::map<int, x::Y> >", "Pair<C, map<int, Y> >"},
      {"zorlan::Box<unsigned long>", "Box<unsigned long>"}, {"run()::LocalError", "LocalError"},
      {"zorlan::Fn<void (zorlan::A::*)(int)>", "Fn<void (*)(int)>"}};
  // clang-format on
  for (const auto& [qualified, unqualified] : table) {
    EXPECT_EQ(detail::unqualifiedTypeName(qualified), unqualified) << qualified;
  }
}

}  // namespace
}  // namespace zorlan
