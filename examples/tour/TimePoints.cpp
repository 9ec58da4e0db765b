// Stop of the tour about time points: a simulated video start-up measured on two lanes.
#include "zorlan/Time/TimePoints.hpp"

#include <chrono>
#include <filesystem>
#include <memory>
#include <thread>

#include "Tour.hpp"
#include "zorlan/Logging/Log.hpp"

namespace tour {

using namespace zorlan;

void timePoints() {
  heading("Time points: a video start-up on two lanes");
  // The report goes to the shared category at debug level: let it through to the console.
  Log::setup(std::nullopt, BehaviorReader<std::shared_ptr<const LogConfig>>::just(
                               std::make_shared<UniformLogConfig>(LogLevelConfig::all)));
  TimePoints::setTimePointLoggingEnabled(true);
  const auto id = TimePoints::Identifier::videoStartup();
  using Ref = TimePoints::Reference;
  const auto work = [](int ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); };

  TimePoints::setTimePoint(id, "play tapped", Ref::one);
  work(5);
  TimePoints::setTimePoint(id, "manifest requested", Ref::two);
  work(20);
  TimePoints::setTimePoint(id, "manifest loaded", Ref::two);
  TimePoints::addTimePointInfo(id, "cdn: edge-3");
  work(10);
  TimePoints::setTimePoint(id, "first frame", Ref::one);

  std::cout.flush();
  TimePoints::printTimePointsWithLanes(id, "[Startup]");
  const auto trace = std::filesystem::temp_directory_path() / "zorlan-tour-startup.json";
  TimePoints::writeTrace(id, trace);
  std::cout << "  trace for Perfetto or `zf timepoints`: " << trace.string() << "\n";
  TimePoints::setTimePointLoggingEnabled(false);
  TimePoints::reset();
}

}  // namespace tour
