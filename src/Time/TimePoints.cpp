#include "zorlan/Time/TimePoints.hpp"

#include <algorithm>
#include <fstream>
#include <system_error>
#include <unordered_map>
#include <unordered_set>

#include "Time/TimePointsLayout.hpp"
#include "zorlan/Base/SourceLocation.hpp"
#include "zorlan/Logging/Log.hpp"
#include "zorlan/Platform/Date.hpp"
#include "zorlan/Scheduling/Queues.hpp"

namespace zorlan {
namespace {

// The sender named in the report's events.
struct TimePointsReport {};

constexpr const char* kFile = "TimeMeasurement/TimePoints";
constexpr const char* kFunction = "printTimePointsWithLanes(for:prefix:)";
constexpr int kReportLine = 139;

using Mark = TimePoints::Mark;

struct Entry {
  std::vector<Mark> marks;
  std::vector<std::string> infos;
};

// Everything behind the registry's queue. Made once, never destroyed, so
// marks may be set from static destructors and other threads at exit.
struct Registry {
  DispatchQueue queue = queues::serial("TimePoints.sync", DispatchQoS::unspecified);
  bool enabled = false;
  std::unordered_set<std::string> enabledIdentifiers;
  std::unordered_map<std::string, Entry> entries;
  // The entry marked last: marks of one identifier usually come in runs, and
  // the string compare saves hashing the identifier. Map nodes do not move;
  // cleared whenever an entry is erased.
  const std::string* lastKey = nullptr;
  Entry* lastEntry = nullptr;

  Entry& entry(const std::string& key) {
    if (lastKey && *lastKey == key) return *lastEntry;
    auto it = entries.try_emplace(key).first;
    lastKey = &it->first;
    lastEntry = &it->second;
    return it->second;
  }
  const Entry* find(const std::string& key) const {
    auto it = entries.find(key);
    return it == entries.end() ? nullptr : &it->second;
  }
  void forgetLast() {
    lastKey = nullptr;
    lastEntry = nullptr;
  }
};

Registry& registry() {
  static Registry* const instance = new Registry();
  return *instance;
}

}  // namespace

void TimePoints::setTimePointLoggingEnabled(bool enabled) {
  Registry& r = registry();
  r.queue.sync([&] { r.enabled = enabled; });
}

void TimePoints::enableTimePointLogging(const std::vector<Identifier>& identifiers) {
  Registry& r = registry();
  r.queue.sync([&] {
    for (const auto& id : identifiers) r.enabledIdentifiers.insert(id.rawValue);
  });
}

void TimePoints::disableTimePointLogging(const std::vector<Identifier>& identifiers) {
  Registry& r = registry();
  r.queue.sync([&] {
    for (const auto& id : identifiers) r.enabledIdentifiers.erase(id.rawValue);
  });
}

void TimePoints::setTimePoint(const Identifier& identifier, std::string description,
                              Reference start) {
  Registry& r = registry();
  r.queue.sync([&] {
    if (!r.enabled) return;
    if (!r.enabledIdentifiers.empty() && !r.enabledIdentifiers.contains(identifier.rawValue)) {
      return;
    }
    r.entry(identifier.rawValue)
        .marks.push_back({Date::now().timeIntervalSince1970(), std::move(description), start});
  });
}

void TimePoints::addTimePointInfo(const Identifier& identifier, std::string info) {
  Registry& r = registry();
  r.queue.sync([&] { r.entry(identifier.rawValue).infos.push_back(std::move(info)); });
}

void TimePoints::reset(const Identifier& identifier) {
  Registry& r = registry();
  r.queue.sync([&] {
    // Kept with its storage: an identifier reset is usually measured again
    // (the next video start-up), and its marks then need no new memory.
    auto it = r.entries.find(identifier.rawValue);
    if (it == r.entries.end()) return;
    it->second.marks.clear();
    it->second.infos.clear();
  });
}

void TimePoints::reset() {
  Registry& r = registry();
  r.queue.sync([&] {
    r.forgetLast();
    r.entries.clear();
  });
}

void TimePoints::printTimePointsWithLanes(const Identifier& identifier, std::string_view prefix) {
  Registry& r = registry();
  std::vector<std::string> lines = r.queue.sync([&] {
    if (!r.enabled) return std::vector<std::string>();
    const Entry* entry = r.find(identifier.rawValue);
    if (!entry) return detail::timePointsReport(identifier.rawValue, prefix, {}, {});
    return detail::timePointsReport(identifier.rawValue, prefix, entry->marks, entry->infos);
  });
  for (const auto& line : lines) {
    Log::shared().debug(TimePointsReport{}, line, SourceLocation(kFile, kReportLine, kFunction));
  }
}

std::vector<TimePoints::Mark> TimePoints::marks(const Identifier& identifier) {
  Registry& r = registry();
  std::vector<Mark> copy = r.queue.sync([&] {
    const Entry* entry = r.find(identifier.rawValue);
    return entry ? entry->marks : std::vector<Mark>();
  });
  std::stable_sort(copy.begin(), copy.end(),
                   [](const Mark& a, const Mark& b) { return a.time < b.time; });
  return copy;
}

std::vector<std::string> TimePoints::infos(const Identifier& identifier) {
  Registry& r = registry();
  return r.queue.sync([&] {
    const Entry* entry = r.find(identifier.rawValue);
    return entry ? entry->infos : std::vector<std::string>();
  });
}

std::string TimePoints::traceJSON(const Identifier& identifier) {
  return detail::timePointsTrace(identifier.rawValue, marks(identifier), infos(identifier));
}

void TimePoints::writeTrace(const Identifier& identifier, const std::filesystem::path& path) {
  const std::string text = traceJSON(identifier);
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  if (out) out.write(text.data(), static_cast<std::streamsize>(text.size()));
  if (out) out.flush();
  if (!out) {
    throw std::filesystem::filesystem_error("cannot write the time points trace", path,
                                            std::make_error_code(std::errc::io_error));
  }
}

std::string_view rawValue(TimePoints::Reference reference) noexcept {
  static constexpr std::string_view names[] = {"none", "one", "two", "three", "four", "five"};
  return names[static_cast<std::size_t>(reference)];
}

template <>
std::optional<TimePoints::Reference> fromRawValue<TimePoints::Reference>(std::string_view raw) {
  static constexpr TimePoints::Reference all[] = {
      TimePoints::Reference::none,  TimePoints::Reference::one,  TimePoints::Reference::two,
      TimePoints::Reference::three, TimePoints::Reference::four, TimePoints::Reference::five};
  return findByRawValue(all, raw);
}

}  // namespace zorlan
