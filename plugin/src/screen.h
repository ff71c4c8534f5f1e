// What both screens do with the host's widgets.
#pragma once

#include "python/object.h"

namespace kelvaro {

/// self[widget] = StaticText(_(text))
void addText(const python::Object& self, python::Name widget, python::Name text);

/// self[widget].setText(_(text))
void showText(const python::Object& self, python::Name widget, python::Name text);

/// An action of a key map, and the name of the screen's method that it calls.
struct Action {
  const char* name;
  const char* method;
};

/// The dictionary of actions and bound methods that an ActionMap takes.
const python::Object& boundActions(const python::Object& self, const Action* begin,
                                   const Action* end);
template <std::size_t Size>
const python::Object& boundActions(const python::Object& self, const Action (&actions)[Size]) {
  return boundActions(self, actions, actions + Size);
}

}  // namespace kelvaro
