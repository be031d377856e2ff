#ifndef TVL_CLI_JSON_H
#define TVL_CLI_JSON_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tvl::cli {

// A JSON object on one line, built member by member.
class JsonObject {
 public:
  // Bytes that are no UTF-8 become U+FFFD, and a member `key`_hex then holds the true ones.
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
