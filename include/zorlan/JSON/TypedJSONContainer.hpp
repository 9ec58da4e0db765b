// TypedJSONContainer<T>: a JSON document as a tree of objects, arrays, nulls
// and leaves of type T; with T = TypedJSONValue, the library's neutral form of
// any JSON document, read, walked and rewritten by value.
//
//   TypedJSON doc = JSONDecoder().decode<TypedJSON>(R"({"title":"Dune","year":2021})");
//   std::optional<TypedJSON> year = doc["year"];          // a copy, O(1)
//   doc["rating"] = TypedJSON(TypedJSONValue(8.1));         // copy-on-write
//   TypedJSON renamed = doc.renaming("title", "name");
//   std::string text = JSONEncoder().encodeToString(doc);
#pragma once

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "zorlan/Base/Precondition.hpp"
#include "zorlan/Coding/Codable.hpp"
#include "zorlan/Coding/JSONEncoder.hpp"
#include "zorlan/JSON/TypedJSONValue.hpp"
#include "zorlan/JSON/detail/CopyOnWrite.hpp"
#include "zorlan/Numerics/RoughlyEqual.hpp"

namespace zorlan {

namespace detail {

// The text reader's way in: it builds objects whose members are already in
// key order without repeats.
struct TypedJSONTreeBuilding;

// Whether the library's coders can write / read a T.
template <class T>
concept IsEncodable = requires(const T& value, Encoder& encoder) {
  Coding<T>::encode(value, encoder);
};
template <class T>
concept IsDecodable = requires(const Decoder& decoder) {
  { Coding<T>::decode(decoder) } -> std::convertible_to<T>;
};

// Decodes a leaf of type T without throwing (absent on any decoding
// failure); specialised for leaves that can tell without an exception.
template <class T>
struct TypedJSONLeafDecoding {
  static std::optional<T> tryDecode(const Decoder& decoder) {
    try {
      return Coding<T>::decode(decoder);
    } catch (const std::bad_alloc&) {
      throw;
    } catch (const std::exception&) {
      return std::nullopt;
    }
  }
};
template <>
struct TypedJSONLeafDecoding<TypedJSONValue> {
  static std::optional<TypedJSONValue> tryDecode(const Decoder& decoder) {
    return TypedJSONValue::decodeIfValid(decoder);
  }
};

}  // namespace detail

// One JSON value whose leaves are T: an object (members by unique key, in no
// meaningful order), an array, a leaf, or null.
//
// A value type: copies are independent trees. Storage is shared between
// copies until one of them changes (copying is O(1)), so walking a tree,
// handing out subtrees and rewriting a few members of a large document stay
// cheap. Equal and hashed by structure (case first, then payload; objects as
// unordered maps, arrays in order) when T is. Trees of any depth can be
// built in code: destroying, copying, changing, comparing and hashing them
// take no more stack for deep trees than for shallow ones. Encoding refuses
// trees nested deeper than kMaxCodingDepth (the decoders could not read them
// back) with EncodingError.invalidValue. Thread safety is that of a value: distinct copies may be
// used on distinct threads, even when they share storage.
template <class T>
class TypedJSONContainer {
 public:
  // The cases in tag order.
  enum class Kind { object, array, value, null };
  using Member = std::pair<std::string, TypedJSONContainer>;
  // An object's members, sorted by key, keys unique.
  using Members = std::vector<Member>;
  using Elements = std::vector<TypedJSONContainer>;
  class MemberSlot;

  // Null.
  TypedJSONContainer() noexcept : payload_(std::in_place_index<3>) {}
  TypedJSONContainer(std::nullptr_t) noexcept : payload_(std::in_place_index<3>) {}
  // A leaf.
  TypedJSONContainer(T leaf) : payload_(std::in_place_index<2>, std::move(leaf)) {}
  // A leaf made from anything T is made from: a number, a text, a Boolean.
  template <class U>
  requires(!std::same_as<std::remove_cvref_t<U>, TypedJSONContainer> &&
           !std::same_as<std::remove_cvref_t<U>, T> &&
           !std::same_as<std::remove_cvref_t<U>, std::nullptr_t> && std::constructible_from<T, U>)
      TypedJSONContainer(U&& leaf)
      : payload_(std::in_place_index<2>, std::forward<U>(leaf)) {}

  static TypedJSONContainer null() noexcept { return TypedJSONContainer(); }
  // An empty object.
  static TypedJSONContainer object() noexcept { return TypedJSONContainer(ObjectBox()); }
  // An object of the given members in any order; of repeated keys the last
  // one counts.
  static TypedJSONContainer object(Members members) {
    normalize(members);
    return TypedJSONContainer(ObjectBox(std::move(members)));
  }
  static TypedJSONContainer object(std::initializer_list<Member> members) {
    return object(Members(members));
  }
  static TypedJSONContainer array(Elements elements) {
    return TypedJSONContainer(ArrayBox(std::move(elements)));
  }
  static TypedJSONContainer array(std::initializer_list<TypedJSONContainer> elements) {
    return array(Elements(elements));
  }

  Kind kind() const noexcept { return static_cast<Kind>(payload_.index()); }
  bool isObject() const noexcept { return payload_.index() == 0; }
  bool isArray() const noexcept { return payload_.index() == 1; }
  bool isValue() const noexcept { return payload_.index() == 2; }
  bool isNull() const noexcept { return payload_.index() == 3; }

  // An object's members sorted by key; null for the other cases.
  const Members* members() const noexcept {
    const ObjectBox* box = std::get_if<0>(&payload_);
    return box ? &box->read() : nullptr;
  }
  // An array's elements; null for the other cases.
  const Elements* elements() const noexcept {
    const ArrayBox* box = std::get_if<1>(&payload_);
    return box ? &box->read() : nullptr;
  }
  // An array's elements for changing in place; null for the other cases.
  Elements* mutableElements() {
    ArrayBox* box = std::get_if<1>(&payload_);
    return box ? &box->write() : nullptr;
  }
  // The leaf; null for the other cases.
  const T* leaf() const noexcept { return std::get_if<2>(&payload_); }
  // The leaf as a copy; absent for the other cases.
  std::optional<T> value() const {
    if (const T* v = leaf()) return *v;
    return std::nullopt;
  }

  // The member under `key` of an object; null when there is none or this is
  // not an object. O(log n).
  const TypedJSONContainer* member(std::string_view key) const noexcept {
    const Members* all = members();
    if (!all) return nullptr;
    auto it = find(*all, key);
    return it != all->end() ? &it->second : nullptr;
  }
  // As `member`, for changing the member in place.
  TypedJSONContainer* mutableMember(std::string_view key) {
    ObjectBox* box = std::get_if<0>(&payload_);
    if (!box) return nullptr;
    // Look before unsharing: a miss changes nothing.
    const Members& shared = box->read();
    auto at = find(shared, key);
    if (at == shared.end()) return nullptr;
    const auto index = at - shared.begin();
    return &box->write()[static_cast<std::size_t>(index)].second;
  }
  // Calls f(const std::string& key, TypedJSONContainer& member) for every
  // member of an object, in key order, for changing members in place. Does
  // nothing for the other cases.
  template <class F>
  void forEachMember(F&& f) {
    ObjectBox* box = std::get_if<0>(&payload_);
    if (!box || box->read().empty()) return;
    for (Member& m : box->write()) f(std::as_const(m.first), m.second);
  }

  // Read: the member under `key` of an object; absent when there is none or
  // this is not an object.
  std::optional<TypedJSONContainer> operator[](std::string_view key) const& {
    if (const TypedJSONContainer* m = member(key)) return *m;
    return std::nullopt;
  }
  std::optional<TypedJSONContainer> operator[](std::string_view key) && {
    return std::as_const(*this)[key];
  }
  // Read and write: `c["a"] = x` is `c.set("a", x)`, `c["a"] = std::nullopt`
  // removes "a", and `c["a"]["b"] = x` writes into the member "a" when there
  // is one (and does nothing otherwise).
  MemberSlot operator[](std::string_view key) & { return MemberSlot(this, std::string(key)); }

  // For an object, stores `value` under `key`, or removes the member when
  // `value` is absent. Any other case ignores the write and stays as it is.
  void set(std::string_view key, std::optional<TypedJSONContainer> value) {
    if (!value) {
      removeMember(key);
      return;
    }
    ObjectBox* box = std::get_if<0>(&payload_);
    if (!box) return;
    Members& own = box->write();
    auto at = std::lower_bound(own.begin(), own.end(), key, KeyLess());
    if (at != own.end() && at->first == key) {
      at->second = std::move(*value);
    } else {
      own.emplace(at, std::string(key), std::move(*value));
    }
  }

  // For an object holding a member under `from`: the object with that member
  // moved to `to` (replacing what `to` held). Otherwise (no such member, or
  // not an object) the container unchanged.
  TypedJSONContainer renaming(std::string_view from, std::string_view to) const& {
    return TypedJSONContainer(*this).renaming(from, to);
  }
  TypedJSONContainer renaming(std::string_view from, std::string_view to) && {
    if (const TypedJSONContainer* m = member(from)) {
      TypedJSONContainer moved = *m;
      removeMember(from);
      set(to, std::move(moved));
    }
    return std::move(*this);
  }

  // For an object: with `overwrite`, the object with `defaultValue` under
  // `key`; without, the same only when there is no member under `key` (a
  // member holding null stays). Other cases come back unchanged.
  TypedJSONContainer provideDefault(std::string_view key, TypedJSONContainer defaultValue,
                                    bool overwrite = false) const& {
    return TypedJSONContainer(*this).provideDefault(key, std::move(defaultValue), overwrite);
  }
  TypedJSONContainer provideDefault(std::string_view key, TypedJSONContainer defaultValue,
                                    bool overwrite = false) && {
    if (isObject() && (overwrite || !member(key))) set(key, std::move(defaultValue));
    return std::move(*this);
  }

  // The container as pretty-printed JSON text (keys in no particular order);
  // empty when it cannot be encoded (a non-finite number, text that is not
  // UTF-8, nesting past kMaxCodingDepth). Never throws.
  std::string debugDescription() const noexcept requires detail::IsEncodable<T> {
    try {
      JSONEncoder encoder;
      encoder.outputFormatting.prettyPrinted = true;
      return encoder.encodeToString(*this);
    } catch (...) {
      return {};
    }
  }

  // With tolerance `within`: two objects when they have the same keys and
  // roughly equal members; two arrays when the elements they both have (up
  // to the shorter length) are pairwise roughly equal, so an array is
  // roughly equal to any longer array it starts; two leaves by T's rule; two
  // nulls always; different cases never.
  bool roughlyEqual(const TypedJSONContainer& other, double within) const requires RoughlyEqual<T> {
    return match</*kRough=*/true>(*this, other, [within](const T& a, const T& b) {
      return RoughlyEqualTraits<T>::roughlyEqual(a, b, within);
    });
  }

  bool operator==(const TypedJSONContainer& other) const requires std::equality_comparable<T> {
    return match</*kRough=*/false>(*this, other, [](const T& a, const T& b) { return a == b; });
  }

  std::size_t hashValue() const requires requires(const T& t) { std::hash<T>()(t); }
  { return hashAt(0); }

  // Decodes a container, trying at each level in order: an object (every
  // member decoding as a container), an array (every element likewise), a
  // leaf T, null. When none fits, throws DecodingError.dataCorrupted
  // "Invalid JSON value b." at the decoder's path: a failure anywhere below
  // makes that level's object or array attempt fail, so it surfaces at the
  // first level where nothing else fits.
  static TypedJSONContainer decode(const Decoder& decoder) requires detail::IsDecodable<T> {
    TypedJSONContainer out;
    if (!tryDecode(decoder, out)) decoder.throwDataCorrupted("Invalid JSON value b.");
    return out;
  }
  // With standard leaves: reads JSON bytes as JSONDecoder does (UTF-8,
  // UTF-16 or UTF-32; nesting up to kMaxCodingDepth levels; numbers
  // correctly rounded) straight into a tree, with no parsed tree in between.
  // The same tree, or the same error, as decoding one from the parsed tree.
  static TypedJSONContainer decodeJSONText(
      std::string_view bytes) requires std::same_as<T, TypedJSONValue>;
  // With standard leaves: appends the tree as JSON text written with
  // `options`, straight from the tree. The same text, or the same error, as
  // encoding it to a tree and writing that.
  void encodeJSONText(const JSONWritingOptions& options,
                      std::string& out) const requires std::same_as<T, TypedJSONValue>;

  // Writes an object as a dictionary of containers, an array as an array of
  // containers, a leaf as T, null as nil. Throws EncodingError.invalidValue
  // for objects and arrays nested deeper than kMaxCodingDepth, and T's own
  // errors.
  void encode(Encoder& encoder) const requires detail::IsEncodable<T>;

 private:
  friend struct detail::TypedJSONTreeBuilding;

  // Storage whose last holder goes is destroyed by destroyStorage.
  struct DestroyObject {
    template <class Node>
    void operator()(Node* node) const noexcept {
      destroyStorage(reinterpret_cast<std::uintptr_t>(node));
    }
  };
  struct DestroyArray {
    template <class Node>
    void operator()(Node* node) const noexcept {
      destroyStorage(reinterpret_cast<std::uintptr_t>(node) | 1);
    }
  };
  using ObjectBox = detail::CopyOnWrite<Members, DestroyObject>;
  using ArrayBox = detail::CopyOnWrite<Elements, DestroyArray>;

  struct KeyLess {
    bool operator()(const Member& m, std::string_view key) const noexcept { return m.first < key; }
    bool operator()(std::string_view key, const Member& m) const noexcept { return key < m.first; }
    bool operator()(const Member& a, const Member& b) const noexcept { return a.first < b.first; }
  };

  explicit TypedJSONContainer(ObjectBox box) : payload_(std::in_place_index<0>, std::move(box)) {}
  explicit TypedJSONContainer(ArrayBox box) : payload_(std::in_place_index<1>, std::move(box)) {}

  // For an object holding a member under `key`: removes it (copying shared
  // storage first). Anything else stays as it is.
  void removeMember(std::string_view key) {
    ObjectBox* box = std::get_if<0>(&payload_);
    if (!box) return;
    const Members& shared = box->read();
    auto at = find(shared, key);
    if (at == shared.end()) return;
    const auto index = at - shared.begin();
    Members& own = box->write();
    own.erase(own.begin() + index);
  }

  // How deep comparison and hashing recurse; deeper levels are walked from
  // lists on the heap.
  static constexpr int kRecursionDepth = 64;

  // Ends this container's share of its storage. When it was the last share,
  // returns the storage for destroyStorage (a node pointer with its low bit
  // set for arrays); otherwise 0.
  std::uintptr_t takeLast() noexcept;
  static typename ObjectBox::Node* objectNode(std::uintptr_t storage) noexcept {
    return reinterpret_cast<typename ObjectBox::Node*>(storage);
  }
  static typename ArrayBox::Node* arrayNode(std::uintptr_t storage) noexcept {
    return reinterpret_cast<typename ArrayBox::Node*>(storage & ~std::uintptr_t{1});
  }
  // Destroys taken storage and everything only it holds without deep
  // recursion: members and elements go before their parent (the order plain
  // recursion would take, which suits the allocator) down to kRecursionDepth
  // levels; storage further down waits on a list threaded through the
  // storage itself and is destroyed the same way after. Allocates nothing.
  static void destroyStorage(std::uintptr_t storage) noexcept;
  static void destroyStorage(std::uintptr_t storage, int depth, std::uintptr_t& deeper) noexcept;

  // Whether `a` and `b` have the same cases, keys and (by `leavesMatch`)
  // leaves. Exactly (kRough false): arrays of one length, and shared storage
  // matches unread. Roughly: arrays match on the elements both have. Pairs
  // kRecursionDepth levels down are compared after the rest, from a list.
  template <bool kRough, class LeavesMatch>
  static bool match(const TypedJSONContainer& a, const TypedJSONContainer& b,
                    const LeavesMatch& leavesMatch);
  template <class LeavesMatch>
  struct MatchWalk {
    LeavesMatch leavesMatch;
    std::vector<std::pair<const TypedJSONContainer*, const TypedJSONContainer*>> deeper;
  };
  // As `match`, `depth` levels down, leaving pairs further down on the walk's
  // `deeper` list (as matching for now).
  template <bool kRough, class LeavesMatch>
  static bool matchAt(const TypedJSONContainer& a, const TypedJSONContainer& b,
                      MatchWalk<LeavesMatch>& walk, int depth);

  // As matchAt, with two leaves (most members and elements) compared here.
  template <bool kRough, class LeavesMatch>
  static bool matchChild(const TypedJSONContainer& a, const TypedJSONContainer& b,
                         MatchWalk<LeavesMatch>& walk, int depth);

  static std::size_t mix(std::size_t h, std::size_t v) noexcept {
    constexpr std::size_t kMix = 0x9E3779B97F4A7C15ull;
    return (h ^ v) * kMix + (h >> 7);
  }
  // The hash: the case, then each member's key and hash or each element's
  // hash in order, or the leaf's hash.
  std::size_t hashAt(int depth) const;
  // As hashAt, with a leaf (most members and elements) hashed here.
  std::size_t hashChildAt(int depth) const;
  std::size_t hashDeep() const;
  // The hash of this node short of its members or elements, and their number.
  std::size_t hashHead(std::size_t& count) const;
  // The i-th member or element, having mixed a member's key into `h`.
  const TypedJSONContainer& hashChild(std::size_t i, std::size_t& h) const;

  static typename Members::const_iterator find(const Members& all, std::string_view key) noexcept;

  // Sorts by key and keeps the last of repeated keys.
  static void normalize(Members& members);

  static bool tryDecode(const Decoder& decoder, TypedJSONContainer& out);

  std::variant<ObjectBox, ArrayBox, T, std::monostate> payload_;
};

// The handle `container["key"]` gives on a non-const container: converts to
// the member (std::optional), assigns through `set`, and subscripts further
// into the member when there is one. Holds a pointer to the container: use
// it within the expression that made it.
template <class T>
class TypedJSONContainer<T>::MemberSlot {
 public:
  MemberSlot(TypedJSONContainer* owner, std::string key) : owner_(owner), key_(std::move(key)) {}

  // Stores (or, with std::nullopt, removes) the member; ignored when the
  // container is not an object or this slot leads nowhere.
  MemberSlot& operator=(std::optional<TypedJSONContainer> value) {
    if (owner_) owner_->set(key_, std::move(value));
    return *this;
  }
  // `a["x"] = b["y"]` copies the member, not the handle.
  MemberSlot& operator=(const MemberSlot& other) { return *this = other.get(); }

  std::optional<TypedJSONContainer> get() const {
    if (!owner_) return std::nullopt;
    return std::as_const(*owner_)[key_];
  }
  operator std::optional<TypedJSONContainer>() const { return get(); }

  // Whether the member exists; reading it through `*` and `->` requires that
  // it does (the process stops otherwise).
  bool has_value() const noexcept { return current() != nullptr; }
  explicit operator bool() const noexcept { return has_value(); }
  const TypedJSONContainer& operator*() const {
    const TypedJSONContainer* m = current();
    ZORLAN_PRECONDITION(m != nullptr, "no member under the key");
    return *m;
  }
  const TypedJSONContainer* operator->() const { return &**this; }

  // The member's own member `key`: writes go into the member when there is
  // one and are ignored when there is none.
  MemberSlot operator[](std::string_view key) const {
    return MemberSlot(owner_ ? owner_->mutableMember(key_) : nullptr, std::string(key));
  }

  friend bool operator==(const MemberSlot& slot, const std::optional<TypedJSONContainer>& value) {
    return slot.get() == value;
  }

 private:
  const TypedJSONContainer* current() const noexcept {
    return owner_ ? std::as_const(*owner_).member(key_) : nullptr;
  }

  TypedJSONContainer* owner_;
  std::string key_;
};

namespace detail {
TypedJSONContainer<TypedJSONValue> decodeTypedJSONText(std::string_view bytes);
void encodeTypedJSONText(const TypedJSONContainer<TypedJSONValue>& tree,
                         const JSONWritingOptions& options, std::string& out);
}  // namespace detail

template <class T>
TypedJSONContainer<T> TypedJSONContainer<T>::decodeJSONText(
    std::string_view bytes) requires std::same_as<T, TypedJSONValue> {
  return detail::decodeTypedJSONText(bytes);
}

template <class T>
void TypedJSONContainer<T>::encodeJSONText(const JSONWritingOptions& options, std::string& out)
    const requires std::same_as<T, TypedJSONValue> {
  detail::encodeTypedJSONText(*this, options, out);
}

template <class T>
struct CodingTypeName<TypedJSONContainer<T>> {
  static std::string name() { return "TypedJSONContainer<" + codingTypeName<T>() + ">"; }
};

// The tree of JSON documents with the standard leaves.
using TypedJSON = TypedJSONContainer<TypedJSONValue>;

extern template class TypedJSONContainer<TypedJSONValue>;

}  // namespace zorlan

template <class T>
requires requires(const zorlan::TypedJSONContainer<T>& c) { c.hashValue(); }
struct std::hash<zorlan::TypedJSONContainer<T>> {
  std::size_t operator()(const zorlan::TypedJSONContainer<T>& c) const { return c.hashValue(); }
};

#include "zorlan/JSON/detail/TypedJSONContainerImpl.hpp"
