#include "zorlan/Time/TimePoints.hpp"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <system_error>
#include <unordered_map>
#include <unordered_set>

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

constexpr std::size_t kLaneCount = 6;  // none, one ... five

using Mark = TimePoints::Mark;
using Reference = TimePoints::Reference;

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

std::size_t laneIndex(Reference reference) { return static_cast<std::size_t>(reference); }

std::string formatSeconds(double seconds) {
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%.3f", seconds);
  return buffer;
}

// The marks in time order; equal times keep the order they were set in.
std::vector<Mark> sortedMarks(std::vector<Mark> marks) {
  std::stable_sort(marks.begin(), marks.end(),
                   [](const Mark& a, const Mark& b) { return a.time < b.time; });
  return marks;
}

// Per lane, the positions of its first and last mark among the sorted marks.
struct LaneExtent {
  std::optional<std::size_t> first;
  std::size_t last = 0;
};
std::array<LaneExtent, kLaneCount> laneExtents(const std::vector<Mark>& marks) {
  std::array<LaneExtent, kLaneCount> lanes{};
  for (std::size_t i = 0; i < marks.size(); ++i) {
    LaneExtent& lane = lanes[laneIndex(marks[i].reference)];
    if (!lane.first) lane.first = i;
    lane.last = i;
  }
  return lanes;
}

struct Span {
  Reference reference;
  const Mark* first;
  const Mark* last;
  std::string label() const { return "[" + first->description + " -> " + last->description + "]"; }
  double duration() const { return last->time - first->time; }
};

// One span per lane one ... five in use, in lane order.
std::vector<Span> spans(const std::vector<Mark>& marks) {
  const auto lanes = laneExtents(marks);
  std::vector<Span> out;
  for (std::size_t lane = 1; lane < kLaneCount; ++lane) {
    if (!lanes[lane].first) continue;
    out.push_back({static_cast<Reference>(lane), &marks[*lanes[lane].first],
                   &marks[lanes[lane].last]});
  }
  return out;
}

std::vector<std::string> reportLines(const std::string& rawId, std::string_view prefix,
                                     const Entry* entry) {
  const std::string p(prefix);
  if (!entry || entry->marks.empty()) return {p + " No time points recorded for " + rawId};
  const std::vector<Mark> marks = sortedMarks(entry->marks);
  const auto lanes = laneExtents(marks);
  std::vector<std::string> lines;
  lines.push_back(p + " ------------------- " + rawId + " -----------------------------------");
  const double origin = marks.front().time;
  for (std::size_t i = 0; i < marks.size(); ++i) {
    char time[48];
    std::snprintf(time, sizeof time, " [%9.1f ms] ", (marks[i].time - origin) * 1000.0);
    std::string line = p + time;
    const std::size_t own = laneIndex(marks[i].reference);
    for (std::size_t lane = 0; lane < kLaneCount; ++lane) {
      if (!lanes[lane].first) continue;
      if (lane == own) {
        line += i == *lanes[lane].first ? "o " : "* ";
      } else {
        line += (*lanes[lane].first < i && i < lanes[lane].last) ? "| " : "  ";
      }
    }
    line += ' ';
    line += rawValue(marks[i].reference);
    line += ": ";
    line += marks[i].description;
    lines.push_back(std::move(line));
  }
  for (const auto& info : entry->infos) lines.push_back(p + " [INFO] " + info);
  lines.push_back(p + " [SUM] -" + "-- [" + formatSeconds(marks.back().time - origin) +
                  "] --- SUMMARIES -----------");
  int index = 0;
  for (const Span& span : spans(marks)) {
    lines.push_back(p + " [SUM] " + std::to_string(++index) + ": " + " [" +
                    formatSeconds(span.duration()) + "] " + ": " + span.label());
  }
  return lines;
}

std::int64_t microseconds(double seconds) { return std::llround(seconds * 1e6); }

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
    r.forgetLast();
    r.entries.erase(identifier.rawValue);
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
    return reportLines(identifier.rawValue, prefix, r.find(identifier.rawValue));
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
  return sortedMarks(std::move(copy));
}

std::vector<std::string> TimePoints::infos(const Identifier& identifier) {
  Registry& r = registry();
  return r.queue.sync([&] {
    const Entry* entry = r.find(identifier.rawValue);
    return entry ? entry->infos : std::vector<std::string>();
  });
}

std::string TimePoints::traceJSON(const Identifier& identifier) {
  const std::vector<Mark> all = marks(identifier);
  namespace json = boost::json;
  json::array events;
  json::object other;
  other["identifier"] = identifier.rawValue;
  json::array infoLines;
  for (const auto& info : infos(identifier)) infoLines.emplace_back(info);
  other["infos"] = std::move(infoLines);
  if (!all.empty()) {
    const double origin = all.front().time;
    other["startSecondsSince1970"] = std::to_string(origin);
    events.push_back(json::object{{"name", "process_name"},
                                  {"ph", "M"},
                                  {"pid", 1},
                                  {"tid", 0},
                                  {"args", json::object{{"name", identifier.rawValue}}}});
    const auto lanes = laneExtents(all);
    for (std::size_t lane = 0; lane < kLaneCount; ++lane) {
      if (!lanes[lane].first) continue;
      const auto tid = static_cast<std::int64_t>(lane + 1);
      const std::string name(rawValue(static_cast<Reference>(lane)));
      events.push_back(json::object{{"name", "thread_name"},
                                    {"ph", "M"},
                                    {"pid", 1},
                                    {"tid", tid},
                                    {"args", json::object{{"name", name}}}});
      events.push_back(json::object{{"name", "thread_sort_index"},
                                    {"ph", "M"},
                                    {"pid", 1},
                                    {"tid", tid},
                                    {"args", json::object{{"sort_index", tid}}}});
    }
    for (const Span& span : spans(all)) {
      events.push_back(
          json::object{{"name", span.label()},
                       {"cat", "span"},
                       {"ph", "X"},
                       {"pid", 1},
                       {"tid", static_cast<std::int64_t>(laneIndex(span.reference) + 1)},
                       {"ts", microseconds(span.first->time - origin)},
                       {"dur", microseconds(span.last->time - origin) -
                                   microseconds(span.first->time - origin)},
                       {"args", json::object{{"seconds", formatSeconds(span.duration())}}}});
    }
    for (const Mark& mark : all) {
      events.push_back(
          json::object{{"name", mark.description},
                       {"cat", "mark"},
                       {"ph", "i"},
                       {"s", "t"},
                       {"pid", 1},
                       {"tid", static_cast<std::int64_t>(laneIndex(mark.reference) + 1)},
                       {"ts", microseconds(mark.time - origin)}});
    }
  }
  json::object trace{{"traceEvents", std::move(events)},
                     {"displayTimeUnit", "ms"},
                     {"otherData", std::move(other)}};
  return json::serialize(trace);
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
