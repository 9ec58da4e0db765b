#include "DefaultsCommand.hpp"

#include <signal.h>

#include <algorithm>
#include <boost/json/parse.hpp>
#include <boost/json/value.hpp>
#include <charconv>
#include <cmath>
#include <fstream>
#include <iostream>
#include <iterator>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "ExitCode.hpp"
#include "zorlan/Coding/JSONWriter.hpp"
#include "zorlan/Platform/Defaults.hpp"
#include "zorlan/Rx/Observable.hpp"

namespace zf {
namespace {

namespace fs = std::filesystem;
namespace json = boost::json;
using zorlan::Defaults;
using zorlan::PropertyListValue;
using Kind = PropertyListValue::Kind;

// A failure of the command, reported as "zf defaults: <message>".
struct Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct Options {
  std::string dir;
  std::string app;
  std::string suite;
  std::string key;
  std::string file;
  std::string text;
  std::string integer;
  std::string boolean;
  std::string number;
  std::string jsonText;
};

// ----- names and kinds -----

constexpr const char* kKindNames[] = {"string", "boolean", "integer", "float", "double",
                                      "data",   "date",    "url",     "array", "dictionary"};

const char* kindName(Kind kind) { return kKindNames[static_cast<int>(kind)]; }

std::optional<Kind> kindNamed(std::string_view name) {
  for (int i = 0; i <= static_cast<int>(Kind::dictionary); ++i) {
    if (name == kKindNames[i]) return static_cast<Kind>(i);
  }
  return std::nullopt;
}

// The suite a file name stands for (Defaults::databasePath read backwards).
std::optional<std::string> suiteOfFile(const std::string& fileName) {
  constexpr std::string_view kSuffix = ".sqlite";
  if (fileName.size() <= kSuffix.size() || !fileName.ends_with(kSuffix)) return std::nullopt;
  std::string encoded = fileName.substr(0, fileName.size() - kSuffix.size());
  std::string suite;
  for (std::size_t i = 0; i < encoded.size(); ++i) {
    if (encoded[i] == '%') {
      if (i + 2 >= encoded.size()) return std::nullopt;
      unsigned value = 0;
      auto [end, error] =
          std::from_chars(encoded.data() + i + 1, encoded.data() + i + 3, value, 16);
      if (error != std::errc() || end != encoded.data() + i + 3) return std::nullopt;
      suite += static_cast<char>(value);
      i += 2;
    } else {
      suite += encoded[i];
    }
  }
  return suite;
}

bool validUTF8(std::string_view text) {
  static constexpr std::uint32_t kSmallest[] = {0, 0x80, 0x800, 0x10000};
  std::size_t i = 0;
  while (i < text.size()) {
    auto c = static_cast<unsigned char>(text[i]);
    std::size_t extra = 0;
    std::uint32_t code = c;
    if (c < 0x80) {
      ++i;
      continue;
    } else if ((c >> 5) == 6) {
      extra = 1, code = c & 0x1f;
    } else if ((c >> 4) == 14) {
      extra = 2, code = c & 0x0f;
    } else if ((c >> 3) == 30) {
      extra = 3, code = c & 0x07;
    } else {
      return false;
    }
    if (extra >= text.size() - i) return false;
    for (std::size_t k = 1; k <= extra; ++k) {
      auto next = static_cast<unsigned char>(text[i + k]);
      if ((next >> 6) != 2) return false;
      code = (code << 6) | (next & 0x3f);
    }
    if (code < kSmallest[extra] || code > 0x10ffff || (code >= 0xd800 && code <= 0xdfff)) {
      return false;
    }
    i += extra + 1;
  }
  return true;
}

// ----- opening -----

fs::path directoryOf(const Options& options) {
  if (!options.dir.empty()) return options.dir;
  if (!options.app.empty()) return Defaults::defaultDirectory(options.app);
  throw Failure("give the suites' directory with --dir DIR or an application with --app ID");
}

// An existing suite; reading never creates one.
std::shared_ptr<Defaults> openExisting(const Options& options) {
  fs::path dir = directoryOf(options);
  if (options.suite.empty()) throw Failure("the suite name is empty");
  if (!fs::exists(Defaults::databasePath(dir, options.suite))) {
    throw Failure("no suite \"" + options.suite + "\" in " + dir.string());
  }
  return Defaults::open(options.suite, dir);
}

std::shared_ptr<Defaults> openForWriting(const Options& options) {
  if (options.suite.empty()) throw Failure("the suite name is empty");
  return Defaults::open(options.suite, directoryOf(options));
}

// ----- showing values -----

std::string hexSummary(const zorlan::Data& data) {
  static constexpr char kHex[] = "0123456789abcdef";
  constexpr std::size_t kShown = 32;
  std::string out = std::to_string(data.size()) + (data.size() == 1 ? " byte" : " bytes");
  if (data.empty()) return out;
  out += ": ";
  for (std::size_t i = 0; i < std::min(data.size(), kShown); ++i) {
    out += kHex[data.bytes()[i] >> 4];
    out += kHex[data.bytes()[i] & 0xf];
  }
  if (data.size() > kShown) out += "...";
  out += "\nbase64: " + data.base64EncodedString();
  return out;
}

zorlan::JSONWritingOptions readableJSON() {
  zorlan::JSONWritingOptions options;
  options.prettyPrinted = true;
  options.sortedKeys = true;
  options.withoutEscapingSlashes = true;
  return options;
}

// Bytes that hold JSON text are shown pretty-printed, after their
// top-level "version" member when there is one.
std::string describeData(const zorlan::Data& data) {
  std::error_code error;
  json::value parsed = json::parse(std::string_view(data.toString()), error);
  if (error) return hexSummary(data);
  std::string out;
  if (const json::object* object = parsed.if_object()) {
    if (auto* version = object->if_contains("version")) {
      out += "version ";
      out +=
          version->is_string() ? std::string(version->get_string()) : zorlan::writeJSON(*version);
      out += '\n';
    }
  }
  try {
    out += zorlan::writeJSON(parsed, readableJSON());
  } catch (const std::exception&) {
    return hexSummary(data);  // JSON text whose strings are not UTF-8
  }
  return out;
}

std::string describe(const PropertyListValue& value) {
  if (const auto* text = value.get<std::string>()) return *text;
  if (const auto* data = value.get<zorlan::Data>()) return describeData(*data);
  return value.debugDescription();
}

// ----- the lossless JSON form of export and import -----
//
// Each value is an object naming its kind: {"type": "integer", "value": 3}.
// Data (and strings that are not UTF-8) travel as base64; a floating-point
// number that is not finite as the text "nan", "inf" or "-inf"; a date as
// its seconds since 2001-01-01.

json::value floating(double number) {
  if (std::isnan(number)) return "nan";
  if (std::isinf(number)) return number > 0 ? "inf" : "-inf";
  return number;
}

json::value typed(const PropertyListValue& value, const std::string& where) {
  json::object out;
  out["type"] = kindName(value.kind());
  switch (value.kind()) {
    case Kind::string: {
      const auto& text = *value.get<std::string>();
      if (validUTF8(text)) {
        out["value"] = text;
      } else {
        out["base64"] = zorlan::Data(std::string_view(text)).base64EncodedString();
      }
      break;
    }
    case Kind::boolean:
      out["value"] = *value.get<bool>();
      break;
    case Kind::integer:
      out["value"] = *value.get<std::int64_t>();
      break;
    case Kind::float32:
      out["value"] = floating(*value.get<float>());
      break;
    case Kind::float64:
      out["value"] = floating(*value.get<double>());
      break;
    case Kind::data:
      out["base64"] = value.get<zorlan::Data>()->base64EncodedString();
      break;
    case Kind::date:
      out["value"] = floating(value.get<zorlan::Date>()->timeIntervalSinceReferenceDate());
      break;
    case Kind::url:
      out["value"] = value.get<zorlan::URL>()->absoluteString();
      break;
    case Kind::array: {
      json::array elements;
      std::size_t index = 0;
      for (const auto& element : *value.get<PropertyListValue::Array>()) {
        elements.push_back(typed(element, where + "[" + std::to_string(index++) + "]"));
      }
      out["value"] = std::move(elements);
      break;
    }
    case Kind::dictionary: {
      json::object members;
      for (const auto& [key, member] : *value.get<PropertyListValue::Dictionary>()) {
        if (!validUTF8(key)) throw Failure(where + ": a dictionary key is not UTF-8 text");
        members[key] = typed(member, where + "." + key);
      }
      out["value"] = std::move(members);
      break;
    }
  }
  return out;
}

double number(const json::value& value, const std::string& where) {
  if (const auto* text = value.if_string()) {
    if (*text == "nan") return std::numeric_limits<double>::quiet_NaN();
    if (*text == "inf") return std::numeric_limits<double>::infinity();
    if (*text == "-inf") return -std::numeric_limits<double>::infinity();
  }
  if (!value.is_number()) throw Failure(where + ": \"value\" must be a number");
  return value.to_number<double>();
}

PropertyListValue untyped(const json::value& value, const std::string& where) {
  const json::object* object = value.if_object();
  const json::value* type = object ? object->if_contains("type") : nullptr;
  if (type == nullptr || !type->is_string()) {
    throw Failure(where + ": expected an object with a \"type\" member");
  }
  auto kind = kindNamed(std::string_view(type->get_string()));
  if (!kind) throw Failure(where + ": unknown type \"" + std::string(type->get_string()) + "\"");
  const json::value* payload = object->if_contains("value");
  const json::value* base64 = object->if_contains("base64");
  auto bytes = [&]() -> zorlan::Data {
    if (base64 == nullptr || !base64->is_string()) {
      throw Failure(where + ": \"base64\" must be base64 text");
    }
    auto data = zorlan::Data::fromBase64(std::string_view(base64->get_string()));
    if (!data) throw Failure(where + ": \"base64\" is not base64");
    return *data;
  };
  if (payload == nullptr && !(base64 && (*kind == Kind::data || *kind == Kind::string))) {
    throw Failure(where + ": missing \"value\"");
  }
  switch (*kind) {
    case Kind::string:
      if (payload == nullptr) return bytes().toString();
      if (!payload->is_string()) throw Failure(where + ": \"value\" must be a string");
      return std::string(payload->get_string());
    case Kind::boolean:
      if (!payload->is_bool()) throw Failure(where + ": \"value\" must be true or false");
      return payload->get_bool();
    case Kind::integer:
      if (payload->is_int64()) return payload->get_int64();
      throw Failure(where + ": \"value\" must be a 64-bit integer");
    case Kind::float32: {
      double d = number(*payload, where);
      if (std::isfinite(d) && std::fabs(d) > std::numeric_limits<float>::max()) {
        throw Failure(where + ": \"value\" is out of range for a float");
      }
      return static_cast<float>(d);
    }
    case Kind::float64:
      return number(*payload, where);
    case Kind::data:
      return bytes();
    case Kind::date:
      return zorlan::Date(number(*payload, where));
    case Kind::url: {
      if (!payload->is_string()) throw Failure(where + ": \"value\" must be URL text");
      auto url = zorlan::URL::fromString(std::string_view(payload->get_string()));
      if (!url) throw Failure(where + ": \"value\" is not a URL");
      return *url;
    }
    case Kind::array: {
      if (!payload->is_array()) throw Failure(where + ": \"value\" must be an array");
      PropertyListValue::Array elements;
      for (std::size_t i = 0; i < payload->get_array().size(); ++i) {
        elements.push_back(untyped(payload->get_array()[i], where + "[" + std::to_string(i) + "]"));
      }
      return elements;
    }
    case Kind::dictionary: {
      if (!payload->is_object()) throw Failure(where + ": \"value\" must be an object");
      PropertyListValue::Dictionary members;
      for (const auto& member : payload->get_object()) {
        std::string key(member.key());
        members.emplace(key, untyped(member.value(), where + "." + key));
      }
      return members;
    }
  }
  throw Failure(where + ": unknown type");
}

// ----- the subcommands -----

void list(const Options& options) {
  if (!options.suite.empty()) {
    auto defaults = openExisting(options);
    std::map<std::string, std::string> rows;
    for (const auto& [key, value] : defaults->dictionaryRepresentation()) {
      rows[key] = kindName(value.kind());
    }
    for (const auto& key : defaults->damagedKeys()) rows[key] = "damaged";
    for (const auto& [key, kind] : rows) std::cout << key << '\t' << kind << '\n';
    return;
  }
  fs::path dir = directoryOf(options);
  std::error_code error;
  std::vector<std::string> suites;
  for (const auto& entry : fs::directory_iterator(dir, error)) {
    if (!entry.is_regular_file()) continue;
    if (auto suite = suiteOfFile(entry.path().filename().string())) suites.push_back(*suite);
  }
  if (error) throw Failure("cannot list " + dir.string() + ": " + error.message());
  std::sort(suites.begin(), suites.end());
  for (const auto& suite : suites) std::cout << suite << '\n';
}

void read(const Options& options) {
  auto defaults = openExisting(options);
  auto value = defaults->object(options.key);
  if (!value) {
    bool damaged = std::ranges::count(defaults->damagedKeys(), options.key) > 0;
    throw Failure(damaged ? "the value under \"" + options.key + "\" is damaged"
                          : "no value under \"" + options.key + "\" in " + options.suite);
  }
  std::cout << describe(*value) << '\n';
}

void write(const Options& options, const CLI::App& command) {
  const char* given[] = {"--string", "--int", "--bool", "--double", "--json"};
  int count = 0;
  for (const char* name : given) count += command.count(name) > 0 ? 1 : 0;
  if (count != 1) {
    throw Failure(
        "give exactly one value: --string S, --int N, --bool true|false, --double D "
        "or --json TEXT");
  }
  PropertyListValue value;
  if (command.count("--string")) {
    value = options.text;
  } else if (command.count("--int")) {
    std::int64_t n = 0;
    const auto& t = options.integer;
    auto [end, error] = std::from_chars(t.data(), t.data() + t.size(), n);
    if (t.empty() || error != std::errc() || end != t.data() + t.size()) {
      throw Failure("--int: \"" + t + "\" is not a 64-bit integer");
    }
    value = n;
  } else if (command.count("--bool")) {
    if (options.boolean != "true" && options.boolean != "false") {
      throw Failure("--bool: give true or false");
    }
    value = options.boolean == "true";
  } else if (command.count("--double")) {
    double d = 0;
    const auto& t = options.number;
    auto [end, error] = std::from_chars(t.data(), t.data() + t.size(), d);
    if (t.empty() || error != std::errc() || end != t.data() + t.size()) {
      throw Failure("--double: \"" + t + "\" is not a number");
    }
    value = d;
  } else {
    std::error_code error;
    json::parse(options.jsonText, error);
    if (error) throw Failure("--json: the text is not JSON (" + error.message() + ")");
    value = zorlan::Data(std::string_view(options.jsonText));
  }
  openForWriting(options)->set(options.key, std::move(value));
}

void remove(const Options& options) { openExisting(options)->removeObject(options.key); }

void exportSuite(const Options& options) {
  auto defaults = openExisting(options);
  json::object out;
  for (const auto& [key, value] : defaults->dictionaryRepresentation()) {
    if (!validUTF8(key)) throw Failure("the key \"" + key + "\" is not UTF-8 text");
    out[key] = typed(value, key);
  }
  for (const auto& key : defaults->damagedKeys()) {
    std::cerr << "zf defaults: the damaged value under \"" << key << "\" was left out\n";
  }
  std::string text = zorlan::writeJSON(out, readableJSON());
  text += '\n';
  if (options.file.empty() || options.file == "-") {
    std::cout << text;
    return;
  }
  std::ofstream file(options.file, std::ios::binary | std::ios::trunc);
  if (!(file << text) || !file.flush()) throw Failure("cannot write " + options.file);
}

void importSuite(const Options& options) {
  std::ifstream file(options.file, std::ios::binary);
  if (!file) throw Failure("cannot open " + options.file);
  std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  std::error_code error;
  json::value parsed = json::parse(text, error);
  if (error) throw Failure(options.file + ": not JSON (" + error.message() + ")");
  if (!parsed.is_object()) throw Failure(options.file + ": expected an object of keys");
  // Everything is checked before anything is written.
  std::vector<std::pair<std::string, PropertyListValue>> values;
  for (const auto& member : parsed.get_object()) {
    std::string key(member.key());
    values.emplace_back(key, untyped(member.value(), key));
  }
  auto defaults = openForWriting(options);
  for (auto& [key, value] : values) defaults->set(key, std::move(value));
}

void watch(const Options& options) {
  // Signals are taken by sigwait below; blocked before any thread starts,
  // so every thread of the process inherits the mask.
  sigset_t stop;
  sigemptyset(&stop);
  sigaddset(&stop, SIGINT);
  sigaddset(&stop, SIGTERM);
  sigaddset(&stop, SIGHUP);
  pthread_sigmask(SIG_BLOCK, &stop, nullptr);
  auto defaults = openExisting(options);
  auto printed = std::make_shared<std::mutex>();
  const std::string key = options.key;
  zorlan::rx::Disposable subscription =
      defaults->observe(key).subscribe([printed, key](const std::optional<PropertyListValue>& v) {
        std::lock_guard lock(*printed);
        if (v) {
          std::cout << key << " = " << v->debugDescription() << std::endl;
        } else {
          std::cout << key << " absent" << std::endl;
        }
      });
  int signal = 0;
  sigwait(&stop, &signal);
  subscription.dispose();
}

// Runs one subcommand, turning its failures into a message and exit code 1.
template <class F>
void run(F&& body) {
  try {
    body();
  } catch (const Failure& failure) {
    std::cerr << "zf defaults: " << failure.what() << '\n';
    setExitCode(1);
  } catch (const std::exception& error) {  // DefaultsError names the file and the problem
    std::cerr << "zf defaults: " << error.what() << '\n';
    setExitCode(1);
  }
}

}  // namespace

void addDefaultsCommand(CLI::App& app) {
  auto options = std::make_shared<Options>();
  CLI::App* defaults = app.add_subcommand(
      "defaults", "List, read, write, export, import and watch the suites of a defaults database");
  defaults->require_subcommand(1);
  defaults->fallthrough();
  auto* dir = defaults->add_option("--dir", options->dir, "The directory of the suites");
  defaults
      ->add_option("--app", options->app,
                   "An application identifier: its default directory holds the suites")
      ->excludes(dir);

  CLI::App* listCommand =
      defaults->add_subcommand("list", "The suites in the directory, or a suite's keys and kinds");
  listCommand->add_option("suite", options->suite, "A suite");
  listCommand->callback([options] { run([&] { list(*options); }); });

  CLI::App* readCommand = defaults->add_subcommand("read", "Print the value under a key");
  readCommand->add_option("suite", options->suite)->required();
  readCommand->add_option("key", options->key)->required();
  readCommand->callback([options] { run([&] { read(*options); }); });

  CLI::App* writeCommand = defaults->add_subcommand("write", "Store a value under a key");
  writeCommand->add_option("suite", options->suite)->required();
  writeCommand->add_option("key", options->key)->required();
  writeCommand->add_option("--string", options->text, "A string");
  writeCommand->add_option("--int", options->integer, "A 64-bit integer");
  writeCommand->add_option("--bool", options->boolean, "true or false");
  writeCommand->add_option("--double", options->number, "A double");
  writeCommand->add_option("--json", options->jsonText, "JSON text, stored as data");
  writeCommand->callback([options, writeCommand] { run([&] { write(*options, *writeCommand); }); });

  CLI::App* deleteCommand = defaults->add_subcommand("delete", "Remove the value under a key");
  deleteCommand->add_option("suite", options->suite)->required();
  deleteCommand->add_option("key", options->key)->required();
  deleteCommand->callback([options] { run([&] { remove(*options); }); });

  CLI::App* exportCommand = defaults->add_subcommand(
      "export", "Write a suite as a JSON object of typed values (to FILE or standard output)");
  exportCommand->add_option("suite", options->suite)->required();
  exportCommand->add_option("file", options->file, "The JSON file");
  exportCommand->callback([options] { run([&] { exportSuite(*options); }); });

  CLI::App* importCommand =
      defaults->add_subcommand("import", "Store every value of a JSON file made by export");
  importCommand->add_option("suite", options->suite)->required();
  importCommand->add_option("file", options->file, "The JSON file")->required();
  importCommand->callback([options] { run([&] { importSuite(*options); }); });

  CLI::App* watchCommand = defaults->add_subcommand(
      "watch", "Print the value under a key, then each change, until interrupted");
  watchCommand->add_option("suite", options->suite)->required();
  watchCommand->add_option("key", options->key)->required();
  watchCommand->callback([options] { run([&] { watch(*options); }); });
}

}  // namespace zf
