#include "zorlan/Coding/Codable.hpp"

#include <cxxabi.h>

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <string>

#include "zorlan/Base/Precondition.hpp"
#include "zorlan/Platform/ISO8601.hpp"

namespace zorlan {
namespace detail {

std::string integerTypeName(bool isSigned, std::size_t size) {
  std::string base = isSigned ? "Int" : "UInt";
  return size == 8 ? base : base + std::to_string(size * 8);
}

std::string numberText(const boost::json::value& value) {
  if (value.is_int64()) return std::to_string(value.get_int64());
  if (value.is_uint64()) return std::to_string(value.get_uint64());
  char buffer[32];
  auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value.get_double());
  return std::string(buffer, end);
}

void throwNumberDoesNotFit(const Decoder& decoder, std::string_view type) {
  decoder.throwDataCorrupted("Parsed JSON number <" + numberText(decoder.json()) +
                             "> does not fit in " + std::string(type) + ".");
}

void throwNonFinite(Encoder& encoder, double value, std::string_view type) {
  std::string text = std::isnan(value) ? "nan" : (value > 0 ? "inf" : "-inf");
  std::string name = std::isnan(value) ? "nan" : (value > 0 ? "infinity" : "-infinity");
  std::string typeName(type);
  if (name[0] == '-') {
    name = "-" + typeName + "." + name.substr(1);
  } else {
    name = typeName + "." + name;
  }
  encoder.throwInvalidValue(text, "Unable to encode " + name + " directly in JSON.");
}

std::string demangledTypeName(const char* mangled) {
  int status = 0;
  std::unique_ptr<char, void (*)(void*)> name(
      abi::__cxa_demangle(mangled, nullptr, nullptr, &status), std::free);
  std::string full = status == 0 && name ? name.get() : mangled;
  // Unqualified: drop namespaces before the outermost template arguments.
  std::size_t angle = full.find('<');
  std::size_t cut = full.rfind("::", angle == std::string::npos ? full.size() : angle);
  return cut == std::string::npos ? full : full.substr(cut + 2);
}

}  // namespace detail

void Coding<Date>::encode(const Date& value, Encoder& encoder) {
  const DateEncodingStrategy& strategy = encoder.options().dateStrategy;
  switch (strategy.kind) {
    case DateEncodingStrategy::Kind::deferredToDate:
      Coding<double>::encode(value.timeIntervalSinceReferenceDate(), encoder);
      return;
    case DateEncodingStrategy::Kind::secondsSince1970:
      Coding<double>::encode(value.timeIntervalSince1970(), encoder);
      return;
    case DateEncodingStrategy::Kind::millisecondsSince1970:
      Coding<double>::encode(value.timeIntervalSince1970() * 1000.0, encoder);
      return;
    case DateEncodingStrategy::Kind::iso8601: {
      std::string text = iso8601::format(value);
      if (text.empty()) {
        encoder.throwInvalidValue(std::to_string(value.timeIntervalSinceReferenceDate()),
                                  "Date is not representable as ISO 8601 text.");
      }
      Coding<std::string>::encode(text, encoder);
      return;
    }
    case DateEncodingStrategy::Kind::custom:
      ZORLAN_PRECONDITION(strategy.custom, "A custom date strategy needs a function.");
      ZORLAN_PRECONDITION(strategy.custom, "A custom data strategy needs a function.");
      strategy.custom(value, encoder);
      return;
  }
}

Date Coding<Date>::decode(const Decoder& decoder) {
  const DateDecodingStrategy& strategy = decoder.options().dateStrategy;
  switch (strategy.kind) {
    case DateDecodingStrategy::Kind::deferredToDate:
      return Date(Coding<double>::decode(decoder));
    case DateDecodingStrategy::Kind::secondsSince1970:
      return Date::fromTimeIntervalSince1970(Coding<double>::decode(decoder));
    case DateDecodingStrategy::Kind::millisecondsSince1970:
      return Date::fromTimeIntervalSince1970(Coding<double>::decode(decoder) / 1000.0);
    case DateDecodingStrategy::Kind::iso8601: {
      std::string text = Coding<std::string>::decode(decoder);
      if (auto date = iso8601::parse(text)) return *date;
      decoder.throwDataCorrupted("Expected date string to be ISO8601-formatted.");
    }
    case DateDecodingStrategy::Kind::custom:
      ZORLAN_PRECONDITION(strategy.custom, "A custom date strategy needs a function.");
      return strategy.custom(decoder);
  }
  decoder.throwDataCorrupted("Unknown date decoding strategy.");
}

void Coding<Data>::encode(const Data& value, Encoder& encoder) {
  const DataEncodingStrategy& strategy = encoder.options().dataStrategy;
  if (strategy.kind == DataEncodingStrategy::Kind::custom) {
    strategy.custom(value, encoder);
    return;
  }
  Coding<std::string>::encode(value.base64EncodedString(), encoder);
}

Data Coding<Data>::decode(const Decoder& decoder) {
  const DataDecodingStrategy& strategy = decoder.options().dataStrategy;
  if (strategy.kind == DataDecodingStrategy::Kind::custom) {
    ZORLAN_PRECONDITION(strategy.custom, "A custom data strategy needs a function.");
    return strategy.custom(decoder);
  }
  std::string text = Coding<std::string>::decode(decoder);
  if (auto data = Data::fromBase64(text)) return *data;
  decoder.throwDataCorrupted("Encountered Data is not valid Base64.");
}

void Coding<URL>::encode(const URL& value, Encoder& encoder) {
  encoder.json().emplace_string().assign(value.absoluteString());
}

URL Coding<URL>::decode(const Decoder& decoder) {
  std::string text = Coding<std::string>::decode(decoder);
  if (auto url = URL::fromString(text)) return *std::move(url);
  decoder.throwDataCorrupted("Invalid URL string.");
}

}  // namespace zorlan
