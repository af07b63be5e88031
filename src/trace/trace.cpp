// The registry of channel masks, the INSTALL_CPPUTIL_TRACE variable, and the channels' loggers.
#include "trace/trace.hpp"

#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string_view>

#include "trace/mask.hpp"

namespace install::cpputil::trace {
namespace {

constexpr std::string_view kAllChannels = "*";

class Registry {
 public:
  Registry() { configure_from_environment(); }

  std::atomic<std::uint32_t>& cell(std::string const& channel) {
    std::lock_guard<std::mutex> lock(mutex_);
    return cell_locked(channel);
  }

  void set(std::string const& channel, std::uint32_t mask) {
    std::lock_guard<std::mutex> lock(mutex_);
    set_locked(channel, mask);
  }

  std::uint32_t get(std::string const& channel) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (channel == kAllChannels) {
      return default_mask_;
    }
    return cell_locked(channel).load(std::memory_order_relaxed);
  }

 private:
  void set_locked(std::string const& channel, std::uint32_t mask) {
    if (channel == kAllChannels) {
      default_mask_ = mask;
      for (auto& entry : cells_) {
        entry.second->store(mask, std::memory_order_relaxed);
      }
      return;
    }
    cell_locked(channel).store(mask, std::memory_order_relaxed);
  }

  std::atomic<std::uint32_t>& cell_locked(std::string const& channel) {
    auto& slot = cells_[channel];
    if (!slot) {
      slot = std::make_unique<std::atomic<std::uint32_t>>(default_mask_);
    }
    return *slot;
  }

  // "channel=mask" items separated by commas; items that do not parse are skipped.
  void configure_from_environment() {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): read once while the library loads.
    char const* value = std::getenv("INSTALL_CPPUTIL_TRACE");
    if (value == nullptr) {
      return;
    }
    std::string_view rest(value);
    while (!rest.empty()) {
      auto const comma = rest.find(',');
      auto const item = rest.substr(0, comma);
      rest = comma == std::string_view::npos ? std::string_view() : rest.substr(comma + 1);
      auto const equals = item.find('=');
      if (equals == std::string_view::npos || equals == 0) {
        continue;
      }
      if (auto const mask = parse_mask(item.substr(equals + 1))) {
        set_locked(std::string(item.substr(0, equals)), *mask);
      }
    }
  }

  std::mutex mutex_;
  std::uint32_t default_mask_ = 0;
  std::map<std::string, std::unique_ptr<std::atomic<std::uint32_t>>> cells_;
};

Registry& registry() {
  static Registry instance;
  return instance;
}

// Reads the environment while the library loads, whatever order the channels are built in.
[[maybe_unused]] Registry const& load_time_registry = registry();

}  // namespace

std::atomic<std::uint32_t>& mask_cell(std::string const& channel) {
  return registry().cell(channel);
}

void set_mask(std::string const& channel, std::uint32_t mask) { registry().set(channel, mask); }

std::uint32_t get_mask(std::string const& channel) { return registry().get(channel); }

DiagnosticLogger::DiagnosticLogger(std::string channel)
    : mask_(&mask_cell(channel)), logger_(boost::log::keywords::channel = std::move(channel)) {}

}  // namespace install::cpputil::trace
