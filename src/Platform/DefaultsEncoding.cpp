#include "Platform/DefaultsEncoding.hpp"

#include <bit>
#include <cstring>
#include <stdexcept>
#include <string>

namespace zorlan::detail {
namespace {

using Kind = PropertyListValue::Kind;
constexpr std::uint8_t kFormatVersion = 1;

int nesting(const PropertyListValue& value, int limit) noexcept {
  if (limit < 0) return 1;  // deep enough to refuse; stop descending
  int deepest = 0;
  if (const auto* array = value.get<PropertyListValue::Array>()) {
    for (const auto& element : *array) deepest = std::max(deepest, nesting(element, limit - 1));
    return deepest + 1;
  }
  if (const auto* members = value.get<PropertyListValue::Dictionary>()) {
    for (const auto& [key, member] : *members) {
      deepest = std::max(deepest, nesting(member, limit - 1));
    }
    return deepest + 1;
  }
  return 0;
}

class Writer {
 public:
  explicit Writer(std::vector<std::uint8_t>& out) : out_(out) {}

  void varint(std::uint64_t n) {
    while (n >= 0x80) {
      out_.push_back(static_cast<std::uint8_t>(n | 0x80));
      n >>= 7;
    }
    out_.push_back(static_cast<std::uint8_t>(n));
  }
  void bytes(const void* data, std::size_t size) {
    varint(size);
    raw(data, size);
  }
  template <class T>
  void fixed(T number) {
    auto bits =
        std::bit_cast<std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>>(number);
    for (std::size_t i = 0; i < sizeof(T); ++i) {
      out_.push_back(static_cast<std::uint8_t>(bits >> (8 * i)));
    }
  }

  void value(const PropertyListValue& v) {
    out_.push_back(static_cast<std::uint8_t>(v.kind()));
    switch (v.kind()) {
      case Kind::string: {
        const auto& s = *v.get<std::string>();
        bytes(s.data(), s.size());
        break;
      }
      case Kind::boolean:
        out_.push_back(*v.get<bool>() ? 1 : 0);
        break;
      case Kind::integer: {
        auto n = static_cast<std::uint64_t>(*v.get<std::int64_t>());
        varint((n << 1) ^ (0 - (n >> 63)));  // zigzag
        break;
      }
      case Kind::float32:
        fixed(*v.get<float>());
        break;
      case Kind::float64:
        fixed(*v.get<double>());
        break;
      case Kind::data: {
        const auto& d = v.get<Data>()->bytes();
        bytes(d.data(), d.size());
        break;
      }
      case Kind::date:
        fixed(v.get<Date>()->timeIntervalSinceReferenceDate());
        break;
      case Kind::url: {
        std::string_view text = v.get<URL>()->absoluteString();
        bytes(text.data(), text.size());
        break;
      }
      case Kind::array:
        varint(v.get<PropertyListValue::Array>()->size());
        for (const auto& element : *v.get<PropertyListValue::Array>()) value(element);
        break;
      case Kind::dictionary:
        varint(v.get<PropertyListValue::Dictionary>()->size());
        for (const auto& [key, member] : *v.get<PropertyListValue::Dictionary>()) {
          bytes(key.data(), key.size());
          value(member);
        }
        break;
    }
  }

 private:
  void raw(const void* data, std::size_t size) {
    const auto* p = static_cast<const std::uint8_t*>(data);
    out_.insert(out_.end(), p, p + size);
  }
  std::vector<std::uint8_t>& out_;
};

// Reads one blob; every read checks the bytes left first. A failure is
// sticky: once `ok_` is false every later read yields nothing.
class Reader {
 public:
  explicit Reader(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  std::optional<PropertyListValue> blob(Kind expected) {
    if (byte() != kFormatVersion) return std::nullopt;
    if (bytes_.empty() || bytes_[0] != static_cast<std::uint8_t>(expected)) return std::nullopt;
    auto v = value(0);
    if (!v || !bytes_.empty()) return std::nullopt;
    return v;
  }

 private:
  std::optional<PropertyListValue> value(int depth) {
    std::uint8_t tag = byte();
    if (!ok_) return std::nullopt;
    switch (tag) {
      case static_cast<std::uint8_t>(Kind::string): {
        auto text = chunk();
        if (!text) return std::nullopt;
        return PropertyListValue(std::string(text->begin(), text->end()));
      }
      case static_cast<std::uint8_t>(Kind::boolean): {
        std::uint8_t flag = byte();
        if (!ok_ || flag > 1) return std::nullopt;
        return PropertyListValue(flag == 1);
      }
      case static_cast<std::uint8_t>(Kind::integer): {
        std::uint64_t z = varint();
        if (!ok_) return std::nullopt;
        return PropertyListValue(static_cast<std::int64_t>((z >> 1) ^ (0 - (z & 1))));
      }
      case static_cast<std::uint8_t>(Kind::float32): {
        auto bits = fixed(4);
        if (!ok_) return std::nullopt;
        return PropertyListValue(std::bit_cast<float>(static_cast<std::uint32_t>(bits)));
      }
      case static_cast<std::uint8_t>(Kind::float64): {
        auto bits = fixed(8);
        if (!ok_) return std::nullopt;
        return PropertyListValue(std::bit_cast<double>(bits));
      }
      case static_cast<std::uint8_t>(Kind::data): {
        auto d = chunk();
        if (!d) return std::nullopt;
        return PropertyListValue(Data(std::vector<std::uint8_t>(d->begin(), d->end())));
      }
      case static_cast<std::uint8_t>(Kind::date): {
        auto bits = fixed(8);
        if (!ok_) return std::nullopt;
        return PropertyListValue(Date(std::bit_cast<double>(bits)));
      }
      case static_cast<std::uint8_t>(Kind::url): {
        auto text = chunk();
        if (!text) return std::nullopt;
        auto url = URL::fromString(
            std::string_view(reinterpret_cast<const char*>(text->data()), text->size()));
        if (!url) return std::nullopt;
        return PropertyListValue(std::move(*url));
      }
      case static_cast<std::uint8_t>(Kind::array): {
        if (depth + 1 > kMaxDefaultsNesting) return std::nullopt;
        auto count = elementCount();
        if (!count) return std::nullopt;
        PropertyListValue::Array elements;
        elements.reserve(*count);
        for (std::size_t i = 0; i < *count; ++i) {
          auto element = value(depth + 1);
          if (!element) return std::nullopt;
          elements.push_back(std::move(*element));
        }
        return PropertyListValue(std::move(elements));
      }
      case static_cast<std::uint8_t>(Kind::dictionary): {
        if (depth + 1 > kMaxDefaultsNesting) return std::nullopt;
        auto count = elementCount();
        if (!count) return std::nullopt;
        PropertyListValue::Dictionary members;
        for (std::size_t i = 0; i < *count; ++i) {
          auto key = chunk();
          if (!key) return std::nullopt;
          auto member = value(depth + 1);
          if (!member) return std::nullopt;
          bool added =
              members.emplace(std::string(key->begin(), key->end()), std::move(*member)).second;
          if (!added) return std::nullopt;
        }
        return PropertyListValue(std::move(members));
      }
      default:
        return std::nullopt;
    }
  }

  std::uint8_t byte() {
    if (!ok_ || bytes_.empty()) {
      ok_ = false;
      return 0;
    }
    std::uint8_t b = bytes_[0];
    bytes_ = bytes_.subspan(1);
    return b;
  }
  std::uint64_t varint() {
    std::uint64_t n = 0;
    for (int shift = 0; shift < 64; shift += 7) {
      std::uint8_t b = byte();
      if (!ok_) return 0;
      // The tenth byte holds bit 63 only.
      if (shift == 63 && b > 1) break;
      n |= static_cast<std::uint64_t>(b & 0x7f) << shift;
      if ((b & 0x80) == 0) return n;
    }
    ok_ = false;
    return 0;
  }
  std::uint64_t fixed(std::size_t size) {
    if (!ok_ || bytes_.size() < size) {
      ok_ = false;
      return 0;
    }
    std::uint64_t bits = 0;
    for (std::size_t i = 0; i < size; ++i) bits |= static_cast<std::uint64_t>(bytes_[i]) << (8 * i);
    bytes_ = bytes_.subspan(size);
    return bits;
  }
  // A length-prefixed run of bytes.
  std::optional<std::span<const std::uint8_t>> chunk() {
    std::uint64_t size = varint();
    if (!ok_ || size > bytes_.size()) {
      ok_ = false;
      return std::nullopt;
    }
    auto out = bytes_.first(static_cast<std::size_t>(size));
    bytes_ = bytes_.subspan(static_cast<std::size_t>(size));
    return out;
  }
  // A count of elements, each at least one byte long: a count past the
  // bytes left is refused before anything is reserved.
  std::optional<std::size_t> elementCount() {
    std::uint64_t count = varint();
    if (!ok_ || count > bytes_.size()) {
      ok_ = false;
      return std::nullopt;
    }
    return static_cast<std::size_t>(count);
  }

  std::span<const std::uint8_t> bytes_;
  bool ok_ = true;
};

}  // namespace

void encodeContainer(const PropertyListValue& value, std::vector<std::uint8_t>& out) {
  if (nesting(value, kMaxDefaultsNesting) > kMaxDefaultsNesting) {
    throw std::invalid_argument("defaults: a value nested more than " +
                                std::to_string(kMaxDefaultsNesting) +
                                " arrays or dictionaries deep cannot be stored");
  }
  out.push_back(kFormatVersion);
  Writer(out).value(value);
}

std::optional<PropertyListValue> decodeContainer(std::span<const std::uint8_t> bytes,
                                                 PropertyListValue::Kind expected) {
  return Reader(bytes).blob(expected);
}

bool identicalValues(const PropertyListValue& a, const PropertyListValue& b) noexcept {
  if (a.kind() != b.kind()) return false;
  switch (a.kind()) {
    case Kind::float32:
      return std::bit_cast<std::uint32_t>(*a.get<float>()) ==
             std::bit_cast<std::uint32_t>(*b.get<float>());
    case Kind::float64:
      return std::bit_cast<std::uint64_t>(*a.get<double>()) ==
             std::bit_cast<std::uint64_t>(*b.get<double>());
    case Kind::date:
      return std::bit_cast<std::uint64_t>(a.get<Date>()->timeIntervalSinceReferenceDate()) ==
             std::bit_cast<std::uint64_t>(b.get<Date>()->timeIntervalSinceReferenceDate());
    case Kind::array: {
      const auto& x = *a.get<PropertyListValue::Array>();
      const auto& y = *b.get<PropertyListValue::Array>();
      if (x.size() != y.size()) return false;
      for (std::size_t i = 0; i < x.size(); ++i) {
        if (!identicalValues(x[i], y[i])) return false;
      }
      return true;
    }
    case Kind::dictionary: {
      const auto& x = *a.get<PropertyListValue::Dictionary>();
      const auto& y = *b.get<PropertyListValue::Dictionary>();
      if (x.size() != y.size()) return false;
      for (auto i = x.begin(), j = y.begin(); i != x.end(); ++i, ++j) {
        if (i->first != j->first || !identicalValues(i->second, j->second)) return false;
      }
      return true;
    }
    default:
      return a == b;
  }
}

}  // namespace zorlan::detail
