// The time points report and trace, composed from a list of marks: pure
// functions, so their layout is tested on marks with chosen times.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "zorlan/Time/TimePoints.hpp"

namespace zorlan::detail {

// The report's lines for the marks (any order; listed in time order) and
// information lines of the identifier `rawId`, as `TimePoints` documents.
std::vector<std::string> timePointsReport(std::string_view rawId, std::string_view prefix,
                                          std::vector<TimePoints::Mark> marks,
                                          const std::vector<std::string>& infos);

// The Trace Event Format document of those marks.
std::string timePointsTrace(std::string_view rawId, std::vector<TimePoints::Mark> marks,
                            const std::vector<std::string>& infos);

}  // namespace zorlan::detail
