// Data: a byte buffer value, with base64 conversion.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zorlan {

class Data {
 public:
  Data() = default;
  explicit Data(std::vector<std::uint8_t> bytes) : bytes_(std::move(bytes)) {}
  explicit Data(std::string_view text) : bytes_(text.begin(), text.end()) {}

  const std::vector<std::uint8_t>& bytes() const noexcept { return bytes_; }
  std::vector<std::uint8_t>& bytes() noexcept { return bytes_; }
  std::size_t size() const noexcept { return bytes_.size(); }
  bool empty() const noexcept { return bytes_.empty(); }
  // The bytes as a string (no validation).
  std::string toString() const { return std::string(bytes_.begin(), bytes_.end()); }

  // Standard base64 with padding.
  std::string base64EncodedString() const;
  // Decodes standard base64 (padding required, no white space); absent when
  // the text is not base64.
  static std::optional<Data> fromBase64(std::string_view text);

  friend bool operator==(const Data&, const Data&) = default;

 private:
  std::vector<std::uint8_t> bytes_;
};

}  // namespace zorlan
