// Links nothing but the library: throws InstallerException from this binary, reads its texts,
// and catches both exception types by their own type and as std::runtime_error; derives from
// the two query classes and dispatches through the library's vtables and typeinfo. An exception
// that finds no handler ends the program, which fails the test.
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <typeinfo>

#include "install/cpputil/InstallerException.hpp"
#include "install/cpputil/SandboxWorkflowDetector.hpp"
#include "install/cpputil/VersionComparator.hpp"
#include "install/cpputil/interrupt.hpp"

namespace lib = install::cpputil;

namespace {

int failures = 0;

// Each failed condition, as it is written here.
#define CHECK(condition) \
  static_cast<void>((condition) || (std::fprintf(stderr, "FAILED: %s\n", #condition), ++failures))

// Orders by length first; the library's comparison breaks ties.
class LengthComparator : public lib::VersionComparator {
 public:
  int compareVersionNumbers(lib::ustring const& first, lib::ustring const& second) const override {
    return first.size() == second.size()  ? VersionComparator::compareVersionNumbers(first, second)
           : first.size() < second.size() ? -1
                                          : 1;
  }
};

// Answers yes (1), no (0), or throws (-1), which the library turns into no.
class FixedDetector : public lib::SandboxWorkflowDetector {
 public:
  explicit FixedDetector(int answer) : answer_(answer) {}
  bool isSandboxPathExist() const override {
    return answer_ < 0 ? throw std::runtime_error("no root") : answer_ > 0;
  }

 private:
  int answer_;
};

// What the call threw, caught as Caught; "" when it threw nothing.
template <typename Caught, typename Call>
std::string caught(Call call) {
  try {
    call();
  } catch (Caught const& error) {
    return error.what();
  }
  return "";
}

}  // namespace

int main() {
  LengthComparator const length;
  lib::VersionComparator const plain;
  lib::VersionComparator const& base = length;
  CHECK(base.compareVersionNumbers(u"9.0", u"10") == 1);  // the override, through the base
  CHECK(base.compareVersionNumbers(u"1.8", u"1.9") == -1);
  CHECK(plain.compareVersionNumbers(u"9.0", u"10") == -1);
  CHECK(dynamic_cast<LengthComparator const*>(&base) != nullptr);
  CHECK(typeid(plain) == typeid(lib::VersionComparator));
  for (int const answer : {1, 0, -1}) {
    // Ended through the library's virtual destructor.
    std::unique_ptr<lib::SandboxWorkflowDetector> const detector =
        std::make_unique<FixedDetector>(answer);
    CHECK(detector->isSandboxWorkflow() == (answer == 1));
    CHECK(dynamic_cast<FixedDetector const*>(detector.get()) != nullptr);
  }
  CHECK(caught<lib::InstallerException>(
            [] { throw lib::InstallerException("7", "primary", "second", "main"); }) == "second");
  CHECK(caught<std::runtime_error>([] { throw lib::InstallerException("message"); }) == "message");
  lib::InstallerException const four("7", "primary", "second", "main");
  lib::InstallerException const one("only");
  CHECK(four.getErrorCode() + four.getPrimaryErrorMessage() + four.getSecondaryErrorMessage() +
            four.getLocation() + "|" + one.getErrorCode() + one.getPrimaryErrorMessage() + "|" +
            one.getSecondaryErrorMessage() + one.getLocation() ==
        "7primarysecondmain||only");
  // Never a name joined to itself.
  CHECK(lib::createLocation("module", "") + " " + lib::createLocation("same", "same") + " " +
            lib::createLocation("", "second") + " " + lib::createLocation("Name", "name") ==
        "module same ::second Name::name");
  lib::interrupt::set();
  CHECK(caught<lib::interrupt::Exception>([] { lib::interrupt::throw_if_set("boundary"); }) ==
        "Interrupted. boundary");
  CHECK(caught<std::runtime_error>([] { lib::interrupt::throw_if_set(""); }) == "Interrupted.");
  std::printf("boundary: %s\n", failures == 0 ? "all caught by their own type" : "FAILED");
  return failures == 0 ? 0 : 1;
}
