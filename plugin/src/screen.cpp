#include "screen.h"

#include "python/globals.h"

namespace kelvaro {

using namespace python;

void addText(const Object& self, Name widget, Name text) {
  self.setItem(widget, global("StaticText")(global("_")(text)));
}

void showText(const Object& self, Name widget, Name text) {
  self.item(widget).attr("setText")(global("_")(text));
}

const Object& boundActions(const Object& self, const Action* begin, const Action* end) {
  const Object& bound = dict({});
  for (const Action* action = begin; action != end; ++action) {
    bound.setItem(Name::ofTable(action->name), self.attr(Name::ofTable(action->method)));
  }
  return bound;
}

}  // namespace kelvaro
