// Result: a success value or the error that prevented it.
#pragma once

#include <exception>
#include <utility>
#include <variant>

namespace zorlan {

// Either a value of T (success) or a std::exception_ptr (failure). A value
// type; copies are independent. Made only through `success` and `failure`.
template <class T>
class Result {
 public:
  // A success holding `value`.
  static Result success(T value) { return Result(std::in_place_index<0>, std::move(value)); }
  // A failure holding `error` (which should not be null).
  static Result failure(std::exception_ptr error) { return Result(std::in_place_index<1>, error); }

  bool isSuccess() const noexcept { return storage_.index() == 0; }
  // The value; rethrows the error when this is a failure.
  const T& get() const {
    if (!isSuccess()) std::rethrow_exception(std::get<1>(storage_));
    return std::get<0>(storage_);
  }
  // The value, or null when this is a failure.
  const T* value() const noexcept { return std::get_if<0>(&storage_); }
  // The error, or null when this is a success.
  std::exception_ptr error() const noexcept {
    return isSuccess() ? nullptr : std::get<1>(storage_);
  }

 private:
  template <std::size_t I, class V>
  Result(std::in_place_index_t<I> index, V&& v) : storage_(index, std::forward<V>(v)) {}
  std::variant<T, std::exception_ptr> storage_;
};

}  // namespace zorlan
