// Decoding a ~50 KB catalog into described structs and encoding it back, against
// nlohmann-json's from_json/to_json and dump on the same structs and bytes.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "support/CatalogDocument.hpp"
#include "support/Ratio.hpp"
#include "zorlan/Coding/JSONDecoder.hpp"
#include "zorlan/Coding/JSONEncoder.hpp"

namespace catalog {

struct Rating {
  std::string system;
  std::string value;
  std::optional<double> score;
  bool operator==(const Rating&) const = default;
};
ZORLAN_CODABLE(Rating, system, value, score);

struct Artwork {
  std::string url;
  double aspectRatio = 0;
  int width = 0;
  int height = 0;
  std::optional<std::string> label;
  bool operator==(const Artwork&) const = default;
};
ZORLAN_CODABLE(Artwork, url, aspectRatio, width, height, label);

struct Title {
  std::string id;
  std::string name;
  std::string kind;
  int year = 0;
  double runtime = 0;
  bool isNew = false;
  std::vector<std::string> genres;
  std::vector<Artwork> artwork;
  std::optional<Rating> rating;
  zorlan::Date availableFrom;
  std::optional<std::string> synopsis;
  std::map<std::string, std::string> links;
  bool operator==(const Title&) const = default;
};
ZORLAN_CODABLE(Title, id, name, kind, year, runtime, isNew, genres, artwork, rating, availableFrom,
               synopsis, links);

struct Rail {
  std::string id;
  std::string title;
  std::string style;
  std::vector<Title> items;
  bool operator==(const Rail&) const = default;
};
ZORLAN_CODABLE(Rail, id, title, style, items);

struct Catalog {
  int version = 0;
  std::string region;
  zorlan::Date generated;
  std::vector<Rail> rails;
  bool operator==(const Catalog&) const = default;
};
ZORLAN_CODABLE(Catalog, version, region, generated, rails);

// The anchor's codings: the same members, absent optionals omitted, absent
// or null optionals read as absent, dates as seconds since 2001.
template <class T>
void putOptional(nlohmann::json& j, const char* key, const std::optional<T>& value) {
  if (value) j[key] = *value;
}
template <class T>
void getOptional(const nlohmann::json& j, const char* key, std::optional<T>& value) {
  auto it = j.find(key);
  if (it == j.end() || it->is_null()) {
    value.reset();
  } else {
    value = it->template get<T>();
  }
}

void to_json(nlohmann::json& j, const Rating& r) {
  j = {{"system", r.system}, {"value", r.value}};
  putOptional(j, "score", r.score);
}
void from_json(const nlohmann::json& j, Rating& r) {
  j.at("system").get_to(r.system);
  j.at("value").get_to(r.value);
  getOptional(j, "score", r.score);
}
void to_json(nlohmann::json& j, const Artwork& a) {
  j = {{"url", a.url}, {"aspectRatio", a.aspectRatio}, {"width", a.width}, {"height", a.height}};
  putOptional(j, "label", a.label);
}
void from_json(const nlohmann::json& j, Artwork& a) {
  j.at("url").get_to(a.url);
  j.at("aspectRatio").get_to(a.aspectRatio);
  j.at("width").get_to(a.width);
  j.at("height").get_to(a.height);
  getOptional(j, "label", a.label);
}
void to_json(nlohmann::json& j, const Title& t) {
  j = {{"id", t.id},           {"name", t.name},   {"kind", t.kind},     {"year", t.year},
       {"runtime", t.runtime}, {"isNew", t.isNew}, {"genres", t.genres}, {"artwork", t.artwork}};
  putOptional(j, "rating", t.rating);
  j["availableFrom"] = t.availableFrom.timeIntervalSinceReferenceDate();
  putOptional(j, "synopsis", t.synopsis);
  j["links"] = t.links;
}
void from_json(const nlohmann::json& j, Title& t) {
  j.at("id").get_to(t.id);
  j.at("name").get_to(t.name);
  j.at("kind").get_to(t.kind);
  j.at("year").get_to(t.year);
  j.at("runtime").get_to(t.runtime);
  j.at("isNew").get_to(t.isNew);
  j.at("genres").get_to(t.genres);
  j.at("artwork").get_to(t.artwork);
  getOptional(j, "rating", t.rating);
  t.availableFrom = zorlan::Date(j.at("availableFrom").get<double>());
  getOptional(j, "synopsis", t.synopsis);
  j.at("links").get_to(t.links);
}
void to_json(nlohmann::json& j, const Rail& r) {
  j = {{"id", r.id}, {"title", r.title}, {"style", r.style}, {"items", r.items}};
}
void from_json(const nlohmann::json& j, Rail& r) {
  j.at("id").get_to(r.id);
  j.at("title").get_to(r.title);
  j.at("style").get_to(r.style);
  j.at("items").get_to(r.items);
}
void to_json(nlohmann::json& j, const Catalog& c) {
  j = {{"version", c.version},
       {"region", c.region},
       {"generated", c.generated.timeIntervalSinceReferenceDate()},
       {"rails", c.rails}};
}
void from_json(const nlohmann::json& j, Catalog& c) {
  j.at("version").get_to(c.version);
  j.at("region").get_to(c.region);
  c.generated = zorlan::Date(j.at("generated").get<double>());
  j.at("rails").get_to(c.rails);
}

}  // namespace catalog

namespace {

const std::string& catalogText() {
  static const std::string text = zorlan::bench::makeCatalogText();
  return text;
}

const catalog::Catalog& catalogValue() {
  static const catalog::Catalog value =
      zorlan::JSONDecoder().decode<catalog::Catalog>(catalogText());
  return value;
}

// Both sides must do the same work: same structs from the same bytes, and
// text that reads back as the same structs.
void checkSameWork() {
  const catalog::Catalog& ours = catalogValue();
  catalog::Catalog theirs = nlohmann::json::parse(catalogText()).get<catalog::Catalog>();
  std::string ourText = zorlan::JSONEncoder().encodeToString(ours);
  std::string theirText = nlohmann::json(theirs).dump();
  bool same = ours == theirs && zorlan::JSONDecoder().decode<catalog::Catalog>(theirText) == ours &&
              nlohmann::json::parse(ourText).get<catalog::Catalog>() == ours;
  if (!same) {
    std::fprintf(stderr, "the two codings disagree on the catalog\n");
    std::exit(1);
  }
}

void BM_DecodeCatalog(benchmark::State& state) {
  const std::string& text = catalogText();
  for (auto _ : state) {
    catalog::Catalog value = zorlan::JSONDecoder().decode<catalog::Catalog>(text);
    benchmark::DoNotOptimize(value);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_DecodeCatalog);

void BM_NlohmannDecodeCatalog(benchmark::State& state) {
  const std::string& text = catalogText();
  for (auto _ : state) {
    catalog::Catalog value = nlohmann::json::parse(text).get<catalog::Catalog>();
    benchmark::DoNotOptimize(value);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_NlohmannDecodeCatalog);

void BM_EncodeCatalog(benchmark::State& state) {
  const catalog::Catalog& value = catalogValue();
  for (auto _ : state) {
    zorlan::Data bytes = zorlan::JSONEncoder().encode(value);
    benchmark::DoNotOptimize(bytes);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * catalogText().size()));
}
BENCHMARK(BM_EncodeCatalog);

void BM_NlohmannEncodeCatalog(benchmark::State& state) {
  const catalog::Catalog& value = catalogValue();
  for (auto _ : state) {
    std::string text = nlohmann::json(value).dump();
    benchmark::DoNotOptimize(text);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * catalogText().size()));
}
BENCHMARK(BM_NlohmannEncodeCatalog);

}  // namespace

int main(int argc, char** argv) {
  checkSameWork();
  std::printf("catalog document: %zu bytes\n", catalogText().size());
  return zorlan::bench::runBenchmarks(
      argc, argv,
      {{"decode_catalog_vs_nlohmann", "BM_DecodeCatalog", "BM_NlohmannDecodeCatalog"},
       {"encode_catalog_vs_nlohmann", "BM_EncodeCatalog", "BM_NlohmannEncodeCatalog"}});
}
