#include "zorlan/Coding/CodingError.hpp"

namespace zorlan {
namespace {

std::string describeUnderlying(const std::exception_ptr& error) {
  if (!error) return "nil";
  try {
    std::rethrow_exception(error);
  } catch (const std::exception& e) {
    return e.what();
  } catch (...) {
    return "unknown error";
  }
}

std::string describePath(const CodingPath& path) {
  std::string out = "[";
  for (std::size_t i = 0; i < path.size(); ++i) {
    if (i > 0) out += ", ";
    out += path[i].intValue ? std::to_string(*path[i].intValue) : path[i].stringValue;
  }
  return out + "]";
}

std::string quoted(std::string_view text) {
  std::string out = "\"";
  for (char c : text) {
    if (c == '"' || c == '\\') out += '\\';
    out += c;
  }
  return out + '"';
}

std::string describeKey(const CodingKey& key) {
  return "CodingKeys(stringValue: " + quoted(key.stringValue) +
         ", intValue: " + (key.intValue ? std::to_string(*key.intValue) : std::string("nil")) + ")";
}

std::string describeContext(const CodingErrorContext& context) {
  return "Context(codingPath: " + describePath(context.codingPath) +
         ", debugDescription: " + quoted(context.debugDescription) +
         ", underlyingError: " + describeUnderlying(context.underlyingError) + ")";
}

}  // namespace

std::string codingPathString(const CodingPath& path) {
  std::string out;
  for (std::size_t i = 0; i < path.size(); ++i) {
    if (i > 0) out += '.';
    out += path[i].intValue ? std::to_string(*path[i].intValue) : path[i].stringValue;
  }
  return out;
}

DecodingError::DecodingError(Kind kind, std::string type, std::optional<CodingKey> key,
                             Context context)
    : kind_(kind), type_(std::move(type)), key_(std::move(key)), context_(std::move(context)) {
  switch (kind_) {
    case Kind::typeMismatch:
      description_ = "typeMismatch(" + type_ + ", " + describeContext(context_) + ")";
      break;
    case Kind::valueNotFound:
      description_ = "valueNotFound(" + type_ + ", " + describeContext(context_) + ")";
      break;
    case Kind::keyNotFound:
      description_ = "keyNotFound(" + describeKey(*key_) + ", " + describeContext(context_) + ")";
      break;
    case Kind::dataCorrupted:
      description_ = "dataCorrupted(" + describeContext(context_) + ")";
      break;
  }
}

DecodingError DecodingError::typeMismatch(std::string type, Context context) {
  return DecodingError(Kind::typeMismatch, std::move(type), std::nullopt, std::move(context));
}
DecodingError DecodingError::valueNotFound(std::string type, Context context) {
  return DecodingError(Kind::valueNotFound, std::move(type), std::nullopt, std::move(context));
}
DecodingError DecodingError::keyNotFound(CodingKey key, Context context) {
  return DecodingError(Kind::keyNotFound, "", std::move(key), std::move(context));
}
DecodingError DecodingError::dataCorrupted(Context context) {
  return DecodingError(Kind::dataCorrupted, "", std::nullopt, std::move(context));
}

long DecodingError::errorCode() const {
  return kind_ == Kind::valueNotFound || kind_ == Kind::keyNotFound ? 4865 : 4864;
}

std::vector<std::exception_ptr> DecodingError::underlyingErrors() const {
  if (!context_.underlyingError) return {};
  return {context_.underlyingError};
}

EncodingError::EncodingError(std::string value, Context context)
    : value_(std::move(value)), context_(std::move(context)) {
  description_ = "invalidValue(" + value_ + ", " + describeContext(context_) + ")";
}

EncodingError EncodingError::invalidValue(std::string value, Context context) {
  return EncodingError(std::move(value), std::move(context));
}

std::vector<std::exception_ptr> EncodingError::underlyingErrors() const {
  if (!context_.underlyingError) return {};
  return {context_.underlyingError};
}

}  // namespace zorlan
