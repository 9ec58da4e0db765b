#include "zorlan/Platform/Data.hpp"

#include <array>

namespace zorlan {
namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

constexpr std::array<int, 256> decodeTable() {
  std::array<int, 256> table{};
  for (int& v : table) v = -1;
  for (int i = 0; i < 64; ++i) table[static_cast<unsigned char>(kAlphabet[i])] = i;
  return table;
}

}  // namespace

std::string Data::base64EncodedString() const {
  std::string out;
  out.reserve((bytes_.size() + 2) / 3 * 4);
  std::size_t i = 0;
  for (; i + 3 <= bytes_.size(); i += 3) {
    std::uint32_t n = (bytes_[i] << 16) | (bytes_[i + 1] << 8) | bytes_[i + 2];
    out += kAlphabet[(n >> 18) & 63];
    out += kAlphabet[(n >> 12) & 63];
    out += kAlphabet[(n >> 6) & 63];
    out += kAlphabet[n & 63];
  }
  std::size_t rest = bytes_.size() - i;
  if (rest > 0) {
    std::uint32_t n = bytes_[i] << 16;
    if (rest == 2) n |= bytes_[i + 1] << 8;
    out += kAlphabet[(n >> 18) & 63];
    out += kAlphabet[(n >> 12) & 63];
    out += rest == 2 ? kAlphabet[(n >> 6) & 63] : '=';
    out += '=';
  }
  return out;
}

std::optional<Data> Data::fromBase64(std::string_view text) {
  static constexpr auto table = decodeTable();
  if (text.size() % 4 != 0) return std::nullopt;
  std::vector<std::uint8_t> out;
  out.reserve(text.size() / 4 * 3);
  for (std::size_t i = 0; i < text.size(); i += 4) {
    int v[4];
    int padding = 0;
    for (int k = 0; k < 4; ++k) {
      char c = text[i + k];
      if (c == '=') {
        // Padding only at the end, in the last two places.
        if (i + 4 != text.size() || k < 2) return std::nullopt;
        v[k] = 0;
        ++padding;
      } else {
        if (padding > 0) return std::nullopt;
        v[k] = table[static_cast<unsigned char>(c)];
        if (v[k] < 0) return std::nullopt;
      }
    }
    std::uint32_t n = (v[0] << 18) | (v[1] << 12) | (v[2] << 6) | v[3];
    out.push_back(static_cast<std::uint8_t>(n >> 16));
    if (padding < 2) out.push_back(static_cast<std::uint8_t>((n >> 8) & 0xFF));
    if (padding < 1) out.push_back(static_cast<std::uint8_t>(n & 0xFF));
  }
  return Data(std::move(out));
}

}  // namespace zorlan
