// parse beside two INI readers on generated input files of about 1 MB and 20 MB: inih filling
// a std::map<std::string, std::string>, and Boost.PropertyTree's read_ini.
//
// Two dialects of the same realistic mix (settings, comments, blank lines, CR LF line ends,
// non-ASCII values):
//   common: acceptable to all three. Settings sit in "[section N]" blocks with names unique
//           within a block, and comments start with ';': read_ini knows no other comment and
//           rejects lines without '=' and a name twice in a section. To parse, the headers and
//           ';' lines are lines of no form, read and then ignored.
//   native: the installer's own shape, with '#' comments, names repeated (the last wins) and
//           "product."/"platform." list lines. inih reports each list line as an error line and
//           goes on; read_ini would throw at the first list line, so it is not run.
//   keys:   distinct "key = value" lines only (about 24,000 keys per MB), where the maps' own
//           insertions and frees weigh most.
// inih keys its map by name alone, the same last-wins map that parse builds.
//
// Each run also reports its peak memory per byte of file: heap bytes in use (counted by the
// replaced operator new) and growth of the resident set's high-water mark. Both are read from
// glibc's heap and Linux's /proc: elsewhere only the time is reported.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <new>
#include <string>
#include <system_error>

#include <ini.h>
#if defined(__linux__) && defined(__GLIBC__)
#include <malloc.h>
#endif

#include <benchmark/benchmark.h>
#include <boost/property_tree/ini_parser.hpp>
#include <boost/property_tree/ptree.hpp>

#include "install/cpputil/InputFileParser.hpp"

#if defined(__linux__) && defined(__GLIBC__)
namespace {

bool g_counting = false;
long long g_live = 0;
long long g_peak = 0;

}  // namespace

namespace {

// Counting only while a measurement runs; otherwise plain malloc and free.
void* allocate(std::size_t size) {
  void* block = std::malloc(size == 0 ? 1 : size);  // NOLINT(cppcoreguidelines-no-malloc)
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  if (g_counting) {
    g_live += static_cast<long long>(malloc_usable_size(block));
    g_peak = std::max(g_peak, g_live);
  }
  return block;
}

void release(void* block) noexcept {
  if (block != nullptr && g_counting) {
    g_live -= static_cast<long long>(malloc_usable_size(block));
  }
  std::free(block);  // NOLINT(cppcoreguidelines-no-malloc)
}

}  // namespace

void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void operator delete(void* block) noexcept { release(block); }
void operator delete[](void* block) noexcept { release(block); }
void operator delete(void* block, std::size_t /*size*/) noexcept { release(block); }
void operator delete[](void* block, std::size_t /*size*/) noexcept { release(block); }
#endif

namespace {

namespace cpputil = install::cpputil;

enum class Dialect { common, native, keys };

// A fixed sequence, so that every run parses the same files.
class Dice {
 public:
  std::size_t roll(std::size_t sides) {
    state_ = state_ * 6364136223846793005ULL + 1442695040888963407ULL;
    return static_cast<std::size_t>(state_ >> 33U) % sides;
  }

 private:
  unsigned long long state_ = 42;
};

char const* const kNames[] = {"install_dir", "Log_Level",    "accept_license", "port",
                              "user_name",   "display_name", "language",       "shortcut",
                              "proxy_host",  "timeout",      "data_dir",       "Install_Mode",
                              "service",     "update_check", "license_key",    "backup_dir"};
char const* const kValues[] = {
    "/opt/vendor/suite/2.4",
    "C:/Program Files/Vendor Suite",
    "true",
    "8080",
    "Gr\xC3\xB6\xC3\x9F"
    "e und Ma\xC3\x9F"
    "e",
    "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E\xE3\x81\xAE\xE8\xA1\xA8\xE7\xA4\xBA",
    "full installation with optional extras",
    "en_US",
    "\xC3\x86r\xC3\xB8 \xC3\xA9"
    "dition sp\xC3\xA9"
    "ciale",
    "proxy.example.com:3128",
    "ABCD-1234-EFGH-5678"};
char const* const kComponents[] = {"Core_Tools", "Documentation", "Language_Packs",
                                   "Sample_Projects", "Command_Line_Utilities"};

std::string generate(Dialect dialect, std::size_t target) {
  std::string text;
  text.reserve(target + 256);
  Dice dice;
  for (std::size_t block = 0; text.size() < target; ++block) {
    if (dialect == Dialect::keys) {
      text += kNames[dice.roll(std::size(kNames))] + std::to_string(block) + " = " +
              kValues[dice.roll(std::size(kValues))] + "\n";
      continue;
    }
    if (dialect == Dialect::common) {
      text += "[section " + std::to_string(block) + "]\r\n";
      text += "; settings of component " + std::to_string(block) + "\r\n";
      for (std::size_t i = 0; i < 12; ++i) {
        text += std::string(kNames[(block + i) % std::size(kNames)]) + " = " +
                kValues[dice.roll(std::size(kValues))] + "\r\n";
      }
    } else {
      text += "# settings of component " + std::to_string(block) + "\r\n";
      for (std::size_t i = 0; i < 10; ++i) {
        text += std::string(kNames[dice.roll(std::size(kNames))]) + " = " +
                kValues[dice.roll(std::size(kValues))] + "\r\n";
      }
      text += std::string("product.") + kComponents[dice.roll(std::size(kComponents))] + "_" +
              std::to_string(block) + "\r\n";
      if (block % 4 == 0) {
        text += "platform.linux_x86_64\r\n";
      }
    }
    text += "\r\n";
  }
  return text;
}

std::string dialect_name(Dialect dialect) {
  switch (dialect) {
    case Dialect::common:
      return "common";
    case Dialect::native:
      return "native";
    case Dialect::keys:
      break;
  }
  return "keys";
}

class Files {
 public:
  Files() {
    std::string pattern =
        (std::filesystem::temp_directory_path() / "cpputil-bench-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
      std::perror("mkdtemp");
      std::exit(1);  // NOLINT(concurrency-mt-unsafe)
    }
    dir_ = pattern;
  }
  ~Files() {
    std::error_code ignored;
    std::filesystem::remove_all(dir_, ignored);
  }
  Files(Files const&) = delete;
  Files& operator=(Files const&) = delete;

  std::string const& get(Dialect dialect, std::size_t megabytes) {
    std::string const name = dialect_name(dialect) + "-" + std::to_string(megabytes) + "MB.ini";
    auto [entry, added] = paths_.try_emplace(name, (dir_ / name).string());
    if (added) {
      std::ofstream(entry->second, std::ios::binary) << generate(dialect, megabytes << 20U);
    }
    return entry->second;
  }

 private:
  std::filesystem::path dir_;
  std::map<std::string, std::string> paths_;
};

Files& files() {
  static Files instance;
  return instance;
}

int inih_handler(void* user, char const* /*section*/, char const* name, char const* value) {
  (*static_cast<std::map<std::string, std::string>*>(user))[name] = value;
  return 1;
}

#if defined(__linux__) && defined(__GLIBC__)
long status_kib(char const* field) {
  std::ifstream status("/proc/self/status");
  std::string word;
  while (status >> word) {
    if (word == field) {
      long kib = 0;
      status >> kib;
      return kib;
    }
  }
  return 0;
}

// Peak heap bytes and peak resident growth of one run, per byte of file.
template <typename Run>
void report_peak(benchmark::State& state, double file_size, Run run) {
  malloc_trim(0);
  std::ofstream("/proc/self/clear_refs") << "5";  // resets the high-water mark to the resident set
  long const resident_before = status_kib("VmRSS:");
  g_live = 0;
  g_peak = 0;
  g_counting = true;
  run();
  g_counting = false;
  long const high_water = status_kib("VmHWM:");
  state.counters["heap/file"] = static_cast<double>(g_peak) / file_size;
  state.counters["rss/file"] = static_cast<double>(high_water - resident_before) * 1024 / file_size;
}
#else
template <typename Run>
void report_peak(benchmark::State& /*state*/, double /*file_size*/, Run /*run*/) {}
#endif

template <typename Run>
void measure(benchmark::State& state, std::string const& path, Run run) {
  auto const size = static_cast<double>(std::filesystem::file_size(path));
  for (auto _ : state) {
    run();
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * size));
  report_peak(state, size, run);
}

void BM_Parse(benchmark::State& state, Dialect dialect, std::size_t megabytes) {
  std::string const& path = files().get(dialect, megabytes);
  cpputil::ustring const upath = cpputil::utf8_to_ustring(path);
  measure(state, path, [&] {
    cpputil::InputFileParser parser;
    cpputil::PropertyMap map = parser.parse(upath);
    if (map.empty()) {
      state.SkipWithError("parse found no settings");
    }
    benchmark::DoNotOptimize(map);
  });
}

void BM_InihMap(benchmark::State& state, Dialect dialect, std::size_t megabytes) {
  std::string const& path = files().get(dialect, megabytes);
  measure(state, path, [&] {
    std::map<std::string, std::string> map;
    int const result = ini_parse(path.c_str(), inih_handler, &map);
    if (result < 0 || (dialect != Dialect::native && result != 0)) {
      state.SkipWithError("inih could not read the file");
    }
    benchmark::DoNotOptimize(map);
  });
}

void BM_ReadIni(benchmark::State& state, Dialect dialect, std::size_t megabytes) {
  std::string const& path = files().get(dialect, megabytes);
  measure(state, path, [&] {
    boost::property_tree::ptree tree;
    boost::property_tree::ini_parser::read_ini(path, tree);
    benchmark::DoNotOptimize(tree);
  });
}

// Peers side by side for each file, so that one run gives the ratios.
int const registered = [] {
  using Function = void (*)(benchmark::State&, Dialect, std::size_t);
  auto add = [](std::string const& name, Function function, Dialect dialect, std::size_t mb) {
    benchmark::RegisterBenchmark(name.c_str(), function, dialect, mb)
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime();
  };
  for (std::size_t const megabytes : {1, 20}) {
    for (Dialect const dialect : {Dialect::common, Dialect::native, Dialect::keys}) {
      std::string const file = dialect_name(dialect) + "/" + std::to_string(megabytes) + "MB";
      add("Parse/" + file, BM_Parse, dialect, megabytes);
      add("InihMap/" + file, BM_InihMap, dialect, megabytes);
      if (dialect == Dialect::common) {
        add("ReadIni/" + file, BM_ReadIni, dialect, megabytes);
      }
    }
  }
  return 0;
}();

}  // namespace

BENCHMARK_MAIN();
