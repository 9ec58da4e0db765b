#include "zorlan/JSON/TypedJSONContainer.hpp"

#include <algorithm>
#include <boost/json/basic_parser_impl.hpp>
#include <boost/json/monotonic_resource.hpp>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "Coding/PreciseJSONParser.hpp"
#include "zorlan/Coding/JSONDecoder.hpp"
#include "zorlan/Coding/JSONEncoder.hpp"

namespace zorlan {

// The tree of standard leaves is compiled once, here.
template class TypedJSONContainer<TypedJSONValue>;

namespace detail {

struct TypedJSONTreeBuilding {
  // An object of `members` taken as they are: unlike TypedJSON::object, which
  // sorts them and drops repeated keys, this trusts the caller to give them
  // in strictly increasing key order.
  static TypedJSON sortedObject(TypedJSON::Members members) {
    return TypedJSON(TypedJSON::ObjectBox(std::move(members)));
  }
};

namespace {

// Builds the tree from the parser's events, as decoding the parsed tree
// would: objects from their members in the text's order (sorted, the last
// of repeated keys kept, by TypedJSON::object), arrays, strings, Booleans,
// null, and numbers as doubles read as JSONDecoder reads them (correctly
// rounded; "-0" is -0.0). A number beyond the range of double, which no leaf
// decodes, is only noted: the caller then takes the general path, which
// reports it.
struct TreeBuilder : JSONParserHandlerBase {
  // The values and keys of the open objects and arrays, innermost last.
  std::vector<TypedJSON> values;
  std::vector<std::string> keys;
  // The pieces of a key or string, and of a number, split across reads.
  std::string text;
  std::string number;
  bool outOfRange = false;
  // Room for sorting an object's members.
  std::vector<std::uint32_t> order;
  std::vector<std::uint64_t> prefixes;

  TreeBuilder() {
    values.reserve(256);
    keys.reserve(256);
  }

  // The first eight bytes of `key`, the first one highest, padded with zero
  // bytes.
  static std::uint64_t prefixOf(const std::string& key) noexcept {
    // Read in registers: bytes copied into a small array and read back as
    // one word would stall on the store.
    const auto* bytes = reinterpret_cast<const unsigned char*>(key.data());
    const std::size_t size = std::min<std::size_t>(key.size(), 8);
    std::uint64_t prefix = 0;
    for (std::size_t i = 0; i < size; ++i) prefix |= std::uint64_t{bytes[i]} << (56 - 8 * i);
    return prefix;
  }

  bool on_document_begin(ec_t&) { return true; }
  bool on_document_end(ec_t&) { return true; }
  bool on_object_begin(ec_t&) { return true; }
  bool on_object_end(std::size_t n, ec_t&) {
    const std::size_t firstValue = values.size() - n;
    const std::size_t firstKey = keys.size() - n;
    // The members' order by key (stable: of repeated keys, the last in the
    // text comes last), found on their positions, so that the members are
    // made once, in place.
    order.resize(n);
    prefixes.resize(n);
    const std::string* key = keys.data() + firstKey;
    for (std::size_t i = 0; i < n; ++i) {
      order[i] = static_cast<std::uint32_t>(i);
      prefixes[i] = prefixOf(key[i]);
    }
    // Keys compare by their first eight bytes as a number first (a shorter
    // key padded with zero bytes, which orders as the texts do), and in full
    // only when those are equal.
    const std::uint64_t* prefix = prefixes.data();
    const auto less = [key, prefix](std::uint32_t a, std::uint32_t b) {
      return prefix[a] != prefix[b] ? prefix[a] < prefix[b] : key[a] < key[b];
    };
    if (n > 32) {
      std::stable_sort(order.begin(), order.end(), less);
    } else {
      for (std::size_t i = 1; i < n; ++i) {
        const std::uint32_t moving = order[i];
        std::size_t hole = i;
        while (hole > 0 && less(moving, order[hole - 1])) {
          order[hole] = order[hole - 1];
          --hole;
        }
        order[hole] = moving;
      }
    }
    TypedJSON::Members members;
    members.reserve(n);
    for (std::size_t i = 0; i < n; ++i) {
      // Of a run of one key, only the last member stays.
      if (i + 1 < n && prefix[order[i]] == prefix[order[i + 1]] &&
          key[order[i]] == key[order[i + 1]]) {
        continue;
      }
      members.emplace_back(std::move(keys[firstKey + order[i]]),
                           std::move(values[firstValue + order[i]]));
    }
    keys.erase(keys.begin() + static_cast<std::ptrdiff_t>(firstKey), keys.end());
    values.erase(values.begin() + static_cast<std::ptrdiff_t>(firstValue), values.end());
    values.push_back(TypedJSONTreeBuilding::sortedObject(std::move(members)));
    return true;
  }
  bool on_array_begin(ec_t&) { return true; }
  bool on_array_end(std::size_t n, ec_t&) {
    const auto first = values.end() - static_cast<std::ptrdiff_t>(n);
    TypedJSON::Elements elements(std::make_move_iterator(first),
                                 std::make_move_iterator(values.end()));
    values.erase(first, values.end());
    values.push_back(TypedJSON::array(std::move(elements)));
    return true;
  }
  bool on_key_part(sv_t s, std::size_t, ec_t&) {
    text.append(s.data(), s.size());
    return true;
  }
  bool on_key(sv_t s, std::size_t, ec_t&) {
    if (text.empty()) {
      keys.emplace_back(s.data(), s.size());
    } else {
      text.append(s.data(), s.size());
      keys.push_back(std::move(text));
      text.clear();
    }
    return true;
  }
  bool on_string_part(sv_t s, std::size_t, ec_t&) {
    text.append(s.data(), s.size());
    return true;
  }
  bool on_string(sv_t s, std::size_t, ec_t&) {
    if (text.empty()) {
      values.emplace_back(TypedJSONValue(std::string(s.data(), s.size())));
    } else {
      text.append(s.data(), s.size());
      values.emplace_back(TypedJSONValue(std::move(text)));
      text.clear();
    }
    return true;
  }
  bool on_number_part(sv_t s, ec_t&) {
    number.append(s.data(), s.size());
    return true;
  }
  bool on_int64(std::int64_t i, sv_t s, ec_t&) {
    const bool negativeZero = isNegativeZeroText(i, std::string_view(s.data(), s.size()), number);
    number.clear();
    values.emplace_back(TypedJSONValue(negativeZero ? -0.0 : static_cast<double>(i)));
    return true;
  }
  bool on_uint64(std::uint64_t u, sv_t, ec_t&) {
    number.clear();
    values.emplace_back(TypedJSONValue(static_cast<double>(u)));
    return true;
  }
  bool on_double(double d, sv_t s, ec_t&) {
    double read;
    if (number.empty()) {
      read = preciseDouble(d, std::string_view(s.data(), s.size()));
    } else {
      number.append(s.data(), s.size());
      read = preciseDouble(d, number);
      number.clear();
    }
    if (!std::isfinite(read)) outOfRange = true;
    values.emplace_back(TypedJSONValue(read));
    return true;
  }
  bool on_bool(bool b, ec_t&) {
    values.emplace_back(TypedJSONValue(b));
    return true;
  }
  bool on_null(ec_t&) {
    values.emplace_back();
    return true;
  }
  bool on_comment_part(sv_t, ec_t&) { return true; }
  bool on_comment(sv_t, ec_t&) { return true; }
};

// Text appended to a string through a cursor: the string is grown ahead in
// large steps and trimmed to the written text on destruction, so that each
// piece costs a bounds check and a copy.
class TextOut {
 public:
  explicit TextOut(std::string& text) : text_(text) {
    const std::size_t used = text.size();
    text_.resize(used + 256);
    at_ = text_.data() + used;
    limit_ = text_.data() + text_.size();
  }
  TextOut(const TextOut&) = delete;
  TextOut& operator=(const TextOut&) = delete;
  ~TextOut() { text_.resize(size()); }

  // Room for `count` bytes at the end of the written text.
  char* room(std::size_t count) {
    if (static_cast<std::size_t>(limit_ - at_) < count) [[unlikely]]
      grow(count);
    return at_;
  }
  void put(char c) {
    *room(1) = c;
    ++at_;
  }
  template <std::size_t N>
  void put(const char (&literal)[N]) {
    std::memcpy(room(N - 1), literal, N - 1);
    at_ += N - 1;
  }
  void newline(std::size_t depth) {
    char* at = room(1 + 2 * depth);
    *at = '\n';
    std::memset(at + 1, ' ', 2 * depth);
    at_ += 1 + 2 * depth;
  }
  void string(std::string_view text, const JSONWritingOptions& options) {
    at_ = writeJSONString(text, options, room(jsonStringRoom(text, options)));
  }
  void number(double value) { at_ = writeJSONNumber(value, room(kMaxJSONNumberSize)); }
  std::size_t size() const noexcept { return static_cast<std::size_t>(at_ - text_.data()); }
  void truncate(std::size_t size) noexcept { at_ = text_.data() + size; }

 private:
  [[gnu::noinline]] void grow(std::size_t count) {
    const std::size_t used = size();
    text_.resize(std::max(2 * text_.size(), used + count + 256));
    at_ = text_.data() + used;
    limit_ = text_.data() + text_.size();
  }

  std::string& text_;
  char* at_;
  char* limit_;
};

// Writes the tree as JSONWriter writes the tree the encoder makes of it:
// members in key order (the order the encoder adds them in, which is also
// the sorted order), numbers as the encoder's doubles. False, having written
// part, for a tree only the general path reports on: a number that is not
// finite, nesting past kMaxCodingDepth.
bool writeTree(const TypedJSON& node, const JSONWritingOptions& options, std::size_t depth,
               TextOut& out) {
  if (const TypedJSONValue* leaf = node.leaf()) {
    switch (leaf->kind()) {
      case TypedJSONValue::Kind::string:
        out.string(*leaf->stringValue(), options);
        return true;
      case TypedJSONValue::Kind::number: {
        const double number = *leaf->numberValue();
        if (!std::isfinite(number)) return false;
        out.number(number);
        return true;
      }
      case TypedJSONValue::Kind::boolean:
        if (*leaf->boolValue()) {
          out.put("true");
        } else {
          out.put("false");
        }
        return true;
    }
  }
  if (node.isNull()) {
    out.put("null");
    return true;
  }
  if (depth >= kMaxCodingDepth) return false;
  const bool pretty = options.prettyPrinted;
  if (const TypedJSON::Members* members = node.members()) {
    out.put('{');
    bool first = true;
    for (const auto& [key, value] : *members) {
      if (!first) out.put(',');
      first = false;
      if (pretty) out.newline(depth + 1);
      out.string(key, options);
      if (pretty) {
        out.put(" : ");
      } else {
        out.put(':');
      }
      if (!writeTree(value, options, depth + 1, out)) return false;
    }
    if (pretty && !members->empty()) out.newline(depth);
    out.put('}');
    return true;
  }
  const TypedJSON::Elements& elements = *node.elements();
  out.put('[');
  bool first = true;
  for (const TypedJSON& element : elements) {
    if (!first) out.put(',');
    first = false;
    if (pretty) out.newline(depth + 1);
    if (!writeTree(element, options, depth + 1, out)) return false;
  }
  if (pretty && !elements.empty()) out.newline(depth);
  out.put(']');
  return true;
}

}  // namespace

TypedJSON decodeTypedJSONText(std::string_view bytes) {
  std::string converted;
  if (const std::optional<std::string_view> text = jsonBytesAsUTF8(bytes, converted)) {
    boost::json::basic_parser<TreeBuilder> parser(jsonParseOptions());
    boost::system::error_code ec;
    const std::size_t consumed = parser.write_some(false, text->data(), text->size(), ec);
    TreeBuilder& built = parser.handler();
    if (!ec && consumed == text->size() && !built.outOfRange && built.values.size() == 1) {
      return std::move(built.values.back());
    }
  }
  // Bytes that are not JSON, or a number no leaf takes: the general path,
  // which reports them.
  return JSONDecoder().decodeFromJSON<TypedJSON>(
      JSONDecoder::parse(bytes, makeParseArena(bytes.size())));
}

void encodeTypedJSONText(const TypedJSON& tree, const JSONWritingOptions& options,
                         std::string& out) {
  const std::size_t start = out.size();
  bool written = false;
  {
    TextOut sink(out);
    try {
      written = writeTree(tree, options, 0, sink);
    } catch (const EncodingError&) {
      // Text that is not UTF-8: reported by the general path below, which
      // first reports what the encoder finds anywhere in the tree.
    }
    if (!written) sink.truncate(start);
  }
  if (written) return;
  unsigned char buffer[4096];
  boost::json::monotonic_resource arena(buffer, sizeof buffer);
  JSONEncoder encoder;
  writeJSON(encoder.encodeToJSON(tree, &arena), options, out);
}

}  // namespace detail
}  // namespace zorlan
