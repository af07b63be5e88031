// The C interface over the C++ one. Each entry catches everything, turns the exception into a
// status and keeps its text for the calling thread: nothing may unwind into a C caller.
#include "install/cpputil/cpputil.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <map>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "install/cpputil/InputFileParser.hpp"
#include "install/cpputil/SandboxWorkflowDetector.hpp"
#include "install/cpputil/VersionComparator.hpp"
#include "install/cpputil/diagnostics.hpp"
#include "install/cpputil/installer_locale.hpp"
#include "install/cpputil/interrupt.hpp"
#include "install/cpputil/logger.hpp"
#include "install/cpputil/platform.hpp"
#include "install/cpputil/ustring.hpp"
#include "install/cpputil/validate.hpp"

namespace lib = install::cpputil;
using lib::ustring;

struct install_cpputil_logger {
  template <typename Text>
  explicit install_cpputil_logger(Text const& destination) : scope(destination) {}
  lib::logger::Logger scope;
};

// The map's entries in a vector, so that an index reaches an entry at once.
struct install_cpputil_map {
  std::vector<std::pair<ustring, lib::PropertyValue>> entries;
};

namespace {

// A failure of this interface itself: a null pointer, an index out of range, a small buffer.
struct Failure {
  int status;
  std::string what;
};

Failure bad_argument(std::string what) { return {INSTALL_CPPUTIL_BAD_ARGUMENT, std::move(what)}; }

thread_local std::string error_text;
thread_local ustring error_text_u16;

int succeed() noexcept {
  error_text.clear();
  error_text_u16.clear();
  return INSTALL_CPPUTIL_OK;
}

int fail(int status, char const* what) noexcept {
  try {
    error_text = what;
    error_text_u16 = lib::utf8_to_ustring(error_text);
  } catch (...) {
    // Short enough for any string's own storage, so this assignment cannot fail too.
    error_text_u16.clear();
    error_text = "std::bad_alloc";
    return INSTALL_CPPUTIL_OUT_OF_MEMORY;
  }
  return status;
}

// Runs `call`, a C function's body, and answers with the status of what it threw.
template <typename Call>
int guard(Call&& call) noexcept {
  try {
    call();
    return succeed();
  } catch (Failure const& failure) {
    return fail(failure.status, failure.what.c_str());
  } catch (lib::interrupt::Exception const& e) {
    return fail(INSTALL_CPPUTIL_INTERRUPTED, e.what());
  } catch (std::invalid_argument const& e) {
    return fail(INSTALL_CPPUTIL_INVALID_ARGUMENT, e.what());
  } catch (std::out_of_range const& e) {
    return fail(INSTALL_CPPUTIL_OUT_OF_RANGE, e.what());
  } catch (std::runtime_error const& e) {
    return fail(INSTALL_CPPUTIL_RUNTIME_ERROR, e.what());
  } catch (std::bad_alloc const& e) {
    return fail(INSTALL_CPPUTIL_OUT_OF_MEMORY, e.what());
  } catch (std::length_error const& e) {  // a text longer than a string can hold
    return fail(INSTALL_CPPUTIL_OUT_OF_MEMORY, e.what());
  } catch (std::exception const& e) {
    return fail(INSTALL_CPPUTIL_UNKNOWN_ERROR, e.what());
  } catch (...) {
    return fail(INSTALL_CPPUTIL_UNKNOWN_ERROR, "unknown exception");
  }
}

template <typename T>
T& out(T* pointer, char const* name) {
  if (pointer == nullptr) {
    throw bad_argument(std::string(name) + " is null");
  }
  return *pointer;
}

template <typename Char>
std::basic_string<Char> text(Char const* pointer, char const* name) {
  return std::basic_string<Char>(&out(pointer, name));
}

std::string utf8(std::string text) { return text; }
std::string utf8(ustring const& text) { return lib::ustring_to_utf8(text); }
ustring utf16(std::string const& text) { return lib::utf8_to_ustring(text); }
ustring utf16(ustring text) { return text; }

// The caller's buffer receives the text and its NUL, or the empty text when too small.
template <typename Char>
void copy_out(std::basic_string<Char> const& text, Char* buffer, std::size_t capacity,
              std::size_t* needed) {
  std::size_t const size = text.size() + 1;
  if (needed != nullptr) {
    *needed = size;
  }
  if (buffer == nullptr && capacity != 0) {
    throw bad_argument("buffer is null");
  }
  if (capacity == 0 || capacity - 1 < text.size()) {
    if (capacity != 0) {
      buffer[0] = Char();
    }
    throw Failure{INSTALL_CPPUTIL_BUFFER_TOO_SMALL, "buffer too small"};
  }
  std::copy(text.begin(), text.end(), buffer);
  buffer[text.size()] = Char();
}

template <typename Char>
int logger_create(Char const* destination, install_cpputil_logger** logger) {
  return guard([&] {
    auto& made = out(logger, "logger");
    made = new install_cpputil_logger(text(destination, "destination"));
  });
}

template <typename Char>
int parse(Char const* path, install_cpputil_map** map) {
  return guard([&] {
    auto& made = out(map, "map");
    lib::PropertyMap parsed = lib::InputFileParser().parse(utf16(text(path, "path")));
    auto result = std::make_unique<install_cpputil_map>();
    result->entries.reserve(parsed.size());
    while (!parsed.empty()) {
      auto node = parsed.extract(parsed.begin());
      result->entries.emplace_back(std::move(node.key()), std::move(node.mapped()));
    }
    made = result.release();
  });
}

auto const& entry_at(install_cpputil_map const* map, std::size_t index) {
  auto const& entries = out(map, "map").entries;
  if (index >= entries.size()) {
    throw bad_argument("index out of range");
  }
  return entries[index];
}

template <typename Char>
int map_find(install_cpputil_map const* map, Char const* key, std::size_t* index) {
  return guard([&] {
    auto const& entries = out(map, "map").entries;
    ustring const wanted = utf16(text(key, "key"));
    auto& found = out(index, "index");
    auto const at =
        std::lower_bound(entries.begin(), entries.end(), wanted,
                         [](auto const& entry, ustring const& k) { return entry.first < k; });
    if (at == entries.end() || at->first != wanted) {
      throw Failure{INSTALL_CPPUTIL_NOT_FOUND, "no such key"};
    }
    found = static_cast<std::size_t>(at - entries.begin());
  });
}

template <typename Char>
void copy_text(ustring const& text, Char* buffer, std::size_t capacity, std::size_t* needed) {
  if constexpr (std::is_same_v<Char, char>) {
    copy_out(lib::ustring_to_utf8(text), buffer, capacity, needed);
  } else {
    copy_out(text, buffer, capacity, needed);
  }
}

template <typename Char>
int destination(lib::Path const& (*which)(), Char* buffer, std::size_t capacity,
                std::size_t* needed) {
  // A copy: the library's own may change after this.
  return guard([&] { copy_text(lib::Path(which()).text(), buffer, capacity, needed); });
}

ustring const& item_at(install_cpputil_map const* map, std::size_t index, std::size_t item) {
  auto const& value = entry_at(map, index).second;
  if (auto const* single = std::get_if<ustring>(&value)) {
    if (item == 0) {
      return *single;
    }
  } else if (auto const& list = std::get<std::vector<ustring>>(value); item < list.size()) {
    return list[item];
  }
  throw bad_argument("item out of range");
}

template <typename Char>
int settings_text(Char const* path, char** text_out, std::size_t* length) {
  return guard([&] {
    auto& made = out(text_out, "text");
    std::string const settings =
        lib::InputFileParser().getUserInputsFromFile(utf16(text(path, "path")));
    // C's allocator, so that install_cpputil_free is plain free().
    // NOLINTNEXTLINE(cppcoreguidelines-no-malloc)
    auto* copy = static_cast<char*>(std::malloc(settings.size() + 1));
    if (copy == nullptr) {
      throw std::bad_alloc();
    }
    std::memcpy(copy, settings.c_str(), settings.size() + 1);
    made = copy;
    if (length != nullptr) {
      *length = settings.size();
    }
  });
}

// A table of `count` key and value pairs; of two equal keys the later counts.
template <typename Char>
std::map<std::string, std::string> table(Char const* const* pairs, std::size_t count,
                                         char const* name) {
  std::map<std::string, std::string> made;
  if (count == 0) {
    return made;
  }
  if (count > SIZE_MAX / 2) {
    throw bad_argument(std::string(name) + " count out of range");
  }
  out(pairs, name);
  for (std::size_t i = 0; i < 2 * count; i += 2) {
    if (pairs[i] == nullptr || pairs[i + 1] == nullptr) {
      throw bad_argument(std::string(name) + "[" + std::to_string(pairs[i] == nullptr ? i : i + 1) +
                         "] is null");
    }
    made[utf8(std::basic_string<Char>(pairs[i]))] = utf8(std::basic_string<Char>(pairs[i + 1]));
  }
  return made;
}

// A predicate's answer as 0 or 1 in `*result`.
template <typename Predicate>
int answer(int* result, Predicate&& predicate) {
  return guard([&] {
    auto& answered = out(result, "result");
    answered = predicate() ? 1 : 0;
  });
}

template <typename Char>
int compare(Char const* first, Char const* second, int* result) {
  return guard([&] {
    auto& compared = out(result, "result");
    compared = lib::VersionComparator().compareVersionNumbers(utf16(text(first, "first")),
                                                              utf16(text(second, "second")));
  });
}

template <typename Char>
int locale(Char* buffer, std::size_t capacity, std::size_t* needed) {
  return guard([&] { copy_text(lib::installer_locale::getLocale(), buffer, capacity, needed); });
}

}  // namespace

extern "C" {

char const* install_cpputil_version(void) noexcept { return INSTALL_CPPUTIL_VERSION_STRING; }
char const* install_cpputil_last_error(void) noexcept { return error_text.c_str(); }
char16_t const* install_cpputil_last_error_u16(void) noexcept {
  // Empty beside a UTF-8 text only when fail() had no memory to convert it.
  return error_text_u16.empty() && !error_text.empty() ? u"std::bad_alloc" : error_text_u16.c_str();
}
void install_cpputil_free(void* memory) noexcept {
  std::free(memory);  // NOLINT(cppcoreguidelines-no-malloc): what settings_text allocated
}

int install_cpputil_logger_create(char const* destination,
                                  install_cpputil_logger** logger) noexcept {
  return logger_create(destination, logger);
}
int install_cpputil_logger_create_u16(char16_t const* destination,
                                      install_cpputil_logger** logger) noexcept {
  return logger_create(destination, logger);
}
void install_cpputil_logger_destroy(install_cpputil_logger* logger) noexcept { delete logger; }

int install_cpputil_append_message(char const* message) noexcept {
  return guard([&] { lib::logger::append_message(text(message, "message")); });
}
int install_cpputil_append_message_u16(char16_t const* message) noexcept {
  return guard([&] { lib::logger::append_message(text(message, "message")); });
}
int install_cpputil_append_file(char const* path) noexcept {
  return guard([&] { lib::logger::append_file(text(path, "path")); });
}
int install_cpputil_append_file_u16(char16_t const* path) noexcept {
  return guard([&] { lib::logger::append_file(text(path, "path")); });
}

int install_cpputil_get_destination(char* buffer, size_t capacity, size_t* needed) noexcept {
  return destination(lib::logger::get_destination, buffer, capacity, needed);
}
int install_cpputil_get_destination_u16(char16_t* buffer, size_t capacity,
                                        size_t* needed) noexcept {
  return destination(lib::logger::get_destination, buffer, capacity, needed);
}
int install_cpputil_get_last_destination(char* buffer, size_t capacity, size_t* needed) noexcept {
  return destination(lib::logger::detail::get_last_destination, buffer, capacity, needed);
}
int install_cpputil_get_last_destination_u16(char16_t* buffer, size_t capacity,
                                             size_t* needed) noexcept {
  return destination(lib::logger::detail::get_last_destination, buffer, capacity, needed);
}
void install_cpputil_forget_last_destination(void) noexcept {
  lib::logger::detail::forget_last_destination();
}

void install_cpputil_interrupt_set(void) noexcept { lib::interrupt::set(); }
// install_cpputil_interrupt_is_set is defined beside the flag, in interrupt.cpp.
void install_cpputil_interrupt_unset(void) noexcept { lib::interrupt::detail::unset(); }
int install_cpputil_interrupt_throw_if_set(char const* tag) noexcept {
  return guard([&] { lib::interrupt::throw_if_set(text(tag, "tag")); });
}

int install_cpputil_parse(char const* path, install_cpputil_map** map) noexcept {
  return parse(path, map);
}
int install_cpputil_parse_u16(char16_t const* path, install_cpputil_map** map) noexcept {
  return parse(path, map);
}
void install_cpputil_map_free(install_cpputil_map* map) noexcept { delete map; }
size_t install_cpputil_map_size(install_cpputil_map const* map) noexcept {
  return map == nullptr ? 0 : map->entries.size();
}
int install_cpputil_map_find(install_cpputil_map const* map, char const* key,
                             size_t* index) noexcept {
  return map_find(map, key, index);
}
int install_cpputil_map_find_u16(install_cpputil_map const* map, char16_t const* key,
                                 size_t* index) noexcept {
  return map_find(map, key, index);
}
int install_cpputil_map_key(install_cpputil_map const* map, size_t index, char* buffer,
                            size_t capacity, size_t* needed) noexcept {
  return guard([&] { copy_text(entry_at(map, index).first, buffer, capacity, needed); });
}
int install_cpputil_map_key_u16(install_cpputil_map const* map, size_t index, char16_t* buffer,
                                size_t capacity, size_t* needed) noexcept {
  return guard([&] { copy_text(entry_at(map, index).first, buffer, capacity, needed); });
}
int install_cpputil_map_entry(install_cpputil_map const* map, size_t index, int* is_list,
                              size_t* count) noexcept {
  return guard([&] {
    auto const* list = std::get_if<std::vector<ustring>>(&entry_at(map, index).second);
    if (is_list != nullptr) {
      *is_list = list == nullptr ? 0 : 1;
    }
    if (count != nullptr) {
      *count = list == nullptr ? 1 : list->size();
    }
  });
}
int install_cpputil_map_value(install_cpputil_map const* map, size_t index, size_t item,
                              char* buffer, size_t capacity, size_t* needed) noexcept {
  return guard([&] { copy_text(item_at(map, index, item), buffer, capacity, needed); });
}
int install_cpputil_map_value_u16(install_cpputil_map const* map, size_t index, size_t item,
                                  char16_t* buffer, size_t capacity, size_t* needed) noexcept {
  return guard([&] { copy_text(item_at(map, index, item), buffer, capacity, needed); });
}

int install_cpputil_settings_text(char const* path, char** text, size_t* length) noexcept {
  return settings_text(path, text, length);
}
int install_cpputil_settings_text_u16(char16_t const* path, char** text, size_t* length) noexcept {
  return settings_text(path, text, length);
}
int install_cpputil_should_append(char const* line, int* result) noexcept {
  return answer(result, [&] { return shouldAppend(text(line, "line")); });
}

int install_cpputil_validate_arg(char const* key, char const* value, char const* rule) noexcept {
  return guard(
      [&] { lib::validate_arg(text(key, "key"), text(value, "value"), text(rule, "rule")); });
}
int install_cpputil_validate_arg_u16(char16_t const* key, char16_t const* value,
                                     char16_t const* rule) noexcept {
  return guard([&] {
    lib::validate_arg(utf8(text(key, "key")), utf8(text(value, "value")), utf8(text(rule, "rule")));
  });
}
int install_cpputil_validate_args(char const* const* arguments, size_t argument_count,
                                  char const* const* rules, size_t rule_count) noexcept {
  return guard([&] {
    lib::validate_args(table(arguments, argument_count, "arguments"),
                       table(rules, rule_count, "rules"));
  });
}
int install_cpputil_validate_args_u16(char16_t const* const* arguments, size_t argument_count,
                                      char16_t const* const* rules, size_t rule_count) noexcept {
  return guard([&] {
    lib::validate_args(table(arguments, argument_count, "arguments"),
                       table(rules, rule_count, "rules"));
  });
}

int install_cpputil_validate_strval(char const* value, char const* allowed, int* result) noexcept {
  return answer(
      result, [&] { return lib::validate_strval(text(value, "value"), text(allowed, "allowed")); });
}
int install_cpputil_validate_strval_u16(char16_t const* value, char16_t const* allowed,
                                        int* result) noexcept {
  return answer(result, [&] {
    return lib::validate_strval(utf8(text(value, "value")), utf8(text(allowed, "allowed")));
  });
}
int install_cpputil_validate_boolval(char const* value, int* result) noexcept {
  return answer(result, [&] { return lib::validate_boolval(text(value, "value")); });
}
int install_cpputil_validate_boolval_u16(char16_t const* value, int* result) noexcept {
  return answer(result, [&] { return lib::validate_boolval(utf8(text(value, "value"))); });
}
int install_cpputil_validate_intval(char const* value, int* result) noexcept {
  return answer(result, [&] { return lib::validate_intval(text(value, "value")); });
}
int install_cpputil_validate_intval_u16(char16_t const* value, int* result) noexcept {
  return answer(result, [&] { return lib::validate_intval(utf8(text(value, "value"))); });
}
int install_cpputil_validate_rfile(char const* path, int* result) noexcept {
  return answer(result, [&] { return lib::validate_rfile(text(path, "path")); });
}
int install_cpputil_validate_rfile_u16(char16_t const* path, int* result) noexcept {
  return answer(result, [&] { return lib::validate_rfile(utf8(text(path, "path"))); });
}

int install_cpputil_compare_versions(char const* first, char const* second, int* result) noexcept {
  return compare(first, second, result);
}
int install_cpputil_compare_versions_u16(char16_t const* first, char16_t const* second,
                                         int* result) noexcept {
  return compare(first, second, result);
}

int install_cpputil_is_sandbox_workflow(void) noexcept {
  return lib::SandboxWorkflowDetector().isSandboxWorkflow() ? 1 : 0;
}
int install_cpputil_is_sandbox_path_exist(int* result) noexcept {
  return answer(result, [] { return lib::SandboxWorkflowDetector().isSandboxPathExist(); });
}
int install_cpputil_set_install_path(char const* root) noexcept {
  return guard([&] { lib::platform::set_install_path(utf16(text(root, "root"))); });
}
int install_cpputil_set_install_path_u16(char16_t const* root) noexcept {
  return guard([&] { lib::platform::set_install_path(text(root, "root")); });
}
void install_cpputil_reset_install_path(void) noexcept { lib::platform::reset_install_path(); }

int install_cpputil_locale(char* buffer, size_t capacity, size_t* needed) noexcept {
  return locale(buffer, capacity, needed);
}
int install_cpputil_locale_u16(char16_t* buffer, size_t capacity, size_t* needed) noexcept {
  return locale(buffer, capacity, needed);
}

int install_cpputil_set_channel_mask(char const* channel, uint32_t mask) noexcept {
  return guard([&] { lib::diagnostics::set_channel_mask(text(channel, "channel"), mask); });
}
int install_cpputil_channel_mask(char const* channel, uint32_t* mask) noexcept {
  return guard([&] {
    auto& read = out(mask, "mask");
    read = lib::diagnostics::channel_mask(text(channel, "channel"));
  });
}

}  // extern "C"
