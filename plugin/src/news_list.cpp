#include "news_list.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "document.h"

namespace kelvaro {

using namespace python;

namespace {

// The news is read from one of two trees, whose types have the same members: each() goes through
// the elements with a tag at any depth below a node, list() keeps them.

// --- The DOM of minidom, asked with the interpreter's own operations.

class DomNode {
 public:
  class List {
   public:
    explicit List(const Object& nodes) : nodes_(nodes) {}
    DomNode first() const { return DomNode(nodes_.item(0)); }
    python::each<DomNode> each(Call& at) const { return {nodes_, at}; }

   private:
    Local nodes_;
  };

  explicit DomNode(Local node) : node_(node) {}

  List list(Tag tag) const { return List(elements(tag)); }
  python::each<DomNode> each(Tag tag, Call& at) const { return {elements(tag), at}; }
  bool skipped() const { return global("skip_entry"_s)(node_).truthy(); }
  bool hasType() const { return node_.call("hasAttribute"_s, "type"_s).truthy(); }
  Object type() const { return node_.call("getAttribute"_s, "type"_s); }
  bool hasFirstChild() const { return node_.attr("firstChild"_s).truthy(); }
  Object firstChildData() const { return node_.attr("firstChild"_s).attr("data"_s); }

 private:
  Object elements(Tag tag) const { return node_.call("getElementsByTagName"_s, nameOf(tag)); }

  Local node_;
};

// --- The compact tree.

struct Tree {
  const Document& document;
  // The model, a plain string.
  const char* model;
  std::size_t modelSize;
};

class TreeNode {
 public:
  // A loop over elements. As with python::each, local variables made in a turn end with it.
  class Turns {
   public:
    class Turn {
     public:
      Turn(const Turns& loop, std::uint32_t index) : loop_(loop), index_(loop.next(index)) {}
      TreeNode operator*() const { return {loop_.tree_, index_}; }
      Turn& operator++() {
        loop_.at_.release(loop_.turn_);
        index_ = loop_.next(index_ + 1);
        return *this;
      }
      bool operator!=(const Turn& other) const { return index_ != other.index_; }

     private:
      const Turns& loop_;
      std::uint32_t index_;
    };

    Turns(const Tree& tree, std::uint32_t begin, std::uint32_t end, Tag tag, Call& at)
        : tree_(tree), begin_(begin), end_(end), tag_(tag), at_(at), turn_(at.mark()) {}
    Turn begin() const { return {*this, begin_}; }
    Turn end() const { return {*this, end_}; }

   private:
    // The first of the elements from `index` on; one past the last descendant where there is none.
    std::uint32_t next(std::uint32_t index) const {
      while (index < end_ && tree_.document[index].tag != tag_) {
        ++index;
      }
      return index;
    }

    const Tree& tree_;
    std::uint32_t begin_, end_;
    Tag tag_;
    Call& at_;
    Call::Mark turn_;
  };

  class List {
   public:
    List(const TreeNode& parent, Tag tag) : parent_(parent), tag_(tag) {}
    TreeNode first() const {
      const Turns turns = each(Call::running());
      if (!(turns.begin() != turns.end())) {
        raise(PyExc_IndexError, "list index out of range");
      }
      return *turns.begin();
    }
    Turns each(Call& at) const { return parent_.each(tag_, at); }

   private:
    const TreeNode& parent_;
    Tag tag_;
  };

  /// The whole document.
  static constexpr std::uint32_t kWhole = UINT32_MAX;
  TreeNode(const Tree& tree, std::uint32_t index) : tree_(tree), index_(index) {}

  List list(Tag tag) const { return {*this, tag}; }
  Turns each(Tag tag, Call& at) const {
    const bool whole = index_ == kWhole;
    return {tree_, whole ? 0 : index_ + 1, whole ? document().size() : element().end, tag, at};
  }
  // skip_entry on a plain model.
  bool skipped() const {
    const Text models = document().require(element());
    if (models.data == nullptr) {
      return false;
    }
    const char* end = models.data + models.size;
    for (const char* key = models.data;; ++key) {
      const char* comma = std::find(key, end, ',');
      if (static_cast<std::size_t>(comma - key) == tree_.modelSize &&
          std::memcmp(key, tree_.model, tree_.modelSize) == 0) {
        return false;
      }
      if (comma == end) {
        return true;
      }
      key = comma;
    }
  }
  bool hasType() const { return document().type(element()).data != nullptr; }
  Object type() const { return unicode(document().type(element())); }
  bool hasFirstChild() const { return element().firstChild != Document::FirstChild::kNone; }
  Object firstChildData() const {
    if (!hasFirstChild()) {
      raise(PyExc_AttributeError, "'NoneType' object has no attribute 'data'");
    }
    if (element().firstChild == Document::FirstChild::kElement) {
      raise(PyExc_AttributeError, "Element instance has no attribute 'data'");
    }
    return unicode(document().data(element()));
  }

 private:
  const Document& document() const { return tree_.document; }
  const Document::Element& element() const { return document()[index_]; }
  static Object unicode(const Text& text) {
    return Object(Call::running().keep(
        PyUnicode_DecodeUTF8(text.data, static_cast<Py_ssize_t>(text.size), nullptr)));
  }

  const Tree& tree_;
  std::uint32_t index_;
};

// --- What both trees are read for.

// Appends to `news` what a document has for this receiver.
template <typename Node>
void collectFrom(const Node& document, const Local& news, Call& at) {
  AT(143)
  for (const Node& update : document.each(Tag::kUpdate, at)) {
    AT(144)
    if (update.skipped()) {
      continue;
    }
    AT(146) Variable kind = "normal"_s;
    AT(147)
    if (update.hasType()) {
      AT(148) kind = update.type();
    }
    AT(149) const auto titles = update.list(Tag::kTitle);
    AT(150) const Local title = titles.first().firstChildData();
    AT(151) const auto items = update.list(Tag::kItem);
    AT(152) const Local lines = list();
    AT(153)
    for (const Node& item : items.each(at)) {
      AT(154)
      if (item.skipped()) {
        continue;
      }
      AT(156) Variable text = none;
      AT(157)
      for (const Node& itemText : item.each(Tag::kItemText, at)) {
        AT(158)
        if (itemText.hasFirstChild()) {
          AT(159) text = itemText.firstChildData();
        }
      }
      AT(160) const Local descriptions = list();
      AT(161)
      for (const Node& topic : item.each(Tag::kDescription, at)) {
        AT(162)
        if (topic.hasFirstChild() && !topic.skipped()) {
          AT(163) const Local description = topic.firstChildData();
          AT(164) descriptions.append(description);
        }
      }
      AT(165) lines.append(tuple({text, descriptions}));
    }
    AT(166) news.append(tuple({title, lines, kind}));
  }
}

// --- Whether the compact tree may stand in for minidom.

bool isPlainAscii(PyObject* object) {
  if (!PyString_CheckExact(object)) {
    return false;
  }
  const char* text = PyString_AS_STRING(object);
  return std::all_of(text, text + PyString_GET_SIZE(object),
                     [](char byte) { return static_cast<signed char>(byte) >= 0; });
}

Value orNone(PyObject* found) { return found == nullptr ? Value(none) : Value(found); }

// What a plain module has under a name; None where it has nothing, and for all other objects.
Local lookInto(const Local& module, Str name) {
  return PyModule_CheckExact(module.borrow())
             ? orNone(PyDict_GetItem(PyModule_GetDict(module.borrow()), name.borrow()))
             : none;
}

// Whether parseString is minidom's own: neither another function nor one that was given other code
// or defaults. What else is changed inside minidom goes unnoticed.
bool parsesItself(const Local& minidom) {
  const Local found = lookInto(minidom, "parseString"_s);
  PyObject* function = found.borrow();
  if (!PyFunction_Check(function) ||
      PyFunction_GET_GLOBALS(function) != PyModule_GetDict(minidom.borrow())) {
    return false;
  }
  const auto* code = reinterpret_cast<PyCodeObject*>(PyFunction_GET_CODE(function));
  PyObject* defaults = PyFunction_GET_DEFAULTS(function);
  return PySequence_Contains(code->co_names, "expatbuilder"_s.borrow()) == 1 &&
         defaults != nullptr && PyTuple_GET_SIZE(defaults) == 1 &&
         PyTuple_GET_ITEM(defaults, 0) == Py_None;
}

// Does the import with which parseString begins; false when it fails, as it will fail there again.
bool importsItsParser(const Local& minidom) {
  try {
    importedModule("xml.dom"_s, tuple({"expatbuilder"_s}),
                   Value(PyModule_GetDict(minidom.borrow())));
    return true;
  } catch (PythonError&) {
    return false;
  }
}

// How deep a document may be: minidom, which recurses, must be able to cope with it, too. It
// needs four levels of the interpreter's limit for each level of elements, and some to start with.
std::size_t deepest() {
  const int room = (Py_GetRecursionLimit() - PyThreadState_GET()->recursion_depth - 50) / 4;
  return room < 0 ? 0 : static_cast<std::size_t>(room);
}

}  // namespace

void collect(const Local& document, const Local& news, Call& at) {
  collectFrom(DomNode(document), news, at);
}

bool collectQuickly(const Local& source, const Local& news, Call& at) {
  const Local xml = orNone(findGlobal("xml"_s));
  const Local minidom = lookInto(lookInto(xml, "dom"_s), "minidom"_s);
  // Other threads may run during the import: what is looked up after parseString has begun comes
  // after it.
  if (!PyString_CheckExact(source.borrow()) || !parsesItself(minidom) ||
      !importsItsParser(minidom)) {
    return false;
  }
  PyObject* found = findGlobal("vumodel"_s);
  if (found == nullptr || !isPlainAscii(found)) {
    return false;
  }
  const Local model = Value(found);
  if (!isOriginal("skip_entry"_s)) {
    return false;
  }
  Document document;
  if (!document.read(PyString_AS_STRING(source.borrow()),
                     static_cast<std::size_t>(PyString_GET_SIZE(source.borrow())), deepest())) {
    return false;
  }
  const Tree tree{document, PyString_AS_STRING(model.borrow()),
                  static_cast<std::size_t>(PyString_GET_SIZE(model.borrow()))};
  collectFrom(TreeNode(tree, TreeNode::kWhole), news, at);
  return true;
}

}  // namespace kelvaro
