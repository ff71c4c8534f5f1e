#include "news_list.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "document.h"
#include "python/function.h"

namespace kelvaro {

using namespace python;

namespace {

// --- The two trees that the news are read from: the DOM of minidom, with the interpreter's own
// --- operations, and the compact tree. Each has the same few operations.

Ref elements(const Ref& node, Tag tag) {
  return node.attr("getElementsByTagName")(Name::ofTable(nameOf(tag)));
}
each in(const Ref& nodes, Line& at) { return {nodes, at}; }
Ref first(const Ref& nodes) { return nodes.item(0); }
bool skipped(const Ref& node, const Globals& global) { return global("skip_entry")(node).truthy(); }
bool hasType(const Ref& node) { return node.attr("hasAttribute")("type").truthy(); }
Ref type(const Ref& node) { return node.attr("getAttribute")("type"); }
bool hasFirstChild(const Ref& node) { return node.attr("firstChild").truthy(); }
Ref firstChildData(const Ref& node) { return node.attr("firstChild").attr("data"); }

// An element of the compact tree, or the whole document when `index` is kWhole.
struct Node {
  static constexpr std::uint32_t kWhole = UINT32_MAX;

  const Document::Element& operator*() const { return (*document)[index]; }
  const Document::Element* operator->() const { return &(*document)[index]; }

  const Document* document;
  std::uint32_t index;
};

// The elements with a tag below another one.
class Nodes {
 public:
  Nodes(const Node& node, Tag tag)
      : document_(node.document),
        begin_(node.index == Node::kWhole ? 0 : node.index + 1),
        end_(node.index == Node::kWhole ? document_->size() : node->end),
        tag_(tag) {}

  class Turn {
   public:
    Turn(const Nodes& nodes, std::uint32_t index) : nodes_(nodes), index_(index) { seek(); }
    Node operator*() const { return {nodes_.document_, index_}; }
    Turn& operator++() {
      ++index_;
      seek();
      return *this;
    }
    bool operator!=(const Turn& other) const { return index_ != other.index_; }

   private:
    void seek() {
      while (index_ < nodes_.end_ && (*nodes_.document_)[index_].tag != nodes_.tag_) {
        ++index_;
      }
    }
    const Nodes& nodes_;
    std::uint32_t index_;
  };
  Turn begin() const { return {*this, begin_}; }
  Turn end() const { return {*this, end_}; }

 private:
  const Document* document_;
  std::uint32_t begin_;
  std::uint32_t end_;
  Tag tag_;
};

Ref unicode(const Text& text) {
  return Ref::take(PyUnicode_DecodeUTF8(text.data, static_cast<Py_ssize_t>(text.size), nullptr));
}

Nodes elements(const Node& node, Tag tag) { return {node, tag}; }
Nodes in(const Nodes& nodes, Line& /*at*/) { return nodes; }
Node first(const Nodes& nodes) {
  if (!(nodes.begin() != nodes.end())) {
    raise(PyExc_IndexError, "list index out of range");
  }
  return *nodes.begin();
}
// skip_entry, for a model that readable() has seen to be a plain string.
bool skipped(const Node& node, const Globals& global) {
  const Text models = node.document->require(*node);
  if (models.data == nullptr) {
    return false;
  }
  Ref model = global("vumodel");
  const auto size = static_cast<std::size_t>(PyString_GET_SIZE(model.borrow()));
  const char* end = models.data + models.size;
  for (const char* key = models.data;; ++key) {
    const char* comma = std::find(key, end, ',');
    if (static_cast<std::size_t>(comma - key) == size &&
        std::memcmp(key, PyString_AS_STRING(model.borrow()), size) == 0) {
      return false;
    }
    if (comma == end) {
      return true;
    }
    key = comma;
  }
}
bool hasType(const Node& node) { return node.document->type(*node).data != nullptr; }
Ref type(const Node& node) { return unicode(node.document->type(*node)); }
bool hasFirstChild(const Node& node) { return node->firstChild != Document::FirstChild::kNone; }
Ref firstChildData(const Node& node) {
  if (node->firstChild == Document::FirstChild::kNone) {
    raise(PyExc_AttributeError, "'NoneType' object has no attribute 'data'");
  }
  if (node->firstChild == Document::FirstChild::kElement) {
    raise(PyExc_AttributeError, "Element instance has no attribute 'data'");
  }
  return unicode(node.document->data(*node));
}

// Appends to `news` what a document has for this receiver.
template <typename Tree>
void collectFrom(const Tree& document, const Ref& news, const Globals& global, Line& at) {
  AT(143)
  for (const auto& update : in(elements(document, Tag::kUpdate), at)) {
    AT(144)
    if (skipped(update, global)) {
      continue;
    }
    AT(146) Ref kind = "normal";
    AT(147)
    if (hasType(update)) {
      AT(148) kind = type(update);
    }
    AT(149) const auto titles = elements(update, Tag::kTitle);
    AT(150) Ref title = firstChildData(first(titles));
    AT(151) const auto items = elements(update, Tag::kItem);
    AT(152) Ref lines = list();
    AT(153)
    for (const auto& item : in(items, at)) {
      AT(154)
      if (skipped(item, global)) {
        continue;
      }
      AT(156) Ref text = none();
      AT(157)
      for (const auto& itemText : in(elements(item, Tag::kItemText), at)) {
        AT(158)
        if (hasFirstChild(itemText)) {
          AT(159) text = firstChildData(itemText);
        }
      }
      AT(160) Ref descriptions = list();
      AT(161)
      for (const auto& topic : in(elements(item, Tag::kDescription), at)) {
        AT(162)
        if (hasFirstChild(topic) && !skipped(topic, global)) {
          AT(163) Ref description = firstChildData(topic);
          AT(164) descriptions.append(description);
        }
      }
      AT(165) lines.append(tuple({text, descriptions}));
    }
    AT(166) news.append(tuple({title, lines, kind}));
  }
}

bool isPlainAscii(const Ref& object) {
  if (!PyString_CheckExact(object.borrow())) {
    return false;
  }
  const char* text = PyString_AS_STRING(object.borrow());
  return std::all_of(text, text + PyString_GET_SIZE(object.borrow()),
                     [](char byte) { return static_cast<signed char>(byte) >= 0; });
}

// What a plain module has under a name, found without a trace; unbound for other objects.
Ref lookInto(const Ref& module, Name name) {
  if (!module.bound() || !PyModule_CheckExact(module.borrow())) {
    return {};
  }
  PyObject* found = PyDict_GetItem(PyModule_GetDict(module.borrow()), name.borrow());
  return found == nullptr ? Ref() : Ref::share(found);
}

// Whether the compact tree may stand in for minidom: only where nobody could tell. Not when a part
// that Python code would go through has been replaced, or the model is anything but plain.
bool nobodyLooks(const Ref& source, const Globals& global) {
  Ref minidom = lookInto(lookInto(global.find("xml"), "dom"), "minidom");
  Ref parseString = lookInto(minidom, "parseString");
  Ref model = global.find("vumodel");
  return PyString_CheckExact(source.borrow()) && model.bound() && isPlainAscii(model) &&
         isOriginal(global, "skip_entry") && parseString.bound() &&
         PyFunction_Check(parseString.borrow()) &&
         PyFunction_GET_GLOBALS(parseString.borrow()) == PyModule_GetDict(minidom.borrow());
}

// How deep a document may be: minidom, which recurses, must have had no trouble with it either. It
// needs four levels of the interpreter's limit for each level of elements, and some to start with.
std::size_t deepest() {
  const int room = (Py_GetRecursionLimit() - PyThreadState_GET()->recursion_depth - 50) / 4;
  return room < 0 ? 0 : static_cast<std::size_t>(room);
}

}  // namespace

void collect(const Ref& document, const Ref& news, const Globals& global, Line& at) {
  collectFrom(document, news, global, at);
}

bool collectQuickly(const Ref& source, const Ref& news, const Globals& global, Line& at) {
  Document document;
  if (!nobodyLooks(source, global) ||
      !document.read(PyString_AS_STRING(source.borrow()),
                     static_cast<std::size_t>(PyString_GET_SIZE(source.borrow())), deepest())) {
    return false;
  }
  collectFrom(Node{&document, Node::kWhole}, news, global, at);
  return true;
}

}  // namespace kelvaro
