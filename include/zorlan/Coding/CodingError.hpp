// DecodingError and EncodingError: why coding a value failed, and where.
#pragma once

#include <exception>
#include <optional>
#include <string>
#include <vector>

#include "zorlan/Coding/CodingKey.hpp"
#include "zorlan/Platform/BridgedError.hpp"

namespace zorlan {

// What went wrong and where: the coding path, a readable description and the
// error that caused it, if any.
struct CodingErrorContext {
  CodingPath codingPath;
  std::string debugDescription;
  std::exception_ptr underlyingError;
};

// Thrown when a document does not have the shape a type expects. Its domain
// is "NSCocoaErrorDomain"; its code 4864 for `typeMismatch` and
// `dataCorrupted`, 4865 for `valueNotFound` and `keyNotFound`.
class DecodingError : public std::exception, public BridgedError {
 public:
  enum class Kind { typeMismatch, valueNotFound, keyNotFound, dataCorrupted };
  using Context = CodingErrorContext;

  // A value of the wrong JSON type for `type`.
  static DecodingError typeMismatch(std::string type, Context context);
  // Null (or nothing left) where a value of `type` was required.
  static DecodingError valueNotFound(std::string type, Context context);
  // A required key is missing.
  static DecodingError keyNotFound(CodingKey key, Context context);
  // The value is of the right type but unusable (a number out of range, text
  // that is not JSON, an unknown raw value).
  static DecodingError dataCorrupted(Context context);

  Kind kind() const noexcept { return kind_; }
  const Context& context() const noexcept { return context_; }
  // The type named by `typeMismatch` and `valueNotFound` (empty otherwise).
  const std::string& type() const noexcept { return type_; }
  // The key named by `keyNotFound`.
  const std::optional<CodingKey>& key() const noexcept { return key_; }

  // A stable one-line rendering, for example
  //   typeMismatch(Int, Context(codingPath: [items, 3], debugDescription:
  //   "Expected to decode Int but found a string instead.", underlyingError: nil))
  //   keyNotFound(CodingKeys(stringValue: "name", intValue: nil), Context(...))
  // Keys of the path print as their integer value when they have one; the
  // underlying error prints as its what() text, or nil.
  const std::string& description() const noexcept { return description_; }
  const char* what() const noexcept override { return description_.c_str(); }

  std::string errorDomain() const override { return "NSCocoaErrorDomain"; }
  long errorCode() const override;
  // The context's underlying error, when there is one.
  std::vector<std::exception_ptr> underlyingErrors() const override;

 private:
  DecodingError(Kind kind, std::string type, std::optional<CodingKey> key, Context context);

  Kind kind_;
  std::string type_;
  std::optional<CodingKey> key_;
  Context context_;
  std::string description_;
};

// Thrown when a value cannot be encoded (for example a non-finite number).
// Domain "NSCocoaErrorDomain", code 4866.
class EncodingError : public std::exception, public BridgedError {
 public:
  using Context = CodingErrorContext;

  // `value` is a readable rendering of the refused value ("nan", "inf").
  static EncodingError invalidValue(std::string value, Context context);

  const std::string& value() const noexcept { return value_; }
  const Context& context() const noexcept { return context_; }
  // invalidValue(nan, Context(codingPath: [...], debugDescription: "...",
  // underlyingError: nil)).
  const std::string& description() const noexcept { return description_; }
  const char* what() const noexcept override { return description_.c_str(); }

  std::string errorDomain() const override { return "NSCocoaErrorDomain"; }
  long errorCode() const override { return 4866; }
  std::vector<std::exception_ptr> underlyingErrors() const override;

 private:
  EncodingError(std::string value, Context context);
  std::string value_;
  Context context_;
  std::string description_;
};

}  // namespace zorlan
