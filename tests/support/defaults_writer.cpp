// The reliability test's child: writes values to a defaults suite in a loop
// and acknowledges each write on standard output, as the 8 bytes of its
// number, once `set` has returned. The test kills it at random moments.
// Usage: defaults_writer DIRECTORY SUITE FIRST-NUMBER
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>

#include "support/DefaultsWriterValues.hpp"
#include "zorlan/Platform/Defaults.hpp"

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: defaults_writer DIRECTORY SUITE FIRST-NUMBER\n");
    return 2;
  }
  auto defaults = zorlan::Defaults::open(argv[2], argv[1]);
  for (std::int64_t n = std::stoll(argv[3]);; ++n) {
    defaults->set(zorlan::testing::writerKey(n), zorlan::testing::writerValue(n));
    if (write(STDOUT_FILENO, &n, sizeof n) != static_cast<ssize_t>(sizeof n)) return 0;
  }
}
