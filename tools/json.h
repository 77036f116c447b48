// JSON for the program: documents read (configuration files) keep where each value starts, for messages; what is
// written (events, info lines, the scene's truth) is built with nlohmann::ordered_json so fields keep their order.
#ifndef VORN_TOOLS_JSON_H
#define VORN_TOOLS_JSON_H

#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

namespace vt {

using JsonOut = nlohmann::ordered_json;

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

// Parses a whole document (a UTF-8 byte-order mark at its start is skipped). Throws a usage error
// "<origin>:<line>:<column>: <what is wrong>" on bad input, duplicate fields and nesting deeper than 64 levels.
Json parse_json(const std::string &text, const std::string &origin);

// One line of output: the value as compact JSON, invalid UTF-8 replaced rather than refused.
std::string json_line(const JsonOut &value);

}  // namespace vt

#endif
