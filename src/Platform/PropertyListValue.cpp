#include "zorlan/Platform/PropertyListValue.hpp"

#include <charconv>
#include <cmath>
#include <cstdio>

#include "zorlan/Platform/ISO8601.hpp"

namespace zorlan {
namespace {

void appendQuoted(std::string& out, std::string_view text) {
  out += '"';
  for (char c : text) {
    switch (c) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\t':
        out += "\\t";
        break;
      default:
        if (static_cast<unsigned char>(c) < 0x20) {
          char escaped[8];
          std::snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned>(c));
          out += escaped;
        } else {
          out += c;
        }
    }
  }
  out += '"';
}

// Shortest text that reads back as the same number.
template <class T>
void appendNumber(std::string& out, T number) {
  char buffer[64];
  auto result = std::to_chars(buffer, buffer + sizeof buffer, number);
  out.append(buffer, result.ptr);
}

void append(std::string& out, const PropertyListValue& value) {
  using Kind = PropertyListValue::Kind;
  switch (value.kind()) {
    case Kind::string:
      appendQuoted(out, *value.get<std::string>());
      break;
    case Kind::boolean:
      out += *value.get<bool>() ? "true" : "false";
      break;
    case Kind::integer:
      appendNumber(out, *value.get<std::int64_t>());
      break;
    case Kind::float32:
      appendNumber(out, *value.get<float>());
      break;
    case Kind::float64:
      appendNumber(out, *value.get<double>());
      break;
    case Kind::data: {
      std::size_t size = value.get<Data>()->size();
      out += '<';
      out += std::to_string(size);
      out += size == 1 ? " byte>" : " bytes>";
      break;
    }
    case Kind::date: {
      Date date = *value.get<Date>();
      std::string text = iso8601::format(date, /*fractionalSeconds=*/true);
      if (text.empty()) {  // not finite, or beyond the years ISO 8601 text covers
        out += "date(";
        appendNumber(out, date.timeIntervalSinceReferenceDate());
        out += ")";
      } else {
        out += text;
      }
      break;
    }
    case Kind::url:
      out += value.get<URL>()->absoluteString();
      break;
    case Kind::array: {
      out += '[';
      bool first = true;
      for (const auto& element : *value.get<PropertyListValue::Array>()) {
        if (!first) out += ", ";
        first = false;
        append(out, element);
      }
      out += ']';
      break;
    }
    case Kind::dictionary: {
      out += '{';
      bool first = true;
      for (const auto& [key, member] : *value.get<PropertyListValue::Dictionary>()) {
        if (!first) out += ", ";
        first = false;
        appendQuoted(out, key);
        out += ": ";
        append(out, member);
      }
      out += '}';
      break;
    }
  }
}

}  // namespace

std::string PropertyListValue::debugDescription() const {
  std::string out;
  append(out, *this);
  return out;
}

}  // namespace zorlan
