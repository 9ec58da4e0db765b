#include "Routing/RoutePrefix.hpp"

#include <cstddef>

namespace zorlan::routing {
namespace {

bool isPlainLiteral(char c) {
  if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')) return true;
  return std::string_view("/:-_=&%,;@~!'\"<>` #").find(c) != std::string_view::npos;
}

char lower(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

// The index after the escape whose backslash is at `i`: the escaped
// character, or a "{...}" after \p, \P, \N or \x. npos when the escape is
// quoting (\Q) or runs off the end.
std::size_t afterEscape(std::string_view r, std::size_t i) {
  if (i + 1 >= r.size() || r[i + 1] == 'Q') return std::string_view::npos;
  const bool braced = i + 2 < r.size() && r[i + 2] == '{' &&
                      std::string_view("pPNx").find(r[i + 1]) != std::string_view::npos;
  if (!braced) return i + 2;
  const std::size_t close = r.find('}', i + 2);
  return close == std::string_view::npos ? close : close + 1;
}

// The index after the set (with its nested sets) whose "[" is at `i`; npos
// when it does not end or its first member is "]" (as in "[]...]").
std::size_t afterSet(std::string_view r, std::size_t i) {
  std::size_t j = i + 1;
  if (j < r.size() && r[j] == '^') ++j;
  if (j < r.size() && r[j] == ']') return std::string_view::npos;
  for (int sets = 1; sets > 0;) {
    if (j >= r.size()) return std::string_view::npos;
    if (r[j] == '\\') {
      j = afterEscape(r, j);
      if (j == std::string_view::npos) return j;
      continue;
    }
    if (r[j] == '[') ++sets;
    if (r[j] == ']') --sets;
    ++j;
  }
  return j;
}

// True when nothing in `r` can make a leading literal optional: no "|" at
// the top level and no syntax that changes how later text reads.
bool leadingLiteralsRequired(std::string_view r) {
  int depth = 0;
  std::size_t i = 0;
  while (i < r.size()) {
    const char c = r[i];
    if (c == '\\') {
      i = afterEscape(r, i);
      if (i == std::string_view::npos) return false;
      continue;
    }
    if (c == '[') {
      i = afterSet(r, i);
      if (i == std::string_view::npos) return false;
      continue;
    }
    if (c == '(') {
      if (i + 1 < r.size() && r[i + 1] == '?') {
        if (i + 2 >= r.size() ||
            std::string_view(":=!<>").find(r[i + 2]) == std::string_view::npos) {
          return false;  // inline flags, comments
        }
      }
      ++depth;
    } else if (c == ')') {
      if (--depth < 0) return false;
    } else if (c == '|' && depth == 0) {
      return false;
    }
    ++i;
  }
  return true;
}

}  // namespace

std::vector<PrefixChar> requiredPrefix(std::string_view regex) {
  std::vector<PrefixChar> prefix;
  std::size_t i = 0;
  for (; i < regex.size(); ++i) {
    if (regex[i] == '.') {
      prefix.push_back({'.', true});
    } else if (isPlainLiteral(regex[i])) {
      prefix.push_back({regex[i], false});
    } else {
      break;
    }
  }
  if (prefix.empty()) return prefix;
  if (i < regex.size() && std::string_view("?*+{").find(regex[i]) != std::string_view::npos) {
    prefix.pop_back();  // the quantifier makes the last position optional
  }
  if (!leadingLiteralsRequired(regex)) prefix.clear();
  return prefix;
}

PrefixVerdict checkPrefix(const std::vector<PrefixChar>& prefix, std::string_view input) noexcept {
  for (std::size_t k = 0; k < prefix.size(); ++k) {
    if (k == input.size()) return PrefixVerdict::noMatch;
    const auto byte = static_cast<unsigned char>(input[k]);
    if (byte >= 0x80 || byte < 0x20 || byte == 0x7F) return PrefixVerdict::undecided;
    if (!prefix[k].any && lower(static_cast<char>(byte)) != lower(prefix[k].literal)) {
      return PrefixVerdict::noMatch;
    }
  }
  return PrefixVerdict::undecided;
}

}  // namespace zorlan::routing
