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
  std::string channel;
  std::uint32_t saved_mask;
  std::mutex mutex;
  std::string records;
  boost::shared_ptr<logging::sinks::sink> sink;
};

namespace {

// Holds the state, not the capture: the core may still feed a sink just removed.
class Backend : public logging::sinks::basic_sink_backend<logging::sinks::synchronized_feeding> {
 public:
  explicit Backend(std::shared_ptr<TraceCapture::State> state) : state_(std::move(state)) {}

  void consume(logging::record_view const& record) {
    if (logging::extract_or_default<std::string>("Channel", record, std::string()) ==
        state_->channel) {
      std::lock_guard<std::mutex> lock(state_->mutex);
      state_->records +=
          std::to_string(logging::extract_or_default<int>("Severity", record, 0)) + ' ' +
          logging::extract_or_default<std::string>("Message", record, std::string()) + '\n';
    }
  }

 private:
  std::shared_ptr<TraceCapture::State> state_;
};

}  // namespace

TraceCapture::TraceCapture(std::string channel, std::uint32_t mask)
    : state_(std::make_shared<State>()) {
  state_->saved_mask = diagnostics::channel_mask(channel);
  state_->channel = std::move(channel);
  state_->sink = boost::make_shared<logging::sinks::synchronous_sink<Backend>>(
      boost::make_shared<Backend>(state_));
  logging::core::get()->add_sink(state_->sink);
  diagnostics::set_channel_mask(state_->channel, mask);
}

TraceCapture::~TraceCapture() {
  diagnostics::set_channel_mask(state_->channel, state_->saved_mask);
  logging::core::get()->remove_sink(state_->sink);
  state_->sink.reset();  // the sink's backend holds the state
}

std::string TraceCapture::take() {
  std::lock_guard<std::mutex> lock(state_->mutex);
  return std::exchange(state_->records, {});
}

}  // namespace install::cpputil::testing
