// Asking a list many times whether it has a member.
#pragma once

#include "python/call.h"

namespace python {

/// Answers `in` as `members` itself would, but quickly for a list of strings.
class Membership {
 public:
  explicit Membership(Local members);
  bool has(Value member) const;

 private:
  Local members_;
  Local set_;  // of the same members: plain strings in a list that stays as it is; else None
};

}  // namespace python
