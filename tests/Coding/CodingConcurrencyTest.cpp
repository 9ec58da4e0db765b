// One encoder and one decoder shared by several threads.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "zorlan/Coding/JSONDecoder.hpp"
#include "zorlan/Coding/JSONEncoder.hpp"

namespace zorlan::concurrency_test {

struct Entry {
  std::string name;
  std::vector<double> values;
  std::optional<Date> at;
  std::map<std::string, URL> links;
  bool operator==(const Entry&) const = default;
};
ZORLAN_CODABLE(Entry, name, values, at, links);

namespace {

TEST(CodingConcurrency, SharedCodersGiveEachThreadItsOwnResult) {
  JSONEncoder encoder;
  encoder.dateEncodingStrategy = DateEncodingStrategy::of(DateEncodingStrategy::Kind::iso8601);
  encoder.outputFormatting.sortedKeys = true;
  JSONDecoder decoder;
  decoder.dateDecodingStrategy = DateDecodingStrategy::of(DateDecodingStrategy::Kind::iso8601);
  const JSONEncoder& sharedEncoder = encoder;
  const JSONDecoder& sharedDecoder = decoder;

  constexpr int kThreads = 4;
  std::vector<int> failures(kThreads, 0);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 200; ++i) {
        Entry entry{"e" + std::to_string(t) + "-" + std::to_string(i),
                    {t * 1.5, i * 0.25},
                    Date(1000.0 * i),
                    {{"self", *URL::fromString("https://h/" + std::to_string(t))}}};
        Entry back = sharedDecoder.decode<Entry>(sharedEncoder.encode(entry));
        if (!(back == entry)) ++failures[t];
        try {
          sharedDecoder.decode<Entry>(R"({"name":"x","values":[1,"2"],"links":{}})");
          ++failures[t];
        } catch (const DecodingError& error) {
          if (codingPathString(error.context().codingPath) != "values.1") ++failures[t];
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failures, std::vector<int>(kThreads, 0));
}

}  // namespace
}  // namespace zorlan::concurrency_test
