#ifndef TVL_CLI_OUTPUT_JSON_H
#define TVL_CLI_OUTPUT_JSON_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tvl::cli {

// A JSON object on one line, built member by member.
class JsonObject {
 public:
  // Invalid UTF-8 becomes U+FFFD, and an additional member `key`_hex then contains the original bytes.
  JsonObject& Text(std::string_view key, std::string_view value);
  JsonObject& Number(std::string_view key, std::int64_t value);
  JsonObject& Flag(std::string_view key, bool value);
  JsonObject& Object(std::string_view key, const JsonObject& value);
  JsonObject& Array(std::string_view key, const std::vector<JsonObject>& values);

  [[nodiscard]] std::string Line() const { return "{" + members_ + "}"; }

 private:
  void Key(std::string_view key);

  std::string members_;
};

}  // namespace tvl::cli

#endif
