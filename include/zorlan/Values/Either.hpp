// Either: a value that is one of two types, `left` or `right`, with a fixed
// JSON form.
#pragma once

#include <concepts>
#include <functional>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>

#include "zorlan/Coding/CodingFwd.hpp"

namespace zorlan {

// Exactly one of two cases, in this order: `left` (a payload of type Left)
// and `right` (a payload of type Right). Left and Right may be the same type;
// the case still tells the two apart. A plain value: copying copies the
// payload; thread-safe as any value.
//
// Coding (when both payload types are codable; include
// zorlan/Values/EitherCoding.hpp where an Either is encoded or decoded): `left(a)` is the object
// {"left": {"_0": a}} and `right(b)` is {"right": {"_0": b}}. Decoding looks
// only at the keys "left" and "right" (other members are ignored) and never
// tries one side and then the other: unless exactly one of the two is present
// it throws DecodingError.typeMismatch for the Either type at the object's
// coding path, with the description "Invalid number of keys found, expected
// one."; errors decoding the payload (for example {"left": 1}, whose payload
// is not under "_0") pass out unchanged.
template <class Left, class Right>
class Either {
 public:
  enum class Case { left, right };

  // `left(Left())`, as std::variant defaults to its first alternative; it
  // exists so that structs holding an Either can be default-constructed (as
  // described structs are when decoded).
  Either() requires std::default_initializable<Left> : storage_(std::in_place_index<0>) {}

  // The `left` case holding `payload`.
  static Either left(Left payload) { return Either(std::in_place_index<0>, std::move(payload)); }
  // The `right` case holding `payload`.
  static Either right(Right payload) { return Either(std::in_place_index<1>, std::move(payload)); }

  Case which() const noexcept { return isLeft() ? Case::left : Case::right; }
  bool isLeft() const noexcept { return storage_.index() == 0; }
  bool isRight() const noexcept { return storage_.index() == 1; }

  // The payload of `left`; null when this is `right`.
  const Left* leftValue() const noexcept { return std::get_if<0>(&storage_); }
  // The payload of `right`; null when this is `left`.
  const Right* rightValue() const noexcept { return std::get_if<1>(&storage_); }

  // The payload of whichever case is present; only when both sides have the
  // same type.
  const Left& first() const noexcept requires std::same_as<Left, Right> {
    return isLeft() ? std::get<0>(storage_) : std::get<1>(storage_);
  }

  // `left(a)` becomes `left(f(a))`; `right(b)` stays `right(b)` and f is not
  // called. An exception from f passes out.
  template <class F>
  auto mapLeft(F&& f) const -> Either<std::invoke_result_t<F, const Left&>, Right> {
    using Result = Either<std::invoke_result_t<F, const Left&>, Right>;
    if (const Left* value = leftValue())
      return Result::left(std::invoke(std::forward<F>(f), *value));
    return Result::right(*rightValue());
  }

  // `right(b)` becomes `right(f(b))`; `left(a)` stays `left(a)` and f is not
  // called. An exception from f passes out.
  template <class F>
  auto mapRight(F&& f) const -> Either<Left, std::invoke_result_t<F, const Right&>> {
    using Result = Either<Left, std::invoke_result_t<F, const Right&>>;
    if (const Right* value = rightValue()) {
      return Result::right(std::invoke(std::forward<F>(f), *value));
    }
    return Result::left(*leftValue());
  }

  // Calls exactly one action, `ifLeft` with the payload of `left` or
  // `ifRight` with the payload of `right`, and returns what it returns (both
  // actions return void, or types with a common type). An exception from the
  // action passes out. (Named `visit` because `do` is a C++ keyword.)
  template <class IfLeft, class IfRight>
  auto visit(IfLeft&& ifLeft, IfRight&& ifRight) const
      -> std::common_type_t<std::invoke_result_t<IfLeft, const Left&>,
                            std::invoke_result_t<IfRight, const Right&>> {
    if (const Left* value = leftValue()) return std::invoke(std::forward<IfLeft>(ifLeft), *value);
    return std::invoke(std::forward<IfRight>(ifRight), *rightValue());
  }

  // Same case and equal payloads.
  friend bool operator==(const Either& a, const Either& b) requires
      std::equality_comparable<Left> && std::equality_comparable<Right> {
    return a.storage_ == b.storage_;
  }

 private:
  template <std::size_t I, class Payload>
  Either(std::in_place_index_t<I> which, Payload&& payload)
      : storage_(which, std::forward<Payload>(payload)) {}

  std::variant<Left, Right> storage_;
};

// Defined in EitherCoding.hpp.
template <class Left, class Right>
struct CodingTypeName<Either<Left, Right>>;
template <class Left, class Right>
struct Coding<Either<Left, Right>>;

}  // namespace zorlan
