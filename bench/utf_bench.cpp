// UTF-8 to UTF-16 conversion against ICU's u_strFromUTF8WithSub, both producing a new string.
#include <string>

#include <benchmark/benchmark.h>
#include <unicode/ustring.h>

#include "install/cpputil/ustring.hpp"

namespace {

std::string repeat(std::string const& unit, std::size_t bytes) {
  std::string text;
  while (text.size() < bytes) {
    text += unit;
  }
  return text;
}

std::string const& sample(int kind) {
  static std::string const ascii =
      repeat("(Nov 16, 2026 17:46:51) Copying C:/Program Files/Product/bin/tool.dll ", 4096);
  static std::string const mixed = repeat(
      "Installation de l'\xC3\xA9"
      "diteur termin\xC3\xA9"
      "e \xE2\x80\x94 \xE5\xAE\x89\xE8\xA3\x85"
      "\xE5\xAE\x8C\xE4\xBA\x86 \xF0\x9F\x98\x80 Stra\xC3\x9F"
      "e ",
      4096);
  return kind == 0 ? ascii : mixed;
}

void BM_Utf8ToUstring(benchmark::State& state) {
  std::string const& text = sample(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    benchmark::DoNotOptimize(install::cpputil::utf8_to_ustring(text));
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
  state.SetLabel(state.range(0) == 0 ? "ascii" : "mixed");
}
BENCHMARK(BM_Utf8ToUstring)->Arg(0)->Arg(1);

void BM_IcuFromUtf8WithSub(benchmark::State& state) {
  std::string const& text = sample(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    std::u16string out(text.size(), u'\0');
    UErrorCode status = U_ZERO_ERROR;
    int32_t length = 0;
    u_strFromUTF8WithSub(reinterpret_cast<UChar*>(out.data()), static_cast<int32_t>(out.size()),
                         &length, text.data(), static_cast<int32_t>(text.size()), 0xFFFD, nullptr,
                         &status);
    out.resize(static_cast<std::size_t>(length));
    benchmark::DoNotOptimize(out);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
  state.SetLabel(state.range(0) == 0 ? "ascii" : "mixed");
}
BENCHMARK(BM_IcuFromUtf8WithSub)->Arg(0)->Arg(1);

void BM_UstringToUtf8(benchmark::State& state) {
  auto const text = install::cpputil::utf8_to_ustring(sample(static_cast<int>(state.range(0))));
  for (auto _ : state) {
    benchmark::DoNotOptimize(install::cpputil::ustring_to_utf8(text));
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size() * 2));
  state.SetLabel(state.range(0) == 0 ? "ascii" : "mixed");
}
BENCHMARK(BM_UstringToUtf8)->Arg(0)->Arg(1);

}  // namespace

BENCHMARK_MAIN();
