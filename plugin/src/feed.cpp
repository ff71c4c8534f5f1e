#include "feed.h"

#include "news_list.h"
#include "python/globals.h"
#include "receiver.h"

namespace kelvaro {

using namespace python;

namespace {

// What parse_xml returns. A document that is not well-formed counts as a server out of reach.
constexpr int kFetched = 1;
constexpr int kHttpError = 2;
constexpr int kUnreachable = 3;

// Stores the news list where load_cache finds it.
const Object& writeCache(Args args, Call& at) {
  const Object& news = args[0];

  AT(89)
  if (!global("os_path")
           .attr("isdir")(global("os_path").attr("dirname")(global("cache_file")))
           .truthy()) {
    try {
      AT(91)
      osFunction("mkdir")(global("os_path").attr("dirname")(global("cache_file")));
    } catch (const PythonError& thrown) {
      Caught error(at, thrown);
      AT(92)
      if (!error.is(global("OSError"))) {
        error.rethrow();
      }
    }
  }
  AT(94) const Object& file = at.local(global("open")({global("cache_file"), "w"}));
  AT(95) global("dump")({news, file, -1});
  AT(96) file.attr("close")();
  return none();
}

const Object& loadCache(Args /*args*/, Call& at) {
  AT(99) const Object& file = at.local(global("open")(global("cache_file")));
  AT(100) const Object& news = at.local(global("load")(file));
  AT(101) file.attr("close")();
  AT(102) return news;
}

const Object& newsDocument() { return literal("zirknews.xml"); }

// The address of a file on the feed server, made from the package feed's own address.
const Object& newsURL(Args args, Call& at) {
  const Object& fileName = args[0];

  AT(105) const Object& file = at.local(global("open")({"/etc/opkg/all-feed.conf", "r"}));
  // Strips a set of characters, not a prefix: an address that begins with one of them, or a line
  // without its line feed that ends with one, loses it too.
  AT(106) Local address(at, file.attr("readline")().attr("strip")("src/gz Zirk-all "));
  AT(107) file.attr("close")();
  AT(108) address = address->attr("strip")();
  AT(109) address = address->attr("replace")({"all", fileName});  // every "all", wherever it stands
  AT(110) return address;
}

// Whether an element is for other receivers only. An empty `require` is for none.
const Object& skipEntry(Args args, Call& at) {
  const Object& entry = args[0];

  AT(113)
  if (entry.attr("hasAttribute")("require").truthy()) {
    AT(114)
    const Object& models = at.local(entry.attr("getAttribute")("require").attr("split")(","));
    AT(115)
    if (models.truthy() && !models.contains(global("vumodel"))) {
      AT(116) return truth(true);
    }
  }
  AT(117) return truth(false);
}

// Puts what the server sends for an address into `body`; each network step may take 5 seconds.
// Returns kFetched, or what kind of failure it was. `line` is that of the statement; its two
// handlers stand on the lines behind.
int fetch(const Object& address, Local& body, Call& at, int line) {
  try {
    AT(line)
    body = global("urllib2").attr("urlopen")({address, none(), real(5.0)}).attr("read")();
  } catch (const PythonError& thrown) {
    // The HTTP handler comes first: an HTTPError is a URLError too.
    Caught error(at, thrown);
    AT(line + 1)
    if (error.is(global("urllib2").attr("HTTPError"))) {
      return kHttpError;
    }
    AT(line + 3)
    if (error.is(global("urllib2").attr("URLError"))) {
      return kUnreachable;
    }
    error.rethrow();
  }
  return kFetched;
}

const Object& getDownloadStats(Args /*args*/, Call& at) {
  AT(120) const Object& address = at.local(global("newsURL")("zirkdlstat.txt"));
  Local statistics(at);
  if (fetch(address, statistics, at, 122) != kFetched) {
    return none();
  }
  AT(127) return statistics;
}

// Fetches the news document, keeps what is for this receiver and stores it in the news cache.
const Object& parseXml(Args /*args*/, Call& at) {
  AT(131) const Object& news = at.local(list());
  AT(132) const Object& address = at.local(global("newsURL")());
  Local source(at);
  const int outcome = fetch(address, source, at, 134);
  if (outcome != kFetched) {
    return number(outcome);
  }
  AT(140)
  if (!collectQuickly(source, news, at)) {
    Local document(at);
    try {
      AT(140) document = global("xml").attr("dom").attr("minidom").attr("parseString")(source);
    } catch (const PythonError& thrown) {
      Caught error(at, thrown);
      AT(141)
      if (error.is(global("xml").attr("parsers").attr("expat").attr("ExpatError"))) {
        AT(142) return number(kUnreachable);
      }
      error.rethrow();
    }
    collect(document, news, at);
    AT(167) document->attr("unlink")();
  }
  AT(168) global("write_cache")(news);
  AT(170) return number(kFetched);
}

// clang-format off
const Function kFunctions[] = {
    {"write_cache", 88, writeCache, {"cache_data"}, "Store a news list in the file cache_file."},
    {"load_cache", 98, loadCache, {}, "Return the news list that cache_file holds."},
    {"newsURL", 104, newsURL, {{"f_name", newsDocument}},
     "Return the address of a file on the feed server."},
    {"skip_entry", 112, skipEntry, {"entry"},
     "Tell whether a DOM element is not meant for this receiver."},
    {"getDownloadStats", 119, getDownloadStats, {},
     "Return the download statistics (a string), or None when they can't be had."},
    {"parse_xml", 130, parseXml, {},
     "Fetch the news into the cache. Return 1; or 2 after an HTTP error; or 3 when the server was\n"
     "out of reach or the document not well-formed."},
};
// clang-format on

}  // namespace

Functions feedFunctions() { return Functions(kFunctions); }

}  // namespace kelvaro
