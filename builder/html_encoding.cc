#include "builder/html_encoding.h"

#include <errno.h>
#include <iconv.h>
#include <uchardet/uchardet.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <map>
#include <utility>

#include "builder/builder_table.h"
#include "fileutil/file_util.h"
#include "service/kav_result.h"

namespace kav_builder {

namespace {

// How far into a page its declaration is looked for. Browsers look at the
// first 1024 bytes; pages with long comments or scripts in their heads put
// it later, and reading further costs nothing here.
constexpr size_t kDeclarationWindow = 4096;
// How much of a page the guess reads.
constexpr size_t kGuessSample = 64 << 10;

const char kReplacement[] = "\xEF\xBF\xBD";

// Labels of the WHATWG Encoding Standard, each with the iconv encoding that
// decodes what the standard's decoder decodes (or the nearest glibc has).
struct LabelGroup {
  const char* encoding;
  const char* labels;  // separated by spaces
};
const LabelGroup kLabels[] = {
    {"UTF-8", "unicode-1-1-utf-8 unicode11utf8 unicode20utf8 utf-8 utf8 x-unicode20utf8"},
    {"CP866", "866 cp866 csibm866 ibm866"},
    {"ISO-8859-2",
     "csisolatin2 iso-8859-2 iso-ir-101 iso8859-2 iso88592 iso_8859-2 "
     "iso_8859-2:1987 l2 latin2"},
    {"ISO-8859-3",
     "csisolatin3 iso-8859-3 iso-ir-109 iso8859-3 iso88593 iso_8859-3 "
     "iso_8859-3:1988 l3 latin3"},
    {"ISO-8859-4",
     "csisolatin4 iso-8859-4 iso-ir-110 iso8859-4 iso88594 iso_8859-4 "
     "iso_8859-4:1988 l4 latin4"},
    {"ISO-8859-5",
     "csisolatincyrillic cyrillic iso-8859-5 iso-ir-144 iso8859-5 iso88595 "
     "iso_8859-5 iso_8859-5:1988"},
    {"ISO-8859-6",
     "arabic asmo-708 csiso88596e csiso88596i csisolatinarabic ecma-114 "
     "iso-8859-6 iso-8859-6-e iso-8859-6-i iso-ir-127 iso8859-6 iso88596 "
     "iso_8859-6 iso_8859-6:1987"},
    {"ISO-8859-7",
     "csisolatingreek ecma-118 elot_928 greek greek8 iso-8859-7 iso-ir-126 "
     "iso8859-7 iso88597 iso_8859-7 iso_8859-7:1987 sun_eu_greek"},
    {"ISO-8859-8",
     "csiso88598e csisolatinhebrew hebrew iso-8859-8 iso-8859-8-e iso-ir-138 "
     "iso8859-8 iso88598 iso_8859-8 iso_8859-8:1988 visual csiso88598i "
     "iso-8859-8-i logical"},
    {"ISO-8859-10", "csisolatin6 iso-8859-10 iso-ir-157 iso8859-10 iso885910 l6 latin6"},
    {"ISO-8859-13", "iso-8859-13 iso8859-13 iso885913"},
    {"ISO-8859-14", "iso-8859-14 iso8859-14 iso885914"},
    {"ISO-8859-15", "csisolatin9 iso-8859-15 iso8859-15 iso885915 iso_8859-15 l9"},
    {"ISO-8859-16", "iso-8859-16"},
    {"KOI8-R", "cskoi8r koi koi8 koi8-r koi8_r"},
    {"KOI8-U", "koi8-ru koi8-u"},
    {"MACINTOSH", "csmacintosh mac macintosh x-mac-roman"},
    {"CP874", "dos-874 iso-8859-11 iso8859-11 iso885911 tis-620 windows-874"},
    {"WINDOWS-1250", "cp1250 windows-1250 x-cp1250"},
    {"WINDOWS-1251", "cp1251 windows-1251 x-cp1251"},
    {"WINDOWS-1252",
     "ansi_x3.4-1968 ascii cp1252 cp819 csisolatin1 ibm819 iso-8859-1 "
     "iso-ir-100 iso8859-1 iso88591 iso_8859-1 iso_8859-1:1987 l1 latin1 "
     "us-ascii windows-1252 x-cp1252"},
    {"WINDOWS-1253", "cp1253 windows-1253 x-cp1253"},
    {"WINDOWS-1254",
     "cp1254 csisolatin5 iso-8859-9 iso-ir-148 iso8859-9 iso88599 iso_8859-9 "
     "iso_8859-9:1989 l5 latin5 windows-1254 x-cp1254"},
    {"WINDOWS-1255", "cp1255 windows-1255 x-cp1255"},
    {"WINDOWS-1256", "cp1256 windows-1256 x-cp1256"},
    {"WINDOWS-1257", "cp1257 windows-1257 x-cp1257"},
    {"WINDOWS-1258", "cp1258 windows-1258 x-cp1258"},
    {"GB18030",
     "chinese csgb2312 csiso58gb231280 gb2312 gb_2312 gb_2312-80 gbk iso-ir-58 "
     "x-gbk gb18030"},
    {"BIG5-HKSCS", "big5 big5-hkscs cn-big5 csbig5 x-x-big5"},
    {"EUC-JP", "cseucpkdfmtjapanese euc-jp x-euc-jp"},
    {"ISO-2022-JP", "csiso2022jp iso-2022-jp"},
    {"CP932", "csshiftjis ms932 ms_kanji shift-jis shift_jis sjis windows-31j x-sjis"},
    {"CP949",
     "cseuckr csksc56011987 euc-kr iso-ir-149 korean ks_c_5601-1987 ks_c_5601-1989 "
     "ksc5601 ksc_5601 windows-949"},
    {"UTF-16BE", "unicodefffe utf-16be"},
    {"UTF-16LE", "csunicode iso-10646-ucs-2 ucs-2 unicode unicodefeff utf-16 utf-16le"},
};

const std::map<std::string, std::string>& LabelTable() {
  static const std::map<std::string, std::string> table = [] {
    std::map<std::string, std::string> byLabel;
    for (const LabelGroup& group : kLabels) {
      const char* label = group.labels;
      while (*label != '\0') {
        const size_t length = strcspn(label, " ");
        byLabel[std::string(label, length)] = group.encoding;
        label += length;
        while (*label == ' ') ++label;
      }
    }
    return byLabel;
  }();
  return table;
}

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '/';
}

std::string Lower(std::string text) {
  for (char& c : text) c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
  return text;
}

// The value after "charset" and "=" in a Content-Type's content, quoted or
// up to the next blank or ";".
std::string CharsetOfContent(const std::string& content) {
  const std::string lower = Lower(content);
  size_t at = 0;
  while ((at = lower.find("charset", at)) != std::string::npos) {
    at += 7;
    while (at < lower.size() && IsBlank(lower[at])) ++at;
    if (at >= lower.size() || lower[at] != '=') continue;
    ++at;
    while (at < lower.size() && IsBlank(lower[at])) ++at;
    if (at < lower.size() && (lower[at] == '"' || lower[at] == '\'')) {
      const size_t end = lower.find(lower[at], at + 1);
      if (end == std::string::npos) return "";
      return content.substr(at + 1, end - at - 1);
    }
    const size_t end = lower.find_first_of(" \t\n\r\f;", at);
    return content.substr(at, end == std::string::npos ? std::string::npos : end - at);
  }
  return "";
}

// Reads the attributes of the tag whose name ends just before at, up to its
// ">"; names lower-cased. at is left after the tag.
std::map<std::string, std::string> TagAttributes(const std::string& text, size_t* at) {
  std::map<std::string, std::string> attributes;
  size_t i = *at;
  for (;;) {
    while (i < text.size() && IsBlank(text[i])) ++i;
    if (i >= text.size() || text[i] == '>') break;
    size_t start = i;
    while (i < text.size() && !IsBlank(text[i]) && text[i] != '=' && text[i] != '>') ++i;
    std::string name = Lower(text.substr(start, i - start));
    while (i < text.size() && IsBlank(text[i]) && text[i] != '/') ++i;
    std::string value;
    if (i < text.size() && text[i] == '=') {
      ++i;
      while (i < text.size() && IsBlank(text[i]) && text[i] != '/') ++i;
      if (i < text.size() && (text[i] == '"' || text[i] == '\'')) {
        const size_t end = text.find(text[i], i + 1);
        if (end == std::string::npos) break;
        value = text.substr(i + 1, end - i - 1);
        i = end + 1;
      } else {
        start = i;
        while (i < text.size() && !isspace(static_cast<unsigned char>(text[i])) && text[i] != '>') {
          ++i;
        }
        value = text.substr(start, i - start);
      }
    }
    if (!name.empty()) attributes.emplace(name, value);  // the first of a name counts
  }
  *at = i;
  return attributes;
}

bool IsValidUtf8(const std::string& bytes) {
  const auto* p = reinterpret_cast<const unsigned char*>(bytes.data());
  const unsigned char* end = p + bytes.size();
  while (p < end) {
    if (*p < 0x80) {
      ++p;
      continue;
    }
    size_t length = 0;
    unsigned min = 0, value = 0;
    if ((*p & 0xE0) == 0xC0)
      length = 2, min = 0x80, value = *p & 0x1F;
    else if ((*p & 0xF0) == 0xE0)
      length = 3, min = 0x800, value = *p & 0x0F;
    else if ((*p & 0xF8) == 0xF0)
      length = 4, min = 0x10000, value = *p & 0x07;
    else
      return false;
    if (static_cast<size_t>(end - p) < length) return false;
    for (size_t i = 1; i < length; ++i) {
      if ((p[i] & 0xC0) != 0x80) return false;
      value = (value << 6) | (p[i] & 0x3F);
    }
    if (value < min || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) return false;
    p += length;
  }
  return true;
}

// UTF-16 without a mark: markup is mostly ASCII, so one byte of each pair
// is zero, the first in big-endian order.
std::string Utf16ByZeroBytes(const std::string& page) {
  const size_t window = std::min(page.size(), kDeclarationWindow) & ~size_t{1};
  size_t evenZeros = 0, oddZeros = 0;
  for (size_t i = 0; i < window; i += 2) {
    evenZeros += page[i] == '\0';
    oddZeros += page[i + 1] == '\0';
  }
  if (evenZeros + oddZeros < window / 4) return "";
  if (oddZeros > 4 * evenZeros) return "UTF-16LE";
  if (evenZeros > 4 * oddZeros) return "UTF-16BE";
  return "";
}

std::string Guess(const std::string& page) {
  std::string name;
  uchardet_t detector = uchardet_new();
  if (detector == nullptr) return name;
  if (uchardet_handle_data(detector, page.data(), std::min(page.size(), kGuessSample)) == 0) {
    uchardet_data_end(detector);
    name = uchardet_get_charset(detector);
  }
  uchardet_delete(detector);
  // uchardet says ISO-8859-1 where the page is windows-1252, as browsers
  // read it, and so on.
  const std::string known = EncodingForLabel(name);
  return known.empty() ? name : known;
}

bool IconvKnows(const std::string& encoding) {
  iconv_t cd = iconv_open("UTF-8", encoding.c_str());
  if (cd == reinterpret_cast<iconv_t>(-1)) return false;
  iconv_close(cd);
  return true;
}

bool ReadWhole(const std::string& path, std::string* bytes) {
  FILE* file = fopen(path.c_str(), "rb");
  if (file == nullptr) return false;
  char block[64 << 10];
  size_t got = 0;
  while ((got = fread(block, 1, sizeof block, file)) > 0) bytes->append(block, got);
  const bool ok = ferror(file) == 0;
  fclose(file);
  return ok;
}

bool WriteWhole(const std::string& path, const std::string& bytes) {
  FILE* file = fopen(path.c_str(), "wb");
  if (file == nullptr) return false;
  const bool written = fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  return fclose(file) == 0 && written;
}

size_t BomLength(const std::string& bytes, std::string* encoding) {
  const struct {
    const char* bom;
    const char* name;
  } marks[] = {{"\xEF\xBB\xBF", "UTF-8"}, {"\xFF\xFE", "UTF-16LE"}, {"\xFE\xFF", "UTF-16BE"}};
  for (const auto& mark : marks) {
    if (bytes.compare(0, strlen(mark.bom), mark.bom) != 0) continue;
    *encoding = mark.name;
    return strlen(mark.bom);
  }
  return 0;
}

BuilderTable<std::string>& Modes() {
  static BuilderTable<std::string> modes;
  return modes;
}

}  // namespace

std::string EncodingForLabel(const std::string& label) {
  size_t begin = 0, end = label.size();
  while (begin < end && isspace(static_cast<unsigned char>(label[begin]))) ++begin;
  while (end > begin && isspace(static_cast<unsigned char>(label[end - 1]))) --end;
  auto found = LabelTable().find(Lower(label.substr(begin, end - begin)));
  return found == LabelTable().end() ? "" : found->second;
}

std::string DeclaredLabel(const std::string& page) {
  const std::string head = page.substr(0, kDeclarationWindow);
  const std::string lower = Lower(head);
  size_t at = 0;
  while (at < lower.size() && isspace(static_cast<unsigned char>(lower[at]))) ++at;
  if (lower.compare(at, 5, "<?xml") == 0) {
    const size_t end = lower.find("?>", at);
    const size_t name = lower.find("encoding", at);
    if (name != std::string::npos && (end == std::string::npos || name < end)) {
      size_t i = name + 8;
      while (i < head.size() && isspace(static_cast<unsigned char>(head[i]))) ++i;
      if (i < head.size() && head[i] == '=') {
        ++i;
        while (i < head.size() && isspace(static_cast<unsigned char>(head[i]))) ++i;
        if (i < head.size() && (head[i] == '"' || head[i] == '\'')) {
          const size_t close = head.find(head[i], i + 1);
          if (close != std::string::npos) return head.substr(i + 1, close - i - 1);
        }
      }
    }
  }
  at = 0;
  while ((at = lower.find('<', at)) != std::string::npos) {
    if (lower.compare(at, 4, "<!--") == 0) {
      const size_t end = lower.find("-->", at + 4);
      if (end == std::string::npos) break;
      at = end + 3;
      continue;
    }
    if (lower.compare(at, 5, "<meta") != 0 || at + 5 >= lower.size() || !IsBlank(lower[at + 5])) {
      ++at;
      continue;
    }
    at += 5;
    const std::map<std::string, std::string> attributes = TagAttributes(head, &at);
    auto charset = attributes.find("charset");
    if (charset != attributes.end() && !charset->second.empty()) return charset->second;
    auto equiv = attributes.find("http-equiv");
    auto content = attributes.find("content");
    if (equiv != attributes.end() && content != attributes.end() &&
        Lower(equiv->second) == "content-type") {
      const std::string label = CharsetOfContent(content->second);
      if (!label.empty()) return label;
    }
  }
  return "";
}

std::string ChoosePageEncoding(const std::string& page, const std::string& mode,
                               size_t* bomLength) {
  std::string encoding;
  *bomLength = BomLength(page, &encoding);
  // A byte-order mark decides, whatever else is said (as in browsers).
  if (*bomLength > 0) return encoding;
  if (mode != "auto") {
    const std::string named = EncodingForLabel(mode);
    return named.empty() ? mode : named;
  }
  encoding = Utf16ByZeroBytes(page);
  if (!encoding.empty()) return encoding;
  encoding = EncodingForLabel(DeclaredLabel(page));
  // A declaration found by reading the bytes as ASCII cannot be true of
  // UTF-16; browsers read such a page as UTF-8.
  if (encoding == "UTF-16LE" || encoding == "UTF-16BE") encoding = "UTF-8";
  const bool utf8 = IsValidUtf8(page);
  if (!encoding.empty() && (encoding != "UTF-8" || utf8)) return encoding;
  if (utf8) return "UTF-8";
  encoding = Guess(page);
  if (encoding.empty() || encoding == "UTF-8" || !IconvKnows(encoding)) return "WINDOWS-1252";
  return encoding;
}

std::string DecodeToUtf8(const std::string& bytes, const std::string& encoding) {
  std::string text;
  iconv_t cd = iconv_open("UTF-8", encoding.c_str());
  if (cd == reinterpret_cast<iconv_t>(-1)) return text;
  text.reserve(bytes.size() + bytes.size() / 2);
  // iconv does not write through its input pointer.
  char* src = const_cast<char*>(bytes.data());
  size_t left = bytes.size();
  char out[16 << 10];
  while (left > 0) {
    char* dst = out;
    size_t room = sizeof out;
    const size_t result = iconv(cd, &src, &left, &dst, &room);
    const int reason = result == static_cast<size_t>(-1) ? errno : 0;
    text.append(out, static_cast<size_t>(dst - out));
    if (reason == E2BIG || reason == 0) continue;
    // A byte that does not decode, or a character cut off at the end.
    text += kReplacement;
    const size_t skip = reason == EINVAL ? left : 1;
    src += skip;
    left -= skip;
    iconv(cd, nullptr, nullptr, nullptr, nullptr);
  }
  char* dst = out;
  size_t room = sizeof out;
  iconv(cd, nullptr, nullptr, &dst, &room);
  text.append(out, static_cast<size_t>(dst - out));
  iconv_close(cd);
  if (text.compare(0, 3, "\xEF\xBB\xBF") == 0) text.erase(0, 3);
  return text;
}

int SetHtmlEncoding(const EpubBase* builder, const char* mode) {
  std::string setting = mode != nullptr ? mode : "";
  if (!setting.empty() && setting != "auto") {
    const std::string named = EncodingForLabel(setting);
    if (!IconvKnows(named.empty() ? setting : named)) return KAV_ERR_UNKNOWN_ENCODING;
  }
  if (setting.empty()) {
    Modes().Forget(builder);
  } else {
    Modes().Set(builder, setting);
  }
  return KAV_OK;
}

std::string HtmlEncodingOf(const EpubBase* builder) { return Modes().Of(builder); }

void ForgetHtmlEncoding(const EpubBase* builder) { Modes().Forget(builder); }

int Utf8PageFor(const std::string& src, const std::string& mode, const std::string& copyPath,
                std::string* readPath) {
  *readPath = src;
  std::string page;
  if (!ReadWhole(src, &page)) return KAV_OK;
  size_t bomLength = 0;
  const std::string encoding = ChoosePageEncoding(page, mode, &bomLength);
  if (encoding == "UTF-8" && bomLength == 0 && IsValidUtf8(page)) return KAV_OK;
  if (!WriteWhole(copyPath, DecodeToUtf8(page.substr(bomLength), encoding))) return KAV_ERR_OPEN;
  *readPath = copyPath;
  return KAV_OK;
}

bool ReadPageAsUtf8(const std::string& path, const std::string& mode, std::string* text) {
  std::string page;
  if (!ReadWhole(path, &page)) return false;
  size_t bomLength = 0;
  const std::string encoding = ChoosePageEncoding(page, mode, &bomLength);
  *text = encoding == "UTF-8" && bomLength == 0 && IsValidUtf8(page)
              ? std::move(page)
              : DecodeToUtf8(page.substr(bomLength), encoding);
  return true;
}

int CopyStyleSheet(const std::string& src, const std::string& dest) {
  std::string sheet;
  if (!ReadWhole(src, &sheet)) return CopyFile(src.c_str(), dest.c_str());
  std::string encoding;
  const size_t bomLength = BomLength(sheet, &encoding);
  // "@charset" with exactly one space and a double-quoted name is the only
  // form that counts.
  const char kRule[] = "@charset \"";
  if (bomLength == 0 && sheet.compare(0, strlen(kRule), kRule) == 0) {
    const size_t close = sheet.find("\";", strlen(kRule));
    if (close != std::string::npos) {
      encoding = EncodingForLabel(sheet.substr(strlen(kRule), close - strlen(kRule)));
    }
  }
  if (encoding == "UTF-16LE" && bomLength == 0) encoding = "UTF-8";
  if (encoding == "UTF-16BE" && bomLength == 0) encoding = "UTF-8";
  if (encoding.empty() || (encoding == "UTF-8" && bomLength == 0)) {
    return CopyFile(src.c_str(), dest.c_str());
  }
  std::string text = DecodeToUtf8(sheet.substr(bomLength), encoding);
  if (text.compare(0, strlen(kRule), kRule) == 0) {
    const size_t close = text.find("\";", strlen(kRule));
    if (close != std::string::npos) text.replace(0, close + 2, "@charset \"UTF-8\";");
  }
  return WriteWhole(dest, text) ? KAV_OK : KAV_ERR_OPEN;
}

}  // namespace kav_builder
