// The compact tree of a news document, shown as text: every element with its attributes, its data
// in quotes (or `<>` where another element stands first), and in parentheses what lies below it.

#include "python/expat.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "document.h"

namespace {

using kelvaro::Document;
using kelvaro::Text;

constexpr std::size_t kDeepEnough = 200;
constexpr const char* kLeft = "left to minidom";

std::string string(const Text& text) { return {text.data, text.size}; }

std::string shown(const Document& document, std::uint32_t begin, std::uint32_t end) {
  std::string all;
  for (std::uint32_t index = begin; index < end; index = document[index].end) {
    const Document::Element& element = document[index];
    if (element.end <= index || element.end > end) {
      ADD_FAILURE() << "element " << index << " ends at " << element.end << ", within " << end;
      break;
    }
    all += (all.empty() ? "" : ", ") + std::string(nameOf(element.tag));
    if (document.type(element).data != nullptr) {
      all += " type=" + string(document.type(element));
    }
    if (document.require(element).data != nullptr) {
      all += " require=" + string(document.require(element));
    }
    if (element.firstChild == Document::FirstChild::kElement) {
      all += " <>";
    } else if (element.firstChild == Document::FirstChild::kData) {
      all += " '" + string(document.data(element)) + "'";
    }
    if (element.end > index + 1) {
      all += " (" + shown(document, index + 1, element.end) + ")";
    }
  }
  return all;
}

// Reads a copy of exactly the document's size, so that the sanitizer sees what is read behind it.
bool read(Document& document, std::string_view xml, std::size_t deepest) {
  auto bytes = std::make_unique<char[]>(xml.size());
  xml.copy(bytes.get(), xml.size());
  const bool whole = document.read(bytes.get(), xml.size(), deepest);
  EXPECT_EQ(PyErr_Occurred(), nullptr) << xml;
  return whole;
}

std::string tree(std::string_view xml, std::size_t deepest = kDeepEnough) {
  Document document;
  return read(document, xml, deepest) ? shown(document, 0, document.size()) : kLeft;
}

// The tree of a document with one title.
std::string title(const std::string& content) { return tree("<title>" + content + "</title>"); }

std::string times(std::size_t count, const std::string& text) {
  std::string all;
  while (count-- > 0) {
    all += text;
  }
  return all;
}

std::string nested(std::size_t levels, const std::string& name) {
  return times(levels, "<" + name + ">") + times(levels, "</" + name + ">");
}

// --- Elements

TEST(DocumentElements, AreThoseOfTheNewsOnly) {
  EXPECT_EQ(tree("<news><date>1</date><update><title>t</title><b/></update></news>"),
            "update (title 't')");
  EXPECT_EQ(tree("<news/>"), "");
}

TEST(DocumentElements, StandBelowTheNearestOneThatIsKept) {
  EXPECT_EQ(tree("<n><update><x><item><y><itemtext/></y></item></x><title/></update><item/></n>"),
            "update (item (itemtext), title), item");
}

TEST(DocumentElements, NestWithinThemselves) {
  EXPECT_EQ(tree("<update><update><update/></update><update/></update>"),
            "update (update (update), update)");
}

TEST(DocumentElements, MayBeTheRoot) { EXPECT_EQ(tree("<title>t</title>"), "title 't'"); }

TEST(DocumentElements, HaveExactlyTheirNames) {
  EXPECT_EQ(tree("<n><Update/><updates/><updat/><xml:update/><title-/><items/><u/></n>"), "");
  EXPECT_EQ(tree("<n><update/><title/><item/><itemtext/><description/></n>"),
            "update, title, item, itemtext, description");
}

TEST(DocumentElements, AreKeptHoweverMany) {
  EXPECT_EQ(tree("<n>" + times(5000, "<update/>") + "</n>"), "update" + times(4999, ", update"));
}

// --- The first child

TEST(DocumentFirstChild, IsAbsentInAnEmptyElement) {
  EXPECT_EQ(title(""), "title");
  EXPECT_EQ(tree("<title/>"), "title");
  EXPECT_EQ(title("<![CDATA[]]>"), "title");
}

TEST(DocumentFirstChild, IsText) {
  EXPECT_EQ(title("News"), "title 'News'");
  EXPECT_EQ(title(" \n "), "title ' \n '");
  EXPECT_EQ(title("a<b/>c"), "title 'a'");
}

TEST(DocumentFirstChild, IsASectionWithoutItsMarks) {
  EXPECT_EQ(title("<![CDATA[<b>&amp;]]>"), "title '<b>&amp;'");
  EXPECT_EQ(title("<![CDATA[]]]]>"), "title ']]'");
  EXPECT_EQ(title("<![CDATA[<!DOCTYPE a>]]>"), "title '<!DOCTYPE a>'");
  EXPECT_EQ(title("<![CDATA[<![CDATA[]]>"), "title '<![CDATA['");
}

TEST(DocumentFirstChild, IsACommentOrAnInstruction) {
  EXPECT_EQ(title("<!-- c -->News"), "title ' c '");
  EXPECT_EQ(title("<!---->News"), "title ''");
  EXPECT_EQ(title("<?x  some data ?>News"), "title 'some data '");
  EXPECT_EQ(title("<?x?>News"), "title ''");
}

TEST(DocumentFirstChild, IsAnElementWithoutData) {
  EXPECT_EQ(title("<b>x</b>News"), "title <>");
  EXPECT_EQ(title("<title>x</title>"), "title <> (title 'x')");
}

TEST(DocumentFirstChild, IsOfNoInterestInUpdatesAndItems) {
  EXPECT_EQ(tree("<update>text<item>text</item></update>"), "update (item)");
  EXPECT_EQ(tree("<update><b/><item><!--c--></item></update>"), "update (item)");
}

TEST(DocumentFirstChild, IsNotLookedForFurtherIn) {
  EXPECT_EQ(tree("<title><b/>text<itemtext>i</itemtext>more</title>"), "title <> (itemtext 'i')");
  EXPECT_EQ(tree("<itemtext>a<description>b</description>c</itemtext>"),
            "itemtext 'a' (description 'b')");
}

// --- Text that comes in pieces

TEST(DocumentText, GoesOnBehindReferencesAndLineEnds) {
  EXPECT_EQ(title("a &amp; b&#65;\nc&lt;"), "title 'a & bA\nc<'");
}

TEST(DocumentText, GoesOnBehindEmptySections) {
  EXPECT_EQ(title("a<![CDATA[]]>b<![CDATA[]]><![CDATA[]]>c"), "title 'abc'");
  EXPECT_EQ(title("<![CDATA[]]>a"), "title 'a'");
}

TEST(DocumentText, EndsAtAnyOtherNode) {
  EXPECT_EQ(title("a<!--c-->b"), "title 'a'");
  EXPECT_EQ(title("a<?p?>b"), "title 'a'");
  EXPECT_EQ(title("a<b/>c"), "title 'a'");
  EXPECT_EQ(title("a<![CDATA[b]]>c"), "title 'a'");
}

TEST(DocumentText, OfASectionEndsWithIt) {
  EXPECT_EQ(title("<![CDATA[a]]>b"), "title 'a'");
  EXPECT_EQ(title("<![CDATA[a]]><![CDATA[b]]>"), "title 'a'");
  EXPECT_EQ(title("<![CDATA[]]><![CDATA[b]]>c"), "title 'b'");
  EXPECT_EQ(title("<![CDATA[a\nb\nc]]>"), "title 'a\nb\nc'");
}

TEST(DocumentText, HasLineFeedsForItsLineEnds) {
  EXPECT_EQ(title("a\r\nb\rc&#13;d"), "title 'a\nb\nc\rd'");
  EXPECT_EQ(title("<![CDATA[a\r\nb\r]]>"), "title 'a\nb\n'");
  EXPECT_EQ(title("<!--a\r\nb\r-->"), "title 'a\nb\n'");
}

TEST(DocumentText, IsWholeAcrossTheParsersBuffers) {
  for (const std::size_t size : {1023U, 1024U, 8191U, 8192U, 8193U, 65536U, 200000U}) {
    const std::string text(size, 'x');
    EXPECT_EQ(title(text), "title '" + text + "'") << size;
    EXPECT_EQ(title("<![CDATA[" + text + "]]>"), "title '" + text + "'") << size;
    EXPECT_EQ(title("<!--" + text + "-->"), "title '" + text + "'") << size;
    EXPECT_EQ(tree("<update type='" + text + "'/>"), "update type=" + text) << size;
  }
  const std::string references = times(9000, "&amp;");
  EXPECT_EQ(title(references), "title '" + std::string(9000, '&') + "'");
}

TEST(DocumentText, OfManyElementsIsKeptApart) {
  std::string xml;
  std::string expected;
  for (int number = 0; number < 2000; ++number) {
    const std::string text = std::to_string(number);
    xml += "<title>" + text + "</title>";
    expected += (number == 0 ? "" : ", ") + ("title '" + text + "'");
  }
  EXPECT_EQ(tree("<n>" + xml + "</n>"), expected);
}

// --- Attributes

TEST(DocumentAttributes, AreTypeAndRequire) {
  EXPECT_EQ(tree("<update id='1' require='duo,solo' Type='x' type='info' xml:type='y'/>"),
            "update type=info require=duo,solo");
}

TEST(DocumentAttributes, MayBeEmptyWhichIsNotAbsent) {
  EXPECT_EQ(tree("<n><update type=''/><update require=''/><update/></n>"),
            "update type=, update require=, update");
}

TEST(DocumentAttributes, HaveBlanksForLineEndsAndKeepReferences) {
  EXPECT_EQ(tree("<update type='a\r\nb\tc&#10;d&amp;'/>"), "update type=a b c\nd&");
}

// --- Encodings

TEST(DocumentEncoding, IsUtf8InTheTree) {
  EXPECT_EQ(title("\xC3\x9C \xE2\x82\xAC \xF0\x9F\x93\xBA"),
            "title '\xC3\x9C \xE2\x82\xAC \xF0\x9F\x93\xBA'");
  EXPECT_EQ(title("&#xDC;&#x1F4FA;"), "title '\xC3\x9C\xF0\x9F\x93\xBA'");
  EXPECT_EQ(tree("<?xml version='1.0' encoding='iso-8859-1'?><title>\xDC</title>"),
            "title '\xC3\x9C'");
}

TEST(DocumentEncoding, MayBeMarkedAsUtf8) {
  EXPECT_EQ(tree("\xEF\xBB\xBF<title>a</title>"), "title 'a'");
  EXPECT_EQ(tree("\xEF\xBB\xBF\xEF\xBB\xBF<title>a</title>"), kLeft);
}

TEST(DocumentEncoding, HasItsNameInAnyCase) {
  for (const char* name : {"utf-8", "UTF-8", "Iso-8859-1", "US-ascii"}) {
    EXPECT_EQ(tree("<?xml version='1.0' encoding='" + std::string(name) + "'?><title>a</title>"),
              "title 'a'")
        << name;
  }
}

TEST(DocumentEncoding, IsLeftToMinidomWhereExpatDoesNotKnowIt) {
  for (const char* name : {"utf8", "latin1", "ascii", "windows-1252", "shift_jis", "bogus",
                           "utf-16", "UTF-16LE", "utf-32", "", "x y"}) {
    EXPECT_EQ(tree("<?xml version='1.0' encoding='" + std::string(name) + "'?><title>a</title>"),
              kLeft)
        << name;
  }
}

TEST(DocumentEncoding, OfWideUnitsIsLeftToMinidom) {
  using namespace std::string_view_literals;
  for (const std::string_view xml : {"\xFF\xFE<\0a\0/\0>\0"sv, "\xFE\xFF\0<\0a\0/\0>"sv,
                                     "<\0a\0/\0>\0"sv, "\0<\0a\0/\0>"sv, "<\0\0\0a\0\0\0"sv}) {
    EXPECT_EQ(tree(xml), kLeft);
  }
}

// --- What else is left to minidom

TEST(DocumentLeft, IsWhatIsNotWellFormed) {
  using namespace std::string_view_literals;
  for (const std::string_view xml : {""sv,
                                     " "sv,
                                     "\n"sv,
                                     "<"sv,
                                     "x"sv,
                                     "\0"sv,
                                     "<a"sv,
                                     "<a>"sv,
                                     "</a>"sv,
                                     "<a></b>"sv,
                                     "<a/><b/>"sv,
                                     "<a/>x"sv,
                                     "<a/>\0"sv,
                                     "<a>\0</a>"sv,
                                     "<a>\x01</a>"sv,
                                     "<a>\xFF</a>"sv,
                                     "<a>\xED\xA0\x80</a>"sv,
                                     "<a>&nbsp;</a>"sv,
                                     "<a>&#xD800;</a>"sv,
                                     "<a>&#0;</a>"sv,
                                     "<a>]]></a>"sv,
                                     "<a><!-- -- --></a>"sv,
                                     "<a><?xml?></a>"sv,
                                     " <?xml version='1.0'?><a/>"sv,
                                     "<a b='1' b='2'/>"sv,
                                     "<a b/>"sv,
                                     "<a b='<'/>"sv,
                                     "<update><title>t</title>"sv}) {
    EXPECT_EQ(tree(xml), kLeft) << xml;
  }
}

TEST(DocumentLeft, IsATruncationAtAnyPlace) {
  const std::string xml =
      "<n><update type='a' require='b'><title>t&amp;<![CDATA[s]]><!--c--><?p q?></title></update>"
      "</n>";
  ASSERT_EQ(tree(xml), "update type=a require=b (title 't&')");
  for (std::size_t size = 0; size < xml.size(); ++size) {
    EXPECT_EQ(tree(xml.substr(0, size)), kLeft) << size;
  }
}

TEST(DocumentLeft, IsAnyDoctype) {
  EXPECT_EQ(tree("<!DOCTYPE n><n/>"), kLeft);
  EXPECT_EQ(tree("<!DOCTYPE n SYSTEM 'n.dtd'><n/>"), kLeft);
  EXPECT_EQ(tree("<!DOCTYPE n [<!ENTITY e '<title>t</title>'>]><n>&e;</n>"), kLeft);
}

TEST(DocumentLeft, IsAnyDeclarationOfANamespace) {
  EXPECT_EQ(tree("<n xmlns='u'><update/></n>"), kLeft);
  EXPECT_EQ(tree("<n xmlns=''><update/></n>"), kLeft);
  EXPECT_EQ(tree("<n><b xmlns:x='u v'/></n>"), kLeft);
}

TEST(DocumentLeft, IsAPrefixWithoutOne) {
  EXPECT_EQ(tree("<x:update/>"), kLeft);
  EXPECT_EQ(tree("<update x:type='a'/>"), kLeft);
  EXPECT_EQ(tree("<a:b:c/>"), kLeft);
}

TEST(DocumentLeft, IsANameOutsideAscii) {
  EXPECT_EQ(tree("<n><\xC3\xA4/></n>"), kLeft);
  EXPECT_EQ(tree("<n><b \xC3\xA4='1'/></n>"), kLeft);
  EXPECT_EQ(tree("<n><?\xC3\xA4 x?></n>"), kLeft);
  EXPECT_EQ(tree("<n><update type='\xC3\xA4'/></n>"), "update type=\xC3\xA4");
}

TEST(DocumentLeft, IsWhatNestsTooDeep) {
  EXPECT_EQ(tree(nested(7, "b"), 7), "");
  EXPECT_EQ(tree(nested(8, "b"), 7), kLeft);
  EXPECT_EQ(tree("<n>" + times(100, nested(6, "b")) + "</n>", 7), "");
  EXPECT_EQ(tree("<n/>", 0), kLeft);
}

TEST(DocumentLeft, IsWhatNestsDeeperThanEver) {
  EXPECT_EQ(tree(nested(256, "b"), SIZE_MAX), "");
  EXPECT_EQ(tree(nested(257, "b"), SIZE_MAX), kLeft);
  EXPECT_EQ(tree(nested(100000, "update"), SIZE_MAX), kLeft);
}

TEST(DocumentLeft, IsWhatExpatCannotCount) {
  Document document;
  // Not a byte of it is looked at.
  EXPECT_FALSE(document.read(nullptr, static_cast<std::size_t>(INT_MAX) + 1, kDeepEnough));
}

// --- The way to expat

// Replaces what the interpreter's pyexpat offers to C.
class Expat : public testing::Test {
 protected:
  void SetUp() override {
    module_ = PyImport_ImportModule("pyexpat");
    ASSERT_NE(module_, nullptr);
    original_ = PyObject_GetAttrString(module_, kAttribute);
    ASSERT_NE(original_, nullptr);
    api_ = *static_cast<PyExpat_CAPI*>(PyCapsule_GetPointer(original_, PyExpat_CAPSULE_NAME));
  }
  void TearDown() override {
    PyObject_SetAttrString(module_, kAttribute, original_);
    Py_DECREF(original_);
    Py_DECREF(module_);
  }
  void offer(PyExpat_CAPI* api) {
    PyObject* capsule = PyCapsule_New(api, PyExpat_CAPSULE_NAME, nullptr);
    ASSERT_NE(capsule, nullptr);
    PyObject_SetAttrString(module_, kAttribute, capsule);
    Py_DECREF(capsule);
  }

  static constexpr const char* kAttribute = "expat_CAPI";
  static constexpr const char* kXml = "<title>t</title>";
  PyObject* module_ = nullptr;
  PyObject* original_ = nullptr;
  PyExpat_CAPI api_;
};

TEST_F(Expat, OfALaterVersionWillDo) {
  api_.size += 8;
  api_.MINOR_VERSION += 4;
  offer(&api_);
  EXPECT_EQ(tree(kXml), "title 't'");
}

TEST_F(Expat, ThatIsNotThereLeavesAllToMinidom) {
  PyObject_DelAttrString(module_, kAttribute);
  EXPECT_EQ(tree(kXml), kLeft);
}

TEST_F(Expat, ThatIsNoCapsuleLeavesAllToMinidom) {
  PyObject_SetAttrString(module_, kAttribute, Py_None);
  EXPECT_EQ(tree(kXml), kLeft);
}

TEST_F(Expat, WithAnotherMagicLeavesAllToMinidom) {
  std::string magic = "pyexpat.expat_CAPI 1.0";
  api_.magic = magic.data();
  offer(&api_);
  EXPECT_EQ(tree(kXml), kLeft);
}

TEST_F(Expat, WithFewerFunctionsLeavesAllToMinidom) {
  api_.size -= 8;
  offer(&api_);
  EXPECT_EQ(tree(kXml), kLeft);
}

TEST_F(Expat, OfAnotherMajorVersionLeavesAllToMinidom) {
  api_.MAJOR_VERSION = 3;
  offer(&api_);
  EXPECT_EQ(tree(kXml), kLeft);
}

TEST_F(Expat, ThatMakesNoParserLeavesAllToMinidom) {
  api_.ParserCreate_MM = [](const XML_Char*, const XML_Memory_Handling_Suite*,
                            const XML_Char*) -> XML_Parser { return nullptr; };
  offer(&api_);
  EXPECT_EQ(tree(kXml), kLeft);
}

}  // namespace
