#include "collector/fleet/Catalog.h"

#include <array>
#include <cstddef>
#include <cstdio>
#include <map>

namespace pelto::collector {

namespace {

/// One translated name in so many names.
constexpr int translation_step = 25;
constexpr std::size_t translated_count = command_count / translation_step;

using Translations = std::array<const char*, translated_count>;

// By the numbers of the languages.
constexpr std::array<Translations, 8> translations{{
    {"Open", "Save", "Close", "Print", "Undo", "Line", "Circle", "Layer", "Text", "Color", "Cut",
     "Zoom", "Select", "Delete", "Properties", "Help"},
    {"Öffnen", "Speichern", "Schließen", "Drucken", "Rückgängig", "Linie", "Kreis", "Ebene", "Text",
     "Farbe", "Ausschneiden", "Vergrößern", "Auswählen", "Löschen", "Eigenschaften", "Hilfe"},
    {"Ouvrir", "Enregistrer", "Fermer", "Imprimer", "Annuler", "Ligne", "Cercle", "Calque", "Texte",
     "Couleur", "Découper", "Zoom", "Sélectionner", "Supprimer", "Propriétés", "Aide"},
    {"Otwórz", "Zapisz", "Zamknij", "Drukuj", "Cofnij", "Linia", "Okrąg", "Warstwa", "Tekst",
     "Kolor", "Wytnij", "Powiększ", "Zaznacz", "Usuń", "Właściwości", "Pomoc"},
    {"Otevřít", "Uložit", "Zavřít", "Tisk", "Zpět", "Čára", "Kružnice", "Hladina", "Text", "Barva",
     "Vyjmout", "Zvětšit", "Vybrat", "Odstranit", "Vlastnosti", "Nápověda"},
    {"Открыть", "Сохранить", "Закрыть", "Печать", "Отменить", "Линия", "Круг", "Слой", "Текст",
     "Цвет", "Вырезать", "Масштаб", "Выбрать", "Удалить", "Свойства", "Справка"},
    {"開く", "保存", "閉じる", "印刷", "元に戻す", "線", "円", "画層", "文字", "色", "切り取り",
     "ズーム", "選択", "削除", "プロパティ", "ヘルプ"},
    {"打开", "保存", "关闭", "打印", "撤销", "线", "圆", "图层", "文字", "颜色", "剪切", "缩放",
     "选择", "删除", "特性", "帮助"},
}};

constexpr std::array verbs{"Draw", "Edit", "Move",  "Copy",   "Trim",   "View",  "Show",  "Hide",
                           "Snap", "Lock", "Scale", "Rotate", "Mirror", "Align", "Group", "Add"};
constexpr std::array nouns{"Line",  "Arc",    "Circle",    "Text",   "Hatch", "Layer",
                           "Block", "Wall",   "Door",      "Roof",   "Stair", "Grid",
                           "Point", "Spline", "Ellipse",   "Region", "Table", "Leader",
                           "Image", "Window", "Dimension", "Solid",  "Mesh",  "Camera"};

/// Names that a writer of XML, JSON, CSV or SQL can get wrong.
const std::map<int, const char*>& awkward_names() {
  static const std::map<int, const char*> names{
      {7, "=Sum"},         {13, "Cut & Paste"}, {17, "Zoom <Previous>"}, {29, "\"Bold\" Text"},
      {33, "-Layer"},      {41, "@Note"},       {47, "User's View"},     {53, "+Vertex"},
      {61, "Copy, Paste"}, {71, "100%"},        {83, "C:\\Temp"},        {97, "'); --"},
  };
  return names;
}

constexpr std::int64_t gibibyte = std::int64_t{1} << 30;

template <typename Items>
auto pick(Random& random, const Items& items) {
  return items[static_cast<std::size_t>(random.below(std::ssize(items)))];
}

std::string make_adapter_address(Random& random) {
  char text[32];
  std::snprintf(text, sizeof text, "02:fc:%02x:%02x:%02x:%02x",
                static_cast<unsigned>(random.below(256)), static_cast<unsigned>(random.below(256)),
                static_cast<unsigned>(random.below(256)), static_cast<unsigned>(random.below(256)));
  return text;
}

}  // namespace

const std::vector<Language>& languages() {
  static const std::vector<Language> all{
      {"0409", 1252, "Microsoft", "Pro", 380},
      {"0407", 1252, "Microsoft", "Pro", 180},
      {"040c", 1252, "Microsoft", "Professionnel", 90},
      {"0415", 1250, "Microsoft", "Pro", 80},
      {"0405", 1250, "Microsoft", "Pro", 50},
      {"0419", 1251, "Майкрософт", "Pro", 80},
      {"0411", 932, "Microsoft", "Pro", 70},
      {"0804", 936, "Microsoft", "专业版", 70},
  };
  return all;
}

std::string command_name(int language, int command) {
  if (command % translation_step == 0) {
    return translations[static_cast<std::size_t>(language)]
                       [static_cast<std::size_t>(command / translation_step)];
  }
  const auto awkward = awkward_names().find(command);
  if (awkward != awkward_names().end()) return awkward->second;
  // Each verb meets each noun once.
  const auto number = static_cast<std::size_t>(command - command / translation_step - 1);
  const std::size_t verb = number % verbs.size();
  const std::size_t noun = (number / verbs.size() + verb) % nouns.size();
  return std::string(verbs[verb]) + " " + nouns[noun];
}

const std::vector<FileType>& file_types() {
  static const std::vector<FileType> all{
      {".dwg", 950, false},
      {".dxf", 600, false},
      {".pdf", 450, false},
      {".step", 220, false},
      {".ifc", 180, false},
      {".stl", 120, false},
      {".svg", 80, false},
      {".skp", 40, false},
      {".bak", 15, false},
      {".last/README", 6, true},
      {".project\\plan", 4, true},
      {".v2 (copy)", 4, true},
      {".a-folder-whose-name-is-longer-than-it", 2, true},
  };
  return all;
}

std::vector<MachineValue> make_machine(Random& random, const Language& language) {
  struct System {
    const char* name;
    const char* version;
  };
  struct Screen {
    const char* width;
    const char* height;
  };
  constexpr std::array systems{System{"Windows 10", "10.0.19045"},
                               System{"Windows 11", "10.0.22631"},
                               System{"Windows 11", "10.0.26100"}, System{"Windows 7", "6.1.7601"},
                               System{"Windows 10", "10.0.17763"}};
  constexpr std::array screens{Screen{"1920", "1080"}, Screen{"2560", "1440"},
                               Screen{"3840", "2160"}, Screen{"1366", "768"},
                               Screen{"1680", "1050"}};
  constexpr std::array cards{"NVIDIA GeForce RTX 3060", "NVIDIA Quadro P2000",
                             "AMD Radeon(TM) Graphics", "Intel(R) UHD Graphics 630",
                             "Intel(R) Iris(R) Xe Graphics"};
  constexpr std::array processors{
      "Intel(R) Core(TM) i7-10700 CPU @ 2.90GHz", "AMD Ryzen 7 5800X 8-Core Processor",
      "Intel(R) Core(TM) i5-8400 CPU @ 2.80GHz", "12th Gen Intel(R) Core(TM) i9-12900K"};
  constexpr std::array cores{"4", "6", "8", "16"};
  constexpr std::array<std::int64_t, 5> memories{4, 8, 16, 32, 64};
  // Windows reports 4 GiB less one MiB as a negative number of 32 bits.
  constexpr std::array adapter_memories{"536870912", "1073741824", "2147483647", "-1048576",
                                        "-2147483648"};

  const System system = pick(random, systems);
  const Screen screen = pick(random, screens);
  // A part of the memory is not seen by the system.
  const std::int64_t memory =
      pick(random, memories) * gibibyte - random.below(300) * (std::int64_t{1} << 20);
  const std::int64_t disk = random.between(100, 4000) * 1'000'000'000;
  std::vector<MachineValue> values{
      {"Video Card", "AdapterRAM", pick(random, adapter_memories)},
      {"OS", "Caption",
       std::string(language.system_maker) + " " + system.name + " " + language.system_edition},
      {"Video Card", "CurrentHorizontalResolution", screen.width},
      {"Video Card", "CurrentVerticalResolution", screen.height},
      {"OS", "Locale", language.locale},
      {"Adapter", "MACAddress", make_adapter_address(random)},
      {"Processor", "Name", pick(random, processors)},
      {"Video Card", "Name", pick(random, cards)},
      {"Monitor", "Number", std::to_string(random.is_one_of_1000(400) ? 2 : 1)},
      {"Processor", "NumberOfCores", pick(random, cores)},
      {"OS", "OSArchitecture", random.is_one_of_1000(30) ? "32-bit" : "64-bit"},
      {"HardDisk", "Size", std::to_string(disk)},
      {"System", "TotalPhysicalMemory", std::to_string(memory)},
      {"OS", "Version", system.version},
  };
  // A value that Windows does not know is missing.
  if (random.is_one_of_1000(50)) {
    std::erase_if(values, [](const MachineValue& value) { return value.category == "Monitor"; });
  }
  return values;
}

}  // namespace pelto::collector
