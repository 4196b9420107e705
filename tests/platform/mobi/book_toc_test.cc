// Tables of contents from a book's NCX index (built here as libmobi hands
// it out) and from its text.

#include <map>
#include <string>
#include <vector>

#include "platform/mobi/book_toc.h"
#include "support/test_support.h"

namespace kavmobi {
namespace {

// One NCX entry: text position, label (null: an offset past the CNCX
// record) and parent (-1: none).
struct Entry {
  uint32_t position;
  const char* label;
  long parent;
};

// An index as libmobi parses it: tags 1 (position), 3 (label) and 21
// (parent), labels in one CNCX record.
class Ncx {
 public:
  Ncx(const std::vector<Entry>& entries, MOBIEncoding encoding = MOBI_UTF8) {
    values_.reserve(entries.size() * 3);
    tags_.reserve(entries.size() * 3);
    for (const Entry& entry : entries) {
      uint32_t labelAt = 0xFFFF;
      if (entry.label != nullptr) {
        const std::string label = entry.label;
        auto known = labels_.emplace(label, static_cast<uint32_t>(cncx_.size()));
        if (known.second) {
          cncx_ += static_cast<char>(0x80 | label.size());  // one length byte, marked last
          cncx_ += label;
        }
        labelAt = known.first->second;
      }
      const size_t first = tags_.size();
      AddTag(1, entry.position);
      AddTag(3, labelAt);
      if (entry.parent >= 0) AddTag(21, static_cast<uint32_t>(entry.parent));
      entries_.push_back({nullptr, tags_.size() - first, nullptr});
    }
    size_t tag = 0;
    for (MOBIIndexEntry& entry : entries_) {
      entry.tags = &tags_[tag];
      tag += entry.tags_count;
    }
    record_.data = reinterpret_cast<unsigned char*>(cncx_.data());
    record_.size = cncx_.size();
    index_.entries = entries_.data();
    index_.entries_count = entries_.size();
    index_.cncx_record = &record_;
    index_.cncx_records_count = 1;
    index_.encoding = encoding;
    rawml_.ncx = &index_;
  }
  const MOBIRawml& rawml() const { return rawml_; }
  const MOBIIndx& index() const { return index_; }

 private:
  void AddTag(size_t id, uint32_t value) {
    values_.push_back(value);
    tags_.push_back({id, 1, &values_.back()});
  }
  std::vector<uint32_t> values_;
  std::vector<MOBIIndexTag> tags_;
  std::vector<MOBIIndexEntry> entries_;
  std::string cncx_;
  std::map<std::string, uint32_t> labels_;
  MOBIPdbRecord record_ = {};
  MOBIIndx index_ = {};
  MOBIRawml rawml_ = {};
};

const std::string kHtml =
    "<p><a id=\"filepos0000000010\"></a>One <a id=\"filepos0000000020\"></a>two "
    "<a id=\"filepos0000000030\"></a>three</p>";

std::string Dump(const BookToc& toc) {
  std::string out;
  for (const TocEntry& entry : toc.entries) {
    out += std::to_string(entry.depth) + " " + entry.label + " #" + entry.anchor + "\n";
  }
  return out + "flawed " + std::to_string(toc.flawed);
}

// Stored level by level as Kindle books store them; read back in reading
// order, each entry at the first anchor at or after its position.
TEST(NcxToc, NestsByParentsInReadingOrderAndKeepsWhatCanBePlaced) {
  struct Case {
    std::vector<Entry> entries;
    std::string expected;
  };
  const Case cases[] = {
      {{{10, "Part I", -1}, {25, "Part II", -1}, {12, "1.1", 0}, {30, "2.1", 1}, {20, "1.1.1", 2}},
       "1 Part I #filepos0000000010\n2 1.1 #filepos0000000020\n3 1.1.1 #filepos0000000020\n"
       "1 Part II #filepos0000000030\n2 2.1 #filepos0000000030\nflawed 0"},
      // Its own parent, a later one (a loop): at the top. Past the text: left out, its
      // child in its place. An unreadable label: numbered.
      {{{10, "self", 0}, {10, "loop", 2}, {20, "back", 1}, {99, "lost", -1}, {30, "kid", 3},
        {30, nullptr, -1}},
       "1 self #filepos0000000010\n1 loop #filepos0000000010\n2 back #filepos0000000020\n"
       "1 kid #filepos0000000030\n1 5 #filepos0000000030\nflawed 4"},
      {{}, "flawed 0"},
  };
  for (const Case& c : cases) {
    Ncx ncx(c.entries);
    EXPECT_EQ(c.expected, Dump(NcxToc(ncx.rawml(), nullptr, kHtml)));
  }
}

// A hundred thousand entries, each under the one before, or each naming the next as its
// parent: every one kept, none deeper than the limit, in well under the test's time.
TEST(NcxToc, HundredThousandChainedOrLoopingEntries) {
  for (const bool loop : {false, true}) {
    std::vector<Entry> entries;
    for (long i = 0; i < 100000; ++i) entries.push_back({10, "e", loop ? i + 1 : i - 1});
    Ncx ncx(entries);
    const BookToc toc = NcxToc(ncx.rawml(), nullptr, kHtml);
    ASSERT_EQ(entries.size(), toc.entries.size());
    EXPECT_EQ(loop ? entries.size() : 0u, toc.flawed);
    EXPECT_EQ(loop ? 1 : kMaxTocDepth, toc.entries.back().depth);
  }
}

TEST(NcxToc, LabelsInWindows1252AndBrokenUtf8BecomeUtf8) {
  Ncx cp1252({{10, "\x93" "Caf\xe9\x94", -1}}, MOBI_CP1252);
  std::string label;
  ASSERT_TRUE(CncxText(cp1252.index(), 0, &label));
  EXPECT_EQ("\u201cCaf\u00e9\u201d", label);
  Ncx utf8({{10, "a\xff\xc3\xa9\x01z", -1}});
  ASSERT_TRUE(CncxText(utf8.index(), 0, &label));
  EXPECT_EQ("a\ufffd\u00e9 z", label);
  EXPECT_FALSE(CncxText(utf8.index(), 0x10000, &label)) << "a second record it does not have";
  EXPECT_FALSE(CncxText(utf8.index(), 5, &label)) << "a length past the record";
}

// Without an index: headings nested by level (ids kept when they are plain names, an
// anchor inside the heading otherwise); without headings, the pages at the breaks.
TEST(MadeToc, HeadingsElsePageBreaksElseNothing) {
  struct Case {
    std::string html;
    std::string expected;
    std::string changed;  // the html afterwards ("" when unchanged)
  };
  const Case cases[] = {
      {"<body><h2 id=\"pre\">Preface</h2><h1 id=\"9\">Tom &amp; <i>Jerry</i>&#x21;</h1>"
       "<H3 class=x>Deep</H3><h2>Two</h2><h1></h1><h1 id=\"b\">Next</h1>",
       "1 Preface #pre\n1 Tom & Jerry! #kavtoc2\n2 Deep #kavtoc3\n2 Two #kavtoc4\n1 Next #b\n"
       "flawed 0",
       "<body><h2 id=\"pre\">Preface</h2><h1 id=\"9\"><a id=\"kavtoc2\"></a>Tom &amp; "
       "<i>Jerry</i>&#x21;</h1><H3 class=x><a id=\"kavtoc3\"></a>Deep</H3><h2><a "
       "id=\"kavtoc4\"></a>Two</h2><h1></h1><h1 id=\"b\">Next</h1>"},
      {"<body><p>a</p><mbp:pagebreak/><p>b</p><MBP:PAGEBREAK></MBP:PAGEBREAK>c</body>",
       "1 1 #kavpage1\n1 2 #kavpage2\n1 3 #kavpage3\nflawed 0",
       "<body><div id=\"kavpage1\"></div><p>a</p><mbp:pagebreak/><div id=\"kavpage2\"></div>"
       "<p>b</p><MBP:PAGEBREAK></MBP:PAGEBREAK><div id=\"kavpage3\"></div>c</body>"},
      {"<body><p>h1 <hr> <h4>x</h4></p></body>", "flawed 0", ""},
  };
  for (const Case& c : cases) {
    std::string html = c.html;
    EXPECT_EQ(c.expected, Dump(MadeToc(&html)));
    EXPECT_EQ(c.changed.empty() ? c.html : c.changed, html);
  }
}

}  // namespace
}  // namespace kavmobi
