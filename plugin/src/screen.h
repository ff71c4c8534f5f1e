// What the screens do with the host's texts and widgets.
#pragma once

#include "python/function.h"

namespace kelvaro {

/// _(text)
python::Object translated(python::Str text);

/// self[widget] = StaticText(_(text))
void addText(const python::Local& self, python::Str widget, python::Str text);

/// self[widget].setText(_(text))
void showText(const python::Local& self, python::Str widget, python::Str text);

/// An action of a key map, and the name of the screen's method that it calls.
struct Action {
  python::Str name;
  python::Str method;
};

/// The dictionary of actions and bound methods that an ActionMap takes.
python::Object boundActions(const python::Local& self, const Action* begin, const Action* end);
template <std::size_t Size>
python::Object boundActions(const python::Local& self, const Action (&actions)[Size]) {
  return boundActions(self, actions, actions + Size);
}

}  // namespace kelvaro
