#include "install/cpputil/SandboxWorkflowDetector.hpp"

#include "install/cpputil/Path.hpp"

#include "platform/filesystem.hpp"
#include "platform/path.hpp"

namespace install::cpputil {

SandboxWorkflowDetector::~SandboxWorkflowDetector() = default;

bool SandboxWorkflowDetector::isSandboxWorkflow() const {
  try {
    return isSandboxPathExist();
  } catch (...) {  // an undeterminable root, or a caller's override, means no sandbox
    return false;
  }
}

bool SandboxWorkflowDetector::isSandboxPathExist() const {
  Path const root(platform::get_install_path());
  ustring anchor = Path(platform::extract_parent_path(root.text())).text();
  platform::concatenate_pathname(anchor, u"qx_anchor");
  return platform::exists(Path(anchor));
}

}  // namespace install::cpputil
