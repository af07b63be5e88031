#include "install/cpputil/SandboxWorkflowDetector.hpp"

#include <cstdlib>
#include <filesystem>

#include <gtest/gtest.h>

#include "install/cpputil/platform.hpp"

#include "support/Scratch.hpp"

namespace install::cpputil {
namespace {

namespace fs = std::filesystem;

// The anchor belongs beside the installation root, <scratch>/outer/app, which need not exist
// and may end in separators. Windows finds names in any case.
TEST(SandboxAnchor, CountsOnlyAnEntryBesideTheRoot) {
  testing::ScratchDir const scratch;
  fs::create_directories(scratch / "outer/app");
  SandboxWorkflowDetector const detector;
  // Relative to the scratch folder; a trailing "/" makes the anchor a folder.
  std::pair<char const*, bool> const cases[] = {
    {"outer/qx_anchor", true},
    {"outer/qx_anchor/", true},
    {"outer/app/qx_anchor", false},
    {"qx_anchor/", false},
#if defined(_WIN32)
    {"outer/QX_ANCHOR", true}
  };
#else
    {"outer/QX_ANCHOR", false}
  };
#endif
  for (char const* root : {"outer/app", "outer//gone//"}) {
    platform::set_install_path(utf8_to_ustring(scratch / root));
    EXPECT_FALSE(detector.isSandboxWorkflow());
    for (auto const& [anchor, expected] : cases) {
      if (std::string(anchor).back() == '/') {
        fs::create_directory(scratch / anchor);
      } else {
        testing::write_file(scratch / anchor, "");
      }
      EXPECT_EQ(detector.isSandboxWorkflow(), expected) << root << " " << anchor;
      fs::remove(scratch / anchor);
    }
  }
  platform::reset_install_path();
}

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
