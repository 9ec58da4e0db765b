// URL query reads: a typed read of one parameter against Boost.URL's own
// lookup of the encoded parameter plus std::from_chars.
#include <benchmark/benchmark.h>

#include <boost/url/parse.hpp>
#include <boost/url/url_view.hpp>
#include <charconv>
#include <cstdint>

#include "support/Ratio.hpp"
#include "zorlan/Platform/URL.hpp"

namespace {

constexpr const char* kLink =
    "https://video.example.com/watch?session=a1b2c3d4&locale=en-GB&autoplay=true&quality=hd"
    "&subtitles=off&position=1234567&volume=0.8&ref=home";

void BM_QueryValueInt(benchmark::State& state) {
  const zorlan::URL url = *zorlan::URL::fromString(kLink);
  for (auto _ : state) {
    std::optional<std::int64_t> position = url.queryValue<std::int64_t>("position");
    benchmark::DoNotOptimize(position);
  }
}
BENCHMARK(BM_QueryValueInt);

void BM_BoostURLFindFromChars(benchmark::State& state) {
  const boost::urls::url_view url = *boost::urls::parse_uri_reference(kLink);
  for (auto _ : state) {
    std::optional<std::int64_t> position;
    auto params = url.encoded_params();
    auto it = params.find("position");
    if (it != params.end() && (*it).has_value) {
      std::string_view value = (*it).value;
      std::int64_t parsed = 0;
      auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), parsed);
      if (error == std::errc() && end == value.data() + value.size()) position = parsed;
    }
    benchmark::DoNotOptimize(position);
  }
}
BENCHMARK(BM_BoostURLFindFromChars);

}  // namespace

int main(int argc, char** argv) {
  return zorlan::bench::runBenchmarks(
      argc, argv, {{"query_value_vs_boost_url", "BM_QueryValueInt", "BM_BoostURLFindFromChars"}});
}
