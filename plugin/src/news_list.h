// The news list, made from the news document.
#pragma once

#include "python/function.h"

namespace kelvaro {

/// Appends to the list `news` what a document has for this receiver. `document` is the DOM that
/// minidom made of it; every access goes through the interpreter, lines 143 to 166.
void collect(const python::Local& document, const python::Local& news, python::Call& at);

/// The same straight from the document's text, some thirty times faster. Returns false, having
/// done nothing, where minidom has to be asked: the document is malformed or uses what is rare (see
/// Document::read), or somebody has replaced skip_entry or parseString and would miss being called.
bool collectQuickly(const python::Local& source, const python::Local& news, python::Call& at);

}  // namespace kelvaro
