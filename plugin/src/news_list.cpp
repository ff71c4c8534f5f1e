#include "news_list.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "document.h"
#include "python/function.h"
#include "python/globals.h"

namespace kelvaro {

using namespace python;

namespace {

// --- The two trees that the news are read from: the DOM of minidom, with the interpreter's own
// --- operations, and the compact tree. Each has the same few operations.

const Object& elements(const Object& node, Tag tag) {
  return node.attr("getElementsByTagName")(Name::ofTable(nameOf(tag)));
}
const Object& keep(const Object& nodes, Call& at) { return at.local(nodes); }
each in(const Object& nodes, Call& at) { return {nodes, at}; }
const Object& first(const Object& nodes) { return nodes.item(0); }
bool skipped(const Object& node) { return global("skip_entry")(node).truthy(); }
bool hasType(const Object& node) { return node.attr("hasAttribute")("type").truthy(); }
const Object& type(const Object& node) { return node.attr("getAttribute")("type"); }
bool hasFirstChild(const Object& node) { return node.attr("firstChild").truthy(); }
const Object& firstChildData(const Object& node) { return node.attr("firstChild").attr("data"); }

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

  // The index of the first of them, of the one behind another one, of none.
  std::uint32_t first() const { return from(begin_); }
  std::uint32_t after(std::uint32_t index) const { return from(index + 1); }
  std::uint32_t end() const { return end_; }

  Node operator[](std::uint32_t index) const { return {document_, index}; }

 private:
  std::uint32_t from(std::uint32_t index) const {
    while (index < end_ && (*document_)[index].tag != tag_) {
      ++index;
    }
    return index;
  }

  const Document* document_;
  std::uint32_t begin_;
  std::uint32_t end_;
  Tag tag_;
};

// A loop over them. As with each(), local variables made in a turn end with it.
class Turns {
 public:
  Turns(const Nodes& nodes, Call& at) : nodes_(nodes), at_(at), turn_(at.mark()) {}

  class Turn {
   public:
    Turn(const Turns& loop, std::uint32_t index) : loop_(loop), index_(index) {}
    Node operator*() const { return loop_.nodes_[index_]; }
    Turn& operator++() {
      loop_.at_.release(loop_.turn_);
      index_ = loop_.nodes_.after(index_);
      return *this;
    }
    bool operator!=(const Turn& other) const { return index_ != other.index_; }

   private:
    const Turns& loop_;
    std::uint32_t index_;
  };
  Turn begin() const { return {*this, nodes_.first()}; }
  Turn end() const { return {*this, nodes_.end()}; }

 private:
  Nodes nodes_;
  Call& at_;
  Call::Mark turn_;
};

const Object& unicode(const Text& text) {
  return Call::running().keep(
      PyUnicode_DecodeUTF8(text.data, static_cast<Py_ssize_t>(text.size), nullptr));
}

Nodes elements(const Node& node, Tag tag) { return {node, tag}; }
Nodes keep(const Nodes& nodes, Call& /*at*/) { return nodes; }
Turns in(const Nodes& nodes, Call& at) { return {nodes, at}; }
Node first(const Nodes& nodes) {
  if (nodes.first() == nodes.end()) {
    raise(PyExc_IndexError, "list index out of range");
  }
  return nodes[nodes.first()];
}
// skip_entry, for a model that nobodyLooks() has seen to be a plain string.
bool skipped(const Node& node) {
  const Text models = node.document->require(*node);
  if (models.data == nullptr) {
    return false;
  }
  const Object& model = global("vumodel");
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
const Object& type(const Node& node) { return unicode(node.document->type(*node)); }
bool hasFirstChild(const Node& node) { return node->firstChild != Document::FirstChild::kNone; }
const Object& firstChildData(const Node& node) {
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
void collectFrom(const Tree& document, const Object& news, Call& at) {
  AT(143)
  for (const auto& update : in(elements(document, Tag::kUpdate), at)) {
    AT(144)
    if (skipped(update)) {
      continue;
    }
    AT(146) Local kind(at, literal("normal"));
    AT(147)
    if (hasType(update)) {
      AT(148) kind = type(update);
    }
    AT(149) const auto& titles = keep(elements(update, Tag::kTitle), at);
    AT(150) const Object& title = at.local(firstChildData(first(titles)));
    AT(151) const auto& items = keep(elements(update, Tag::kItem), at);
    AT(152) const Object& lines = at.local(list());
    AT(153)
    for (const auto& item : in(items, at)) {
      AT(154)
      if (skipped(item)) {
        continue;
      }
      AT(156) Local text(at, none());
      AT(157)
      for (const auto& itemText : in(elements(item, Tag::kItemText), at)) {
        AT(158)
        if (hasFirstChild(itemText)) {
          AT(159) text = firstChildData(itemText);
        }
      }
      AT(160) const Object& descriptions = at.local(list());
      AT(161)
      for (const auto& topic : in(elements(item, Tag::kDescription), at)) {
        AT(162)
        if (hasFirstChild(topic) && !skipped(topic)) {
          AT(163) const Object& description = at.local(firstChildData(topic));
          AT(164) descriptions.append(description);
        }
      }
      AT(165) lines.append(tuple({text, descriptions}));
    }
    AT(166) news.append(tuple({title, lines, kind}));
  }
}

bool isPlainAscii(const Object& object) {
  if (!PyString_CheckExact(object.borrow())) {
    return false;
  }
  const char* text = PyString_AS_STRING(object.borrow());
  return std::all_of(text, text + PyString_GET_SIZE(object.borrow()),
                     [](char byte) { return static_cast<signed char>(byte) >= 0; });
}

// What a plain module has under a name, found without a trace; null for other objects.
const Object* lookInto(const Object* module, Name name) {
  if (module == nullptr || !PyModule_CheckExact(module->borrow())) {
    return nullptr;
  }
  PyObject* found = PyDict_GetItem(PyModule_GetDict(module->borrow()), name.borrow());
  return found == nullptr ? nullptr : &Object::of(found);
}

// Whether the compact tree may stand in for minidom: not when skip_entry or parseString have been
// replaced, or the model is anything but plain. What is changed inside minidom goes unnoticed.
bool nobodyLooks(const Object& source) {
  const Object* minidom = lookInto(lookInto(findGlobal("xml"), "dom"), "minidom");
  const Object* parseString = lookInto(minidom, "parseString");
  const Object* model = findGlobal("vumodel");
  return PyString_CheckExact(source.borrow()) && model != nullptr && isPlainAscii(*model) &&
         isOriginal("skip_entry") && parseString != nullptr &&
         PyFunction_Check(parseString->borrow()) &&
         PyFunction_GET_GLOBALS(parseString->borrow()) == PyModule_GetDict(minidom->borrow());
}

// How deep a document may be: minidom, which recurses, must have had no trouble with it either. It
// needs four levels of the interpreter's limit for each level of elements, and some to start with.
std::size_t deepest() {
  const int room = (Py_GetRecursionLimit() - PyThreadState_GET()->recursion_depth - 50) / 4;
  return room < 0 ? 0 : static_cast<std::size_t>(room);
}

}  // namespace

void collect(const Object& document, const Object& news, Call& at) {
  collectFrom(document, news, at);
}

bool collectQuickly(const Object& source, const Object& news, Call& at) {
  Document document;
  const bool quick =
      nobodyLooks(source) &&
      document.read(PyString_AS_STRING(source.borrow()),
                    static_cast<std::size_t>(PyString_GET_SIZE(source.borrow())), deepest());
  at.resume();  // read() imports expat, and an import may wait for other threads
  if (quick) {
    collectFrom(Node{&document, Node::kWhole}, news, at);
  }
  return quick;
}

}  // namespace kelvaro
