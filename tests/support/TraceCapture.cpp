#include "support/TraceCapture.hpp"

#include <sstream>

#include <boost/log/core.hpp>
#include <boost/log/expressions.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include <boost/log/sinks/text_ostream_backend.hpp>

#include "install/cpputil/diagnostics.hpp"

namespace install::cpputil::testing {

namespace logging = boost::log;
namespace expr = boost::log::expressions;
using Sink = logging::sinks::synchronous_sink<logging::sinks::text_ostream_backend>;

struct TraceCapture::State {
  std::string channel;
  std::uint32_t saved_mask = 0;
  boost::shared_ptr<std::ostringstream> records = boost::make_shared<std::ostringstream>();
  boost::shared_ptr<Sink> sink = boost::make_shared<Sink>();
};

TraceCapture::TraceCapture(std::string channel, std::uint32_t mask)
    : state_(std::make_unique<State>()) {
  state_->channel = std::move(channel);
  state_->saved_mask = diagnostics::channel_mask(state_->channel);
  state_->sink->locked_backend()->add_stream(state_->records);
  state_->sink->set_filter(expr::attr<std::string>("Channel") == state_->channel);
  state_->sink->set_formatter(expr::stream << expr::attr<int>("Severity") << ' ' << expr::smessage);
  logging::core::get()->add_sink(state_->sink);
  diagnostics::set_channel_mask(state_->channel, mask);
}

TraceCapture::~TraceCapture() {
  diagnostics::set_channel_mask(state_->channel, state_->saved_mask);
  logging::core::get()->remove_sink(state_->sink);
}

std::string TraceCapture::take() {
  auto const locked = state_->sink->locked_backend();  // no record is written meanwhile
  std::string records = state_->records->str();
  state_->records->str("");
  return records;
}

}  // namespace install::cpputil::testing
