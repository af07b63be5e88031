// The C interface as a C11 program sees it: statuses and texts of every kind, UTF-8 and UTF-16,
// buffers, and what the library allocates. Runs in a scratch folder of its own (relative paths).
#if defined(__linux__)
#define _DEFAULT_SOURCE  // setrlimit, sysconf
#endif
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "install/cpputil/cpputil.h"

#if defined(__linux__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#include <sys/resource.h>
#include <unistd.h>
#define CPPUTIL_TEST_MEMORY_LIMIT 1
#endif

#ifdef _WIN32
#define SEP "\\"
#else
#define SEP "/"
#endif

enum {
  OK = INSTALL_CPPUTIL_OK,
  RUNTIME = INSTALL_CPPUTIL_RUNTIME_ERROR,
  INVALID = INSTALL_CPPUTIL_INVALID_ARGUMENT,
  RANGE = INSTALL_CPPUTIL_OUT_OF_RANGE,
  INTERRUPTED = INSTALL_CPPUTIL_INTERRUPTED,
  MEMORY = INSTALL_CPPUTIL_OUT_OF_MEMORY,
  BAD = INSTALL_CPPUTIL_BAD_ARGUMENT,
  SMALL = INSTALL_CPPUTIL_BUFFER_TOO_SMALL,
  NOT_FOUND = INSTALL_CPPUTIL_NOT_FOUND
};

static int failures;

// Whether `got` is `text`, or begins as it does before a trailing '*'.
static int matches(char const* got, char const* text) {
  size_t const length = strlen(text);
  int const prefix = length > 0 && text[length - 1] == '*';
  return strncmp(got, text, prefix ? length - 1 : length + 1) == 0;
}

// A row: the call's status and the thread's error text, read right after it; a null `text` is
// not compared.
static void row(char const* name, int status, int expected, char const* text) {
  char const* got = install_cpputil_last_error();
  if (status != expected || (text != NULL && !matches(got, text))) {
    fprintf(stderr, "FAILED %s: status %d, expected %d; text \"%s\"\n", name, status, expected,
            got);
    ++failures;
  }
}

static void same(char const* name, int same_value) {
  if (!same_value) {
    fprintf(stderr, "FAILED %s\n", name);
    ++failures;
  }
}

// Whether UTF-16 text equals a literal, its terminating NUL included.
#define EQUAL16(text, literal) (memcmp(text, literal, sizeof literal) == 0)

static char text[256];
static char16_t text16[256];
static size_t needed;
static int result;

// Null pointers of each kind: input texts, results, buffers, handles, tables.
static void nulls(void) {
  char16_t const* none16 = NULL;
  install_cpputil_logger* logger = NULL;
  char const* gap[] = {"port", NULL};
  row("Text", install_cpputil_logger_create(NULL, &logger), BAD, "destination is null");
  row("TextU16", install_cpputil_append_message_u16(none16), BAD, "message is null");
  row("Scope", install_cpputil_logger_create_u16(u"x.log", NULL), BAD, "logger is null");
  row("Map", install_cpputil_parse_u16(u"in.txt", NULL), BAD, "map is null");
  row("SettingsText", install_cpputil_settings_text("in.txt", NULL, NULL), BAD, "text is null");
  row("Result", install_cpputil_validate_strval("a", "a", NULL), BAD, "result is null");
  row("Mask", install_cpputil_channel_mask("c", NULL), BAD, "mask is null");
  row("Buffer", install_cpputil_get_destination(NULL, 4, NULL), BAD, "buffer is null");
  row("BufferU16", install_cpputil_locale_u16(NULL, 4, &needed), BAD, "buffer is null");
  row("Handle", install_cpputil_map_find(NULL, "k", &needed), BAD, "map is null");
  row("Table", install_cpputil_validate_args(NULL, 1, NULL, 0), BAD, "arguments is null");
  row("TableEntry", install_cpputil_validate_args(gap, 1, gap, 0), BAD, "arguments[1] is null");
  row("TableU16", install_cpputil_validate_args_u16(NULL, 0, NULL, 2), BAD, "rules is null");
  row("ArgumentsU16", install_cpputil_validate_args_u16(NULL, 1, NULL, 0), BAD,
      "arguments is null");
  row("ValueU16", install_cpputil_validate_arg_u16(u"k", none16, u"strval"), BAD, "value is null");
  row("TableTooLong", install_cpputil_validate_args(gap, SIZE_MAX, gap, 0), BAD,
      "arguments count out of range");
  same("NullMapSize", install_cpputil_map_size(NULL) == 0);
  install_cpputil_free(NULL);
  install_cpputil_map_free(NULL);
  install_cpputil_logger_destroy(NULL);
}

static void log_and_validate(void) {
  install_cpputil_logger* logger = NULL;
  row("LoggerEmptyPath", install_cpputil_logger_create("", &logger), RUNTIME,
      "Install Logger: Cannot open file \"\"");
  row("AppendFileNoDestination", install_cpputil_append_file("in.txt"), RUNTIME,
      "Logger destination was not initialized.");
  row("LoggerU16", install_cpputil_logger_create_u16(u"l\u00f6g/c.log", &logger), OK, "");
  row("Destination", install_cpputil_get_destination(text, sizeof text, &needed), OK, "");
  same("DestinationUtf8", strcmp(text, "l\xC3\xB6g" SEP "c.log") == 0 && needed == 11);
  row("DestinationU16", install_cpputil_get_destination_u16(text16, 256, &needed), OK, "");
  same("DestinationUtf16", EQUAL16(text16, u"l\u00f6g" SEP "c.log") && needed == 10);
  row("AppendMessage", install_cpputil_append_message("plain"), OK, "");
  row("AppendMessageU16", install_cpputil_append_message_u16(u"\u00fcn\u00ef \u20ac"), OK, "");
  row("AppendFile", install_cpputil_append_file("in.txt"), OK, "");
  row("AppendFileU16", install_cpputil_append_file_u16(u"gone.txt"), RUNTIME,
      "The file does not exist.");
  row("ValidateArg", install_cpputil_validate_arg("port", "abc", "intval"), INVALID,
      "key='port' value='abc' rule='intval'");
  row("ValidateArgRfile", install_cpputil_validate_arg("f", "gone.txt", "rfile"), RUNTIME,
      "key='f' value='gone.txt' rule='rfile'");
  row("ValidateArgU16", install_cpputil_validate_arg_u16(u"m", u"\u00ef\xD800", u"strval:a"),
      INVALID, "key='m' value='\xC3\xAF\xEF\xBF\xBD' rule='strval:a'");
  same("LastErrorU16",
       EQUAL16(install_cpputil_last_error_u16(), u"key='m' value='\u00ef\uFFFD' rule='strval:a'"));
  char const* arguments[] = {"port", "abc", "mode", "a", "port", "8443"};
  char const* rules[] = {"port", "intval", "mode", "strval:a"};
  row("ValidateArgs", install_cpputil_validate_args(arguments, 2, rules, 2), INVALID,
      "key='port' value='abc' rule='intval'");
  row("ValidateArgsLaterPairCounts", install_cpputil_validate_args(arguments, 3, rules, 2), OK, "");
  char16_t const* arguments16[] = {u"port", u"8443"};
  row("ValidateArgsU16", install_cpputil_validate_args_u16(arguments16, 1, NULL, 0), OK, "");
  install_cpputil_logger_destroy(logger);
  row("NoDestination", install_cpputil_get_destination(text, 1, &needed), OK, "");
  row("LastDestination", install_cpputil_get_last_destination(text, sizeof text, NULL), OK, "");
  same("LastDestinationUtf8", strcmp(text, "l\xC3\xB6g" SEP "c.log") == 0);
  install_cpputil_forget_last_destination();
  row("ForgottenU16", install_cpputil_get_last_destination_u16(text16, 1, &needed), OK, "");

  char* log = NULL;
  size_t length = 0;
  row("SettingsTextOfTheLog", install_cpputil_settings_text("l\xC3\xB6g/c.log", &log, &length), OK,
      "");
  same("LogRecords", strstr(log, ") plain\n") &&
                         strstr(log, ") \xC3\xBCn\xC3\xAF \xE2\x82\xAC\n") &&
                         strstr(log, ") Content of the file in.txt\n") &&
                         strstr(log, "Error reading file gone.txt\n") && strlen(log) == length);
  install_cpputil_free(log);
}

static void input_file(void) {
  install_cpputil_map* map = NULL;
  size_t index[2] = {0, 0};
  size_t count[2] = {0, 0};
  int is_list[2] = {-1, -1};
  row("ParseMissing", install_cpputil_parse("gone.txt", &map), RUNTIME,
      "input file does not exist!");
  row("ParseU16", install_cpputil_parse_u16(u"in.txt", &map), OK, "");
  row("Find", install_cpputil_map_find(map, "port", &index[0]), OK, "");
  row("FindU16", install_cpputil_map_find_u16(map, u"product", &index[1]), OK, "");
  row("FindMissing", install_cpputil_map_find(map, "Port", &index[0]), NOT_FOUND, "no such key");
  row("FindNull", install_cpputil_map_find(map, NULL, &index[0]), BAD, "key is null");
  row("EntryText", install_cpputil_map_entry(map, 0, &is_list[0], &count[0]), OK, "");
  row("EntryList", install_cpputil_map_entry(map, 2, &is_list[1], &count[1]), OK, "");
  same("Entries", install_cpputil_map_size(map) == 3 && index[0] == 1 && index[1] == 2 &&
                      is_list[0] == 0 && count[0] == 1 && is_list[1] == 1 && count[1] == 2);
  row("Key", install_cpputil_map_key(map, 0, text, sizeof text, &needed), OK, "");
  same("KeyText", strcmp(text, "mode") == 0 && needed == 5);
  row("KeyU16", install_cpputil_map_key_u16(map, 2, text16, 256, NULL), OK, "");
  same("KeyTextU16", EQUAL16(text16, u"product"));
  row("KeyOutOfRange", install_cpputil_map_key(map, 3, text, sizeof text, NULL), BAD,
      "index out of range");
  row("Value", install_cpputil_map_value(map, 2, 1, text, sizeof text, NULL), OK, "");
  same("ValueText", strcmp(text, "T\xC3\xB6ols") == 0);
  row("ValueU16", install_cpputil_map_value_u16(map, 2, 0, text16, 256, NULL), OK, "");
  same("ValueTextU16", EQUAL16(text16, u"Core Runtime"));
  row("ItemOutOfRange", install_cpputil_map_value(map, 0, 1, text, sizeof text, NULL), BAD,
      "item out of range");
  row("ListItemOutOfRange", install_cpputil_map_value(map, 2, 2, text, 9, NULL), BAD, NULL);
  text[0] = 'x';
  row("BufferTooSmall", install_cpputil_map_value(map, 0, 0, text, 7, &needed), SMALL,
      "buffer too small");
  same("NeededAndEmptied", needed == 8 && text[0] == 0);
  row("SizeQuery", install_cpputil_map_value_u16(map, 0, 0, NULL, 0, &needed), SMALL, NULL);
  same("NeededUnits", needed == 8);
  install_cpputil_map_free(map);

  char* settings = NULL;
  row("SettingsTextU16", install_cpputil_settings_text_u16(u"in.txt", &settings, NULL), OK, "");
  same("Settings", strcmp(settings,
                          "Mode = Typical\nproduct.Core_Runtime\nport=8443\n"
                          "product.T\xC3\xB6ols\n") == 0);
  install_cpputil_free(settings);
}

static void queries(void) {
  int got[13];  // one answer per row: the rows' calls are made in no set order
  struct {
    char const* name;
    int status;
    int expected;
  } const answers[] = {
      {"Strval", install_cpputil_validate_strval("b", "a,b", &got[0]), 1},
      {"StrvalU16", install_cpputil_validate_strval_u16(u"c", u"a,b", &got[1]), 0},
      {"Boolval", install_cpputil_validate_boolval("Yes", &got[2]), 1},
      {"BoolvalU16", install_cpputil_validate_boolval_u16(u"1", &got[3]), 0},
      {"Intval", install_cpputil_validate_intval("-12", &got[4]), 1},
      {"IntvalU16", install_cpputil_validate_intval_u16(u"x", &got[5]), 0},
      {"Rfile", install_cpputil_validate_rfile("in.txt", &got[6]), 1},
      {"RfileU16", install_cpputil_validate_rfile_u16(u"gone.txt", &got[7]), 0},
      {"ShouldAppend", install_cpputil_should_append("a", &got[8]), 1},
      {"ShouldAppendNo", install_cpputil_should_append("# a", &got[9]), 0},
      {"Compare", install_cpputil_compare_versions("1.10", "1.9", &got[10]), 1},
      {"CompareU16", install_cpputil_compare_versions_u16(u"1.2", u"1.2.0", &got[11]), 0},
      {"CompareLower", install_cpputil_compare_versions("2", "10", &got[12]), -1},
  };
  for (size_t i = 0; i < sizeof answers / sizeof answers[0]; ++i) {
    same(answers[i].name, answers[i].status == OK && got[i] == answers[i].expected);
  }
  row("NotANumber", install_cpputil_compare_versions("1..2", "1.0.2", &result), INVALID, "stoi*");
  row("NotANumberU16", install_cpputil_compare_versions_u16(u"1.x", u"1.y", &result), INVALID,
      "stoi*");
  row("BeyondInt", install_cpputil_compare_versions("1.2147483648", "1", &result), RANGE, "stoi*");

  remove("root" SEP "qx_anchor");
  row("SetInstallPath", install_cpputil_set_install_path("root/product"), OK, "");
  row("NoAnchor", install_cpputil_is_sandbox_path_exist(&result), OK, "");
  same("NoSandbox", result == 0 && install_cpputil_is_sandbox_workflow() == 0);
  install_cpputil_logger* anchor = NULL;  // makes the folder and the anchor file
  row("Anchor", install_cpputil_logger_create("root/qx_anchor", &anchor), OK, "");
  install_cpputil_logger_destroy(anchor);
  row("AnchorFound", install_cpputil_is_sandbox_path_exist(&result), OK, "");
  same("Sandbox", result == 1 && install_cpputil_is_sandbox_workflow() == 1);
  row("SetInstallPathU16", install_cpputil_set_install_path_u16(u"elsewhere/x"), OK, "");
  same("OtherRoot", install_cpputil_is_sandbox_workflow() == 0);
  install_cpputil_reset_install_path();
  remove("root" SEP "qx_anchor");

  row("Locale", install_cpputil_locale(text, sizeof text, &needed), OK, "");
  row("LocaleU16", install_cpputil_locale_u16(text16, 256, NULL), OK, "");
  same("LocaleBothForms",
       strchr(text, '_') && text16[needed - 2] == (unsigned char)text[needed - 2]);
  row("LocaleTooSmall", install_cpputil_locale(text, 1, NULL), SMALL, "buffer too small");

  uint32_t mask = 0;
  row("SetChannelMask", install_cpputil_set_channel_mask("c::api", 12), OK, "");
  row("ChannelMask", install_cpputil_channel_mask("c::api", &mask), OK, "");
  same("Mask", mask == 12);
}

static void interrupt(void) {
  row("ClearFlag", install_cpputil_interrupt_throw_if_set("copy"), OK, "");
  install_cpputil_interrupt_set();
  same("IsSet", install_cpputil_interrupt_is_set() == 1);
  row("Tagged", install_cpputil_interrupt_throw_if_set("copy"), INTERRUPTED, "Interrupted. copy");
  row("Untagged", install_cpputil_interrupt_throw_if_set(""), INTERRUPTED, "Interrupted.");
  install_cpputil_interrupt_unset();
  same("Unset", install_cpputil_interrupt_is_set() == 0);
}

static void out_of_memory(void) {
#ifdef CPPUTIL_TEST_MEMORY_LIMIT
  size_t const size = (size_t)64 << 20;
  char* big = malloc(size + 1);
  memset(big, '1', size);
  big[size] = 0;
  unsigned long pages = 0;
  FILE* statm = fopen("/proc/self/statm", "r");
  same("Statm", statm != NULL && fscanf(statm, "%lu", &pages) == 1);
  fclose(statm);
  struct rlimit old;
  getrlimit(RLIMIT_AS, &old);
  struct rlimit tight = old;  // room for less than the copy that the call makes
  tight.rlim_cur = pages * (unsigned long)sysconf(_SC_PAGESIZE) + ((size_t)32 << 20);
  setrlimit(RLIMIT_AS, &tight);
  int const status = install_cpputil_compare_versions(big, "1", &result);
  setrlimit(RLIMIT_AS, &old);
  row("OutOfMemory", status, MEMORY, "std::bad_alloc");
  free(big);
#endif
}

int main(void) {
  // The folder outlives a run: a log left by an earlier one, even a failed one, must not count.
#ifdef _WIN32
  _wremove(L"l\u00f6g\\c.log");
#else
  remove("l\xC3\xB6g/c.log");
#endif
  FILE* input = fopen("in.txt", "w");
  fputs("Mode = Typical\nproduct.Core_Runtime\nport=8443\nproduct.T\xC3\xB6ols\n", input);
  fclose(input);
  nulls();
  log_and_validate();
  input_file();
  queries();
  interrupt();
  out_of_memory();
  row("SuccessEmptiesTheText", install_cpputil_validate_arg("k", "v", "x"), OK, "");
  same("SuccessEmptiesTheTextU16", install_cpputil_last_error_u16()[0] == 0);
  printf("%s\n", failures == 0 ? "all rows passed" : "some rows failed");
  return failures == 0 ? 0 : 1;
}
