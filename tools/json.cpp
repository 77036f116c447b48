#include "json.h"

#include <cmath>
#include <cstdlib>

#include "error.h"

namespace vt {

const Json *Json::find(const std::string &key) const {
  for (const auto &f : fields)
    if (f.first == key) return &f.second;
  return nullptr;
}

const char *Json::type_name() const {
  switch (type) {
    case kNull: return "null";
    case kBool: return "a boolean";
    case kNumber: return "a number";
    case kString: return "a string";
    case kArray: return "an array";
    case kObject: return "an object";
  }
  return "?";
}

namespace {

constexpr int kMaxDepth = 64;

class Parser {
 public:
  Parser(const std::string &text, const std::string &origin) : s_(text), origin_(origin) {}

  Json document() {
    skip_space();
    Json v = value(0);
    skip_space();
    if (pos_ != s_.size()) fail("unexpected text after the end of the document");
    return v;
  }

 private:
  const std::string &s_;
  const std::string &origin_;
  size_t pos_ = 0;
  int line_ = 1;
  size_t line_start_ = 0;

  [[noreturn]] void fail(const std::string &what) const {
    usage_error(origin_ + ":" + std::to_string(line_) + ":" + std::to_string(pos_ - line_start_ + 1) + ": " +
                what);
  }

  int peek() const { return pos_ < s_.size() ? static_cast<unsigned char>(s_[pos_]) : -1; }

  void skip_space() {
    while (pos_ < s_.size()) {
      char c = s_[pos_];
      if (c == '\n') {
        ++pos_;
        ++line_;
        line_start_ = pos_;
      } else if (c == ' ' || c == '\t' || c == '\r') {
        ++pos_;
      } else {
        break;
      }
    }
  }

  void expect_word(const char *word) {
    for (const char *w = word; *w; ++w, ++pos_)
      if (pos_ >= s_.size() || s_[pos_] != *w) fail(std::string("expected '") + word + "'");
  }

  Json value(int depth) {
    if (depth >= kMaxDepth) fail("nesting deeper than 64 levels");
    Json v;
    v.line = line_;
    v.column = static_cast<int>(pos_ - line_start_ + 1);
    int c = peek();
    if (c == '{') {
      v.type = Json::kObject;
      ++pos_;
      skip_space();
      if (peek() == '}') {
        ++pos_;
        return v;
      }
      for (;;) {
        skip_space();
        if (peek() != '"') fail("expected a field name in double quotes");
        const size_t key_start = pos_;
        std::string key = string_body();
        for (const auto &f : v.fields)
          if (f.first == key) {
            pos_ = key_start;
            fail("field \"" + key + "\" given twice");
          }
        skip_space();
        if (peek() != ':') fail("expected ':' after a field name");
        ++pos_;
        skip_space();
        v.fields.emplace_back(key, value(depth + 1));
        skip_space();
        if (peek() == ',') {
          ++pos_;
          continue;
        }
        if (peek() == '}') {
          ++pos_;
          return v;
        }
        fail("expected ',' or '}'");
      }
    }
    if (c == '[') {
      v.type = Json::kArray;
      ++pos_;
      skip_space();
      if (peek() == ']') {
        ++pos_;
        return v;
      }
      for (;;) {
        skip_space();
        v.items.push_back(value(depth + 1));
        skip_space();
        if (peek() == ',') {
          ++pos_;
          continue;
        }
        if (peek() == ']') {
          ++pos_;
          return v;
        }
        fail("expected ',' or ']'");
      }
    }
    if (c == '"') {
      v.type = Json::kString;
      v.text = string_body();
      return v;
    }
    if (c == 't') {
      expect_word("true");
      v.type = Json::kBool;
      v.boolean = true;
      return v;
    }
    if (c == 'f') {
      expect_word("false");
      v.type = Json::kBool;
      return v;
    }
    if (c == 'n') {
      expect_word("null");
      return v;
    }
    if (c == '-' || (c >= '0' && c <= '9')) {
      v.type = Json::kNumber;
      v.number = number();
      return v;
    }
    if (c < 0) fail("unexpected end of the document");
    fail("unexpected character '" + std::string(1, static_cast<char>(c)) + "'");
  }

  // Strict number grammar: -?(0|[1-9][0-9]*)(\.[0-9]+)?([eE][+-]?[0-9]+)?
  double number() {
    size_t start = pos_;
    auto digits = [&] {
      size_t d = pos_;
      while (peek() >= '0' && peek() <= '9') ++pos_;
      return pos_ - d;
    };
    if (peek() == '-') ++pos_;
    if (peek() == '0') {
      ++pos_;
    } else if (digits() == 0) {
      fail("malformed number");
    }
    if (peek() == '.') {
      ++pos_;
      if (digits() == 0) fail("malformed number: digits expected after '.'");
    }
    if (peek() == 'e' || peek() == 'E') {
      ++pos_;
      if (peek() == '+' || peek() == '-') ++pos_;
      if (digits() == 0) fail("malformed number: digits expected in the exponent");
    }
    double d = std::strtod(s_.substr(start, pos_ - start).c_str(), nullptr);
    if (!std::isfinite(d)) fail("number out of range");
    return d;
  }

  unsigned hex4() {
    unsigned u = 0;
    for (int i = 0; i < 4; ++i) {
      int c = peek();
      unsigned d;
      if (c >= '0' && c <= '9') d = static_cast<unsigned>(c - '0');
      else if (c >= 'a' && c <= 'f') d = static_cast<unsigned>(c - 'a' + 10);
      else if (c >= 'A' && c <= 'F') d = static_cast<unsigned>(c - 'A' + 10);
      else fail("expected four hex digits after \\u");
      u = u * 16 + d;
      ++pos_;
    }
    return u;
  }

  static void put_utf8(std::string &out, unsigned cp) {
    if (cp < 0x80) {
      out += static_cast<char>(cp);
    } else if (cp < 0x800) {
      out += static_cast<char>(0xC0 | (cp >> 6));
      out += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
      out += static_cast<char>(0xE0 | (cp >> 12));
      out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
      out += static_cast<char>(0xF0 | (cp >> 18));
      out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
      out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (cp & 0x3F));
    }
  }

  // At the opening quote; returns the decoded contents and leaves pos_ after the closing quote.
  std::string string_body() {
    ++pos_;
    std::string out;
    for (;;) {
      int c = peek();
      if (c < 0) fail("unterminated string");
      if (c < 0x20) fail("control character inside a string");
      ++pos_;
      if (c == '"') return out;
      if (c != '\\') {
        out += static_cast<char>(c);
        continue;
      }
      int e = peek();
      ++pos_;
      switch (e) {
        case '"': out += '"'; break;
        case '\\': out += '\\'; break;
        case '/': out += '/'; break;
        case 'b': out += '\b'; break;
        case 'f': out += '\f'; break;
        case 'n': out += '\n'; break;
        case 'r': out += '\r'; break;
        case 't': out += '\t'; break;
        case 'u': {
          unsigned cp = hex4();
          if (cp >= 0xD800 && cp < 0xDC00) {
            if (peek() != '\\') fail("unpaired surrogate in \\u escape");
            ++pos_;
            if (peek() != 'u') fail("unpaired surrogate in \\u escape");
            ++pos_;
            unsigned lo = hex4();
            if (lo < 0xDC00 || lo > 0xDFFF) fail("unpaired surrogate in \\u escape");
            cp = 0x10000 + ((cp - 0xD800) << 10) + (lo - 0xDC00);
          } else if (cp >= 0xDC00 && cp < 0xE000) {
            fail("unpaired surrogate in \\u escape");
          }
          put_utf8(out, cp);
          break;
        }
        default: --pos_; fail("unknown escape in a string");
      }
    }
  }
};

}  // namespace

Json parse_json(const std::string &text, const std::string &origin) { return Parser(text, origin).document(); }

void append_json_string(std::string &out, const std::string &s) {
  static const char kHex[] = "0123456789abcdef";
  out += '"';
  for (unsigned char c : s) {
    switch (c) {
      case '"': out += "\\\""; break;
      case '\\': out += "\\\\"; break;
      case '\n': out += "\\n"; break;
      case '\r': out += "\\r"; break;
      case '\t': out += "\\t"; break;
      default:
        if (c < 0x20) {
          out += "\\u00";
          out += kHex[c >> 4];
          out += kHex[c & 15];
        } else {
          out += static_cast<char>(c);
        }
    }
  }
  out += '"';
}

}  // namespace vt
