#include "install/cpputil/logger.hpp"

#include <cstdint>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>

#include "compiler.hpp"
#include "platform/PlatformUtility.hpp"
#include "platform/file.hpp"
#include "platform/filesystem.hpp"
#include "platform/path.hpp"
#include "trace/trace.hpp"
#include "utf.hpp"

namespace install::cpputil::logger {
namespace {

trace::DiagnosticLogger channel("install::cpputil::logger");

Path destination_file;
Path last_destination_file;  // unguarded: Loggers are made and ended by one thread at a time
std::mutex destination_mutex;
std::unique_ptr<platform::PlatformUtility> const platform_utility =
    std::make_unique<platform::PlatformUtility>();

constexpr char const* kTimeStampPattern = "%b %d, %Y %H:%M:%S";
constexpr char const* kLostRecord = "failed to open destination_file for u8msg ";

// UTF-16 pieces reach the record stream, which converts them under its own locale. An unpaired
// surrogate becomes U+FFFD first: Boost 1.74's conversion throws on a lone low surrogate and
// never returns on a trailing high one.
ustring traced(ustring const& text) { return utf::well_formed_utf16(text); }

Path current_destination() {
  std::lock_guard<std::mutex> const lock(destination_mutex);
  return destination_file;
}

bool has_destination() { return !current_destination().empty(); }

// "(" + time stamp + ") ", in UTF-8: the prefix of every record.
std::string time_stamp_prefix() {
  std::string stamp = platform::PlatformUtility().getPlatformCurrentTime(kTimeStampPattern);
  utf::make_well_formed_utf8(stamp);
  stamp.insert(stamp.begin(), '(');
  stamp += ") ";
  return stamp;
}

Path default_log_file() {
  ustring text = platform::temp_directory_name();
  text += u"/zembrak_";
  text += utf8_to_ustring(platform_utility->getPlatformUserName());
  text += u".log";
  return Path(text);
}

// Turns the UTF-8 message into its record in place, so that a large one is not copied. The
// prefix converts apart to the same bytes as with the message: it ends in a blank, which no
// surrogate pairs with.
void stamp_record(std::string& u8message) {
  u8message.insert(0, time_stamp_prefix());
  u8message.push_back('\n');
}

CPPUTIL_ATTRIBUTE_COLD void trace_lost(std::string& record) {
  record.pop_back();
  CPPUTIL_TRACE(channel, trace::detail) << kLostRecord << record;
}

// Writes one well-formed UTF-8 message as a record. Within the process destination_mutex, and
// across processes the log file's own lock, are held from the time stamp to the end of the
// write, so records never interleave and stamps never decrease along the file.
void write_record(std::string u8message) {
  std::lock_guard<std::mutex> const lock(destination_mutex);
  bool const to_default = destination_file.empty();
  // Refuse whatever another user may have planted in the shared temporary folder.
  platform::File file = to_default
                            ? platform::File::open_append(default_log_file().text(),
                                                          platform::File::Accept::own_regular_file)
                            : platform::File::open_append(destination_file.text());
  if (file.is_open()) {
    // A file system without locks still gets the record, ordered within the process.
    static_cast<void>(file.lock());
  }
  stamp_record(u8message);
  if (!file.is_open() || !file.append_whole(u8message)) {
    trace_lost(u8message);
  }
}

[[noreturn]] void fail_to_set(std::string const& message) {
  CPPUTIL_TRACE(channel, trace::detail) << "set destination:" << message;
  throw std::runtime_error(message);
}

void unset_destination() {
  Path const current = current_destination();
  if (current.empty()) {
    CPPUTIL_TRACE(channel, trace::detail)
        << "no destination, keep last \"" << traced(last_destination_file.text()) << '"';
    return;
  }
  // Records are closed as they are written; the flush is a trace only.
  CPPUTIL_TRACE(channel, trace::event) << "flush destination";
  last_destination_file = current;
  CPPUTIL_TRACE(channel, trace::detail)
      << " last_destination_file.string()=" << traced(last_destination_file.text());
  CPPUTIL_TRACE(channel, trace::event) << "unset destination";
  std::lock_guard<std::mutex> const lock(destination_mutex);
  destination_file = Path();
}

void set_destination(Path const& new_destination) {
  CPPUTIL_TRACE(channel, trace::detail) << "set destination" << traced(new_destination.text());
  ustring const parent = platform::extract_parent_path(new_destination.text());
  if (!parent.empty()) {
    try {
      Path const folder(parent);
      if (!platform::exists(folder)) {
        platform::create_directories(folder);
      }
    } catch (...) {
      if (has_destination()) {
        append_message(unable_to_create_folder_message + parent);
      }
      fail_to_set("Install Logger: Cannot create directory \"" + ustring_to_utf8(parent) + "\"");
    }
  }

  // Opened only to prove that the file can be made; records are written by append_message.
  platform::File const ofile = platform::File::open_append(new_destination.text());
  if (!ofile.is_open()) {
    if (has_destination()) {
      append_message(unable_to_create_file_message + new_destination.text());
    }
    fail_to_set("Install Logger: Cannot open file \"" + ustring_to_utf8(new_destination.text()) +
                "\"");
  }

  Path const old_destination = current_destination();
  if (!old_destination.empty()) {
    CPPUTIL_TRACE(channel, trace::detail)
        << " destination_file.string()=" << traced(old_destination.text())
        << " ofile.string()=" << traced(new_destination.text());
    append_message(reset_destination_message + old_destination.text() + u" to " +
                   new_destination.text());
    unset_destination();
  }

  std::lock_guard<std::mutex> const lock(destination_mutex);
  destination_file = new_destination;
  CPPUTIL_TRACE(channel, trace::detail)
      << " destination_file.string()=" << traced(destination_file.text());
}

}  // namespace

// A copy: the argument may be get_destination() or get_last_destination() itself, which
// retiring the old destination would change under our feet.
Logger::Logger(Path const& destination) { set_destination(Path(destination)); }

Logger::Logger(ustring const& destination) : Logger(Path(destination)) {}

Logger::Logger(std::string const& destination) : Logger(utf8_to_ustring(destination)) {}

Logger::~Logger() { unset_destination(); }

Path const& get_destination() {
  // Empty on purpose: taking the lock waits for a Logger of another thread that is assigning
  // the destination, and makes its assignment visible here. The caller then reads the
  // reference without the lock, which holds while no Logger is made or ended meanwhile.
  { std::lock_guard<std::mutex> const lock(destination_mutex); }
  return destination_file;
}

void append_message(ustring const& message) {
  CPPUTIL_TRACE(channel, trace::detail) << " msg=" << traced(message);
  if (!message.empty()) {
    write_record(ustring_to_utf8(message));
  }
}

void append_message(std::string const& message) { append_message(utf8_to_ustring(message)); }

void append_file(ustring const& file) {
  if (!has_destination()) {
    CPPUTIL_TRACE(channel, trace::event) << "append_file: The output file destination is not set.";
    throw std::runtime_error("Logger destination was not initialized.");
  }
  if (!platform::exists(Path(file))) {
    CPPUTIL_TRACE(channel, trace::event) << "append_file: The file does not exist.";
    throw std::runtime_error("The file does not exist.");
  }
  std::string const name = ustring_to_utf8(file);
  platform::File input = platform::File::open_read(file);
  if (!input.is_open()) {
    throw std::runtime_error("append_file: Cannot open file.");
  }
  // The copy is built once, in UTF-8, with room for its framing and time stamp, and becomes the
  // record in place: the bytes of a round trip through UTF-16 without its memory.
  std::string text;
  if (std::int64_t const size = input.size(); size > 0) {
    text.reserve(static_cast<std::size_t>(size) + 2 * name.size() + 96);
  }
  text.append("Content of the file ").append(name).push_back('\n');
  platform::LineReader reader(input);
  std::string_view line;
  while (reader.next(line)) {
    text += line;
    text += '\n';
    CPPUTIL_TRACE(channel, trace::detail) << " line=" << line;
  }
  input.close();
  text.append("End of the file ").append(name);
  utf::make_well_formed_utf8(text);
  CPPUTIL_TRACE(channel, trace::detail) << " msg=" << utf8_to_ustring(text);
  write_record(std::move(text));
}

void append_file(std::string const& file) { append_file(utf8_to_ustring(file)); }

void append_file(Path const& file) { append_file(ustring(file.text())); }

namespace detail {

Path const& get_last_destination() { return last_destination_file; }

void forget_last_destination() { last_destination_file = Path(); }

}  // namespace detail

}  // namespace install::cpputil::logger
