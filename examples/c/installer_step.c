/* A small installer step in C: log to a file, read the input file, validate two settings,
   compare versions, do some work that a cancel can interrupt.
   Usage: installer_step_c INPUT_FILE LOG_FILE */
#include <stdio.h>

#include "install/cpputil/cpputil.h"

/* Reports a failed call with the library's text; the scope's log gets it too. */
static int failed(char const* what) {
  fprintf(stderr, "installer_step_c: %s: %s\n", what, install_cpputil_last_error());
  install_cpputil_append_message(install_cpputil_last_error());
  return 1;
}

/* The single text of `key` in the parsed input file, or "" when it has none. */
static void setting(install_cpputil_map const* inputs, char const* key, char* value, size_t size) {
  size_t index = 0;
  int is_list = 0;
  value[0] = '\0';
  if (install_cpputil_map_find(inputs, key, &index) == INSTALL_CPPUTIL_OK &&
      install_cpputil_map_entry(inputs, index, &is_list, NULL) == INSTALL_CPPUTIL_OK && !is_list) {
    install_cpputil_map_value(inputs, index, 0, value, size, NULL);
  }
}

static int step(char const* input_file) {
  install_cpputil_map* inputs = NULL;
  if (install_cpputil_parse(input_file, &inputs) != INSTALL_CPPUTIL_OK) {
    return failed("cannot read the input file");
  }
  char mode[64];
  char port[64];
  setting(inputs, "mode", mode, sizeof mode);
  setting(inputs, "port", port, sizeof port);
  install_cpputil_map_free(inputs);

  char const* arguments[] = {"mode", mode, "port", port};
  char const* rules[] = {"mode", "strval:typical,custom", "port", "intval"};
  if (install_cpputil_validate_args(arguments, 2, rules, 2) != INSTALL_CPPUTIL_OK) {
    return failed("invalid settings");
  }

  int order = 0;
  if (install_cpputil_compare_versions("10.2.0.1", "10.2.1", &order) == INSTALL_CPPUTIL_OK &&
      order < 0) {
    install_cpputil_append_message("Upgrading 10.2.0.1 to 10.2.1.");
  }
  for (int part = 1; part <= 3; ++part) {
    if (install_cpputil_interrupt_throw_if_set("copying") == INSTALL_CPPUTIL_INTERRUPTED) {
      return failed("cancelled"); /* "Interrupted. copying" */
    }
    char message[64];
    snprintf(message, sizeof message, "Copied part %d of 3.", part);
    install_cpputil_append_message(message);
  }
  install_cpputil_append_message("Step finished.");
  return 0;
}

int main(int argc, char** argv) {
  if (argc != 3) {
    fprintf(stderr, "usage: installer_step_c INPUT_FILE LOG_FILE\n");
    return 2;
  }
  install_cpputil_logger* log = NULL; /* the installation log, until the step ends */
  if (install_cpputil_logger_create(argv[2], &log) != INSTALL_CPPUTIL_OK) {
    return failed("cannot open the log");
  }
  install_cpputil_append_message("Step begun.");
  int const status = step(argv[1]);
  install_cpputil_logger_destroy(log);
  return status;
}
