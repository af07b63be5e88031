#!/usr/bin/env python3
"""A small installer step in Python: log to a file, read the input file, validate two settings,
compare versions, do some work that a cancel can interrupt.

Usage: installer_step.py INPUT_FILE LOG_FILE
"""

import sys

import install_cpputil as cpputil


def step(input_file: str) -> None:
    settings = cpputil.parse(input_file)
    arguments = {key: value for key, value in settings.items() if isinstance(value, str)}
    cpputil.validate(arguments, {"mode": "strval:typical,custom", "port": "intval"})

    if cpputil.compare_versions("10.2.0.1", "10.2.1") < 0:
        cpputil.append_message("Upgrading 10.2.0.1 to 10.2.1.")
    for part in range(1, 4):
        cpputil.throw_if_set("copying")  # a cancel raises cpputil.Interrupted here
        cpputil.append_message(f"Copied part {part} of 3.")
    cpputil.append_message("Step finished.")


def main() -> int:
    if len(sys.argv) != 3:
        print("usage: installer_step.py INPUT_FILE LOG_FILE", file=sys.stderr)
        return 2
    with cpputil.Logger(sys.argv[2]):  # the installation log, until the step ends
        cpputil.append_message("Step begun.")
        try:
            step(sys.argv[1])
        except (FileNotFoundError, cpputil.ValidationError, cpputil.Interrupted) as error:
            cpputil.append_message(str(error))
            print(f"installer_step.py: {error}", file=sys.stderr)
            return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
