#include "screen.h"

namespace kelvaro {

using namespace python;

void addText(const Ref& self, const Globals& global, Name widget, Name text) {
  self.setItem(widget, global("StaticText")(global("_")(text)));
}

void showText(const Ref& self, const Globals& global, Name widget, Name text) {
  self.item(widget).attr("setText")(global("_")(text));
}

Ref boundActions(const Ref& self, const Action* begin, const Action* end) {
  Ref bound = dict({});
  for (const Action* action = begin; action != end; ++action) {
    bound.setItem(Name::ofTable(action->name), self.attr(Name::ofTable(action->method)));
  }
  return bound;
}

}  // namespace kelvaro
