// Appends "<id> <n>" to a log at least 400 times and for at least two seconds, so that several
// of these processes cross a change of the second together. Usage: appender LOG ID
#include <ctime>
#include <string>

#include "install/cpputil/logger.hpp"

int main(int argc, char** argv) {
  if (argc != 3) {
    return 2;
  }
  namespace logger = install::cpputil::logger;
  logger::Logger const log{std::string(argv[1])};
  std::time_t const start = std::time(nullptr);
  for (int i = 0; i < 400 || std::time(nullptr) < start + 2; ++i) {
    logger::append_message(std::string(argv[2]) + " " + std::to_string(i));
  }
  return 0;
}
