#include "Time/TimePointsLayout.hpp"

#include <algorithm>
#include <array>
#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <optional>

namespace zorlan::detail {
namespace {

constexpr std::size_t kLaneCount = 6;  // none, one ... five

using Mark = TimePoints::Mark;
using Reference = TimePoints::Reference;

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
    out.push_back(
        {static_cast<Reference>(lane), &marks[*lanes[lane].first], &marks[lanes[lane].last]});
  }
  return out;
}

}  // namespace

std::vector<std::string> timePointsReport(std::string_view rawId, std::string_view prefix,
                                          std::vector<Mark> unsorted,
                                          const std::vector<std::string>& infos) {
  const std::string p(prefix);
  const std::string id(rawId);
  if (unsorted.empty()) return {p + " No time points recorded for " + id};
  const std::vector<Mark> marks = sortedMarks(std::move(unsorted));
  const auto lanes = laneExtents(marks);
  std::vector<std::string> lines;
  lines.push_back(p + " ------------------- " + id + " -----------------------------------");
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
  for (const auto& info : infos) lines.push_back(p + " [INFO] " + info);
  lines.push_back(p + " [SUM] -" + "-- [" + formatSeconds(marks.back().time - origin) +
                  "] --- SUMMARIES -----------");
  int index = 0;
  for (const Span& span : spans(marks)) {
    lines.push_back(p + " [SUM] " + std::to_string(++index) + ": " + " [" +
                    formatSeconds(span.duration()) + "] " + ": " + span.label());
  }
  return lines;
}

namespace {
std::int64_t microseconds(double seconds) { return std::llround(seconds * 1e6); }
}  // namespace

std::string timePointsTrace(std::string_view rawId, std::vector<Mark> marks,
                            const std::vector<std::string>& infos) {
  const std::vector<Mark> all = sortedMarks(std::move(marks));
  namespace json = boost::json;
  json::array events;
  json::object other;
  other["identifier"] = std::string(rawId);
  json::array infoLines;
  for (const auto& info : infos) infoLines.emplace_back(info);
  other["infos"] = std::move(infoLines);
  if (!all.empty()) {
    const double origin = all.front().time;
    other["startSecondsSince1970"] = std::to_string(origin);
    events.push_back(json::object{{"name", "process_name"},
                                  {"ph", "M"},
                                  {"pid", 1},
                                  {"tid", 0},
                                  {"args", json::object{{"name", std::string(rawId)}}}});
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
      events.push_back(json::object{
          {"name", span.label()},
          {"cat", "span"},
          {"ph", "X"},
          {"pid", 1},
          {"tid", static_cast<std::int64_t>(laneIndex(span.reference) + 1)},
          {"ts", microseconds(span.first->time - origin)},
          {"dur", microseconds(span.last->time - origin) - microseconds(span.first->time - origin)},
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

}  // namespace zorlan::detail
