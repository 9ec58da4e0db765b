// TimePoints: a process-wide registry of named time measurements for
// diagnosing latency (video start-up, say). Code marks moments under an
// identifier, each in one of five reference lanes (or none), attaches lines
// of information, and asks for a report laid out in lanes with a summary of
// each lane's span, written to `Log::shared()` at debug level. A trace file
// of the same marks opens in Perfetto or a browser's tracing page.
//
//   TimePoints::setTimePointLoggingEnabled(true);
//   auto id = TimePoints::Identifier::videoStartup();
//   TimePoints::setTimePoint(id, "play tapped", TimePoints::Reference::one);
//   TimePoints::setTimePoint(id, "manifest requested", TimePoints::Reference::two);
//   TimePoints::setTimePoint(id, "manifest loaded", TimePoints::Reference::two);
//   TimePoints::addTimePointInfo(id, "cdn: edge-3");
//   TimePoints::setTimePoint(id, "first frame", TimePoints::Reference::one);
//   TimePoints::printTimePointsWithLanes(id, "[Startup]");
//
// writes (times from the first mark, in milliseconds):
//
//   [Startup] ------------------- VideoStartup -----------------------------------
//   [Startup] [      0.0 ms] o    one: play tapped
//   [Startup] [     12.5 ms] | o  two: manifest requested
//   [Startup] [    240.0 ms] | *  two: manifest loaded
//   [Startup] [    800.0 ms] *    one: first frame
//   [Startup] [INFO] cdn: edge-3
//   [Startup] [SUM] --- [0.800] --- SUMMARIES -----------
//   [Startup] [SUM] 1:  [0.800] : [play tapped -> first frame]
//   [Startup] [SUM] 2:  [0.228] : [manifest requested -> manifest loaded]
//
// The layout:
// - One column per lane in use, in the order none, one ... five: a mark's
//   own column shows "o" for the lane's first mark and "*" for later ones;
//   another lane's column shows "|" while that lane is open (between its
//   first and last mark) and a blank otherwise. Marks are listed in time
//   order (equal times in the order they were set), the line ending with the
//   lane's name and the mark's description.
// - Information lines ("[INFO] ") follow the marks, in the order added.
// - The summary block's opening shows the whole span, first mark to last.
//   Each lane one ... five in use yields one summary, numbered from 1 in lane
//   order: from its first to its last mark (0.000 for a single mark),
//   labelled "[first description -> last description]". Marks without a
//   reference (`none`) are listed but open no span.
// Durations print with "%.3f" seconds (1.23456 s: 1.235).
#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "zorlan/Platform/RawValue.hpp"

namespace zorlan {

// The registry. Every operation is static and thread-safe: the registry's
// state lives behind one serial queue, "com.zorlan.TimePoints.sync", which
// every operation uses synchronously. Recording is off until
// `setTimePointLoggingEnabled(true)`.
class TimePoints {
 public:
  // Names a measurement; equal and hashed by its raw value.
  struct Identifier {
    std::string rawValue;

    // "Default" (the platform's `default`, a keyword in C++).
    static Identifier standard() { return {"Default"}; }
    // "VideoStartup".
    static Identifier videoStartup() { return {"VideoStartup"}; }

    friend bool operator==(const Identifier&, const Identifier&) = default;
  };

  // The lane a mark opens or belongs to. Raw values "none", "one" ... "five".
  enum class Reference { none, one, two, three, four, five };

  // One recorded mark, as `marks` hands it out.
  struct Mark {
    double time = 0;  // seconds since 1970-01-01T00:00:00Z
    std::string description;
    Reference reference = Reference::none;
  };

  TimePoints() = delete;

  // Switches recording (and reports) on or off for every identifier.
  static void setTimePointLoggingEnabled(bool enabled);
  // Adds identifiers to, or removes them from, the enabled set. While the set
  // is not empty, only its identifiers record marks.
  static void enableTimePointLogging(const std::vector<Identifier>& identifiers);
  static void disableTimePointLogging(const std::vector<Identifier>& identifiers);

  // Records a mark now (the system date, read on the registry's queue, so
  // the marks of one identifier are in the order of their times) for
  // `identifier`: only while recording is on and, when the enabled set is
  // not empty, only for identifiers in it. Otherwise does nothing.
  static void setTimePoint(const Identifier& identifier, std::string description,
                           Reference start = Reference::none);
  // Appends a line of information for `identifier` (kept whatever the
  // switches say; printed with the report).
  static void addTimePointInfo(const Identifier& identifier, std::string info);

  // Forgets the marks and information of one identifier (keeping the memory
  // they took for the identifier's next marks), or of all (releasing it).
  static void reset(const Identifier& identifier);
  static void reset();

  // Writes the report for `identifier` (see the header comment), each line
  // starting with `prefix`, through `Log::shared()` at debug level. With no
  // marks, the one line "<prefix> No time points recorded for <raw value>".
  // Nothing at all while recording is off.
  static void printTimePointsWithLanes(const Identifier& identifier, std::string_view prefix);

  // The marks of `identifier` in time order, and its information lines in
  // the order added (empty when none).
  static std::vector<Mark> marks(const Identifier& identifier);
  static std::vector<std::string> infos(const Identifier& identifier);

  // The marks of `identifier` in the Trace Event Format (JSON), the format
  // Perfetto and browsers' tracing pages open: one process named after the
  // identifier, one track (thread) per lane in use named after the lane, an
  // instant event per mark and a complete event per summary span, times in
  // microseconds from the first mark. The first mark's date and the
  // information lines are in "otherData". With no marks: no events.
  static std::string traceJSON(const Identifier& identifier);
  // Writes `traceJSON(identifier)` to `path`, replacing the file. Throws
  // `std::filesystem::filesystem_error` when the file cannot be written.
  static void writeTrace(const Identifier& identifier, const std::filesystem::path& path);
};

// "none", "one" ... "five".
std::string_view rawValue(TimePoints::Reference reference) noexcept;
// The reference whose raw value is `raw`, or absent.
template <>
std::optional<TimePoints::Reference> fromRawValue<TimePoints::Reference>(std::string_view raw);

}  // namespace zorlan

template <>
struct std::hash<zorlan::TimePoints::Identifier> {
  std::size_t operator()(const zorlan::TimePoints::Identifier& id) const noexcept {
    return std::hash<std::string>()(id.rawValue);
  }
};
