// The installer's input file: its kept lines become the settings text, and the settings text
// becomes a property map. Lines are handled as views into the text, so the only allocations
// per line are the map's own keys and values.
#include "install/cpputil/InputFileParser.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string_view>
#include <utility>

#include <boost/algorithm/string/replace.hpp>

#include "install/cpputil/Path.hpp"

#include "platform/file.hpp"
#include "platform/filesystem.hpp"
#include "text.hpp"
#include "trace/trace.hpp"
#include "utf.hpp"

namespace install::cpputil {
namespace {

trace::DiagnosticLogger channel("install::cpputil::InputFileParser");
std::vector<std::string> const listValuedKeys{"product", "platform"};

// The text after a separator and the run of separators that follows it.
std::string_view after_run(std::string_view line, std::size_t separator) noexcept {
  std::size_t const start = line.find_first_not_of(line[separator], separator);
  return start == std::string_view::npos ? std::string_view() : line.substr(start);
}

bool has_list_key(std::string_view line) noexcept {
  for (std::string const& name : listValuedKeys) {
    for (std::size_t at = line.find(name); at != std::string_view::npos;
         at = line.find(name, at + 1)) {
      if (at + name.size() < line.size() && line[at + name.size()] == '.') {
        return true;
      }
    }
  }
  return false;
}

// Byte-wise tolower under the locale in force when the table is made. A table of the 256
// answers rather than a call of tolower per key byte: with the call, the parser is only 1.5 x
// faster than inih on mixed files, the edge of its budget.
class ByteLowering {
 public:
  ByteLowering() {
    int byte = 0;
    for (char& entry : lowered_) {
      entry = static_cast<char>(std::tolower(byte++));
    }
  }

  /// `text` lowered into `out`, which has room for text.size() bytes.
  void lower(std::string_view text, char* out) const noexcept {
    for (char const byte : text) {
      // NOLINTNEXTLINE(cppcoreguidelines-pro-bounds-constant-array-index): 256 entries.
      *out++ = lowered_[static_cast<unsigned char>(byte)];
    }
  }

 private:
  std::array<char, 256> lowered_{};
};

// Buffers reused from line to line, so that a key already in the map costs no allocation.
struct Scratch {
  ByteLowering lowering;
  std::string key_bytes;
  ustring key;
  ustring units;
};

// Decoded into the scratch buffer first, so that a string made from it is allocated once, at
// its final size.
std::u16string_view decoded(std::string_view bytes, Scratch& scratch) {
  if (scratch.units.size() < bytes.size()) {
    scratch.units.resize(bytes.size());
  }
  return {scratch.units.data(), utf::utf8_to_utf16(bytes, scratch.units.data())};
}

void make_key(std::string_view raw, Scratch& scratch) {
  std::string_view const trimmed = text::trim(raw);
  scratch.key_bytes.resize(trimmed.size());
  scratch.lowering.lower(trimmed, scratch.key_bytes.data());
  scratch.key.resize(trimmed.size());
  scratch.key.resize(utf::utf8_to_utf16(scratch.key_bytes, scratch.key.data()));
}

bool is_list_key(std::string const& lowered) {
  return std::find(listValuedKeys.begin(), listValuedKeys.end(), lowered) != listValuedKeys.end();
}

void replace_underscores(ustring& text) {
  if (text.find(u'_') == ustring::npos) {
    return;
  }
  // Strings, not literals: Boost would take a char16_t array's terminator as part of the text.
  boost::algorithm::replace_all(text, ustring(1, u'_'), ustring(1, u' '));
}

// The map's first entry not less than `key`, and whether it is `key`'s own: where to insert the
// key, or the entry that holds it.
std::pair<PropertyMap::iterator, bool> find_place(PropertyMap& map, ustring const& key) {
  auto const found = map.lower_bound(key);
  return {found, found != map.end() && found->first == key};
}

// Builds the property map one settings line at a time.
class Converter {
 public:
  /// One line of the settings text, without its line feed.
  void add(std::string_view line) {
    if (std::size_t const equals = line.find('='); equals != std::string_view::npos) {
      add_setting(line, equals);
    } else if (has_list_key(line)) {
      add_list_entry(line, line.find('.'));  // there is a dot: it follows the list key
    }
  }
  PropertyMap take() { return std::move(map_); }

 private:
  void add_setting(std::string_view line, std::size_t equals) {
    make_key(line.substr(0, equals), scratch_);
    // Lower-case ASCII survives the round trip through UTF-16 unchanged and nothing else can
    // become a list key's name, so the lowered bytes answer for the converted key.
    if (scratch_.key_bytes.empty() || is_list_key(scratch_.key_bytes)) {
      return;
    }
    std::string_view const value = text::trim(after_run(line, equals));
    std::u16string_view const units = decoded(value, scratch_);
    auto const [found, present] = find_place(map_, scratch_.key);
    if (!present) {
      map_.emplace_hint(found, scratch_.key, ustring(units));
    } else if (auto* text = std::get_if<ustring>(&found->second)) {
      text->assign(units);
    } else {
      found->second = ustring(units);
    }
  }

  void add_list_entry(std::string_view line, std::size_t dot) {
    make_key(line.substr(0, dot), scratch_);
    auto const [found, present] = find_place(map_, scratch_.key);
    auto* const list = present ? std::get_if<std::vector<ustring>>(&found->second) : nullptr;
    if (present && list == nullptr) {
      return;  // a single setting is not turned into a list
    }
    ustring entry(decoded(text::trim(after_run(line, dot)), scratch_));
    replace_underscores(entry);
    if (list != nullptr) {
      list->push_back(std::move(entry));
    } else {
      std::vector<ustring> entries;
      entries.push_back(std::move(entry));
      map_.emplace_hint(found, scratch_.key, std::move(entries));
    }
  }

  PropertyMap map_;
  Scratch scratch_;
};

// Hands each kept line of the input file, trimmed and traced, to `keep`; `sized` first learns
// the file's size when it can be told.
template <typename Sized, typename Keep>
void read_kept_lines(ustring const& path, Sized const& sized, Keep const& keep) {
  Path const file_path(path);
  if (!platform::exists(file_path)) {
    throw std::runtime_error("input file does not exist!");
  }
  platform::File file = platform::File::open_read(file_path.text());
  if (!file.is_open()) {
    return;
  }
  sized(file.size());
  platform::LineReader reader(file);
  std::string_view line;
  while (reader.next(line)) {
    std::string_view const kept = text::trim(line);
    if (text::keeps_line(kept)) {
      CPPUTIL_TRACE(channel, trace::detail) << " line=" << kept;
      keep(kept);
    }
  }
}

}  // namespace

// NOLINTBEGIN(readability-convert-member-functions-to-static): members of the fixed interface.
std::string InputFileParser::getUserInputsFromFile(ustring const& path) const {
  std::string settings;
  read_kept_lines(
      path,
      [&settings](std::int64_t size) {
        // Kept lines never outgrow the file (plus a final line feed): one allocation suffices.
        if (size > 0) {
          settings.reserve(static_cast<std::size_t>(size) + 1);
        }
      },
      [&settings](std::string_view kept) { settings.append(kept).push_back('\n'); });
  if (settings.size() < settings.capacity() / 2) {
    settings.shrink_to_fit();  // mostly comments: do not hand the caller the file's size
  }
  return settings;
}

std::string InputFileParser::trim(std::string const& text) const {
  return std::string(text::trim(text));
}

std::string InputFileParser::ltrim(std::string const& text) const {
  return std::string(text::trim_left(text));
}

std::string InputFileParser::rtrim(std::string const& text) const {
  return std::string(text::trim_right(text));
}

std::string InputFileParser::stringToLowerCase(std::string const& text) const {
  std::string lowered(text.size(), '\0');
  ByteLowering().lower(text, lowered.data());
  return lowered;
}

// The kept lines go straight from the file to the map: the same result as converting the
// settings text, without a copy of the whole file in between.
PropertyMap InputFileParser::parse(ustring const& path) {
  Converter converter;
  read_kept_lines(
      path, [](std::int64_t /*size*/) {},
      [&converter](std::string_view kept) { converter.add(kept); });
  return converter.take();
}

PropertyMap InputFileParser::convertInputsToPropertyMap(std::string const& settings) {
  Converter converter;
  std::string_view rest(settings);
  for (std::size_t feed = rest.find('\n'); feed != std::string_view::npos; feed = rest.find('\n')) {
    converter.add(rest.substr(0, feed));
    rest.remove_prefix(feed + 1);
  }
  return converter.take();
}

void InputFileParser::removeUnderscores(ustring& text) { replace_underscores(text); }

// NOLINTEND(readability-convert-member-functions-to-static)

}  // namespace install::cpputil

bool shouldAppend(std::string const& line) { return install::cpputil::text::keeps_line(line); }
