// What both screens do with the host's widgets.
#pragma once

#include "python/globals.h"
#include "python/ref.h"

namespace kelvaro {

/// self[widget] = StaticText(_(text))
void addText(const python::Ref& self, const python::Globals& global, python::Name widget,
             python::Name text);

/// self[widget].setText(_(text))
void showText(const python::Ref& self, const python::Globals& global, python::Name widget,
              python::Name text);

/// An action of a key map, and the name of the screen's method that it calls.
struct Action {
  const char* name;
  const char* method;
};

/// The dictionary of actions and bound methods that an ActionMap takes.
python::Ref boundActions(const python::Ref& self, const Action* begin, const Action* end);
template <std::size_t Size>
python::Ref boundActions(const python::Ref& self, const Action (&actions)[Size]) {
  return boundActions(self, actions, actions + Size);
}

}  // namespace kelvaro
