// Persistable: how a value is kept in a persistent store. A codable type is
// persistable as it is; it declares a versioned layout with a static
// `schema()` so that bytes written by an older layout are migrated on read.
//
//   struct Settings {
//     std::string quality;
//     bool subtitles = false;
//     static MigrationSchema schema() {
//       return {SemVer(1, 0, 0), {Migration{SemVer(), SemVer(1, 0, 0), {renameQualityField}}}};
//     }
//   };
//   ZORLAN_CODABLE(Settings, quality, subtitles);
//
//   Data bytes = persistableEncode(Settings{"hd", true});   //
//   {"quality":"hd",...,"version":"1.0.0"} Settings back = persistableDecode<Settings>(oldBytes);
//   // migrated when it must be
#pragma once

#include <concepts>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>

#include "zorlan/Coding/Codable.hpp"
#include "zorlan/Coding/DecodingProbe.hpp"
#include "zorlan/Coding/JSONDecoder.hpp"
#include "zorlan/Coding/JSONEncoder.hpp"
#include "zorlan/Coding/PlatformCodings.hpp"
#include "zorlan/JSON/JSONSerialization.hpp"
#include "zorlan/Persistence/MigrationError.hpp"
#include "zorlan/Persistence/MigrationSchema.hpp"
#include "zorlan/Platform/Data.hpp"
#include "zorlan/Platform/Date.hpp"
#include "zorlan/Values/Either.hpp"
#include "zorlan/Values/EitherCoding.hpp"

namespace zorlan {

namespace detail {

template <class T>
concept HasPersistableSchema = requires {
  { T::schema() } -> std::convertible_to<MigrationSchema>;
};

// Encodes with a fresh encoder; stamps "version" members when the schema
// adds any (the tree is then re-encoded: member order and numbers are the
// typed tree's).
Data stampedBytes(Data plain, const MigrationSchema& schema);
// The document as a typed tree, migrated under the schema and encoded again
// (as a tree: the same document its JSON text would parse to).
boost::json::value migratedJSON(const boost::json::value& document, const MigrationSchema& schema);

// The default algorithms under the schema `Traits::schema()` gives: encode
// with version stamps, decode directly or else migrate.
template <class T, class Traits>
struct PersistenceUnderSchema {
  static constexpr bool isCoreType = false;

  static Data encode(const T& value) requires IsEncodable<T> {
    return stampedBytes(JSONEncoder().encode(value), Traits::schema());
  }
  static T decode(const Data& bytes) requires IsDecodable<T> {
    return decodeMigrating(bytes, &Traits::schema);
  }

  // The default decoding: T straight from the bytes; when that fails, the
  // bytes as a typed tree (its error passes out), migrated under `schema()`,
  // encoded and decoded as T again. A DecodingError of that last decode
  // comes out as MigrationError. The schema is not made on the direct path.
  static T decodeMigrating(const Data& bytes, MigrationSchema (*schema)()) {
    const auto& raw = bytes.bytes();
    const std::string_view text(reinterpret_cast<const char*>(raw.data()), raw.size());
    // Parsed once, for the direct attempt and the migration both.
    const boost::json::value document = JSONDecoder::parse(text, makeParseArena(text.size()));
    // A document that certainly does not decode skips the attempt (and the
    // cost of its exception): an older layout is the usual reason to be here.
    if (!certainlyFailsToDecode<T>(document)) {
      try {
        return JSONDecoder().decodeFromJSON<T>(document);
      } catch (const DecodingError&) {
        // Not the current layout: migrate and try again below.
      }
    }
    const boost::json::value migrated = migratedJSON(document, schema());
    try {
      return JSONDecoder().decodeFromJSON<T>(migrated);
    } catch (DecodingError& error) {
      throw MigrationError(std::move(error), codingTypeName<T>());
    }
  }
};

// The persistence every codable type gets: `schema` from T::schema() when
// T declares one, else the default schema, under the default algorithms.
template <class T>
struct DefaultPersistence : PersistenceUnderSchema<T, DefaultPersistence<T>> {
  static MigrationSchema schema() {
    if constexpr (HasPersistableSchema<T>) {
      return T::schema();
    } else {
      return MigrationSchema::defaultSchema();
    }
  }
};

// Kept natively by a store, with the default schema and algorithms when
// asked for bytes.
template <class T>
struct CorePersistence : DefaultPersistence<T> {
  static constexpr bool isCoreType = true;
};

}  // namespace detail

// How T is persisted: `isCoreType` (kept natively by a store), `schema()`,
// `encode(value)` to bytes and `decode(bytes)` from bytes (which migrates
// older layouts). The primary template serves every codable type with the
// defaults; specialise it to take full control of a type.
template <class T, class Enable = void>
struct PersistableTraits : detail::DefaultPersistence<T> {};

// A type the stores can keep.
template <class T>
concept Persistable = requires(const T& value, const Data& bytes) {
  { PersistableTraits<T>::isCoreType } -> std::convertible_to<bool>;
  { PersistableTraits<T>::schema() } -> std::convertible_to<MigrationSchema>;
  { PersistableTraits<T>::encode(value) } -> std::same_as<Data>;
  { PersistableTraits<T>::decode(bytes) } -> std::convertible_to<T>;
};

// Integers the stores keep natively as 64-bit integers: the signed ones and
// the unsigned ones narrower than 64 bits (characters excluded).
template <class I>
concept PersistableInteger =
    std::is_integral_v<I> && !std::same_as<I, bool> && !std::same_as<I, char> &&
    !std::same_as<I, char8_t> && !std::same_as<I, char16_t> && !std::same_as<I, char32_t> &&
    !std::same_as<I, wchar_t> && (std::is_signed_v<I> || sizeof(I) < 8);

// The core types: text, Booleans, integers, float, double, bytes and dates.
template <>
struct PersistableTraits<std::string> : detail::CorePersistence<std::string> {};
template <>
struct PersistableTraits<bool> : detail::CorePersistence<bool> {};
template <PersistableInteger I>
struct PersistableTraits<I> : detail::CorePersistence<I> {};
template <>
struct PersistableTraits<float> : detail::CorePersistence<float> {};
template <>
struct PersistableTraits<double> : detail::CorePersistence<double> {};
template <>
struct PersistableTraits<Data> : detail::CorePersistence<Data> {};
template <>
struct PersistableTraits<Date> : detail::CorePersistence<Date> {};

// An optional is a core type when what it wraps is one; it decodes as the
// wrapped type does (migrating with the wrapped type's schema) and wraps the
// result; its own schema is the default one.
template <Persistable T>
struct PersistableTraits<std::optional<T>> : detail::DefaultPersistence<std::optional<T>> {
  static constexpr bool isCoreType = PersistableTraits<T>::isCoreType;
  static std::optional<T> decode(const Data& bytes) { return PersistableTraits<T>::decode(bytes); }
};

// An array's schema: the element's version, no migrations, every element
// governed by the element's schema.
template <Persistable T, class Alloc>
struct PersistableTraits<std::vector<T, Alloc>>
    : detail::PersistenceUnderSchema<std::vector<T, Alloc>,
                                     PersistableTraits<std::vector<T, Alloc>>> {
  static MigrationSchema schema() {
    MigrationSchema element = PersistableTraits<T>::schema();
    const SemVer version = element.version;
    return {
        version,
        {},
        JSONSchema<JSONValueType>::array(JSONSchema<JSONValueType>::schema(std::move(element)))};
  }
};

// A string-keyed dictionary's schema: the value's version, no migrations,
// every value governed by the value's schema. Note that, as the stamp puts
// a version above 0.0.0 on the object it governs, a dictionary of versioned
// values is written with a "version" member among its keys.
template <class Map>
struct DictionaryPersistence : detail::PersistenceUnderSchema<Map, DictionaryPersistence<Map>> {
  using Value = typename Map::mapped_type;
  static MigrationSchema schema() {
    MigrationSchema value = PersistableTraits<Value>::schema();
    const SemVer version = value.version;
    return {
        version,
        {},
        JSONSchema<JSONValueType>::dictionary(JSONSchema<JSONValueType>::schema(std::move(value)))};
  }
};
template <Persistable V, class Compare, class Alloc>
struct PersistableTraits<std::map<std::string, V, Compare, Alloc>>
    : DictionaryPersistence<std::map<std::string, V, Compare, Alloc>> {};
template <Persistable V, class Hash, class Eq, class Alloc>
struct PersistableTraits<std::unordered_map<std::string, V, Hash, Eq, Alloc>>
    : DictionaryPersistence<std::unordered_map<std::string, V, Hash, Eq, Alloc>> {};

// Whether a store keeps T natively.
template <Persistable T>
inline constexpr bool isPersistableCoreType = PersistableTraits<T>::isCoreType;

// T's migration schema.
template <Persistable T>
MigrationSchema persistableSchema() {
  return PersistableTraits<T>::schema();
}

// The bytes a store keeps for `value`: its JSON, with "version" members where
// its schema puts them. Throws EncodingError (for example a non-finite
// number). Thread-safe.
template <Persistable T>
Data persistableEncode(const T& value) {
  return PersistableTraits<T>::encode(value);
}

// A T from stored bytes: decoded directly when the bytes have the current
// layout (the schema is not consulted); otherwise parsed as a typed tree,
// migrated forward and decoded again. Throws the parse's DecodingError for
// bytes that are not JSON, MigrationError when the migrated tree still does
// not decode, and EncodingError if the migrated tree cannot be written.
// Thread-safe.
template <Persistable T>
T persistableDecode(const Data& bytes) {
  return PersistableTraits<T>::decode(bytes);
}

// `override` when there is one, otherwise `value`: a plain selection, the
// same in every build.
template <class T>
T withDebugOverride(T value, std::type_identity_t<std::optional<T>> override) {
  return override ? std::move(*override) : std::move(value);
}

// The name of a value stored as a T. Only the identifier is stored; T tells
// the store's typed operations what to decode.
template <class T>
struct PersistentKey {
  std::string identifier;

  explicit PersistentKey(std::string name) : identifier(std::move(name)) {}
  friend bool operator==(const PersistentKey&, const PersistentKey&) = default;
};

}  // namespace zorlan
