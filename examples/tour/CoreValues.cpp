// Stops of the tour about core values: fuzzy search over a catalogue, error
// summaries and versions.
#include <iomanip>
#include <optional>
#include <string>
#include <vector>

#include "Tour.hpp"
#include "zorlan/Platform/URLError.hpp"
#include "zorlan/Text/FuzzySearch.hpp"
#include "zorlan/Values/ErrorQueries.hpp"
#include "zorlan/Values/SemVer.hpp"

namespace tour {

using namespace zorlan;

namespace {

struct CatalogEntry {
  std::string title;
  bool pinned = false;  // editors want it in every result
  bool hidden = false;  // withdrawn from the catalogue
};

}  // namespace

void coreValues() {
  heading("Fuzzy search over a catalogue");
  const std::vector<CatalogEntry> catalog = {
      {"Midnight Express"},    {"The Midnight Sky"},
      {"Mid-Century Modern"},  {"Minding the Gap", false, true},
      {"Night of the Hunter"}, {"Editors' Picks", true},
      {"Summer in Madrid"},
  };
  const std::string term = "midn";
  const auto found = fuzzySearch(
      catalog, term, [](const CatalogEntry& e) { return std::optional<std::string_view>(e.title); },
      [](const CatalogEntry& e) {
        if (e.hidden) return std::optional<bool>(false);
        if (e.pinned) return std::optional<bool>(true);
        return std::optional<bool>();
      });
  std::cout << "  term \"" << term << "\" over " << catalog.size() << " titles, best first:\n";
  for (const CatalogEntry& e : found) {
    const auto score = fuzzyMatchScore(e.title, term);
    std::cout << "    " << std::left << std::setw(22) << e.title << " score " << std::fixed
              << std::setprecision(3)
              << (e.pinned ? (score && *score > 1.0f ? *score : 1.0f) : score.value_or(0.0f));
    if (e.pinned) {
      std::cout << "  (pinned: in every result, at least 1.0; its own score: "
                << (score ? std::to_string(*score) : std::string("none")) << ")";
    }
    std::cout << "\n";
  }
  std::cout << "  \"Minding the Gap\" matches too, but it is hidden, so it is left out;\n"
            << "  \"Night of the Hunter\" has no \"m\", the term's first letter, so no score\n";

  heading("An error summarised for analytics");
  const std::exception_ptr error = std::make_exception_ptr(
      URLError(URLError::Code::timedOut,
               {std::make_exception_ptr(URLError(URLError::Code::notConnectedToInternet))}));
  std::cout << "  errorTypeString:  " << errorTypeString(error) << "\n"
            << "  domain and code:  " << domain(error) << " " << code(error) << "\n"
            << "  urlErrorCodeName: " << urlErrorCodeName(error) << "\n";

  heading("Versions parsed and compared");
  const SemVer installed("2.10.1");
  const SemVer required("2.9");
  const SemVer forgiving("v3.1.4-beta");
  std::cout << "  \"2.10.1\" is " << installed << ", \"2.9\" is " << required
            << ", \"v3.1.4-beta\" is " << forgiving << "\n"
            << "  " << installed << (installed >= required ? " satisfies " : " is older than ")
            << required << " (numbers compare as numbers, not text)\n"
            << "  parsing never fails: a piece that is not a number counts as 0\n";
}

}  // namespace tour
