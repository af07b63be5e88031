// Links nothing but the library: throws InstallerException from this binary and catches both
// exception types by their own type and as std::runtime_error; derives from the two query
// classes and dispatches through the library's vtables and typeinfo.
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <typeinfo>

#include "install/cpputil/InstallerException.hpp"
#include "install/cpputil/SandboxWorkflowDetector.hpp"
#include "install/cpputil/VersionComparator.hpp"
#include "install/cpputil/interrupt.hpp"

namespace cpputil = install::cpputil;

namespace {

int failures = 0;

void check(bool ok, char const* what) {
  if (!ok) {
    std::fprintf(stderr, "FAILED: %s\n", what);
    ++failures;
  }
}

// Compares by length first, and refuses to compare an empty version.
class LengthComparator : public cpputil::VersionComparator {
 public:
  int compareVersionNumbers(cpputil::ustring const& first,
                            cpputil::ustring const& second) const override {
    if (first.empty() || second.empty()) {
      throw std::invalid_argument("empty version");
    }
    if (first.size() != second.size()) {
      return first.size() < second.size() ? -1 : 1;
    }
    return VersionComparator::compareVersionNumbers(first, second);
  }
};

class FixedDetector : public cpputil::SandboxWorkflowDetector {
 public:
  explicit FixedDetector(int answer) : answer_(answer) {}
  bool isSandboxPathExist() const override {
    if (answer_ < 0) {
      throw std::runtime_error("no root");
    }
    return answer_ > 0;
  }

 private:
  int answer_;
};

void check_derived_queries() {
  LengthComparator const length;
  cpputil::VersionComparator const plain;
  cpputil::VersionComparator const& base = length;
  check(base.compareVersionNumbers(u"1.10", u"1.9") == 1, "override through base reference");
  check(base.compareVersionNumbers(u"9", u"10") == -1, "base called from the override");
  check(plain.compareVersionNumbers(u"1.2", u"1.2.0") == 0, "library's own comparison");
  try {
    base.compareVersionNumbers(u"", u"1");
    check(false, "throwing override threw nothing");
  } catch (std::invalid_argument const& error) {
    check(std::strcmp(error.what(), "empty version") == 0, "throwing override");
  }
  check(dynamic_cast<LengthComparator const*>(&base) != nullptr, "dynamic_cast to derived");
  check(typeid(base) == typeid(LengthComparator), "typeid of derived comparator");
  check(typeid(plain) == typeid(cpputil::VersionComparator), "typeid of library comparator");

  FixedDetector const yes(1);
  FixedDetector const no(0);
  FixedDetector const broken(-1);
  for (auto const* detector : {static_cast<cpputil::SandboxWorkflowDetector const*>(&yes),
                               static_cast<cpputil::SandboxWorkflowDetector const*>(&no),
                               static_cast<cpputil::SandboxWorkflowDetector const*>(&broken)}) {
    bool const expected = detector == &yes;
    check(detector->isSandboxWorkflow() == expected, "isSandboxWorkflow dispatches the override");
    check(dynamic_cast<FixedDetector const*>(detector) != nullptr, "dynamic_cast to detector");
  }
  // Destroyed through the library's virtual destructor.
  std::unique_ptr<cpputil::SandboxWorkflowDetector> const owned =
      std::make_unique<FixedDetector>(1);
  check(typeid(*owned) == typeid(FixedDetector), "typeid of derived detector");
}

}  // namespace

int main() {
  check_derived_queries();

  try {
    throw cpputil::InstallerException("7", "primary", "secondary", "main");
  } catch (cpputil::InstallerException const& error) {
    check(error.getErrorCode() == "7", "InstallerException by its own type");
  } catch (...) {
    check(false, "InstallerException by its own type");
  }
  try {
    throw cpputil::InstallerException("message");
  } catch (std::runtime_error const& error) {
    check(std::strcmp(error.what(), "message") == 0, "InstallerException as runtime_error");
  }

  cpputil::interrupt::set();
  try {
    cpputil::interrupt::throw_if_set("boundary");
    check(false, "throw_if_set threw nothing");
  } catch (cpputil::interrupt::Exception const& error) {
    check(std::strcmp(error.what(), "Interrupted. boundary") == 0,
          "interrupt::Exception by its own type");
  } catch (...) {
    check(false, "interrupt::Exception by its own type");
  }
  try {
    cpputil::interrupt::throw_if_set("");
  } catch (std::runtime_error const& error) {
    check(std::strcmp(error.what(), "Interrupted.") == 0, "interrupt::Exception as runtime_error");
  }
  cpputil::interrupt::detail::unset();
  check(!cpputil::interrupt::is_set(), "unset");

  std::printf("%s\n",
              failures == 0 ? "boundary: all caught by their own type" : "boundary: FAILED");
  return failures == 0 ? 0 : 1;
}
