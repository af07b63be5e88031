/// @file
/// The C interface: every service of the library for C, for other languages through their
/// foreign-function calls (C#, Python, an NSIS script), and for C++ built with another compiler.
///
/// Names: every function, type and constant begins with install_cpputil_ or INSTALL_CPPUTIL_.
/// Text is UTF-8 (`char`); the functions ending in _u16 take and give UTF-16 (`char16_t`, the
/// representation of `wchar_t` on Windows). Ill-formed text never fails: each ill-formed part
/// becomes U+FFFD where the library converts it. Input text ends at its first NUL.
///
/// Errors: no exception leaves a function. A function that can fail returns a status
/// (install_cpputil_status); the exception's kind is the status, its exact what() text is
/// install_cpputil_last_error(), readable on the calling thread until its next call of a
/// function that returns a status. After INSTALL_CPPUTIL_OK the text is empty.
///
/// Results: text comes back in the caller's buffer of `capacity` units; `needed` (may be null)
/// receives the units the text takes with its terminating NUL, also when the buffer is too small
/// (INSTALL_CPPUTIL_BUFFER_TOO_SMALL; the buffer then holds the empty text). A null buffer of
/// capacity 0 asks for the size alone. What the library allocates (a log scope, a parsed input
/// file, a settings text) is released by the library's function named for it, never by free().
///
/// Threads: as in the C++ interface. Any thread may call any function, but log scopes are made
/// and ended by one thread at a time.
#ifndef INSTALL_CPPUTIL_CPPUTIL_H
#define INSTALL_CPPUTIL_CPPUTIL_H

#include <stddef.h>  // NOLINT(modernize-deprecated-headers): a C header
#include <stdint.h>  // NOLINT(modernize-deprecated-headers)

#include "install/cpputil/export.hpp"
#include "install/cpputil/version.hpp"

#ifdef __cplusplus
// Nothing leaves these functions, and C++ callers may rely on it.
#define INSTALL_CPPUTIL_NOEXCEPT noexcept
extern "C" {
#else
#include <uchar.h>  // char16_t, a keyword in C++
#define INSTALL_CPPUTIL_NOEXCEPT
#endif

/// What a function's call came to. The values never change; new ones may be added.
enum install_cpputil_status {
  INSTALL_CPPUTIL_OK = 0,                ///< success
  INSTALL_CPPUTIL_RUNTIME_ERROR = 1,     ///< std::runtime_error, e.g. "input file does not exist!"
  INSTALL_CPPUTIL_INVALID_ARGUMENT = 2,  ///< std::invalid_argument: a rule broken, not a number
  INSTALL_CPPUTIL_OUT_OF_RANGE = 3,      ///< std::out_of_range: a version piece beyond 32 bits
  INSTALL_CPPUTIL_INTERRUPTED = 4,       ///< the interrupt: "Interrupted." or "Interrupted. TAG"
  INSTALL_CPPUTIL_OUT_OF_MEMORY = 5,     ///< std::bad_alloc, or a text too long to hold
  INSTALL_CPPUTIL_BAD_ARGUMENT = 6,      ///< a null pointer or an index out of range was passed
  INSTALL_CPPUTIL_BUFFER_TOO_SMALL = 7,  ///< the result needs `*needed` units
  INSTALL_CPPUTIL_NOT_FOUND = 8,         ///< install_cpputil_map_find: no such key
  INSTALL_CPPUTIL_UNKNOWN_ERROR = 9      ///< any other exception
};

/// The library's version as text, e.g. "1.1.0" (INSTALL_CPPUTIL_VERSION_STRING is the headers').
INSTALL_CPPUTIL_EXPORT char const* install_cpputil_version(void) INSTALL_CPPUTIL_NOEXCEPT;

/// The text of the calling thread's last status other than INSTALL_CPPUTIL_OK: the exception's
/// what(), byte for byte, or for the statuses of this interface what was wrong ("message is null").
/// Never null; empty after INSTALL_CPPUTIL_OK.
INSTALL_CPPUTIL_EXPORT char const* install_cpputil_last_error(void) INSTALL_CPPUTIL_NOEXCEPT;
/// install_cpputil_last_error() in UTF-16.
INSTALL_CPPUTIL_EXPORT char16_t const* install_cpputil_last_error_u16(void)
    INSTALL_CPPUTIL_NOEXCEPT;

/// Releases a text that the library allocated (install_cpputil_settings_text). Null is ignored.
INSTALL_CPPUTIL_EXPORT void install_cpputil_free(void* memory) INSTALL_CPPUTIL_NOEXCEPT;

/// @name The installation log
///@{

/// A log scope: the installation log's destination from install_cpputil_logger_create to
/// install_cpputil_logger_destroy, as a logger::Logger's life.
typedef struct install_cpputil_logger install_cpputil_logger;  // NOLINT(modernize-use-using)

/// Makes `destination` the installation log (its folder created, the file opened for appending)
/// and returns its scope in `*logger`. Loggers do not stack: ending one leaves no destination.
/// INSTALL_CPPUTIL_RUNTIME_ERROR: "Install Logger: Cannot open file \"PATH\"" or
/// "Install Logger: Cannot create directory \"FOLDER\""; the destination in force then stays.
INSTALL_CPPUTIL_EXPORT int install_cpputil_logger_create(
    char const* destination, install_cpputil_logger** logger) INSTALL_CPPUTIL_NOEXCEPT;
/// install_cpputil_logger_create with a UTF-16 path.
INSTALL_CPPUTIL_EXPORT int install_cpputil_logger_create_u16(
    char16_t const* destination, install_cpputil_logger** logger) INSTALL_CPPUTIL_NOEXCEPT;
/// Ends the scope: no destination is set, and it becomes the last destination. Null is ignored.
INSTALL_CPPUTIL_EXPORT void install_cpputil_logger_destroy(install_cpputil_logger* logger)
    INSTALL_CPPUTIL_NOEXCEPT;

/// Appends "(time stamp) MESSAGE" to the destination, or to the default log while none is set.
/// A record that cannot be written is dropped and traced, never reported.
INSTALL_CPPUTIL_EXPORT int install_cpputil_append_message(char const* message)
    INSTALL_CPPUTIL_NOEXCEPT;
/// install_cpputil_append_message with UTF-16 text.
INSTALL_CPPUTIL_EXPORT int install_cpputil_append_message_u16(char16_t const* message)
    INSTALL_CPPUTIL_NOEXCEPT;

/// Copies the file at `path` into the log as one record. INSTALL_CPPUTIL_RUNTIME_ERROR:
/// "Logger destination was not initialized.", "The file does not exist." or
/// "append_file: Cannot open file.".
INSTALL_CPPUTIL_EXPORT int install_cpputil_append_file(char const* path) INSTALL_CPPUTIL_NOEXCEPT;
/// install_cpputil_append_file with a UTF-16 path.
INSTALL_CPPUTIL_EXPORT int install_cpputil_append_file_u16(char16_t const* path)
    INSTALL_CPPUTIL_NOEXCEPT;

/// The destination in force (empty when none) into the caller's buffer.
INSTALL_CPPUTIL_EXPORT int install_cpputil_get_destination(char* buffer, size_t capacity,
                                                           size_t* needed) INSTALL_CPPUTIL_NOEXCEPT;
/// install_cpputil_get_destination in UTF-16.
INSTALL_CPPUTIL_EXPORT int install_cpputil_get_destination_u16(
    char16_t* buffer, size_t capacity, size_t* needed) INSTALL_CPPUTIL_NOEXCEPT;
/// The destination that the last ended scope had (empty when none, or forgotten).
INSTALL_CPPUTIL_EXPORT int install_cpputil_get_last_destination(
    char* buffer, size_t capacity, size_t* needed) INSTALL_CPPUTIL_NOEXCEPT;
/// install_cpputil_get_last_destination in UTF-16.
INSTALL_CPPUTIL_EXPORT int install_cpputil_get_last_destination_u16(
    char16_t* buffer, size_t capacity, size_t* needed) INSTALL_CPPUTIL_NOEXCEPT;
/// Empties the last destination.
INSTALL_CPPUTIL_EXPORT void install_cpputil_forget_last_destination(void) INSTALL_CPPUTIL_NOEXCEPT;
///@}

/// @name The interrupt flag
///@{

/// Sets the process-wide flag; it stays set until install_cpputil_interrupt_unset.
INSTALL_CPPUTIL_EXPORT void install_cpputil_interrupt_set(void) INSTALL_CPPUTIL_NOEXCEPT;
/// 1 when the flag is set, otherwise 0. One atomic load while it is clear.
INSTALL_CPPUTIL_EXPORT int install_cpputil_interrupt_is_set(void) INSTALL_CPPUTIL_NOEXCEPT;
/// Clears the flag.
INSTALL_CPPUTIL_EXPORT void install_cpputil_interrupt_unset(void) INSTALL_CPPUTIL_NOEXCEPT;
/// INSTALL_CPPUTIL_INTERRUPTED when the flag is set, with the text "Interrupted." for an empty
/// `tag`, otherwise "Interrupted. TAG"; INSTALL_CPPUTIL_OK when it is clear.
INSTALL_CPPUTIL_EXPORT int install_cpputil_interrupt_throw_if_set(char const* tag)
    INSTALL_CPPUTIL_NOEXCEPT;
///@}

/// @name The input file
///@{

/// A parsed input file: its keys in order (code unit by code unit), each holding a single text
/// or a list of texts.
typedef struct install_cpputil_map install_cpputil_map;  // NOLINT(modernize-use-using)

/// Parses the input file at `path` into `*map`, to be released by install_cpputil_map_free.
/// INSTALL_CPPUTIL_RUNTIME_ERROR: "input file does not exist!".
INSTALL_CPPUTIL_EXPORT int install_cpputil_parse(char const* path, install_cpputil_map** map)
    INSTALL_CPPUTIL_NOEXCEPT;
/// install_cpputil_parse with a UTF-16 path.
INSTALL_CPPUTIL_EXPORT int install_cpputil_parse_u16(
    char16_t const* path, install_cpputil_map** map) INSTALL_CPPUTIL_NOEXCEPT;
/// Releases a map. Null is ignored.
INSTALL_CPPUTIL_EXPORT void install_cpputil_map_free(install_cpputil_map* map)
    INSTALL_CPPUTIL_NOEXCEPT;
/// The number of keys; 0 for null.
INSTALL_CPPUTIL_EXPORT size_t install_cpputil_map_size(install_cpputil_map const* map)
    INSTALL_CPPUTIL_NOEXCEPT;
/// The index (below install_cpputil_map_size) of `key`, or INSTALL_CPPUTIL_NOT_FOUND. Keys are
/// trimmed and lower-cased by the parser; the lookup is exact.
INSTALL_CPPUTIL_EXPORT int install_cpputil_map_find(install_cpputil_map const* map, char const* key,
                                                    size_t* index) INSTALL_CPPUTIL_NOEXCEPT;
/// install_cpputil_map_find with a UTF-16 key.
INSTALL_CPPUTIL_EXPORT int install_cpputil_map_find_u16(install_cpputil_map const* map,
                                                        char16_t const* key,
                                                        size_t* index) INSTALL_CPPUTIL_NOEXCEPT;
/// The key at `index` into the caller's buffer.
INSTALL_CPPUTIL_EXPORT int install_cpputil_map_key(install_cpputil_map const* map, size_t index,
                                                   char* buffer, size_t capacity,
                                                   size_t* needed) INSTALL_CPPUTIL_NOEXCEPT;
/// install_cpputil_map_key in UTF-16.
INSTALL_CPPUTIL_EXPORT int install_cpputil_map_key_u16(install_cpputil_map const* map, size_t index,
                                                       char16_t* buffer, size_t capacity,
                                                       size_t* needed) INSTALL_CPPUTIL_NOEXCEPT;
/// The shape of the value at `index`: `*is_list` 0 for a single text (`*count` 1), 1 for a list
/// of `*count` texts. Either pointer may be null.
INSTALL_CPPUTIL_EXPORT int install_cpputil_map_entry(install_cpputil_map const* map, size_t index,
                                                     int* is_list,
                                                     size_t* count) INSTALL_CPPUTIL_NOEXCEPT;
/// Text `item` (below the entry's count; 0 for a single text) of the value at `index` into the
/// caller's buffer.
INSTALL_CPPUTIL_EXPORT int install_cpputil_map_value(install_cpputil_map const* map, size_t index,
                                                     size_t item, char* buffer, size_t capacity,
                                                     size_t* needed) INSTALL_CPPUTIL_NOEXCEPT;
/// install_cpputil_map_value in UTF-16.
INSTALL_CPPUTIL_EXPORT int install_cpputil_map_value_u16(install_cpputil_map const* map,
                                                         size_t index, size_t item,
                                                         char16_t* buffer, size_t capacity,
                                                         size_t* needed) INSTALL_CPPUTIL_NOEXCEPT;

/// The settings text of the input file at `path` (its kept lines, trimmed, each ended by a line
/// feed), allocated by the library: `*text` (NUL-terminated, `*length` bytes before the NUL;
/// `length` may be null) is released with install_cpputil_free.
/// INSTALL_CPPUTIL_RUNTIME_ERROR: "input file does not exist!".
INSTALL_CPPUTIL_EXPORT int install_cpputil_settings_text(char const* path, char** text,
                                                         size_t* length) INSTALL_CPPUTIL_NOEXCEPT;
/// install_cpputil_settings_text with a UTF-16 path; the text is UTF-8 as the file holds it.
INSTALL_CPPUTIL_EXPORT int install_cpputil_settings_text_u16(
    char16_t const* path, char** text, size_t* length) INSTALL_CPPUTIL_NOEXCEPT;
/// `*result` 1 when the line carries a setting (does not begin with '#', is not all blank).
INSTALL_CPPUTIL_EXPORT int install_cpputil_should_append(char const* line,
                                                         int* result) INSTALL_CPPUTIL_NOEXCEPT;
///@}

/// @name Validation
///@{

/// Checks one argument against a rule string. INSTALL_CPPUTIL_INVALID_ARGUMENT, or for "rfile"
/// INSTALL_CPPUTIL_RUNTIME_ERROR (after two lines in the installation log), with the text
/// "key='KEY' value='VALUE' rule='RULE'".
INSTALL_CPPUTIL_EXPORT int install_cpputil_validate_arg(char const* key, char const* value,
                                                        char const* rule) INSTALL_CPPUTIL_NOEXCEPT;
/// install_cpputil_validate_arg with UTF-16 texts.
INSTALL_CPPUTIL_EXPORT int install_cpputil_validate_arg_u16(
    char16_t const* key, char16_t const* value, char16_t const* rule) INSTALL_CPPUTIL_NOEXCEPT;
/// Checks a table of arguments against a table of rules, as validate_args: each table is an
/// array of `count` pairs, key then value (or rule) at [2 * i] and [2 * i + 1]; of two equal
/// keys the later pair counts. The first violation, in key order, is the status.
INSTALL_CPPUTIL_EXPORT int install_cpputil_validate_args(
    char const* const* arguments, size_t argument_count, char const* const* rules,
    size_t rule_count) INSTALL_CPPUTIL_NOEXCEPT;
/// install_cpputil_validate_args with UTF-16 texts.
INSTALL_CPPUTIL_EXPORT int install_cpputil_validate_args_u16(
    char16_t const* const* arguments, size_t argument_count, char16_t const* const* rules,
    size_t rule_count) INSTALL_CPPUTIL_NOEXCEPT;

/// `*result` 1 when `value` is one of the comma-separated `allowed` values, byte for byte.
INSTALL_CPPUTIL_EXPORT int install_cpputil_validate_strval(char const* value, char const* allowed,
                                                           int* result) INSTALL_CPPUTIL_NOEXCEPT;
/// install_cpputil_validate_strval with UTF-16 texts.
INSTALL_CPPUTIL_EXPORT int install_cpputil_validate_strval_u16(
    char16_t const* value, char16_t const* allowed, int* result) INSTALL_CPPUTIL_NOEXCEPT;
/// `*result` 1 for true, false, yes or no in any letter case.
INSTALL_CPPUTIL_EXPORT int install_cpputil_validate_boolval(char const* value,
                                                            int* result) INSTALL_CPPUTIL_NOEXCEPT;
/// install_cpputil_validate_boolval with UTF-16 text.
INSTALL_CPPUTIL_EXPORT int install_cpputil_validate_boolval_u16(char16_t const* value, int* result)
    INSTALL_CPPUTIL_NOEXCEPT;
/// `*result` 1 when a 32-bit integer can be read from the start of `value`.
INSTALL_CPPUTIL_EXPORT int install_cpputil_validate_intval(char const* value,
                                                           int* result) INSTALL_CPPUTIL_NOEXCEPT;
/// install_cpputil_validate_intval with UTF-16 text.
INSTALL_CPPUTIL_EXPORT int install_cpputil_validate_intval_u16(char16_t const* value, int* result)
    INSTALL_CPPUTIL_NOEXCEPT;
/// `*result` 1 when `path` names a readable file of at least one byte.
INSTALL_CPPUTIL_EXPORT int install_cpputil_validate_rfile(char const* path,
                                                          int* result) INSTALL_CPPUTIL_NOEXCEPT;
/// install_cpputil_validate_rfile with a UTF-16 path.
INSTALL_CPPUTIL_EXPORT int install_cpputil_validate_rfile_u16(char16_t const* path,
                                                              int* result) INSTALL_CPPUTIL_NOEXCEPT;
///@}

/// @name Environment queries
///@{

/// `*result` -1, 0 or 1 as dotted version `first` is lower than, equal to or higher than
/// `second`. A piece that is no number gives INSTALL_CPPUTIL_INVALID_ARGUMENT, one beyond 32
/// bits INSTALL_CPPUTIL_OUT_OF_RANGE, each with std::stoi's text.
INSTALL_CPPUTIL_EXPORT int install_cpputil_compare_versions(char const* first, char const* second,
                                                            int* result) INSTALL_CPPUTIL_NOEXCEPT;
/// install_cpputil_compare_versions with UTF-16 texts.
INSTALL_CPPUTIL_EXPORT int install_cpputil_compare_versions_u16(
    char16_t const* first, char16_t const* second, int* result) INSTALL_CPPUTIL_NOEXCEPT;

/// 1 when an entry "qx_anchor" lies beside the installation root, otherwise 0 (also when no
/// root can be determined).
INSTALL_CPPUTIL_EXPORT int install_cpputil_is_sandbox_workflow(void) INSTALL_CPPUTIL_NOEXCEPT;
/// `*result` 1 when the anchor exists; INSTALL_CPPUTIL_RUNTIME_ERROR when no installation root
/// can be determined.
INSTALL_CPPUTIL_EXPORT int install_cpputil_is_sandbox_path_exist(int* result)
    INSTALL_CPPUTIL_NOEXCEPT;
/// Makes `root` the installation root, in place of the folder above the library's own.
INSTALL_CPPUTIL_EXPORT int install_cpputil_set_install_path(char const* root)
    INSTALL_CPPUTIL_NOEXCEPT;
/// install_cpputil_set_install_path with a UTF-16 path.
INSTALL_CPPUTIL_EXPORT int install_cpputil_set_install_path_u16(char16_t const* root)
    INSTALL_CPPUTIL_NOEXCEPT;
/// Drops the override of install_cpputil_set_install_path.
INSTALL_CPPUTIL_EXPORT void install_cpputil_reset_install_path(void) INSTALL_CPPUTIL_NOEXCEPT;

/// The installer locale, language "_" region (e.g. "en_US"), into the caller's buffer.
INSTALL_CPPUTIL_EXPORT int install_cpputil_locale(char* buffer, size_t capacity,
                                                  size_t* needed) INSTALL_CPPUTIL_NOEXCEPT;
/// install_cpputil_locale in UTF-16.
INSTALL_CPPUTIL_EXPORT int install_cpputil_locale_u16(char16_t* buffer, size_t capacity,
                                                      size_t* needed) INSTALL_CPPUTIL_NOEXCEPT;
///@}

/// @name Trace channels
///@{

/// Sets the enabled-severities mask of `channel` ("*": every channel), as
/// diagnostics::set_channel_mask.
INSTALL_CPPUTIL_EXPORT int install_cpputil_set_channel_mask(char const* channel,
                                                            uint32_t mask) INSTALL_CPPUTIL_NOEXCEPT;
/// `*mask` is the mask of `channel`.
INSTALL_CPPUTIL_EXPORT int install_cpputil_channel_mask(char const* channel,
                                                        uint32_t* mask) INSTALL_CPPUTIL_NOEXCEPT;
///@}

#ifdef __cplusplus
}  // extern "C"
#endif

#endif  // INSTALL_CPPUTIL_CPPUTIL_H
