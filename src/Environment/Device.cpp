#include "zorlan/Environment/Device.hpp"

#include <pwd.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <system_error>
#include <vector>

#include "zorlan/Base/SourceLocation.hpp"
#include "zorlan/Logging/Log.hpp"

namespace zorlan::device {
namespace {

// The sender named in the failure reports.
struct DeviceExtensions {};

constexpr const char* kFile = "Extensions/Device+Extensions";

// $HOME when set and not empty, else the home directory of the real user in
// the user database; absent when neither gives one.
std::optional<std::string> homeDirectory() {
  if (const char* home = std::getenv("HOME"); home && *home) return std::string(home);
  long suggested = ::sysconf(_SC_GETPW_R_SIZE_MAX);
  std::vector<char> buffer(suggested > 0 ? static_cast<std::size_t>(suggested) : 16384);
  passwd entry{};
  passwd* found = nullptr;
  if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found &&
      found->pw_dir && *found->pw_dir) {
    return std::string(found->pw_dir);
  }
  return std::nullopt;
}

// Queries the home directory's volume and multiplies its block count (picked
// by `blocks`) by the fragment size. `what` is "available" or "total".
template <class Blocks>
std::optional<std::uint64_t> capacity(const char* what, const char* function, Blocks blocks) {
  const std::string prefix = std::string("Could not get ") + what + " disk space - ";
  auto report = [&](const std::string& message, int line) {
    Log::shared().debug(DeviceExtensions{}, prefix + message,
                        SourceLocation(kFile, line, function));
  };
  const std::optional<std::string> home = homeDirectory();
  if (!home) {
    report("error: no home directory", __LINE__);
    return std::nullopt;
  }
  struct statvfs volume {};
  if (::statvfs(home->c_str(), &volume) != 0) {
    const int failure = errno;
    report("error: " + std::generic_category().message(failure), __LINE__);
    return std::nullopt;
  }
  std::uint64_t bytes = 0;
  if (volume.f_frsize == 0 ||
      __builtin_mul_overflow(static_cast<std::uint64_t>(blocks(volume)),
                             static_cast<std::uint64_t>(volume.f_frsize), &bytes)) {
    report("retrieved nil", __LINE__);
    return std::nullopt;
  }
  return bytes;
}

}  // namespace

std::optional<std::uint64_t> availableDiskCapacity() {
  return capacity("available", "availableDiskCapacity",
                  [](const struct statvfs& v) { return v.f_bavail; });
}

std::optional<std::uint64_t> totalDiskCapacity() {
  return capacity("total", "totalDiskCapacity", [](const struct statvfs& v) { return v.f_blocks; });
}

}  // namespace zorlan::device
