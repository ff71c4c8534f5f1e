// The news document as a compact tree: only what the news list is made of.
#pragma once

#include "python/object.h"

#include <cstddef>
#include <cstdint>

namespace kelvaro {

/// The elements that the news list is made of; the tree leaves out all others.
enum class Tag : std::uint8_t { kUpdate, kTitle, kItem, kItemText, kDescription };

/// The element's name in the document.
python::Str nameOf(Tag tag);

/// Bytes of UTF-8 that the document keeps; `data` is null where the document has none.
struct Text {
  const char* data = nullptr;
  std::size_t size = 0;
};

/// A well-formed XML document, as the DOM of the interpreter's xml.dom.minidom would show it.
///
/// What is rare and intricate is left to that DOM: read() says when. But for the import of pyexpat
/// nothing here calls Python code; no exception is left.
class Document {
 public:
  static constexpr std::uint32_t kAbsent = UINT32_MAX;

  /// The first child of an element.
  enum class FirstChild : std::uint8_t { kNone, kElement, kData };

  struct Element {
    Tag tag;
    FirstChild firstChild = FirstChild::kNone;
    std::uint32_t end = 0;  // one past the last descendant
    // Places in the document's text, each with its size; kAbsent where there is none.
    std::uint32_t data = kAbsent, dataSize = 0;
    std::uint32_t type = kAbsent, typeSize = 0;
    std::uint32_t require = kAbsent, requireSize = 0;
  };

  Document() = default;
  Document(const Document&) = delete;
  Document& operator=(const Document&) = delete;
  ~Document();

  /// Reads `size` bytes of XML. False when the document has to be given to minidom: it is not
  /// well-formed, nests elements deeper than `deepest`, has a DOCTYPE, a namespace declaration, an
  /// encoding other than UTF-8, ISO-8859-1 or US-ASCII, or a name outside ASCII; or memory is
  /// short.
  bool read(const char* bytes, std::size_t size, std::size_t deepest);

  /// The elements in document order: descendants follow their ancestor.
  std::uint32_t size() const { return elements_.size; }
  const Element& operator[](std::uint32_t index) const { return elements_.items[index]; }

  /// The data of an element's first child.
  Text data(const Element& element) const { return slice(element.data, element.dataSize); }
  Text type(const Element& element) const { return slice(element.type, element.typeSize); }
  Text require(const Element& element) const { return slice(element.require, element.requireSize); }

 private:
  friend class Reader;

  /// An array that grows; plain memory, since nothing may throw through expat.
  template <typename Item>
  struct Array {
    Item* items = nullptr;
    std::uint32_t size = 0;
    std::uint32_t capacity = 0;
    /// Makes room for `more` items; false when memory is short.
    bool reserve(std::size_t more);
  };

  Text slice(std::uint32_t place, std::uint32_t size) const {
    return place == kAbsent ? Text{} : Text{text_.items + place, size};
  }

  Array<Element> elements_;
  Array<char> text_;
};

}  // namespace kelvaro
