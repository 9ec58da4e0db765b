// MigrationError: a stored value that still does not decode after its
// layout was migrated forward.
#pragma once

#include <optional>
#include <string>

#include "zorlan/Coding/CodingError.hpp"

namespace zorlan {

// The decoding error that remained after migration, and the type that was
// being read. It is that DecodingError (catching DecodingError catches it
// too); the store reports it with the notification
// notifications::persistentStoreMigrationFailure(). A value type.
class MigrationError : public DecodingError {
 public:
  MigrationError(DecodingError error, std::string valueType)
      : DecodingError(std::move(error)), valueType_(std::move(valueType)) {}

  // The decoding error itself.
  const DecodingError& error() const noexcept { return *this; }
  // The name of the type that was being read (its coding type name, such as
  // "Array<Int>" or a described struct's name).
  const std::string& valueType() const noexcept { return valueType_; }

  // The kind of failure: "typeMismatch", "valueNotFound", "keyNotFound" or
  // "dataCorrupted".
  std::string errorName() const;
  // The type the decoder attempted, for a type mismatch and a value not
  // found; absent for the other kinds.
  std::optional<std::string> errorAttemptedType() const;
  // The key the failure names: the missing key of keyNotFound; otherwise the
  // last key of the coding path that is not an array index; absent when
  // there is none.
  std::optional<std::string> key() const;
  // The coding path and description of the failure.
  const CodingErrorContext& context() const noexcept { return DecodingError::context(); }

 private:
  std::string valueType_;
};

}  // namespace zorlan
