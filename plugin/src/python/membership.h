// Asking a list many times whether it has a member.
#pragma once

#include "python/call.h"

namespace python {

/// Answers `in` as `members` itself does, and for many strings in a long list of strings quickly.
class Membership {
 public:
  /// The call keeps what this needs.
  Membership(const Object& members, Call& at);
  bool has(const Object& member) const;

 private:
  const Object& members_;
  const Object* set_ = nullptr;  // of the same members: plain strings in a list that stays as it is
};

}  // namespace python
