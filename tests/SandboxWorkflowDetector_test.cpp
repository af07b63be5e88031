#include "install/cpputil/SandboxWorkflowDetector.hpp"

#include <cstdlib>
#include <filesystem>

#include <gtest/gtest.h>

#include "install/cpputil/platform.hpp"

#include "support/Scratch.hpp"

namespace install::cpputil {
namespace {

namespace fs = std::filesystem;
using testing::ScratchDir;

// The file system's rule, not the library's: Windows finds names in any case.
#if defined(_WIN32)
constexpr bool kFoldsCase = true;
#else
constexpr bool kFoldsCase = false;
#endif

// The anchor belongs beside the installation root, <scratch>/outer/app.
TEST(SandboxAnchor, CountsOnlyAnEntryBesideTheRoot) {
  ScratchDir const scratch;
  fs::create_directories(scratch / "outer/app");
  platform::set_install_path(utf8_to_ustring(scratch / "outer/app"));
  SandboxWorkflowDetector const detector;
  EXPECT_FALSE(detector.isSandboxWorkflow());
  // Relative to the scratch folder; a trailing "/" makes the anchor a folder.
  std::pair<std::string, bool> const cases[] = {{"outer/qx_anchor", true},
                                                {"outer/qx_anchor/", true},
                                                {"outer/app/qx_anchor", false},
                                                {"qx_anchor/", false},
                                                {"outer/QX_ANCHOR", kFoldsCase}};
  for (auto const& [anchor, expected] : cases) {
    if (anchor.back() == '/') {
      fs::create_directory(scratch / anchor);
    } else {
      testing::write_file(scratch / anchor, "");
    }
    EXPECT_EQ(detector.isSandboxPathExist(), expected) << anchor;
    EXPECT_EQ(detector.isSandboxWorkflow(), expected) << anchor;
    fs::remove(scratch / anchor);
  }
  // The root need not exist and may end in separators.
  testing::write_file(scratch / "outer/qx_anchor", "");
  fs::remove(scratch / "outer/app");
  platform::set_install_path(utf8_to_ustring(scratch / "outer//app//"));
  EXPECT_TRUE(detector.isSandboxPathExist());
  platform::reset_install_path();
}

// Run by its own CTest entry from a copy of the library: on POSIX loaded as
// "./libinstall_cpputil.so.1", on Windows from a folder whose name is not ASCII. Once the
// working folder of the load is gone, nothing but the library's own location names the root.
TEST(SandboxLoadedByRelativeName, AnchorIsBesideTheRootAboveTheLibraryFolder) {
  if (std::getenv("CPPUTIL_TEST_RELATIVE_LOAD") == nullptr) {  // NOLINT(concurrency-mt-unsafe)
    GTEST_SKIP() << "needs the library loaded by a relative name";
  }
  fs::path const start = fs::current_path();
  fs::path const anchor = start.parent_path().parent_path() / "qx_anchor";
  fs::remove(anchor);
  ScratchDir const gone;
  fs::current_path(gone.path());
  std::error_code ignored;
  fs::remove(gone.path(), ignored);  // Windows keeps a working folder in place
  SandboxWorkflowDetector const detector;
  EXPECT_FALSE(detector.isSandboxPathExist());
  testing::write_file(anchor.u8string(), "");
  EXPECT_TRUE(detector.isSandboxWorkflow());
  fs::remove(anchor);
  fs::current_path(start);
}

}  // namespace
}  // namespace install::cpputil
