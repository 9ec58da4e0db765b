#include "TimePointsCommand.hpp"

#include <algorithm>
#include <boost/json/parse.hpp>
#include <boost/json/value.hpp>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace zf {
namespace {

int gExitCode = 0;

struct Options {
  std::string path;
  std::string svg;
};

struct Mark {
  double ms = 0;
  std::string name;
};
struct Span {
  double ms = 0;
  double durationMs = 0;
  std::string name;
};
struct Lane {
  std::string name;
  std::int64_t sortIndex = 0;
  std::vector<Mark> marks;
  std::vector<Span> spans;
};
struct Trace {
  std::string title = "time points";
  std::vector<Lane> lanes;  // in display order
  double endMs = 0;
};

std::optional<double> number(const boost::json::object& o, const char* key) {
  const auto* v = o.if_contains(key);
  if (!v || !v->is_number()) return std::nullopt;
  return v->to_number<double>();
}
std::optional<std::string> text(const boost::json::value* v) {
  if (!v || !v->is_string()) return std::nullopt;
  return std::string(v->as_string());
}

// The lanes of a trace document; events of other kinds, or missing the
// fields read here, are skipped.
std::optional<Trace> readTrace(const boost::json::value& document, std::string& error) {
  const boost::json::array* events = nullptr;
  if (document.is_array()) {
    events = &document.as_array();
  } else if (document.is_object() && document.as_object().contains("traceEvents") &&
             document.as_object().at("traceEvents").is_array()) {
    events = &document.as_object().at("traceEvents").as_array();
  } else {
    error = "no \"traceEvents\" array";
    return std::nullopt;
  }
  Trace trace;
  std::map<std::int64_t, Lane> lanes;
  for (const auto& value : *events) {
    if (!value.is_object()) continue;
    const auto& event = value.as_object();
    const auto ph = text(event.if_contains("ph"));
    const auto name = text(event.if_contains("name"));
    const auto tid = number(event, "tid");
    if (!ph || !name || !tid) continue;
    const auto key = static_cast<std::int64_t>(*tid);
    if (*ph == "M") {
      const auto* args = event.if_contains("args");
      if (!args || !args->is_object()) continue;
      if (*name == "process_name") {
        if (auto title = text(args->as_object().if_contains("name"))) trace.title = *title;
      } else if (*name == "thread_name") {
        if (auto lane = text(args->as_object().if_contains("name"))) lanes[key].name = *lane;
      } else if (*name == "thread_sort_index") {
        if (auto index = number(args->as_object(), "sort_index")) {
          lanes[key].sortIndex = static_cast<std::int64_t>(*index);
        }
      }
      continue;
    }
    const auto ts = number(event, "ts");
    if (!ts) continue;
    if (*ph == "i" || *ph == "I") {
      lanes[key].marks.push_back({*ts / 1000.0, *name});
      trace.endMs = std::max(trace.endMs, *ts / 1000.0);
    } else if (*ph == "X") {
      const double dur = number(event, "dur").value_or(0);
      lanes[key].spans.push_back({*ts / 1000.0, dur / 1000.0, *name});
      trace.endMs = std::max(trace.endMs, (*ts + dur) / 1000.0);
    }
  }
  for (auto& [tid, lane] : lanes) {
    if (lane.marks.empty() && lane.spans.empty()) continue;
    if (lane.name.empty()) lane.name = "tid " + std::to_string(tid);
    std::stable_sort(lane.marks.begin(), lane.marks.end(),
                     [](const Mark& a, const Mark& b) { return a.ms < b.ms; });
    trace.lanes.push_back(std::move(lane));
  }
  std::stable_sort(trace.lanes.begin(), trace.lanes.end(),
                   [](const Lane& a, const Lane& b) { return a.sortIndex < b.sortIndex; });
  return trace;
}

std::string milliseconds(double ms) {
  char buffer[48];
  std::snprintf(buffer, sizeof buffer, "%10.3f ms", ms);
  return buffer;
}

void printTrace(const Trace& trace) {
  std::size_t marks = 0;
  std::size_t spans = 0;
  for (const Lane& lane : trace.lanes) {
    marks += lane.marks.size();
    spans += lane.spans.size();
  }
  std::cout << trace.title << ": " << trace.lanes.size() << " lanes, " << marks << " marks, "
            << spans << " spans\n";
  for (const Lane& lane : trace.lanes) {
    std::cout << "lane " << lane.name << "\n";
    for (const Mark& mark : lane.marks) {
      std::cout << "  mark " << milliseconds(mark.ms) << "  " << mark.name << "\n";
    }
    for (const Span& span : lane.spans) {
      std::cout << "  span " << milliseconds(span.ms) << " +" << milliseconds(span.durationMs)
                << "  " << span.name << "\n";
    }
  }
}

// Text made safe for XML 1.0: markup characters escaped, control characters
// (which XML cannot hold) replaced by '?'.
std::string xml(const std::string& in) {
  std::string out;
  for (char c : in) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      case '\'':
        out += "&apos;";
        break;
      default:
        if (static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\n') {
          out += '?';
        } else {
          out += c;
        }
    }
  }
  return out;
}

std::string fixed(double v) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.1f", v);
  return buffer;
}

std::string svg(const Trace& trace) {
  constexpr double kWidth = 1000, kLeft = 120, kRight = 40, kTop = 40, kLane = 70;
  const double height = kTop + kLane * static_cast<double>(trace.lanes.size()) + 20;
  const double scale = (kWidth - kLeft - kRight) / (trace.endMs > 0 ? trace.endMs : 1.0);
  auto x = [&](double ms) { return fixed(kLeft + ms * scale); };
  std::ostringstream out;
  out << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << kWidth << "\" height=\""
      << fixed(height) << "\" viewBox=\"0 0 " << kWidth << " " << fixed(height)
      << "\" font-family=\"sans-serif\" font-size=\"11\">\n"
      << "<title>" << xml(trace.title) << "</title>\n"
      << "<text x=\"10\" y=\"22\" font-size=\"14\" font-weight=\"bold\">" << xml(trace.title)
      << " (" << xml(fixed(trace.endMs)) << " ms)</text>\n";
  double top = kTop;
  for (std::size_t i = 0; i < trace.lanes.size(); ++i, top += kLane) {
    const Lane& lane = trace.lanes[i];
    out << "<g class=\"lane\">\n"
        << "  <rect x=\"0\" y=\"" << fixed(top) << "\" width=\"" << kWidth << "\" height=\""
        << kLane << "\" fill=\"" << (i % 2 ? "#f4f4f4" : "#ffffff") << "\"/>\n"
        << "  <text x=\"10\" y=\"" << fixed(top + kLane / 2) << "\" font-weight=\"bold\">"
        << xml(lane.name) << "</text>\n";
    for (const Span& span : lane.spans) {
      const double width = std::max(span.durationMs * scale, 1.0);
      out << "  <rect class=\"span\" x=\"" << x(span.ms) << "\" y=\"" << fixed(top + 8)
          << "\" width=\"" << fixed(width) << "\" height=\"14\" fill=\"#8fb8de\"><title>"
          << xml(span.name) << "</title></rect>\n"
          << "  <text x=\"" << x(span.ms) << "\" y=\"" << fixed(top + 19) << "\">" << xml(span.name)
          << " " << fixed(span.durationMs) << " ms</text>\n";
    }
    for (std::size_t m = 0; m < lane.marks.size(); ++m) {
      const Mark& mark = lane.marks[m];
      const double labelY = top + 44 + static_cast<double>(m % 2) * 14;  // alternate rows
      out << "  <circle class=\"mark\" cx=\"" << x(mark.ms) << "\" cy=\"" << fixed(top + 34)
          << "\" r=\"5\" fill=\"#d0473c\"><title>" << xml(mark.name) << " at " << fixed(mark.ms)
          << " ms</title></circle>\n"
          << "  <text x=\"" << x(mark.ms) << "\" y=\"" << fixed(labelY) << "\">" << xml(mark.name)
          << "</text>\n";
    }
    out << "</g>\n";
  }
  out << "</svg>\n";
  return out.str();
}

void run(const Options& options) {
  std::ifstream in(options.path, std::ios::binary);
  if (!in) {
    std::cerr << "zf timepoints: cannot open " << options.path << "\n";
    gExitCode = 2;
    return;
  }
  const std::string bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  boost::system::error_code failed;
  const boost::json::value document = boost::json::parse(bytes, failed);
  std::string error;
  std::optional<Trace> trace;
  if (failed) {
    error = "not JSON (" + failed.message() + ")";
  } else {
    trace = readTrace(document, error);
  }
  if (!trace) {
    std::cerr << "zf timepoints: " << options.path << " is not a trace: " << error << "\n";
    gExitCode = 1;
    return;
  }
  printTrace(*trace);
  if (options.svg.empty()) return;
  std::ofstream out(options.svg, std::ios::binary | std::ios::trunc);
  out << svg(*trace);
  out.flush();
  if (!out) {
    std::cerr << "zf timepoints: cannot write " << options.svg << "\n";
    gExitCode = 2;
  }
}

}  // namespace

void addTimePointsCommand(CLI::App& app) {
  auto options = std::make_shared<Options>();
  auto* command = app.add_subcommand(
      "timepoints", "Print the lanes of a time points trace (Trace Event Format JSON)");
  command->add_option("file", options->path, "The trace file")->required();
  command->add_option("--svg", options->svg, "Also draw the lanes, marks and spans as SVG");
  command->callback([options] { run(*options); });
}

int timePointsExitCode() { return gExitCode; }

}  // namespace zf
