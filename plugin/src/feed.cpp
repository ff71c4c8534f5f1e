// The news feed: its address, the download statistics, the news document, the news cache.
#include "module.h"
#include "news_list.h"

namespace kelvaro {

using namespace python;

namespace {

// What parse_xml returns. A document that is not well-formed counts as an unreachable server.
constexpr int kFetched = 1;
constexpr int kHttpError = 2;
constexpr int kUnreachable = 3;

DEF(88, write_cache, (At at, Local cache_data), "Store a news list in the file cache_file.") {
  AT(89)
  if (!global("os_path"_s)
           .attr("isdir"_s)(global("os_path"_s).attr("dirname"_s)(global("cache_file"_s)))
           .truthy()) {
    try {
      AT(91)
      osFunction("mkdir"_s)(global("os_path"_s).attr("dirname"_s)(global("cache_file"_s)));
    } catch (PythonError& thrown) {
      Caught error(at, thrown);
      AT(92)
      if (!error.is(global("OSError"_s))) {
        error.rethrow();
      }
    }
  }
  AT(94) const Local file = global("open"_s)({global("cache_file"_s), "w"_s});
  AT(95) global("dump"_s)({cache_data, file, -1});
  AT(96) file.call("close"_s);
  return none;
}

DEF(98, load_cache, (At at), "Return the news list that cache_file holds.") {
  AT(99) const Local file = global("open"_s)(global("cache_file"_s));
  AT(100) const Local news = global("load"_s)(file);
  AT(101) file.call("close"_s);
  AT(102) return news;
}

// The address of a file on the feed server, made from the package feed's own address.
DEF(104, newsURL, (At at, Local f_name = "zirknews.xml"_s),
    "Return the address of a file on the feed server.") {
  AT(105) const Local file = global("open"_s)({"/etc/opkg/all-feed.conf"_s, "r"_s});
  // Strips a set of characters, not a prefix: an address that begins with one of them, or a line
  // without its line feed that ends with one, loses it too.
  AT(106) Variable address = file.call("readline"_s).call("strip"_s, "src/gz Zirk-all "_s);
  AT(107) file.call("close"_s);
  AT(108) address = address.call("strip"_s);
  AT(109) address = address.call("replace"_s, "all"_s, f_name);  // every "all", wherever it stands
  AT(110) return address;
}

// An empty `require` is for none.
DEF(112, skip_entry, (At at, Local entry),
    "Tell whether a DOM element is not meant for this receiver.") {
  AT(113)
  if (entry.call("hasAttribute"_s, "require"_s).truthy()) {
    AT(114)
    const Local models = entry.call("getAttribute"_s, "require"_s).call("split"_s, ","_s);
    AT(115)
    if (models.truthy() && !models.contains(global("vumodel"_s))) {
      AT(116) return true;
    }
  }
  AT(117) return false;
}

// The lines of a download.
struct FetchLines {
  int fetch;
  int httpError;  // the handler that comes first: an HTTPError is a URLError too
  int urlError;
};

// Puts what the server sends for an address into `body`; each network step may take 5 seconds.
// Returns kFetched or the kind of failure.
int fetch(const Local& address, Variable& body, Call& at, const FetchLines& lines) {
  try {
    AT(lines.fetch)
    body = global("urllib2"_s).attr("urlopen"_s)({address, none, real(5.0)}).call("read"_s);
  } catch (PythonError& thrown) {
    Caught error(at, thrown);
    AT(lines.httpError)
    if (error.is(global("urllib2"_s).attr("HTTPError"_s))) {
      return kHttpError;
    }
    AT(lines.urlError)
    if (error.is(global("urllib2"_s).attr("URLError"_s))) {
      return kUnreachable;
    }
    error.rethrow();
  }
  return kFetched;
}

DEF(119, getDownloadStats, (At at),
    "Return the download statistics (a string), or None when they can't be had.") {
  AT(120) const Local address = global("newsURL"_s)("zirkdlstat.txt"_s);
  Variable statistics;
  if (fetch(address, statistics, at, {122, 123, 125}) != kFetched) {
    return none;
  }
  AT(127) return statistics;
}

DEF(130, parse_xml, (At at),
    "Fetch the news into the cache. Return 1; or 2 after an HTTP error; or 3 when the server was\n"
    "out of reach or the document not well-formed.") {
  AT(131) const Local news = list();
  AT(132) const Local address = global("newsURL"_s)();
  Variable fetched;
  const int outcome = fetch(address, fetched, at, {134, 135, 137});
  if (outcome != kFetched) {
    return outcome;
  }
  const Local source = fetched;
  AT(140)
  if (!collectQuickly(source, news, at)) {
    Variable parsed;
    try {
      AT(140)
      parsed = global("xml"_s).attr("dom"_s).attr("minidom"_s).call("parseString"_s, source);
    } catch (PythonError& thrown) {
      Caught error(at, thrown);
      AT(141)
      if (error.is(global("xml"_s).attr("parsers"_s).attr("expat"_s).attr("ExpatError"_s))) {
        AT(142) return kUnreachable;
      }
      error.rethrow();
    }
    const Local document = parsed;
    collect(document, news, at);
    AT(167) document.call("unlink"_s);
  }
  AT(168) global("write_cache"_s)(news);
  AT(170) return kFetched;
}

const Function kFunctions[] = {FUNCTION(write_cache),      FUNCTION(load_cache),
                               FUNCTION(newsURL),          FUNCTION(skip_entry),
                               FUNCTION(getDownloadStats), FUNCTION(parse_xml)};

}  // namespace

Functions feedFunctions() { return Functions(kFunctions); }

}  // namespace kelvaro
