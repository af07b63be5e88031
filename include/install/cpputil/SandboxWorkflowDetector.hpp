/// @file
/// Detection of a sandbox workflow: an entry named "qx_anchor" in the folder that holds the
/// installation root. Callers may derive from it across the library boundary.
#ifndef INSTALL_CPPUTIL_SANDBOXWORKFLOWDETECTOR_HPP
#define INSTALL_CPPUTIL_SANDBOXWORKFLOWDETECTOR_HPP

#include "install/cpputil/export.hpp"

namespace install::cpputil {

/// The sandbox query. Its operations are virtual, so that a caller's class may override them.
class INSTALL_CPPUTIL_EXPORT SandboxWorkflowDetector {
 public:
  SandboxWorkflowDetector() = default;
  ///@{
  /// Copyable and movable, so that derived classes can be.
  SandboxWorkflowDetector(SandboxWorkflowDetector const&) = default;
  SandboxWorkflowDetector(SandboxWorkflowDetector&&) = default;
  SandboxWorkflowDetector& operator=(SandboxWorkflowDetector const&) = default;
  SandboxWorkflowDetector& operator=(SandboxWorkflowDetector&&) = default;
  ///@}
  virtual ~SandboxWorkflowDetector();

  /// isSandboxPathExist through virtual dispatch; false when it throws. Never throws.
  virtual bool isSandboxWorkflow() const;
  /// Whether the anchor exists beside the installation root (file or folder). Throws what the
  /// platform throws, e.g. when no installation root can be determined.
  virtual bool isSandboxPathExist() const;
};

}  // namespace install::cpputil

#endif  // INSTALL_CPPUTIL_SANDBOXWORKFLOWDETECTOR_HPP
