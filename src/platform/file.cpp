// The portable part of files: splitting them into lines.
#include "platform/file.hpp"

#include <cstring>

namespace install::cpputil::platform {

bool LineReader::fill() {
  if (done_) {
    return false;
  }
  std::int64_t const got = file_.read(chunk_.data() + end_, chunk_.size() - end_);
  if (got <= 0) {
    done_ = true;
    return false;
  }
  end_ += static_cast<std::size_t>(got);
  return true;
}

bool LineReader::next(std::string_view& line) {
  long_line_.clear();
  for (;;) {
    char const* const start = chunk_.data() + begin_;
    std::size_t const unread = end_ - begin_;
    if (auto const* feed = static_cast<char const*>(std::memchr(start, '\n', unread))) {
      auto const length = static_cast<std::size_t>(feed - start);
      begin_ += length + 1;
      if (long_line_.empty()) {
        line = std::string_view(start, length);
      } else {
        line = long_line_.append(start, length);
      }
      return true;
    }
    // No line feed in what is left: keep it, and read more behind it.
    if (unread == chunk_.size()) {
      long_line_.append(start, unread);
      end_ = 0;
    } else {
      std::memmove(chunk_.data(), start, unread);
      end_ = unread;
    }
    begin_ = 0;
    if (!fill()) {
      if (end_ == 0 && long_line_.empty()) {
        return false;
      }
      line = long_line_.append(chunk_.data(), end_);
      end_ = 0;
      return true;
    }
  }
}

}  // namespace install::cpputil::platform
