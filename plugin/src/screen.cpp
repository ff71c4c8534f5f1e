#include "screen.h"

namespace kelvaro {

using namespace python;

Object translated(Str text) { return global("_"_s)(text); }

void addText(const Local& self, Str widget, Str text) {
  self.setItem(widget, global("StaticText"_s)(translated(text)));
}

void showText(const Local& self, Str widget, Str text) {
  self.item(widget).attr("setText"_s)(translated(text));
}

Object boundActions(const Local& self, const Action* begin, const Action* end) {
  Object bound = dict(static_cast<int>(end - begin));
  for (const Action* action = begin; action != end; ++action) {
    bound.setItem(action->name, self.attr(action->method));
  }
  return bound;
}

}  // namespace kelvaro
