#include <cstring>

#include "platform/file.hpp"

namespace install::cpputil::platform {
namespace {
constexpr std::size_t kReadChunk = std::size_t{64} * 1024;
}

bool LineReader::fill() {
  if (done_) {
    return false;
  }
  buffer_.erase(0, begin_);
  begin_ = 0;
  std::size_t const old_size = buffer_.size();
  buffer_.resize(old_size + kReadChunk);
  std::int64_t const got = file_.read(buffer_.data() + old_size, kReadChunk);
  buffer_.resize(old_size + static_cast<std::size_t>(got > 0 ? got : 0));
  if (got <= 0) {
    done_ = true;
    return false;
  }
  return true;
}

bool LineReader::next(std::string& line) {
  std::size_t scanned = begin_;
  for (;;) {
    auto const* const start = buffer_.data() + scanned;
    auto const length = buffer_.size() - scanned;
    auto const* const feed = static_cast<char const*>(std::memchr(start, '\n', length));
    if (feed != nullptr) {
      auto const end = static_cast<std::size_t>(feed - buffer_.data());
      line.assign(buffer_, begin_, end - begin_);
      begin_ = end + 1;
      return true;
    }
    scanned = buffer_.size() - begin_;  // offsets shift by begin_ when fill() compacts
    if (!fill()) {
      if (begin_ == buffer_.size()) {
        return false;
      }
      line.assign(buffer_, begin_, std::string::npos);
      begin_ = buffer_.size();
      return true;
    }
  }
}

}  // namespace install::cpputil::platform
