// zorlan/Platform/BridgedError.hpp: errors as std::error_code.
#include <gtest/gtest.h>

#include <climits>
#include <thread>
#include <vector>

#include "zorlan/Platform/BridgedError.hpp"
#include "zorlan/Platform/URLError.hpp"

namespace zorlan {
namespace {

struct TestError : BridgedError {
  TestError(std::string domain, long code) : domain(std::move(domain)), code(code) {}
  std::string errorDomain() const override { return domain; }
  long errorCode() const override { return code; }
  std::string domain;
  long code;
};

TEST(BridgedErrorTest, ErrorCodesCompareByDomainAndCode) {
  const std::error_code a = TestError("NSURLErrorDomain", -1009).toErrorCode();
  EXPECT_EQ(a, TestError("NSURLErrorDomain", -1009).toErrorCode());
  EXPECT_NE(a, TestError("NSURLErrorDomain", -1001).toErrorCode());
  EXPECT_NE(a, TestError("NSCocoaErrorDomain", -1009).toErrorCode());
  EXPECT_STREQ(a.category().name(), "NSURLErrorDomain");
  EXPECT_EQ(a.message(), "NSURLErrorDomain error -1009");
  // A library error of the same domain and code is the same error code.
  const URLError url(URLError::Code::notConnectedToInternet);
  EXPECT_EQ(url.toErrorCode(), TestError(url.errorDomain(), url.errorCode()).toErrorCode());
  EXPECT_EQ(TestError("D", LONG_MAX).toErrorCode().value(), INT_MAX);
}

TEST(BridgedErrorTest, OneCategoryPerDomainFromManyThreads) {
  std::vector<const std::error_category*> seen(8);
  std::vector<std::thread> threads;
  for (std::size_t t = 0; t < seen.size(); ++t) {
    threads.emplace_back([&seen, t] { seen[t] = &errorDomainCategory("Concurrent"); });
  }
  for (auto& thread : threads) thread.join();
  for (const auto* category : seen) EXPECT_EQ(category, seen.front());
}

}  // namespace
}  // namespace zorlan
