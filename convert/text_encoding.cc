#include "convert/text_encoding.h"

#include <errno.h>
#include <iconv.h>
#include <sys/stat.h>
#include <uchardet/uchardet.h>

#include <cctype>
#include <cstdio>
#include <cstring>
#include <vector>

#include "convert/progress_report.h"
#include "convert/text_file.h"
#include "service/kav_result.h"

namespace kav_convert {

namespace {

constexpr size_t kBlockSize = 256 << 10;
constexpr char kUtf8Bom[] = "\xEF\xBB\xBF";

bool IsUtf8Name(const std::string& name) {
  std::string plain;
  for (char c : name) {
    if (c != '-' && c != '_') plain += static_cast<char>(toupper(static_cast<unsigned char>(c)));
  }
  return plain == "UTF8";
}

bool StartsWith(const std::string& text, const char* prefix) {
  return text.compare(0, strlen(prefix), prefix) == 0;
}

// Whether the sample decodes as UTF-8, allowing a character cut off at its
// end (the sample may stop inside one).
bool IsUtf8Sample(const std::string& sample) {
  iconv_t cd = iconv_open("UTF-8", "UTF-8");
  if (cd == reinterpret_cast<iconv_t>(-1)) return false;
  std::vector<char> in(sample.begin(), sample.end());
  std::vector<char> out(sample.size() + 16);
  char* src = in.data();
  size_t left = in.size();
  char* dst = out.data();
  size_t room = out.size();
  const size_t result = iconv(cd, &src, &left, &dst, &room);
  const bool valid = result != static_cast<size_t>(-1) || (errno == EINVAL && left < 4);
  iconv_close(cd);
  return valid;
}

// Text in any 8-bit encoding has no zero bytes; UTF-16 has one in every
// character below U+0100. The order is told by line feeds, carriage returns
// and spaces, the high (zero) byte first in big-endian order; other
// characters can have a zero low byte (U+4E00) and would mislead.
std::string Utf16ByZeroBytes(const std::string& sample) {
  if (sample.find('\0') == std::string::npos) return "";
  size_t bigEndian = 0, littleEndian = 0;
  for (size_t i = 0; i + 1 < sample.size(); i += 2) {
    const char high = sample[i], low = sample[i + 1];
    if (high == '\0' && (low == '\n' || low == '\r' || low == ' ')) ++bigEndian;
    if (low == '\0' && (high == '\n' || high == '\r' || high == ' ')) ++littleEndian;
  }
  if (bigEndian == littleEndian) return "";
  return bigEndian > littleEndian ? "UTF-16BE" : "UTF-16LE";
}

std::string AskUchardet(const std::string& sample) {
  uchardet_t detector = uchardet_new();
  if (detector == nullptr) return "";
  std::string name;
  if (uchardet_handle_data(detector, sample.data(), sample.size()) == 0) {
    uchardet_data_end(detector);
    name = uchardet_get_charset(detector);
  }
  uchardet_delete(detector);
  return name;
}

// Decodes the rest of `in` (whose next byte is at offset `start`) from
// `from` into UTF-8, writing to `out` unless it is null (a check only). A
// leading U+FEFF is dropped, whatever the encoding.
class Decoder {
 public:
  Decoder(FILE* in, long long start, long long size, FILE* out, void* user,
          ProgressCallback progress)
      : in_(in),
        offset_(start),
        size_(size),
        out_(out),
        user_(user),
        progress_(progress),
        out_buffer_(4 * kBlockSize) {}

  int Run(const std::string& from, TextProblem* error) {
    error->encoding = from;
    iconv_t cd = iconv_open("UTF-8", from.c_str());
    if (cd == reinterpret_cast<iconv_t>(-1)) return KAV_ERR_UNKNOWN_ENCODING;
    const int status = Decode(cd, error);
    iconv_close(cd);
    return status;
  }

 private:
  int Decode(iconv_t cd, TextProblem* error) {
    std::vector<char> in(kBlockSize);
    size_t pending = 0;  // bytes of a character cut off by the last block
    for (;;) {
      const size_t got = fread(in.data() + pending, 1, in.size() - pending, in_);
      if (got == 0 && ferror(in_)) return KAV_ERR_OPEN;
      if (got == 0 && pending > 0) return Fail(-1, error);
      if (got == 0) return Flush(cd);
      char* src = in.data();
      size_t left = pending + got;
      while (left > 0) {
        char* dst = out_buffer_.data();
        size_t room = out_buffer_.size();
        const size_t result = iconv(cd, &src, &left, &dst, &room);
        const int reason = result == static_cast<size_t>(-1) ? errno : 0;
        if (!Write(dst)) return KAV_ERR_OPEN;
        if (reason == E2BIG) continue;
        if (reason == EINVAL) break;  // the rest comes with the next block
        if (reason != 0) {
          offset_ += src - in.data();
          return Fail(static_cast<unsigned char>(*src), error);
        }
      }
      offset_ += src - in.data();
      pending = left;
      memmove(in.data(), src, pending);
      // Sizes in KB keep a file of terabytes inside an int.
      if (IsCancel(ReportProgress(progress_, user_, static_cast<int>(offset_ >> 10),
                                  static_cast<int>(size_ >> 10)))) {
        return KAV_PROGRESS_CANCEL;
      }
    }
  }

  // Ends a stateful encoding's last shift sequence.
  int Flush(iconv_t cd) {
    char* dst = out_buffer_.data();
    size_t room = out_buffer_.size();
    iconv(cd, nullptr, nullptr, &dst, &room);
    return Write(dst) ? KAV_OK : KAV_ERR_OPEN;
  }

  bool Write(const char* end) {
    const char* begin = out_buffer_.data();
    if (first_ && end > begin) {
      first_ = false;
      if (end - begin >= 3 && memcmp(begin, kUtf8Bom, 3) == 0) begin += 3;
    }
    return out_ == nullptr || end == begin ||
           fwrite(begin, 1, static_cast<size_t>(end - begin), out_) ==
               static_cast<size_t>(end - begin);
  }

  // byte -1: the text ends inside a character.
  int Fail(int byte, TextProblem* error) {
    error->offset = offset_;
    error->byte = byte;
    return KAV_ERR_BAD_TEXT;
  }

  FILE* in_;
  long long offset_;
  long long size_;
  FILE* out_;
  void* user_;
  ProgressCallback progress_;
  bool first_ = true;
  std::vector<char> out_buffer_;
};

}  // namespace

std::string DetectEncoding(const std::string& sample, size_t* bomLength) {
  *bomLength = 0;
  const struct {
    const char* bom;
    const char* name;
  } marks[] = {{kUtf8Bom, "UTF-8"}, {"\xFF\xFE", "UTF-16LE"}, {"\xFE\xFF", "UTF-16BE"}};
  for (const auto& mark : marks) {
    if (!StartsWith(sample, mark.bom)) continue;
    *bomLength = strlen(mark.bom);
    return mark.name;
  }
  std::string utf16 = Utf16ByZeroBytes(sample);
  if (!utf16.empty()) return utf16;
  if (IsUtf8Sample(sample)) return "UTF-8";
  return AskUchardet(sample);
}

int PrepareUtf8Text(const std::string& input, const std::string& encoding,
                    const std::string& copyPath, void* user, ProgressCallback progress,
                    std::string* utf8Path, TextProblem* problem) {
  FILE* in = OpenTextFile(input.c_str());
  if (in == nullptr) {
    // The conversion reports a file it cannot open, in its order of checks.
    *utf8Path = input;
    return KAV_OK;
  }
  struct stat info = {};
  fstat(fileno(in), &info);
  std::string sample(kEncodingSampleSize, '\0');
  sample.resize(fread(&sample[0], 1, sample.size(), in));
  size_t bomLength = 0;
  std::string from = encoding.empty() ? DetectEncoding(sample, &bomLength) : encoding;
  if (from.empty()) {
    fclose(in);
    return KAV_ERR_UNCLEAR_ENCODING;
  }
  // UTF-8 without a mark is what the text path reads: it is only checked,
  // not copied, since a gigabyte file is common and invalid bytes must still
  // be found (they would make pages that are not well-formed XML).
  const bool copy = (!IsUtf8Name(from) || StartsWith(sample, kUtf8Bom)) && !copyPath.empty();
  FILE* out = nullptr;
  *utf8Path = input;
  if (copy) {
    *utf8Path = copyPath;
    out = fopen(copyPath.c_str(), "wb");
    if (out == nullptr) {
      fclose(in);
      return KAV_ERR_OPEN;
    }
  }
  int status = KAV_ERR_OPEN;
  if (fseek(in, static_cast<long>(bomLength), SEEK_SET) == 0) {
    Decoder decoder(in, static_cast<long long>(bomLength), info.st_size, out, user, progress);
    status = decoder.Run(from, problem);
  }
  fclose(in);
  if (out != nullptr && fclose(out) != 0 && status == KAV_OK) status = KAV_ERR_OPEN;
  return status;
}

}  // namespace kav_convert
