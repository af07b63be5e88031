"""The Python module's binding: types, exceptions and texts, text both ways, the log's scope.
Run by CTest against the build tree (PYTHONPATH and the library's folder set there)."""

import ctypes
import os
import re
import subprocess
import sys
import threading

import pytest

import install_cpputil as cpputil

STAMP = r"\(\w{3} \d\d, \d{4} \d\d:\d\d:\d\d\) "


@pytest.fixture(autouse=True)
def scratch(tmp_path, monkeypatch):
    """Each test in its own folder, with its own log, and the flag and the root put back."""
    monkeypatch.chdir(tmp_path)
    with cpputil.Logger(tmp_path / "test.log"):
        yield tmp_path
    cpputil.interrupt_unset()
    cpputil.reset_install_path()


def interrupted(tag):
    cpputil.interrupt_set()
    cpputil.throw_if_set(tag)


@pytest.mark.parametrize("call, error, text", [
    (lambda: cpputil.compare_versions("1..2", "1"), ValueError, "stoi*"),
    (lambda: cpputil.compare_versions("1.2147483648", "1"), OverflowError, "stoi*"),
    (lambda: cpputil.parse("gone.txt"), FileNotFoundError, "input file does not exist!"),
    (lambda: cpputil.settings_text("gone.txt"), FileNotFoundError, "input file does not exist!"),
    (lambda: cpputil.validate({"port": "abc", "a": "1"}, {"port": "intval"}),
     cpputil.ValidationError, "key='port' value='abc' rule='intval'"),
    (lambda: cpputil.validate_arg("f", "gone.txt", "rfile"),
     cpputil.ValidationError, "key='f' value='gone.txt' rule='rfile'"),
    (lambda: interrupted("copy"), cpputil.Interrupted, "Interrupted. copy"),
    (lambda: interrupted(""), cpputil.Interrupted, "Interrupted."),
    (lambda: cpputil.Logger(""), RuntimeError, 'Install Logger: Cannot open file ""'),
    (lambda: cpputil.append_file("gone.txt"), RuntimeError, "The file does not exist."),
    (lambda: cpputil.append_message("a\0b"), ValueError, "embedded null character"),
    (lambda: cpputil.set_channel_mask("c", 1 << 32), OverflowError, "a channel mask has 32 bits"),
], ids=["NotANumber", "BeyondInt", "MissingInput", "MissingSettings", "BrokenRule", "BrokenRfile",
        "Tagged", "Untagged", "EmptyLogPath", "MissingFile", "EmbeddedNul", "MaskBeyond32Bits"])
def test_errors_carry_the_library_text(call, error, text):
    """The type, and the text byte for byte (std::stoi's own only by its start)."""
    with pytest.raises(error) as raised:
        call()
    got = str(raised.value)
    assert got.startswith(text[:-1]) if text.endswith("*") else got == text


def test_last_error_belongs_to_the_calling_thread():
    """ctypes lets other threads call between a failure and the read of its text."""
    result = ctypes.c_int()
    assert cpputil._c.compare_versions(b"x", b"1", ctypes.byref(result)) != 0
    other = threading.Thread(target=lambda: cpputil._c.validate_arg(b"k", b"v", b"strval"))
    other.start()
    other.join()
    assert cpputil._c.last_error().startswith(b"stoi")


def test_parse_gives_texts_and_lists_in_both_directions(scratch):
    long_value = "ü" * 300  # beyond the first buffer
    (scratch / "in.txt").write_text(
        f"Mode = Typical\nproduct.Core_Runtime\nproduct.{long_value}\nnäme = välue\n",
        encoding="utf-8")
    assert cpputil.parse(scratch / "in.txt") == {
        "mode": "Typical", "näme": "välue", "product": ["Core Runtime", long_value]}
    assert cpputil.settings_text(str(scratch / "in.txt")).endswith("näme = välue\n")
    assert (cpputil.should_append("# c"), cpputil.should_append("a")) == (False, True)


def test_logger_scope_and_record(scratch):
    log = scratch / "logs" / "install.log"
    with cpputil.Logger(log):
        assert cpputil.get_destination() == str(log)
        cpputil.append_message("from Python ü")
        (scratch / "side.txt").write_text("one\n")
        cpputil.append_file(scratch / "side.txt")
    assert cpputil.get_destination() == ""
    assert cpputil.get_last_destination() == str(log)
    lines = log.read_text(encoding="utf-8").splitlines()
    assert re.fullmatch(STAMP + "from Python ü", lines[0])
    assert re.fullmatch(STAMP + re.escape(f"Content of the file {scratch / 'side.txt'}"), lines[1])
    assert lines[2:] == ["one", f"End of the file {scratch / 'side.txt'}"]


def test_queries_answer_in_python_types(scratch):
    assert cpputil.interrupt_is_set() is False
    cpputil.interrupt_set()
    assert cpputil.interrupt_is_set() is True
    cpputil.set_install_path(scratch / "root" / "product")
    assert cpputil.is_sandbox_workflow() is False
    (scratch / "root").mkdir()
    (scratch / "root" / "qx_anchor").write_text("")
    assert cpputil.is_sandbox_workflow() is True
    assert re.fullmatch(r"[^_]*_[^_]*", cpputil.locale())
    cpputil.set_channel_mask("py::channel", 0xFFFFFFFF)
    assert cpputil.channel_mask("py::channel") == 0xFFFFFFFF
    assert cpputil.version().count(".") == 2
    assert cpputil.compare_versions("2", "10") == -1
    assert issubclass(cpputil.ValidationError, ValueError)


@pytest.mark.parametrize("mode, status, last", [
    ("typical", 0, "Step finished."),
    ("odd", 1, "key='mode' value='odd' rule='strval:typical,custom'"),
], ids=["Passes", "BreaksARule"])
def test_example_step(scratch, mode, status, last):
    (scratch / "in.txt").write_text(f"Mode = {mode}\nport = 8443\n")
    example = os.path.join(os.environ["CPPUTIL_EXAMPLES"], "python", "installer_step.py")
    run = subprocess.run([sys.executable, example, "in.txt", "step.log"], capture_output=True)
    assert run.returncode == status
    assert (scratch / "step.log").read_text().splitlines()[-1][24:] == last
