// A realistic catalog document for benchmarks: rails of titles with nested
// artwork, ratings, dates (seconds since 2001), links and optional members,
// generated deterministically to about the size asked for.
#pragma once

#include <boost/json/value.hpp>
#include <cstddef>
#include <cstdint>
#include <string>

#include "zorlan/Coding/JSONWriter.hpp"

namespace zorlan::bench {

namespace detail {

// A small deterministic generator (xorshift), so every run sees the same bytes.
class CatalogRandom {
 public:
  std::uint64_t next() {
    state_ ^= state_ << 13;
    state_ ^= state_ >> 7;
    state_ ^= state_ << 17;
    return state_;
  }
  int below(int n) { return static_cast<int>(next() % static_cast<std::uint64_t>(n)); }
  bool chance(int percent) { return below(100) < percent; }

 private:
  std::uint64_t state_ = 0x9E3779B97F4A7C15ull;
};

// Concatenation by appending (GCC 12 warns falsely on some operator+ chains).
template <class... Parts>
std::string join(const Parts&... parts) {
  std::string out;
  (out.append(parts), ...);
  return out;
}

inline boost::json::value catalogTitle(CatalogRandom& random, int rail, int index) {
  static const char* kWords[] = {"Night", "River", "Signal", "Harbor", "Glass", "Winter",
                                 "Echo",  "Orbit", "Saint",  "Paper",  "Ember", "Atlas"};
  static const char* kGenres[] = {"drama", "comedy", "thriller", "documentary", "sci-fi", "family"};
  static const char* kKinds[] = {"movie", "series", "episode", "live"};
  std::string id = join("t", std::to_string(rail), "-", std::to_string(index));
  std::string name = kWords[random.below(12)];
  name += ' ';
  name += kWords[random.below(12)];
  boost::json::object title;
  title["id"] = id;
  title["name"] = name;
  title["kind"] = kKinds[random.below(4)];
  title["year"] = 1990 + random.below(35);
  title["runtime"] = 1200.0 + random.below(6000) + random.below(100) / 100.0;
  title["isNew"] = random.chance(20);
  boost::json::array genres;
  for (int g = 0, n = 1 + random.below(3); g < n; ++g)
    genres.emplace_back(kGenres[random.below(6)]);
  title["genres"] = std::move(genres);
  boost::json::array artwork;
  for (int a = 0, n = 1 + random.below(3); a < n; ++a) {
    boost::json::object art;
    int width = 320 * (1 + random.below(6));
    art["url"] = join("https://img.example.com/", id, "/", std::to_string(a), ".jpg");
    art["aspectRatio"] = a == 0 ? 1.78 : 0.67;
    art["width"] = width;
    art["height"] = static_cast<int>(width / (a == 0 ? 1.78 : 0.67));
    if (random.chance(40)) art["label"] = a == 0 ? "hero" : "poster";
    artwork.emplace_back(std::move(art));
  }
  title["artwork"] = std::move(artwork);
  if (random.chance(70)) {
    boost::json::object rating;
    rating["system"] = "MPAA";
    rating["value"] = random.chance(50) ? "PG-13" : "R";
    if (random.chance(60)) rating["score"] = random.below(100) / 10.0;
    title["rating"] = std::move(rating);
  }
  title["availableFrom"] = 700000000.0 + random.below(50000000) + 0.25;
  if (random.chance(50)) {
    title["synopsis"] = join("When the ", name,
                             " falls silent, a crew of strangers must decide what they owe each "
                             "other \"before dawn\".");
  }
  boost::json::object links;
  links["play"] = join("https://play.example.com/v1/", id);
  if (random.chance(30)) links["trailer"] = join("https://play.example.com/v1/", id, "/trailer");
  title["links"] = std::move(links);
  return title;
}

}  // namespace detail

// The catalog as a JSON tree, about `approximateBytes` long as compact text.
inline boost::json::value makeCatalogDocument(std::size_t approximateBytes = 50 * 1024) {
  detail::CatalogRandom random;
  boost::json::object catalog;
  catalog["version"] = 3;
  catalog["region"] = "GB";
  catalog["generated"] = 721692800.5;
  boost::json::array rails;
  std::size_t size = 0;
  for (int r = 0; size < approximateBytes; ++r) {
    boost::json::object rail;
    rail["id"] = detail::join("rail-", std::to_string(r));
    rail["title"] = detail::join("Rail ", std::to_string(r));
    rail["style"] = r % 3 == 0 ? "hero" : "standard";
    boost::json::array items;
    for (int i = 0; i < 8 && size < approximateBytes; ++i) {
      boost::json::value title = detail::catalogTitle(random, r, i);
      size += writeJSON(title).size() + 1;
      items.emplace_back(std::move(title));
    }
    rail["items"] = std::move(items);
    rails.emplace_back(std::move(rail));
  }
  catalog["rails"] = std::move(rails);
  return catalog;
}

// The catalog as compact JSON text, as the library's encoder writes it.
inline std::string makeCatalogText(std::size_t approximateBytes = 50 * 1024) {
  return writeJSON(makeCatalogDocument(approximateBytes));
}

}  // namespace zorlan::bench
