#include "install/cpputil/logger.hpp"

#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>

#include "platform/PlatformUtility.hpp"
#include "platform/file.hpp"
#include "platform/path.hpp"
#include "trace/trace.hpp"

namespace install::cpputil::logger {
namespace {

// UTF-16 pieces are traced through ustring_to_utf8, not Boost.Log's own conversion: that one
// throws on an unpaired surrogate, which would make a bad message or path an error for the
// caller (and std::terminate in ~Logger) whenever tracing is on. Well-formed text gives the
// same bytes either way.
trace::DiagnosticLogger channel("install::cpputil::logger");

Path destination_file;
Path last_destination_file;  // unguarded: Loggers are made and ended by one thread at a time
std::mutex destination_mutex;
std::unique_ptr<platform::PlatformUtility> const platform_utility =
    std::make_unique<platform::PlatformUtility>();

constexpr char const* kTimeStampPattern = "%b %d, %Y %H:%M:%S";

Path current_destination() {
  std::lock_guard<std::mutex> const lock(destination_mutex);
  return destination_file;
}

bool has_destination() { return !current_destination().empty(); }

ustring add_time_stamp(ustring const& message) {
  ustring const stamp =
      utf8_to_ustring(platform::PlatformUtility().getPlatformCurrentTime(kTimeStampPattern));
  ustring line;
  line.reserve(stamp.size() + message.size() + 3);
  line += u'(';
  line += stamp;
  line += u") ";
  line += message;
  return line;
}

Path default_log_file() {
  ustring text = platform::temp_directory_name();
  text += u"/zembrak_";
  text += utf8_to_ustring(platform_utility->getPlatformUserName());
  text += u".log";
  return Path(text);
}

// The time-stamped record as written. Only the stamp is taken here, under destination_mutex,
// so that stamps never decrease along the file; the message was converted before the lock.
// Converting the prefix apart gives the same bytes: it ends in a blank, which no surrogate
// pairs with.
std::string stamped_record(std::string const& u8message) {
  std::string record = ustring_to_utf8(add_time_stamp(ustring()));
  record.reserve(record.size() + u8message.size() + 1);
  record += u8message;
  record += '\n';
  return record;
}

// Called with destination_mutex held. The whole record goes out in one write, so that other
// processes appending to the same file cannot split it either.
void write_record(ustring const& path, platform::File::Accept accept, std::string record) {
  platform::File file = platform::File::open_append(path, accept);
  if (!file.is_open()) {
    record.pop_back();
    CPPUTIL_TRACE(channel, trace::detail) << "failed to open destination_file for u8msg " << record;
    return;
  }
  static_cast<void>(file.append_whole(record));  // a full disk loses the record, as a failed open
}

[[noreturn]] void fail_to_set(std::string const& message) {
  CPPUTIL_TRACE(channel, trace::detail) << "set destination:" << message;
  throw std::runtime_error(message);
}

void unset_destination() {
  Path const current = current_destination();
  if (current.empty()) {
    CPPUTIL_TRACE(channel, trace::detail)
        << "no destination, keep last \"" << last_destination_file.string() << '"';
    return;
  }
  // Records are closed as they are written; the flush is a trace only.
  CPPUTIL_TRACE(channel, trace::event) << "flush destination";
  last_destination_file = current;
  CPPUTIL_TRACE(channel, trace::detail)
      << " last_destination_file.string()=" << last_destination_file.string();
  CPPUTIL_TRACE(channel, trace::event) << "unset destination";
  std::lock_guard<std::mutex> const lock(destination_mutex);
  destination_file = Path();
}

void set_destination(Path const& new_destination) {
  CPPUTIL_TRACE(channel, trace::detail) << "set destination" << new_destination.string();
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
        << " destination_file.string()=" << old_destination.string()
        << " ofile.string()=" << new_destination.string();
    append_message(reset_destination_message + old_destination.text() + u" to " +
                   new_destination.text());
    unset_destination();
  }

  std::lock_guard<std::mutex> const lock(destination_mutex);
  destination_file = new_destination;
  CPPUTIL_TRACE(channel, trace::detail)
      << " destination_file.string()=" << destination_file.string();
}

}  // namespace

// A copy: the argument may be get_destination() or get_last_destination() itself, which
// retiring the old destination would change under our feet.
Logger::Logger(Path const& destination) { set_destination(Path(destination)); }

Logger::Logger(ustring const& destination) : Logger(Path(destination)) {}

Logger::Logger(std::string const& destination) : Logger(utf8_to_ustring(destination)) {}

Logger::~Logger() { unset_destination(); }

Path const& get_destination() {
  { std::lock_guard<std::mutex> const lock(destination_mutex); }
  return destination_file;
}

void append_message(ustring const& message) {
  std::string const u8message = ustring_to_utf8(message);
  CPPUTIL_TRACE(channel, trace::detail) << " msg=" << u8message;
  if (message.empty()) {
    return;
  }
  // One critical section decides between the destination and the default file and writes:
  // a destination cleared by another thread in between must not swallow the record.
  std::lock_guard<std::mutex> const lock(destination_mutex);
  std::string record = stamped_record(u8message);
  if (destination_file.empty()) {
    // Refuse links: the shared temporary folder lets anyone plant one at this name.
    write_record(default_log_file().text(), platform::File::Accept::own_regular_file,
                 std::move(record));
  } else {
    write_record(destination_file.text(), platform::File::Accept::any, std::move(record));
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
  std::string text = "Content of the file " + name + "\n";
  platform::File input = platform::File::open_read(file);
  if (!input.is_open()) {
    throw std::runtime_error("append_file: Cannot open file.");
  }
  platform::LineReader reader(input);
  std::string line;
  while (reader.next(line)) {
    text += line;
    text += '\n';
    CPPUTIL_TRACE(channel, trace::detail) << " line=" << line;
  }
  input.close();
  text += "End of the file ";
  text += name;
  append_message(utf8_to_ustring(text));
}

void append_file(std::string const& file) { append_file(utf8_to_ustring(file)); }

void append_file(Path const& file) { append_file(ustring(file.text())); }

namespace detail {

Path const& get_last_destination() { return last_destination_file; }

void forget_last_destination() { last_destination_file = Path(); }

}  // namespace detail

}  // namespace install::cpputil::logger
