// A small JSON reader (configuration files) and the string escaping used when writing events.
#ifndef VORN_TOOLS_JSON_H
#define VORN_TOOLS_JSON_H

#include <string>
#include <utility>
#include <vector>

namespace vt {

class Json {
 public:
  enum Type { kNull, kBool, kNumber, kString, kArray, kObject };

  Type type = kNull;
  bool boolean = false;
  double number = 0.0;
  std::string text;                                  // kString
  std::vector<Json> items;                           // kArray
  std::vector<std::pair<std::string, Json>> fields;  // kObject, in file order
  int line = 0, column = 0;                          // where the value starts, for messages

  // The field named `key`, or nullptr (objects only).
  const Json *find(const std::string &key) const;
  const char *type_name() const;
};

// Parses a whole document. Throws a usage error "<origin>:<line>:<column>: <what is wrong>" on bad input.
Json parse_json(const std::string &text, const std::string &origin);

// Appends `s` as a JSON string literal (quotes included) to `out`.
void append_json_string(std::string &out, const std::string &s);

}  // namespace vt

#endif
