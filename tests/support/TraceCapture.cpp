#include "support/TraceCapture.hpp"

#include <mutex>

#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/sync_frontend.hpp>

#include "install/cpputil/diagnostics.hpp"

namespace install::cpputil::testing {

namespace logging = boost::log;

struct TraceCapture::State {
  std::mutex mutex;
  std::vector<TraceRecord> records;
  boost::shared_ptr<logging::sinks::sink> sink;
};

namespace {

// Holds the state, not the capture: the core may still feed a sink just removed.
class Backend : public logging::sinks::basic_sink_backend<logging::sinks::synchronized_feeding> {
 public:
  explicit Backend(std::shared_ptr<TraceCapture::State> state) : state_(std::move(state)) {}

  void consume(logging::record_view const& record) {
    TraceRecord kept{logging::extract_or_default<std::string>("Channel", record, std::string()),
                     logging::extract_or_default<int>("Severity", record, 0),
                     logging::extract_or_default<std::string>("Message", record, std::string())};
    std::lock_guard<std::mutex> lock(state_->mutex);
    state_->records.push_back(std::move(kept));
  }

 private:
  std::shared_ptr<TraceCapture::State> state_;
};

}  // namespace

std::ostream& operator<<(std::ostream& out, TraceRecord const& record) {
  return out << '{' << record.channel << ", " << record.severity << ", \"" << record.text << "\"}";
}

TraceCapture::TraceCapture() : state_(std::make_shared<State>()) {
  state_->sink = boost::make_shared<logging::sinks::synchronous_sink<Backend>>(
      boost::make_shared<Backend>(state_));
  logging::core::get()->add_sink(state_->sink);
}

TraceCapture::~TraceCapture() {
  for (auto const& [channel, mask] : saved_masks_) {
    diagnostics::set_channel_mask(channel, mask);
  }
  logging::core::get()->remove_sink(state_->sink);
  state_->sink.reset();  // the sink's backend holds the state
}

void TraceCapture::enable(std::string const& channel, std::uint32_t mask) {
  saved_masks_.try_emplace(channel, diagnostics::channel_mask(channel));
  diagnostics::set_channel_mask(channel, mask);
}

std::vector<TraceRecord> TraceCapture::records() const {
  std::lock_guard<std::mutex> lock(state_->mutex);
  return state_->records;
}

std::vector<std::string> TraceCapture::texts(std::string const& channel) const {
  std::vector<std::string> texts;
  for (auto const& record : records()) {
    if (record.channel == channel) {
      texts.push_back(record.text);
    }
  }
  return texts;
}

void TraceCapture::clear() {
  std::lock_guard<std::mutex> lock(state_->mutex);
  state_->records.clear();
}

}  // namespace install::cpputil::testing
