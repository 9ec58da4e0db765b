// A stop of the tour about persistence: a setting written by an older
// release, read back through a property after its layout was migrated.
#include <filesystem>
#include <string>
#include <unistd.h>

#include "Tour.hpp"
#include "zorlan/Persistence/DefaultsStore.hpp"
#include "zorlan/Persistence/PersistentProperty.hpp"

namespace tour {

using namespace zorlan;

namespace {

// Release 2 of the subtitle settings: release 1 stored "lang" and had no size.
struct SubtitleSettings {
  std::string language = "en";
  int size = 100;
  static MigrationSchema schema() {
    return {SemVer(2, 0, 0),
            {Migration{SemVer(1, 0, 0), SemVer(2, 0, 0),
                       {[](TypedJSON t) { return std::move(t).renaming("lang", "language"); },
                        [](TypedJSON t) { return std::move(t).provideDefault("size", TypedJSON(120)); }}}}};
  }
};
ZORLAN_CODABLE(SubtitleSettings, language, size);

}  // namespace

void storedSettings() {
  heading("A setting written by an older release, migrated on read");
  const std::filesystem::path dir =
      std::filesystem::temp_directory_path() / ("zorlan-tour-settings-" + std::to_string(::getpid()));
  {
    auto defaults = Defaults::open("com.zorlan.tour", dir);
    // What release 1 left in the database.
    defaults->set("subtitles", PropertyListValue(Data(R"({"lang":"fr","version":"1.0.0"})")));
    std::cout << "  database: " << defaults->path().filename().string() << " (SQLite, WAL)\n";
    std::cout << "  stored by release 1: " << defaults->object("subtitles")->get<Data>()->toString() << "\n";

    auto store = std::make_shared<DefaultsStore>(defaults);
    PersistentProperty<SubtitleSettings> subtitles("subtitles", SubtitleSettings{}, store);
    SubtitleSettings now = subtitles.value();
    std::cout << "  read by release 2: language " << now.language << ", size " << now.size << "\n";

    PersistentProperty<bool> autoplay(PersistentKey<bool>("autoplay"), true, store);
    std::cout << "  autoplay before any write (the default): " << std::boolalpha << autoplay.value() << "\n";
    autoplay.setValue(false);
    now.size = 140;
    subtitles.setValue(now);
    std::cout << "  written back: " << defaults->object("subtitles")->get<Data>()->toString() << "\n";
  }
  auto reopened = Defaults::open("com.zorlan.tour", dir);
  std::cout << "  reopened: autoplay is a Boolean again: " << std::boolalpha
            << *reopened->value<bool>("autoplay") << "\n";
  reopened.reset();
  std::error_code ignored;
  std::filesystem::remove_all(dir, ignored);
}

}  // namespace tour
