#include "document.h"

#include <climits>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "python/expat.h"

namespace kelvaro {
namespace {

using namespace python;

constexpr Str kNames[] = {"update"_s, "title"_s, "item"_s, "itemtext"_s, "description"_s};
constexpr std::size_t kDeepest = 256;  // elements open at a time

bool isAscii(const char* text) {
  while (static_cast<signed char>(*text) > 0) {
    ++text;
  }
  return *text == '\0';
}

bool equal(const char* text, int size, const char* other) {
  return static_cast<std::size_t>(size) == std::strlen(other) &&
         std::memcmp(text, other, static_cast<std::size_t>(size)) == 0;
}

// Whether the document begins like UTF-16, in any of its four forms, or UTF-32.
bool isWide(const char* bytes, std::size_t size) {
  return size >= 2 &&
         (bytes[0] == '\0' || bytes[1] == '\0' || std::memcmp(bytes, "\xFE\xFF", 2) == 0 ||
          std::memcmp(bytes, "\xFF\xFE", 2) == 0);
}

}  // namespace

Str nameOf(Tag tag) { return kNames[static_cast<std::size_t>(tag)]; }

template <typename Item>
bool Document::Array<Item>::reserve(std::size_t more) {
  const std::size_t needed = size + more;
  if (needed <= capacity && items != nullptr) {
    return true;
  }
  std::size_t wanted = capacity < 64 ? 64 : capacity;
  while (wanted < needed) {
    wanted += wanted / 2;
  }
  void* grown = wanted < kAbsent ? std::realloc(items, wanted * sizeof(Item)) : nullptr;
  if (grown == nullptr) {
    return false;
  }
  items = static_cast<Item*>(grown);
  capacity = static_cast<std::uint32_t>(wanted);
  return true;
}

Document::~Document() {
  std::free(elements_.items);
  std::free(text_.items);
}

/// Builds the tree from what expat reports. It can't stop expat: once it has given up it ignores
/// the rest.
class Reader {
 public:
  Reader(Document& document, std::size_t deepest)
      : document_(document), deepest_(deepest < kDeepest ? deepest : kDeepest) {}

  bool givenUp() const { return givenUp_; }

  void install(const PyExpat_CAPI& expat, XML_Parser parser) {
    expat.SetUserData(parser, this);
    expat.SetElementHandler(parser, handler<&Reader::startElement>, handler<&Reader::endElement>);
    expat.SetCharacterDataHandler(parser, handler<&Reader::characters>);
    expat.SetCommentHandler(parser, handler<&Reader::node>);
    expat.SetProcessingInstructionHandler(parser, handler<&Reader::instruction>);
    expat.SetNamespaceDeclHandler(parser, handler<&Reader::namespaceDeclaration>, nullptr);
    // The marks of CDATA sections and of a DOCTYPE come here, each as a piece of its own.
    expat.SetDefaultHandlerExpand(parser, handler<&Reader::markup>);
  }

 private:
  static constexpr std::uint32_t kIgnored = Document::kAbsent;

  /// What expat calls for a method.
  template <auto method, typename... Arguments>
  static void handler(void* self, Arguments... arguments) {
    (static_cast<Reader*>(self)->*method)(arguments...);
  }

  void giveUp() { givenUp_ = true; }
  void checkName(const char* name) {
    if (!isAscii(name)) {
      giveUp();
    }
  }

  // The innermost open element if its first child's data matters, else null.
  Document::Element* holder() {
    if (givenUp_ || depth_ == 0 || open_[depth_ - 1] == kIgnored) {
      return nullptr;
    }
    Document::Element& element = document_.elements_.items[open_[depth_ - 1]];
    return element.tag == Tag::kUpdate || element.tag == Tag::kItem ? nullptr : &element;
  }

  void startElement(const char* name, const char** attributes) {
    if (Document::Element* parent = holder();
        parent != nullptr && parent->firstChild == Document::FirstChild::kNone) {
      parent->firstChild = Document::FirstChild::kElement;
    }
    checkName(name);
    for (const char** attribute = attributes; *attribute != nullptr; attribute += 2) {
      checkName(*attribute);
    }
    if (depth_ >= deepest_) {
      giveUp();
    }
    if (!givenUp_) {
      open_[depth_++] = add(name, attributes);
    }
  }

  // The index of the new element, or kIgnored where the news list does not use it.
  std::uint32_t add(const char* name, const char** attributes) {
    std::size_t tag = 0;
    while (tag < std::size(kNames) && std::strcmp(name, kNames[tag].text()) != 0) {
      ++tag;
    }
    if (tag == std::size(kNames)) {
      return kIgnored;
    }
    if (!document_.elements_.reserve(1)) {
      giveUp();
      return kIgnored;
    }
    const std::uint32_t index = document_.elements_.size++;
    Document::Element& element = document_.elements_.items[index];
    element = {static_cast<Tag>(tag)};
    for (const char** attribute = attributes; *attribute != nullptr; attribute += 2) {
      if (std::strcmp(attribute[0], "type") == 0) {
        keep(attribute[1], std::strlen(attribute[1]), element.type, element.typeSize);
      } else if (std::strcmp(attribute[0], "require") == 0) {
        keep(attribute[1], std::strlen(attribute[1]), element.require, element.requireSize);
      }
    }
    return index;
  }

  void endElement(const char* /*name*/) {
    collecting_ = false;
    if (givenUp_) {
      return;
    }
    const std::uint32_t index = open_[--depth_];
    if (index != kIgnored) {
      document_.elements_.items[index].end = document_.elements_.size;
    }
  }

  void namespaceDeclaration(const char* /*prefix*/, const char* /*uri*/) { giveUp(); }

  void instruction(const char* target, const char* text) {
    checkName(target);
    node(text);
  }

  // A comment or a processing instruction: a first child like any other, with data.
  void node(const char* text) {
    collecting_ = false;
    Document::Element* element = holder();
    if (element != nullptr && element->firstChild == Document::FirstChild::kNone) {
      element->firstChild = Document::FirstChild::kData;
      keep(text, std::strlen(text), element->data, element->dataSize);
    }
  }

  // A piece of text, in a CDATA section or outside. Pieces are one node as long as nothing but an
  // empty section stands between them; a section is a node of its own.
  void characters(const char* text, int length) {
    const auto size = static_cast<std::size_t>(length);
    Document::Element* element = holder();
    if (element == nullptr) {
      return;
    }
    if (element->firstChild == Document::FirstChild::kNone) {
      element->firstChild = Document::FirstChild::kData;
      keep(text, size, element->data, element->dataSize);
      collecting_ = true;
      collectingSection_ = inSection_;
    } else if (collecting_ && collectingSection_ == inSection_) {
      append(text, size);
      element->dataSize += static_cast<std::uint32_t>(size);
    } else {
      collecting_ = false;
    }
  }

  void markup(const char* text, int size) {
    if (equal(text, size, "<![CDATA[")) {
      inSection_ = true;
    } else if (equal(text, size, "]]>")) {
      inSection_ = false;
      collecting_ = collecting_ && !collectingSection_;
    } else if (equal(text, size, "<!DOCTYPE")) {
      giveUp();
    }
  }

  void keep(const char* text, std::size_t size, std::uint32_t& place, std::uint32_t& length) {
    place = document_.text_.size;
    length = static_cast<std::uint32_t>(size);
    append(text, size);
  }

  void append(const char* text, std::size_t size) {
    if (!document_.text_.reserve(size)) {
      giveUp();
      return;
    }
    std::memcpy(document_.text_.items + document_.text_.size, text, size);
    document_.text_.size += static_cast<std::uint32_t>(size);
  }

  Document& document_;
  std::size_t deepest_;
  bool givenUp_ = false;
  std::size_t depth_ = 0;
  std::uint32_t open_[kDeepest];  // the elements that are open, by index
  // Whether the text that comes next still belongs to the first child of the innermost element,
  // and whether that child is a CDATA section.
  bool collecting_ = false;
  bool collectingSection_ = false;
  bool inSection_ = false;
};

bool Document::read(const char* bytes, std::size_t size, std::size_t deepest) {
  const PyExpat_CAPI* expat = python::expat();
  if (expat == nullptr || size > INT_MAX || isWide(bytes, size)) {
    return false;
  }
  XML_Parser parser = expat->ParserCreate_MM(nullptr, nullptr, " ");
  if (parser == nullptr) {
    return false;
  }
  Reader reader(*this, deepest);
  reader.install(*expat, parser);
  const bool whole = expat->Parse(parser, bytes, static_cast<int>(size), 1) == XML_STATUS_OK;
  expat->ParserFree(parser);
  return whole && !reader.givenUp();
}

}  // namespace kelvaro
