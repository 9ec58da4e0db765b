#include "zorlan/Base/Precondition.hpp"

#include <cstdio>
#include <cstdlib>

namespace zorlan::detail {

void stopProcess(std::string_view kind, std::string_view message, SourceLocation where) noexcept {
  std::fprintf(stderr, "%.*s: %.*s\n  at %s:%d in %s\n", static_cast<int>(kind.size()), kind.data(),
               static_cast<int>(message.size()), message.data(), where.file_name(), where.line(),
               where.function_name());
  std::fflush(stderr);
  std::abort();
}

}  // namespace zorlan::detail
