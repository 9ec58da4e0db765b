#include "zorlan/Platform/URLError.hpp"

#include <algorithm>
#include <utility>

namespace zorlan {

URLError::URLError(Code code, std::vector<std::exception_ptr> underlying)
    : code_(code), underlying_(std::move(underlying)) {
  std::erase(underlying_, nullptr);
  description_ = "The operation couldn't be completed. (" + std::string(kDomain) + " error " +
                 std::to_string(static_cast<long>(code_)) + ".)";
}

}  // namespace zorlan
