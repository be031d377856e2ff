#ifndef TVL_CLI_OUTPUT_JSON_H
#define TVL_CLI_OUTPUT_JSON_H

#include <concepts>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace tvl::cli {

// A JSON object, built member by member.
class JsonObject {
 public:
  // Invalid UTF-8 becomes U+FFFD, and an additional member `key`_hex then contains the original bytes.
  JsonObject& Text(std::string_view key, std::string_view value);
  template <std::integral Value>
  JsonObject& Number(std::string_view key, Value value) {
    members_[std::string(key)] = value;
    return *this;
  }
  JsonObject& Flag(std::string_view key, bool value);
  JsonObject& Object(std::string_view key, const JsonObject& value);
  JsonObject& Array(std::string_view key, const std::vector<JsonObject>& values);

  // Returns the object on one line. Characters that would control a terminal are escaped.
  [[nodiscard]] std::string Line() const;

 private:
  nlohmann::ordered_json members_ = nlohmann::ordered_json::object();
};

}  // namespace tvl::cli

#endif
