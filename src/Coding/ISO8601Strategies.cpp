// The shared ISO 8601 date strategies with fractional seconds.
#include <string>

#include "zorlan/Coding/Codable.hpp"
#include "zorlan/Platform/ISO8601.hpp"

namespace zorlan {

namespace {

// The one formatter both strategies share: the internet date-time form with
// milliseconds, in UTC.
struct FractionalSecondsFormatter {
  std::string string(Date date) const { return iso8601::format(date, /*fractionalSeconds=*/true); }
  std::optional<Date> date(std::string_view text) const {
    return iso8601::parse(text, /*fractionalSeconds=*/true);
  }
};

const FractionalSecondsFormatter& sharedFormatter() {
  static const FractionalSecondsFormatter formatter;
  return formatter;
}

}  // namespace

const DateEncodingStrategy& DateEncodingStrategy::iso8601WithFractionalSeconds() {
  static const DateEncodingStrategy strategy =
      DateEncodingStrategy::customized([](const Date& date, Encoder& encoder) {
        std::string text = sharedFormatter().string(date);
        if (text.empty()) {
          encoder.throwInvalidValue(std::to_string(date.timeIntervalSinceReferenceDate()),
                                    "Date is not representable as ISO 8601 text.");
        }
        encoder.singleValueContainer().encode(text);
      });
  return strategy;
}

const DateDecodingStrategy& DateDecodingStrategy::iso8601WithFractionalSeconds() {
  static const DateDecodingStrategy strategy =
      DateDecodingStrategy::customized([](const Decoder& decoder) {
        const Decoder& container = decoder.singleValueContainer();
        std::string text = container.decode<std::string>();
        if (auto date = sharedFormatter().date(text)) return *date;
        container.throwDataCorrupted("Date string does not match format expected by formatter");
      });
  return strategy;
}

}  // namespace zorlan
