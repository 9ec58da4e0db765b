// zorlan/Time/TimePoints.hpp: the report's exact lines (laid out from marks with chosen times), the
// switches, resets, and the trace document.
#include <gtest/gtest.h>

#include <boost/json/parse.hpp>
#include <map>
#include <string>
#include <vector>

#include "Time/TimePointsLayout.hpp"
#include "support/LogCapture.hpp"
#include "zorlan/Time/TimePoints.hpp"

namespace zorlan {
namespace {

using Ref = TimePoints::Reference;
using Lines = std::vector<std::string>;

const std::vector<TimePoints::Mark> kMarks = {
    // Given out of order: the report lists them by time.
    {1.23456, "first frame", Ref::one},       {0.0, "play tapped", Ref::one},
    {0.0125, "manifest requested", Ref::two}, {0.5125, "manifest loaded", Ref::two},
    {0.25, "view shown", Ref::none},          {0.75, "ad skipped", Ref::four},
};

TEST(TimePointsLayoutTest, ReportListsMarksInLanesThenInfosThenOneSummaryPerLane) {
  const Lines expected = {
      "P ------------------- VideoStartup -----------------------------------",
      "P [      0.0 ms]   o      one: play tapped",
      "P [     12.5 ms]   | o    two: manifest requested",
      "P [    250.0 ms] o | |    none: view shown",
      "P [    512.5 ms]   | *    two: manifest loaded",
      "P [    750.0 ms]   |   o  four: ad skipped",
      "P [   1234.6 ms]   *      one: first frame",
      "P [INFO] cdn: edge-3",
      "P [INFO] bitrate: 4500",
      "P [SUM] --- [1.235] --- SUMMARIES -----------",
      "P [SUM] 1:  [1.235] : [play tapped -> first frame]",
      "P [SUM] 2:  [0.500] : [manifest requested -> manifest loaded]",
      "P [SUM] 3:  [0.000] : [ad skipped -> ad skipped]",
  };
  EXPECT_EQ(detail::timePointsReport("VideoStartup", "P", kMarks, {"cdn: edge-3", "bitrate: 4500"}),
            expected);
  EXPECT_EQ(detail::timePointsReport("Default", "P", {}, {"ignored"}),
            Lines{"P No time points recorded for Default"});
}

TEST(TimePointsLayoutTest, TraceHasOneTrackPerLaneAMarkEventPerMarkAndASpanPerSummary) {
  const auto trace = boost::json::parse(detail::timePointsTrace("VideoStartup", kMarks, {"cdn"}));
  std::map<std::string, std::int64_t> laneTid;
  std::map<std::int64_t, std::vector<std::string>> marksByTid;
  std::vector<std::string> spans;
  for (const auto& value : trace.at("traceEvents").as_array()) {
    const auto& event = value.as_object();
    const std::string ph(event.at("ph").as_string());
    const std::string name(event.at("name").as_string());
    const std::int64_t tid = event.at("tid").as_int64();
    if (ph == "M" && name == "thread_name") {
      laneTid[std::string(event.at("args").at("name").as_string())] = tid;
    } else if (ph == "i") {
      marksByTid[tid].push_back(name + "@" + std::to_string(event.at("ts").as_int64()));
    } else if (ph == "X") {
      spans.push_back(name + "@" + std::to_string(event.at("ts").as_int64()) + "+" +
                      std::to_string(event.at("dur").as_int64()));
    }
  }
  ASSERT_EQ(laneTid.size(), 4u);  // none, one, two, four
  EXPECT_EQ(marksByTid[laneTid["one"]], (Lines{"play tapped@0", "first frame@1234560"}));
  EXPECT_EQ(marksByTid[laneTid["two"]],
            (Lines{"manifest requested@12500", "manifest loaded@512500"}));
  EXPECT_EQ(marksByTid[laneTid["none"]], Lines{"view shown@250000"});
  EXPECT_EQ(spans, (Lines{"[play tapped -> first frame]@0+1234560",
                          "[manifest requested -> manifest loaded]@12500+500000",
                          "[ad skipped -> ad skipped]@750000+0"}));
  EXPECT_EQ(trace.at("otherData").at("infos").as_array().size(), 1u);
}

class TimePointsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    TimePoints::reset();
    TimePoints::setTimePointLoggingEnabled(true);
  }
  void TearDown() override {
    TimePoints::disableTimePointLogging({id, other});
    TimePoints::setTimePointLoggingEnabled(false);
    TimePoints::reset();
  }
  const TimePoints::Identifier id = TimePoints::Identifier::videoStartup();
  const TimePoints::Identifier other{"Other"};
};

TEST_F(TimePointsTest, ReportGoesToTheSharedCategoryAtDebugFromTheRegistrysFixedLocation) {
  testing::LogCapture capture;
  TimePoints::setTimePoint(id, "tapped", Ref::one);
  TimePoints::setTimePoint(id, "frame", Ref::one);
  TimePoints::addTimePointInfo(id, "cdn: edge-3");
  TimePoints::printTimePointsWithLanes(id, "[S]");
  const auto events = capture.events();
  ASSERT_EQ(events.size(), 6u);
  EXPECT_EQ(events[0].message,
            "[S] ------------------- VideoStartup -----------------------------------");
  EXPECT_EQ(events[1].message.substr(events[1].message.size() - 14), "o  one: tapped");
  EXPECT_EQ(events[3].message, "[S] [INFO] cdn: edge-3");
  EXPECT_EQ(events[5].message.substr(0, 12), "[S] [SUM] 1:");
  for (const auto& event : events) {
    EXPECT_EQ(event.level, LoggerLevel::debug);
    EXPECT_EQ(event.file, "TimeMeasurement/TimePoints");
    EXPECT_EQ(event.function, "printTimePointsWithLanes(for:prefix:)");
  }
  const auto marks = TimePoints::marks(id);
  ASSERT_EQ(marks.size(), 2u);
  EXPECT_LE(marks[0].time, marks[1].time);
  EXPECT_EQ(TimePoints::infos(id), Lines{"cdn: edge-3"});
}

TEST_F(TimePointsTest, SwitchesDecideWhatIsRecordedAndReported) {
  testing::LogCapture capture;
  TimePoints::setTimePointLoggingEnabled(false);
  TimePoints::setTimePoint(id, "off", Ref::one);
  TimePoints::printTimePointsWithLanes(id, "P");
  EXPECT_TRUE(TimePoints::marks(id).empty());
  EXPECT_TRUE(capture.messages().empty());

  TimePoints::setTimePointLoggingEnabled(true);
  TimePoints::enableTimePointLogging({other});
  TimePoints::setTimePoint(id, "not enabled", Ref::one);
  TimePoints::setTimePoint(other, "enabled", Ref::two);
  TimePoints::printTimePointsWithLanes(id, "P");
  EXPECT_EQ(capture.messages(), Lines{"P No time points recorded for VideoStartup"});
  EXPECT_EQ(TimePoints::marks(other).size(), 1u);

  TimePoints::disableTimePointLogging({other});  // empty set: every identifier records
  TimePoints::setTimePoint(id, "any", Ref::one);
  EXPECT_EQ(TimePoints::marks(id).size(), 1u);

  TimePoints::reset(other);
  EXPECT_TRUE(TimePoints::marks(other).empty());
  EXPECT_EQ(TimePoints::marks(id).size(), 1u);
  TimePoints::addTimePointInfo(id, "info");
  TimePoints::reset();
  EXPECT_TRUE(TimePoints::marks(id).empty());
  EXPECT_TRUE(TimePoints::infos(id).empty());
  TimePoints::setTimePoint(id, "after reset", Ref::one);  // the entry is made anew
  EXPECT_EQ(TimePoints::marks(id).size(), 1u);
}

TEST_F(TimePointsTest, WriteTraceReportsAnUnwritablePath) {
  EXPECT_THROW(TimePoints::writeTrace(id, "/nonexistent-folder/trace.json"),
               std::filesystem::filesystem_error);
}

}  // namespace
}  // namespace zorlan
