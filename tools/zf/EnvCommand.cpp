#include "EnvCommand.hpp"

#include <iostream>
#include <string>
#include <vector>

#include "zorlan/Environment/Device.hpp"
#include "zorlan/Environment/HTTPStatusClasses.hpp"
#include "zorlan/Environment/ProcessInfo.hpp"
#include "zorlan/Environment/ProcessInfoValue.hpp"

namespace zf {
namespace {

std::string join(const std::vector<int>& codes) {
  std::string out;
  for (int code : codes) out += (out.empty() ? "" : " ") + std::to_string(code);
  return out;
}

std::string bytes(const std::optional<std::uint64_t>& value) {
  return value ? std::to_string(*value) + " bytes" : "unknown";
}

void runEnv() {
  using namespace zorlan;
  std::cout << "launch keys:\n";
  bool any = false;
  for (ProcessInfoKeys key : kAllProcessInfoKeys) {
    if (auto value = environmentValue(key)) {
      std::cout << "  " << rawValue(key) << "=" << *value << '\n';
      any = true;
    }
  }
  if (!any) std::cout << "  (none set)\n";
  std::cout << "mock services: " << (shouldMockServices() ? "yes" : "no") << '\n'
            << "running for previews: " << (isRunningForPreviews() ? "yes" : "no") << '\n'
            << "disk available: " << bytes(device::availableDiskCapacity()) << '\n'
            << "disk total: " << bytes(device::totalDiskCapacity()) << '\n'
            << "configuration addresses:\n";
  for (auto value :
       {ProcessInfoValue::velmorConfigOverrideURL, ProcessInfoValue::quenConfigOverrideURL}) {
    std::cout << "  " << rawValue(value) << ": " << configurationAddress(value) << '\n';
  }
  std::cout << "test streams:\n";
  for (auto url : {PlaybackURL::basicNonDRMAsset, PlaybackURL::containsMultipleAudioSubtitles}) {
    std::cout << "  " << rawValue(url) << '\n';
  }
  std::cout << "status classes:\n"
            << "  information: " << join(HTTPStatusClasses::informationCodes()) << '\n'
            << "  success: " << join(HTTPStatusClasses::successCodes()) << '\n'
            << "  redirect: " << join(HTTPStatusClasses::redirectCodes()) << '\n'
            << "  client error: " << join(HTTPStatusClasses::clientErrorCodes()) << '\n'
            << "  server error: " << join(*HTTPStatusClasses::serverErrorCodes()) << '\n';
}

}  // namespace

void addEnvCommand(CLI::App& app) {
  CLI::App* env = app.add_subcommand(
      "env", "Print the launch keys, disk capacity, configuration addresses and status classes");
  env->callback(runEnv);
}

}  // namespace zf
