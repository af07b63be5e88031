// The installer's input file: its kept lines become the settings text, and the settings text
// becomes a property map. Lines are handled as views into the text, so the only allocations
// per line are the map's own keys and values.
#include "install/cpputil/InputFileParser.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string_view>
#include <utility>

#include <boost/algorithm/string/replace.hpp>

#include "install/cpputil/Path.hpp"

#include "platform/file.hpp"
#include "platform/path.hpp"
#include "text.hpp"
#include "trace/trace.hpp"

namespace install::cpputil {
namespace {

trace::DiagnosticLogger channel("install::cpputil::InputFileParser");
std::vector<std::string> const listValuedKeys{"product", "platform"};

namespace rules = text;  // the members below name their argument `text`

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

// Buffers reused from line to line, so that a key already in the map costs no allocation.
struct Scratch {
  Scratch() {
    // tolower once per byte value rather than once per key byte; the table keeps the
    // locale in force when the conversion starts.
    int byte = 0;
    for (char& entry : lowered) {
      entry = static_cast<char>(std::tolower(byte++));
    }
  }

  std::array<char, 256> lowered{};
  std::string key_bytes;
  ustring key;
  ustring units;
};

// Decoded into the scratch buffer first, so that a string made from it is allocated once, at
// its final size.
std::u16string_view decoded(std::string_view text, Scratch& scratch) {
  if (scratch.units.size() < text.size()) {
    scratch.units.resize(text.size());
  }
  return {scratch.units.data(), rules::widen_utf8(text, scratch.units.data())};
}

void make_key(std::string_view raw, Scratch& scratch) {
  std::string_view const trimmed = rules::trim(raw);
  scratch.key_bytes.resize(trimmed.size());
  for (std::size_t i = 0; i < trimmed.size(); ++i) {
    // NOLINTNEXTLINE(cppcoreguidelines-pro-bounds-constant-array-index): 256 entries.
    scratch.key_bytes[i] = scratch.lowered[static_cast<unsigned char>(trimmed[i])];
  }
  scratch.key.resize(trimmed.size());
  scratch.key.resize(rules::widen_utf8(scratch.key_bytes, scratch.key.data()));
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

#if defined(__GLIBCXX__) && !defined(_GLIBCXX_DEBUG)
// Where two keys first differ, or the shorter one's size, looking from `from` on: the units
// before it are known to agree. Four units at a time while they agree, as one file's keys often
// share long prefixes and std::less<ustring> compares them one unit at a time.
std::size_t first_difference(ustring const& left, ustring const& right, std::size_t from) noexcept {
  std::size_t const common = std::min(left.size(), right.size());
  std::size_t at = from;
  while (at + 4 <= common && std::memcmp(left.data() + at, right.data() + at, 8) == 0) {
    at += 4;
  }
  while (at < common && left[at] == right[at]) {
    ++at;
  }
  return at;
}

// std::less<ustring>'s answer, from where the two keys first differ.
bool less_at(ustring const& left, ustring const& right, std::size_t at) noexcept {
  return at < std::min(left.size(), right.size()) ? left[at] < right[at]
                                                  : left.size() < right.size();
}

// The map's first entry not less than `key`, and whether it is `key`'s own: map::lower_bound's
// descent, through libstdc++'s node links. Every key below a node lies between the nearest
// nodes passed on either side, so it shares with `key` at least the units that both of those
// share with it, and each comparison starts there. The children are fetched while the node's
// key is compared: a large map misses the cache at every level.
std::pair<PropertyMap::iterator, bool> find_place(PropertyMap& map, ustring const& key) noexcept {
  using Node = std::_Rb_tree_node<PropertyMap::value_type>;
  std::_Rb_tree_node_base* const header = map.end()._M_node;
  std::_Rb_tree_node_base* bound = header;
  std::size_t shared_below = 0;  // with the nearest node passed that is less than `key`
  std::size_t shared_above = 0;  // with the nearest node passed that is not, `bound`
  for (std::_Rb_tree_node_base* node = header->_M_parent; node != nullptr;) {
    __builtin_prefetch(node->_M_left);
    __builtin_prefetch(node->_M_right);
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-static-cast-downcast): every node but the header.
    ustring const& node_key = static_cast<Node*>(node)->_M_valptr()->first;
    std::size_t const at = first_difference(node_key, key, std::min(shared_below, shared_above));
    if (less_at(node_key, key, at)) {
      shared_below = at;
      node = node->_M_right;
    } else {
      shared_above = at;
      bound = node;
      node = node->_M_left;
    }
  }
  PropertyMap::iterator const found(bound);
  return {found,
          found != map.end() && shared_above == key.size() && found->first.size() == key.size()};
}
#else
std::pair<PropertyMap::iterator, bool> find_place(PropertyMap& map, ustring const& key) {
  auto const found = map.lower_bound(key);
  return {found, found != map.end() && found->first == key};
}
#endif

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
    std::string_view const value = rules::trim(after_run(line, equals));
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
    ustring entry(decoded(rules::trim(after_run(line, dot)), scratch_));
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
    std::string_view const kept = rules::trim(line);
    if (rules::keeps_line(kept)) {
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
  return std::string(rules::trim(text));
}

std::string InputFileParser::ltrim(std::string const& text) const {
  return std::string(rules::trim_left(text));
}

std::string InputFileParser::rtrim(std::string const& text) const {
  return std::string(rules::trim_right(text));
}

std::string InputFileParser::stringToLowerCase(std::string const& text) const {
  std::string lowered(text.size(), '\0');
  for (std::size_t i = 0; i < text.size(); ++i) {
    // As unsigned char: a negative argument is undefined behaviour for tolower.
    lowered[i] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[i])));
  }
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
