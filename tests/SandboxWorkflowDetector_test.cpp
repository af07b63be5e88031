#include "install/cpputil/SandboxWorkflowDetector.hpp"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "install/cpputil/platform.hpp"

#include "support/Scratch.hpp"

namespace install::cpputil {
namespace {

namespace fs = std::filesystem;
using testing::ScratchDir;

// The anchor belongs beside the installation root, <scratch>/outer/app.
TEST(SandboxAnchor, CountsOnlyAnEntryBesideTheRoot) {
  ScratchDir const scratch;
  fs::path const outer = scratch.path() / "outer";
  fs::path const root = outer / "app";
  fs::create_directories(root);
  platform::set_install_path(utf8_to_ustring(root.string()));
  SandboxWorkflowDetector const detector;
  struct Case {
    fs::path anchor;  // empty: no anchor at all
    bool folder;
    bool expected;
  };
  Case const cases[] = {
      {{}, false, false},
      {outer / "qx_anchor", false, true},
      {outer / "qx_anchor", true, true},
      {root / "qx_anchor", false, false},
      {scratch.path() / "qx_anchor", true, false},
      {outer / "QX_ANCHOR", false, false},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(c.anchor.string() + (c.folder ? "/" : ""));
    if (c.folder) {
      fs::create_directory(c.anchor);
    } else if (!c.anchor.empty()) {
      testing::write_file(c.anchor, "");
    }
    EXPECT_EQ(detector.isSandboxPathExist(), c.expected);
    EXPECT_EQ(detector.isSandboxWorkflow(), c.expected);
    fs::remove(c.anchor);
  }
  // The root need not exist and may end in separators.
  testing::write_file(outer / "qx_anchor", "");
  fs::remove(root);
  platform::set_install_path(utf8_to_ustring(outer.string() + "//app//"));
  EXPECT_TRUE(detector.isSandboxPathExist());
  platform::reset_install_path();
}

// Derived here and called through the library's isSandboxWorkflow; an exception means none.
struct FixedDetector : SandboxWorkflowDetector {
  explicit FixedDetector(int answer) : answer_(answer) {}
  bool isSandboxPathExist() const override {
    return answer_ < 0 ? throw std::logic_error("no root") : answer_ > 0;
  }
  int answer_;
};

TEST(SandboxOverride, DecidesTheWorkflow) {
  EXPECT_TRUE(FixedDetector(1).isSandboxWorkflow());
  EXPECT_FALSE(FixedDetector(0).isSandboxWorkflow());
  EXPECT_FALSE(FixedDetector(-1).isSandboxWorkflow());
}

// Run by its own CTest entry with the library loaded as "./libinstall_cpputil.so.1": once the
// working folder of the load is gone, nothing names a folder above the library file.
TEST(SandboxWithoutRoot, PathQueryThrowsAndWorkflowIsFalse) {
  if (std::getenv("CPPUTIL_TEST_NO_INSTALL_ROOT") == nullptr) {  // NOLINT(concurrency-mt-unsafe)
    GTEST_SKIP() << "needs the library loaded by a relative name";
  }
  int const home = ::open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_GE(home, 0);
  {
    ScratchDir const gone;
    ASSERT_EQ(::chdir(gone.path().c_str()), 0);
    fs::remove(gone.path());
    SandboxWorkflowDetector const detector;
    EXPECT_THROW(detector.isSandboxPathExist(), std::runtime_error);
    EXPECT_FALSE(detector.isSandboxWorkflow());
  }
  EXPECT_EQ(::fchdir(home), 0);
  ::close(home);
}

}  // namespace
}  // namespace install::cpputil
