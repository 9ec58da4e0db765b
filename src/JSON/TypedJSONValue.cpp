#include "zorlan/JSON/TypedJSONValue.hpp"

#include <charconv>
#include <cmath>
#include <cstdint>

#include "zorlan/Platform/Unicode.hpp"

namespace zorlan {

std::string quotedDebugText(std::string_view text) {
  static constexpr char kHex[] = "0123456789abcdef";
  std::string out;
  out.reserve(text.size() + 2);
  out += '"';
  const auto* p = reinterpret_cast<const unsigned char*>(text.data());
  const auto* end = p + text.size();
  while (p < end) {
    const unsigned char c = *p;
    switch (c) {
      case '\\':
        out += "\\\\";
        break;
      case '"':
        out += "\\\"";
        break;
      case '\0':
        out += "\\0";
        break;
      case '\t':
        out += "\\t";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      default:
        if (c < 0x20 || c == 0x7F) {
          out += "\\u{";
          if (c >= 0x10) out += kHex[c >> 4];
          out += kHex[c & 15];
          out += '}';
        } else if (c < 0x80) {
          out += static_cast<char>(c);
        } else if (std::size_t n = unicode::wellFormedUTF8Length(p, end)) {
          out.append(reinterpret_cast<const char*>(p), n);
          p += n;
          continue;
        } else {
          unicode::appendUTF8(out, U'\uFFFD');
        }
    }
    ++p;
  }
  out += '"';
  return out;
}

std::string doubleDebugText(double number) {
  if (std::isnan(number)) return "nan";
  if (std::isinf(number)) return number < 0 ? "-inf" : "inf";
  char buffer[32];
  const auto end = std::to_chars(buffer, buffer + sizeof buffer, number).ptr;
  std::string out(buffer, end);
  if (out.find_first_of(".e") == std::string::npos) out += ".0";
  return out;
}

std::string TypedJSONValue::debugDescription() const {
  switch (payload_.index()) {
    case 0:
      return quotedDebugText(*std::get_if<0>(&payload_));
    case 1:
      return doubleDebugText(*std::get_if<1>(&payload_));
    default:
      return *std::get_if<2>(&payload_) ? "true" : "false";
  }
}

bool TypedJSONValue::roughlyEqual(const TypedJSONValue& other, double within) const noexcept {
  if (payload_.index() != other.payload_.index()) return false;
  switch (payload_.index()) {
    case 0:
      return *std::get_if<0>(&payload_) == *std::get_if<0>(&other.payload_);
    case 1:
      return std::fabs(*std::get_if<1>(&payload_) - *std::get_if<1>(&other.payload_)) < within;
    default:
      return *std::get_if<2>(&payload_) == *std::get_if<2>(&other.payload_);
  }
}

std::size_t TypedJSONValue::hashValue() const noexcept {
  std::size_t payloadHash = 0;
  switch (payload_.index()) {
    case 0:
      payloadHash = std::hash<std::string>()(*std::get_if<0>(&payload_));
      break;
    case 1: {
      // 0.0 == -0.0, so both must hash alike.
      const double n = *std::get_if<1>(&payload_);
      payloadHash = std::hash<double>()(n == 0 ? 0.0 : n);
      break;
    }
    default:
      payloadHash = *std::get_if<2>(&payload_) ? 1 : 0;
  }
  return payloadHash * 0x9E3779B97F4A7C15ull + payload_.index();
}

void TypedJSONValue::encode(Encoder& encoder) const {
  switch (payload_.index()) {
    case 0:
      encoder.encode(*std::get_if<0>(&payload_));
      break;
    case 1:
      encoder.encode(*std::get_if<1>(&payload_));
      break;
    default:
      encoder.encode(*std::get_if<2>(&payload_));
  }
}

std::optional<TypedJSONValue> TypedJSONValue::decodeIfValid(const Decoder& decoder) {
  // The attempts in order (string, Boolean, number), each accepting exactly
  // what the standard coding of its type accepts, without throwing.
  const boost::json::value& json = decoder.json();
  switch (json.kind()) {
    case boost::json::kind::string:
      return TypedJSONValue(std::string_view(json.get_string()));
    case boost::json::kind::bool_:
      return TypedJSONValue(json.get_bool());
    case boost::json::kind::int64:
      return TypedJSONValue(static_cast<double>(json.get_int64()));
    case boost::json::kind::uint64:
      return TypedJSONValue(static_cast<double>(json.get_uint64()));
    case boost::json::kind::double_:
      // A number too large for a double does not decode as one.
      if (std::isfinite(json.get_double())) return TypedJSONValue(json.get_double());
      return std::nullopt;
    default:
      return std::nullopt;
  }
}

TypedJSONValue TypedJSONValue::decode(const Decoder& decoder) {
  if (auto value = decodeIfValid(decoder)) return std::move(*value);
  decoder.throwDataCorrupted("Invalid JSON value a.");
}

}  // namespace zorlan
