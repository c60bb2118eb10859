// Permissions that count, though the tests may run as root.
#pragma once

#include "support/temporary_folder.h"

#include <unistd.h>

#include <cstdlib>

/// Acts as a user without privileges while it lives, who owns `folder`, but not what is in it.
/// Without root nothing changes: then the tests have no privileges anyway.
class Unprivileged {
 public:
  explicit Unprivileged(const TemporaryFolder& folder) {
    if (::geteuid() != 0) return;
    _dropped = ::chown(folder.path().c_str(), kNobody, kNobody) == 0 && ::seteuid(kNobody) == 0;
  }
  ~Unprivileged() {
    if (_dropped && ::seteuid(0) != 0) std::abort();
  }
  Unprivileged(const Unprivileged&) = delete;
  Unprivileged& operator=(const Unprivileged&) = delete;

 private:
  static constexpr uid_t kNobody = 65534;
  bool _dropped = false;
};
