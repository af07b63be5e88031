#include "support/TraceCapture.hpp"

#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core.hpp>
#include <boost/log/expressions/message.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/sync_frontend.hpp>

#include "install/cpputil/diagnostics.hpp"

namespace install::cpputil::testing {

namespace logging = boost::log;

struct TraceCapture::State {
  std::mutex mutex;
  std::vector<TraceRecord> records;
};

namespace {

class Backend : public logging::sinks::basic_sink_backend<logging::sinks::synchronized_feeding> {
 public:
  explicit Backend(std::shared_ptr<TraceCapture::State> state) : state_(std::move(state)) {}

  void consume(logging::record_view const& record) {
    TraceRecord kept;
    if (auto channel = logging::extract<std::string>("Channel", record)) {
      kept.channel = *channel;
    }
    if (auto severity = logging::extract<int>("Severity", record)) {
      kept.severity = *severity;
    }
    if (auto text = logging::extract<std::string>("Message", record)) {
      kept.text = *text;
    }
    std::lock_guard<std::mutex> lock(state_->mutex);
    state_->records.push_back(std::move(kept));
  }

 private:
  std::shared_ptr<TraceCapture::State> state_;
};

using Sink = logging::sinks::synchronous_sink<Backend>;

std::mutex sinks_mutex;
std::map<TraceCapture::State const*, boost::shared_ptr<Sink>>& sinks() {
  static std::map<TraceCapture::State const*, boost::shared_ptr<Sink>> instance;
  return instance;
}

}  // namespace

std::ostream& operator<<(std::ostream& out, TraceRecord const& record) {
  return out << '{' << record.channel << ", " << record.severity << ", \"" << record.text << "\"}";
}

TraceCapture::TraceCapture() : state_(std::make_shared<State>()) {
  auto sink = boost::make_shared<Sink>(boost::make_shared<Backend>(state_));
  logging::core::get()->add_sink(sink);
  std::lock_guard<std::mutex> lock(sinks_mutex);
  sinks()[state_.get()] = sink;
}

TraceCapture::~TraceCapture() {
  for (auto const& [channel, mask] : saved_masks_) {
    diagnostics::set_channel_mask(channel, mask);
  }
  std::lock_guard<std::mutex> lock(sinks_mutex);
  auto const found = sinks().find(state_.get());
  logging::core::get()->remove_sink(found->second);
  sinks().erase(found);
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
