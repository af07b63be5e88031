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

// The installation root is <scratch>/outer/app; the anchor belongs in <scratch>/outer.
class SandboxAnchor : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::create_directories(root_);
    platform::set_install_path(utf8_to_ustring(root_.string()));
  }
  void TearDown() override { platform::reset_install_path(); }

  ScratchDir scratch_;
  fs::path const outer_ = scratch_.path() / "outer";
  fs::path const root_ = outer_ / "app";
  SandboxWorkflowDetector const detector_;
};

TEST_F(SandboxAnchor, CountsOnlyAnEntryBesideTheRoot) {
  struct Case {
    char const* name;
    fs::path anchor;  // empty: no anchor at all
    bool folder;
    bool expected;
  };
  Case const cases[] = {
      {"Absent", {}, false, false},
      {"FileBesideRoot", outer_ / "qx_anchor", false, true},
      {"FolderBesideRoot", outer_ / "qx_anchor", true, true},
      {"InsideRoot", root_ / "qx_anchor", false, false},
      {"FurtherUp", scratch_.path() / "qx_anchor", true, false},
      {"OtherCase", outer_ / "QX_ANCHOR", false, false},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(c.name);
    if (c.folder) {
      fs::create_directory(c.anchor);
    } else if (!c.anchor.empty()) {
      testing::write_file(c.anchor, "");
    }
    EXPECT_EQ(detector_.isSandboxPathExist(), c.expected);
    EXPECT_EQ(detector_.isSandboxWorkflow(), c.expected);
    if (!c.anchor.empty()) {
      fs::remove(c.anchor);
    }
  }
}

TEST_F(SandboxAnchor, RootNeedNotExistAndMayEndInSeparators) {
  testing::write_file(outer_ / "qx_anchor", "");
  fs::remove(root_);
  platform::set_install_path(utf8_to_ustring(outer_.string() + "//app//"));
  EXPECT_TRUE(detector_.isSandboxPathExist());
}

// Derived in this binary and dispatched through the library's isSandboxWorkflow.
class FixedDetector : public SandboxWorkflowDetector {
 public:
  explicit FixedDetector(int answer) : answer_(answer) {}
  bool isSandboxPathExist() const override {
    if (answer_ < 0) {
      throw std::logic_error("no root");
    }
    return answer_ > 0;
  }

 private:
  int answer_;
};

TEST(SandboxOverride, DecidesTheWorkflowAndAnExceptionMeansNone) {
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
