// One imported page stored as several: where the cuts fall, that every page
// is a valid page of its own, that no word is lost or moved and that the
// fragment links still land, on small pages and on a page of megabytes.
#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/valid.h>

#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <unordered_map>
#include <vector>

#include "builder/epub_base.h"
#include "e2e/book_checks.h"
#include "support/test_support.h"

namespace {

using Strings = std::vector<std::string>;

// A book that imports one page through the split.
class SplitBook {
 public:
  SplitBook() { EXPECT_EQ(0, book.Init(root.path().c_str(), "T", "A")); }
  int Import(const std::string& html, const Strings& breakIds, size_t limit,
             bool listPages = true) {
    kavtest::WriteFile(root / "in.html", html);
    return book.AddSplitHtmlToEpub((root / "in.html").c_str(), breakIds, limit, listPages,
                                   &pageOfId);
  }
  std::string Oebps(const std::string& name) const { return root / "epub_temp/epub/OEBPS/" + name; }
  // The page files the import wrote, in reading order.
  Strings Pages() const {
    Strings pages;
    for (int n = 1; kavtest::Exists(Oebps("page-" + std::to_string(n) + ".html")); ++n) {
      pages.push_back("page-" + std::to_string(n) + ".html");
    }
    return pages;
  }
  kavtest::TempDir root;
  EpubBase book;
  std::unordered_map<std::string, std::string> pageOfId;
};

// A parsed page: the words of its body's text nodes (tags part words), its
// ids and its links; the page is checked to be well-formed and valid
// against the DTD the clean-up repairs to.
struct Page {
  Strings words;
  std::set<std::string> ids;
  Strings links;
};

void Collect(xmlNode* node, Page* page) {
  for (; node != nullptr; node = node->next) {
    if (node->type == XML_TEXT_NODE) {
      std::istringstream text(reinterpret_cast<const char*>(node->content));
      for (std::string word; text >> word;) page->words.push_back(word);
    }
    if (node->type != XML_ELEMENT_NODE) continue;
    if (xmlChar* id = xmlGetProp(node, BAD_CAST "id")) {
      EXPECT_TRUE(page->ids.insert(reinterpret_cast<char*>(id)).second) << id;
      xmlFree(id);
    }
    if (xmlChar* href = xmlGetProp(node, BAD_CAST "href")) {
      if (xmlStrEqual(node->name, BAD_CAST "a")) page->links.push_back(reinterpret_cast<char*>(href));
      xmlFree(href);
    }
    Collect(node->children, page);
  }
}

Page ReadPage(const std::string& path, const std::string& dtdPath) {
  Page page;
  xmlDoc* doc = xmlReadFile(path.c_str(), nullptr, XML_PARSE_NONET | XML_PARSE_NOERROR |
                                                       XML_PARSE_NOWARNING);
  if (doc == nullptr) {
    ADD_FAILURE() << path << " is not well-formed";
    return page;
  }
  xmlDtd* dtd = xmlParseDTD(nullptr, BAD_CAST dtdPath.c_str());
  xmlValidCtxt* context = xmlNewValidCtxt();
  context->error = nullptr;
  context->warning = nullptr;
  EXPECT_EQ(1, xmlValidateDtd(context, doc, dtd)) << path << " is not valid";
  xmlFreeValidCtxt(context);
  xmlFreeDtd(dtd);
  xmlNode* html = xmlDocGetRootElement(doc);
  for (xmlNode* child = html->children; child != nullptr; child = child->next) {
    if (xmlStrEqual(child->name, BAD_CAST "body")) Collect(child->children, &page);
  }
  xmlFreeDoc(doc);
  return page;
}

std::string Join(const Strings& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
  return text;
}

// Every page read, every id on exactly one page (the one pageOfId names),
// every fragment link landing on a page that holds its id.
std::vector<Page> CheckPages(const SplitBook& split) {
  std::vector<Page> pages;
  std::map<std::string, std::string> holder;
  const Strings names = split.Pages();
  for (const std::string& name : names) {
    pages.push_back(ReadPage(split.Oebps(name), split.root / "epub_temp/xhtml1-strict.dtd"));
    for (const std::string& id : pages.back().ids) {
      EXPECT_TRUE(holder.emplace(id, name).second) << id << " on two pages";
    }
  }
  EXPECT_EQ(holder.size(), split.pageOfId.size());
  for (const auto& id : holder) EXPECT_EQ(id.second, split.pageOfId.at(id.first)) << id.first;
  for (size_t i = 0; i < pages.size(); ++i) {
    for (const std::string& link : pages[i].links) {
      const size_t hash = link.find('#');
      if (hash == std::string::npos) continue;
      const std::string file = hash == 0 ? names[i] : link.substr(0, hash);
      EXPECT_EQ(file, holder[link.substr(hash + 1)]) << link << " on " << names[i];
    }
  }
  return pages;
}

std::string Html(const std::string& body) {
  return "<html><head><title>x</title></head><body>" + body + "</body></html>";
}

TEST(PageSplit, CutsFallBetweenBlocksWhereAskedAndWhereFull) {
  const std::string filler(3000, 'x');
  const std::string para = "<p>" + filler + "</p>\n";
  struct Case {
    const char* what;
    std::string body;
    Strings breakIds;
    size_t limit;
    Strings pages;  // the words of each page
  };
  const std::vector<Case> cases = {
      {"no cut needed", "<p>a</p><p>b</p>", {}, 262144, {"a b"}},
      {"markers between blocks, inside one, with content and at the end",
       "<p>a</p><mbp:pagebreak/><p>b</p><p>c<MBP:PAGEBREAK/>d</p><mbp:pagebreak>e</mbp:pagebreak>"
       "<p>f</p><mbp:pagebreak/>",
       {},
       262144,
       {"a", "b", "cd", "e f"}},
      {"markers in a row make one cut", "<p>a</p><mbp:pagebreak/>\n<mbp:pagebreak/><p>b</p>",
       {},
       262144,
       {"a", "b"}},
      {"break ids: a block, an inline anchor, a list item, a row, the first block, unknown",
       "<p id='p0'>a</p><p>b</p><p>c <a id='in'>d</a></p><ul><li>e</li><li id='li'>f</li></ul>"
       "<table><tr><td>g</td></tr><tr><td id='td'>h</td></tr></table>",
       {"p0", "in", "li", "td", "nowhere"},
       262144,
       {"a b", "c d e", "f g", "h"}},
      {"a nested container is cut and reopened",
       "<div id='d' class='c'><div>" + para + para + para + "</div></div>",
       {},
       7000,
       {filler + " " + filler, filler}},
      {"a table with a head is cut between the rows of its body",
       "<table><thead><tr><td>h</td></tr></thead><tbody><tr><td>" + filler + "</td></tr><tr><td>" +
           filler + "</td></tr><tr><td>" + filler + "</td></tr></tbody></table>",
       {},
       7000,
       {"h " + filler + " " + filler, filler}},
      {"a list and a table that cannot keep their first item are not left empty",
       "<p>a</p><ul>\n<li>" + filler + "</li>\n<li>b</li></ul><table><thead><tr><td>h</td></tr></thead>"
       "\n<tbody><tr><td>" + filler + "</td></tr><tr><td>c</td></tr></tbody></table>",
       {},
       3500,
       {"a", filler, "b", "h " + filler, "c"}},
      {"a block too big alone keeps a page of its own",
       "<p>a</p><p>" + filler + filler + filler + "</p><p>b</p>",
       {},
       7000,
       {"a", filler + filler + filler, "b"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    SplitBook split;
    ASSERT_EQ(0, split.Import(Html(c.body), c.breakIds, c.limit));
    Strings pages;
    for (const Page& page : CheckPages(split)) pages.push_back(Join(page.words));
    EXPECT_EQ(c.pages, pages);
  }
}

TEST(PageSplit, ReopenedElementsKeepTheirAttributesButTheirId) {
  const std::string para = "<p>" + std::string(3000, 'x') + "</p>";
  SplitBook split;
  ASSERT_EQ(0, split.Import(Html("<div id='d' class='c'><ol id='o'><li>" + para + "</li><li>" +
                                 para + "</li></ol></div>"),
                            {}, 5000, false));
  ASSERT_EQ(2u, split.Pages().size());
  const std::string second = kavtest::ReadFile(split.Oebps("page-2.html"));
  EXPECT_NE(std::string::npos, second.find("<body><div class=\"c\"><ol><li>")) << second;
  EXPECT_EQ("page-1.html", split.pageOfId.at("o"));
  // Unlisted pages are in the reading order only.
  ASSERT_EQ(0, split.book.GenerateEpub((split.root / "book.epub").c_str()));
  const std::string opf = kavtest::ReadFile(split.Oebps("content.opf"));
  const std::string ncx = kavtest::ReadFile(split.Oebps("toc.ncx"));
  for (const std::string& name : split.Pages()) {
    EXPECT_NE(std::string::npos, opf.find("\"" + name + "\"")) << name;
    EXPECT_EQ(std::string::npos, ncx.find(name)) << name;
  }
}

TEST(PageSplit, APageThatNeedsNoCutIsStoredAsAnImportStoresIt) {
  const std::string html =
      "<html><head><title>x</title><link rel='stylesheet' href='s.css'/></head><body>"
      "<h1 id='t'>Title</h1><p class='a'>One &amp; <a href='#t'>two</a> <a href='#gone'>x</a>"
      " <a href='b.html'>b</a></p><ul><li><img src='a.png' alt='a'/></li></ul></body></html>";
  SplitBook split;
  SplitBook whole;
  for (SplitBook* book : {&split, &whole}) {
    kavtest::WriteFile(book->root / "a.png", "png");
    kavtest::WriteFile(book->root / "s.css", "p {}");
    kavtest::WriteFile(book->root / "b.html", Html("<p>b <a href='in.html'>back</a></p>"));
  }
  ASSERT_EQ(0, split.Import(html, {}, 262144));
  kavtest::WriteFile(whole.root / "in.html", html);
  ASSERT_EQ(0, whole.book.AddHTHLToEpub((whole.root / "in.html").c_str()));
  const Strings files = kavtest::ListFiles(whole.Oebps(""));
  EXPECT_EQ(files, kavtest::ListFiles(split.Oebps("")));
  for (const std::string& name : files) {
    EXPECT_EQ(kavtest::ReadFile(whole.Oebps(name)), kavtest::ReadFile(split.Oebps(name))) << name;
  }
}

// A page of megabytes: chapters behind page-break markers, each with nested
// divisions, a table and a list, links to the chapters before and after and
// to the first; one paragraph of 400 KB.
std::string BigPage(Strings* words, size_t* links) {
  std::string body;
  *links = 0;
  auto text = [words](int n, const std::string& stem) {
    std::string out;
    for (int i = 0; i < n; ++i) {
      words->push_back(stem + std::to_string(i));
      out += words->back() + " ";
    }
    return out;
  };
  const int chapters = 60;
  for (int c = 0; c < chapters; ++c) {
    const std::string n = std::to_string(c);
    if (c > 0) body += "<mbp:pagebreak/>\n";
    body += "<h2 id='c" + n + "'>" + text(2, "head" + n + "x") + "</h2>\n<div class='ch'><div>";
    for (int p = 0; p < 40; ++p) body += "<p>" + text(150, "w" + n + "p" + std::to_string(p) + "x") + "</p>\n";
    // One word list call per statement: the words are listed in page order.
    body += "<table><tr><td>" + text(3, "cell" + n + "x");
    body += "</td></tr><tr><td>" + text(3, "cell" + n + "y") + "</td></tr></table><ul>";
    for (int i = 0; i < 30; ++i) body += "<li>" + text(20, "li" + n + "i" + std::to_string(i) + "x") + "</li>";
    body += "</ul><p>" + text(2, "see" + n + "x");
    body += "<a href='#c" + std::to_string((c + 1) % chapters) + "'>" + text(1, "next" + n + "x");
    body += "</a> <a href='#c0'>" + text(1, "first" + n + "x") + "</a></p></div></div>\n";
    *links += 2;
    if (c == 30) body += "<p>" + text(45000, "big") + "</p>\n";
  }
  return Html(body);
}

TEST(PageSplit, APageOfMegabytesKeepsEveryWordAndLinkOnPagesWithinTheLimit) {
  Strings words;
  size_t links = 0;
  const std::string html = BigPage(&words, &links);
  ASSERT_GT(html.size(), 4u << 20);
  SplitBook split;
  ASSERT_EQ(0, split.Import(html, {"c10", "c11"}, 256 * 1024));
  const std::vector<Page> pages = CheckPages(split);
  const Strings names = split.Pages();
  ASSERT_GT(pages.size(), 60u);
  Strings all;
  size_t linksKept = 0;
  size_t oversize = 0;
  for (size_t i = 0; i < pages.size(); ++i) {
    all.insert(all.end(), pages[i].words.begin(), pages[i].words.end());
    linksKept += pages[i].links.size();
    const std::string file = kavtest::ReadFile(split.Oebps(names[i]));
    if (file.size() > 256 * 1024) {
      ++oversize;
      EXPECT_NE(std::string::npos, file.find("big44999")) << names[i] << ": " << file.size();
    }
  }
  EXPECT_EQ(1u, oversize);
  EXPECT_EQ(words.size(), all.size());
  for (size_t i = 0; i < words.size() && i < all.size(); ++i) {
    ASSERT_EQ(words[i], all[i]) << i;
  }
  EXPECT_EQ(links, linksKept);
  for (int c = 0; c < 60; ++c) {
    const std::string id = "c" + std::to_string(c);
    const std::string& name = split.pageOfId.at(id);
    const size_t index = std::stoul(name.substr(5)) - 1;
    EXPECT_EQ("head" + std::to_string(c) + "x0", pages[index].words.front()) << id;
  }
  ASSERT_EQ(0, split.book.GenerateEpub((split.root / "book.epub").c_str()));
  kave2e::ExpectOnlyFindings(split.root / "book.epub", kave2e::kUsualFindings);
}

}  // namespace
