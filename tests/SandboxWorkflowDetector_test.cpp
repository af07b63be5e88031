#include "install/cpputil/SandboxWorkflowDetector.hpp"

#include <cstdlib>
#include <filesystem>

#include <gtest/gtest.h>

#include "support/Scratch.hpp"

namespace install::cpputil {
namespace {

namespace fs = std::filesystem;

// Run by its own CTest entry from a copy of the library, loaded by a relative name or from a
// folder whose name is not ASCII. Once the working folder of the load is gone, nothing but the
// library's own location names the root.
TEST(SandboxLoadedByRelativeName, AnchorIsBesideTheRootAboveTheLibraryFolder) {
  if (std::getenv("CPPUTIL_TEST_RELATIVE_LOAD") == nullptr) {  // NOLINT(concurrency-mt-unsafe)
    GTEST_SKIP() << "needs the library loaded by a relative name";
  }
  fs::path const start = fs::current_path();
  fs::path const anchor = start.parent_path().parent_path() / "qx_anchor";
  fs::remove(anchor);
  testing::ScratchDir const gone;
  fs::current_path(gone.path());
  std::error_code ignored;
  fs::remove(gone.path(), ignored);  // Windows keeps a working folder in place
  SandboxWorkflowDetector const detector;
  EXPECT_FALSE(detector.isSandboxWorkflow());
  testing::write_file(anchor.u8string(), "");
  EXPECT_TRUE(detector.isSandboxWorkflow());
  fs::remove(anchor);
  fs::current_path(start);
}

}  // namespace
}  // namespace install::cpputil
