// The extended-attribute calls behind URL's refresh date, as a table that
// tests replace (to count writes or to act as a file system that refuses
// user attributes). The entries have the Linux calls' signatures and report
// failure as they do: -1 with errno set.
#pragma once

#include <sys/types.h>

#include <cstddef>

namespace zorlan::detail {

struct ExtendedAttributeCalls {
  ssize_t (*get)(const char* path, const char* name, void* value, std::size_t size);
  int (*set)(const char* path, const char* name, const void* value, std::size_t size, int flags);
  int (*remove)(const char* path, const char* name);
};

// The calls in use, getxattr, setxattr and removexattr unless replaced. Not
// synchronised: replace them only while no other thread uses a refresh date.
ExtendedAttributeCalls& extendedAttributeCalls() noexcept;

}  // namespace zorlan::detail
