#include "json.h"

#include <cmath>
#include <cstdio>
#include <iterator>

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

constexpr size_t kMaxDepth = 64;

// Walks the text for the parser and remembers how far it has read: a value's callback comes right after the
// parser read the value's last character (a number's one character more), which places the value.
struct ReadingIterator {
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char *;
  using reference = const char &;

  const char *at;
  const char **reached;

  reference operator*() const { return *at; }
  ReadingIterator &operator++() {
    *reached = ++at;
    return *this;
  }
  bool operator==(const ReadingIterator &o) const { return at == o.at; }
  bool operator!=(const ReadingIterator &o) const { return at != o.at; }
};

bool number_char(char c) { return (c >= '0' && c <= '9') || c == '.' || c == 'e' || c == 'E' || c == '+' || c == '-'; }

// Builds the document from the parser's events, each value with its line and column.
class Builder : public nlohmann::json_sax<nlohmann::json> {
 public:
  Builder(const std::string &text, const std::string &origin) : text_(text), origin_(origin) {}

  const char *reached = nullptr;
  Json root;

  bool null() override { return add(scalar(Json::kNull, consumed() - 4)); }
  bool boolean(bool v) override {
    Json j = scalar(Json::kBool, consumed() - (v ? 4 : 5));
    j.boolean = v;
    return add(std::move(j));
  }
  bool number_integer(number_integer_t v) override { return number(static_cast<double>(v)); }
  bool number_unsigned(number_unsigned_t v) override { return number(static_cast<double>(v)); }
  bool number_float(number_float_t v, const string_t &) override { return number(v); }
  bool string(string_t &v) override {
    Json j = scalar(Json::kString, string_start());
    j.text = std::move(v);
    return add(std::move(j));
  }
  bool binary(binary_t &) override { return false; }
  bool start_object(std::size_t) override { return open(Json::kObject); }
  bool start_array(std::size_t) override { return open(Json::kArray); }
  bool end_object() override { return close(); }
  bool end_array() override { return close(); }
  bool key(string_t &k) override {
    Frame &top = stack_.back();
    for (const auto &f : top.value.fields)
      if (f.first == k) fail_at(string_start(), "field \"" + k + "\" given twice");
    top.key = std::move(k);
    return true;
  }
  bool parse_error(std::size_t, const std::string &, const nlohmann::detail::exception &e) override {
    // "[json.exception.parse_error.101] parse error at line L, column C: what": the position is the parser's own.
    const std::string what = e.what();
    int line = 0, column = 0;
    const size_t at = what.find(" at line ");
    if (at != std::string::npos && std::sscanf(what.c_str() + at, " at line %d, column %d", &line, &column) == 2) {
      const size_t colon = what.find(": ", at);
      usage_error(origin_ + ":" + std::to_string(line) + ":" + std::to_string(column) + ": " +
                  (colon == std::string::npos ? what : what.substr(colon + 2)));
    }
    fail_at(consumed(), what.substr(what.find(']') + 2));
  }

 private:
  struct Frame {
    Json value;
    std::string key;
  };

  size_t consumed() const { return static_cast<size_t>(reached - text_.data()); }

  // The opening quote of the string whose closing quote was the last character read.
  size_t string_start() const {
    size_t i = consumed() - 1;
    while (i > 0) {
      i = text_.rfind('"', i - 1);
      size_t slashes = 0;
      while (slashes < i && text_[i - 1 - slashes] == '\\') ++slashes;
      if (slashes % 2 == 0) return i;
    }
    return 0;
  }

  [[noreturn]] void fail_at(size_t offset, const std::string &what) const {
    const Json j = scalar(Json::kNull, offset);
    usage_error(origin_ + ":" + std::to_string(j.line) + ":" + std::to_string(j.column) + ": " + what);
  }

  Json scalar(Json::Type type, size_t offset) const {
    Json j;
    j.type = type;
    size_t line_start = 0;
    j.line = 1;
    for (size_t i = 0; i < offset && i < text_.size(); ++i)
      if (text_[i] == '\n') {
        ++j.line;
        line_start = i + 1;
      }
    j.column = static_cast<int>(offset - line_start + 1);
    return j;
  }

  bool number(double v) {
    size_t end = consumed();
    if (end > 0 && !number_char(text_[end - 1])) --end;  // the character read past the number
    size_t start = end;
    while (start > 0 && number_char(text_[start - 1])) --start;
    if (!std::isfinite(v)) fail_at(start, "number out of range");
    Json j = scalar(Json::kNumber, start);
    j.number = v;
    return add(std::move(j));
  }

  bool open(Json::Type type) {
    if (stack_.size() >= kMaxDepth) fail_at(consumed() - 1, "nesting deeper than 64 levels");
    stack_.push_back(Frame{scalar(type, consumed() - 1), {}});
    return true;
  }

  bool close() {
    Json done = std::move(stack_.back().value);
    stack_.pop_back();
    return add(std::move(done));
  }

  bool add(Json v) {
    if (stack_.empty()) {
      root = std::move(v);
    } else if (stack_.back().value.type == Json::kArray) {
      stack_.back().value.items.push_back(std::move(v));
    } else {
      stack_.back().value.fields.emplace_back(std::move(stack_.back().key), std::move(v));
    }
    return true;
  }

  const std::string &text_;
  const std::string &origin_;
  std::vector<Frame> stack_;
};

}  // namespace

Json parse_json(const std::string &document, const std::string &origin) {
  // A byte-order mark (some editors write one) is no part of the document, nor of its columns.
  const std::string text = document.compare(0, 3, "\xEF\xBB\xBF") == 0 ? document.substr(3) : document;
  Builder b(text, origin);
  b.reached = text.data();
  ReadingIterator first{text.data(), &b.reached}, last{text.data() + text.size(), &b.reached};
  nlohmann::json::sax_parse(first, last, &b);
  return std::move(b.root);
}

std::string json_line(const JsonOut &value) { return value.dump(-1, ' ', false, JsonOut::error_handler_t::replace); }

}  // namespace vt
