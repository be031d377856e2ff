#include "versions/executable_file.h"

#include <cstdint>
#include <initializer_list>
#include <utility>

namespace {

using std::string;

constexpr std::size_t kHeadAt = 0x40;
constexpr std::size_t kResourcesAt = 0x200;
constexpr std::uint32_t kResourcesAddress = 0x1000;

// Returns numbers with the specified sizes, lowest byte first.
string Fields(std::initializer_list<std::pair<std::uint64_t, int>> fields) {
  string bytes;
  for (auto [value, size] : fields) {
    for (; size > 0; --size, value >>= 8) bytes += static_cast<char>(value);
  }
  return bytes;
}

void Align(string& bytes, std::size_t to) {
  while (bytes.size() % to != 0) bytes += '\0';
}

string Wide(const string& text) {
  string wide;
  for (const char character : text + '\0') wide += {character, '\0'};
  return wide;
}

// Returns a node of a version resource. `length` is in characters for texts, otherwise in bytes.
string NodeOf(const string& key, bool text, const string& value, std::size_t length, const string& children) {
  string node = Fields({{0, 2}, {length, 2}, {text ? 1 : 0, 2}}) + Wide(key);
  Align(node, 4);
  node += value;
  if (!children.empty()) Align(node, 4);
  node += children;
  return node.replace(0, 2, Fields({{node.size(), 2}}));
}

string TextNode(const char* key, const std::optional<string>& text, bool as_bytes = false) {
  if (!text) return {};
  string node = NodeOf(key, !as_bytes, Wide(*text), (as_bytes ? 2 : 1) * (text->size() + 1), "");
  Align(node, 4);
  return node;
}

string VersionResource(const ExecutableFile& file) {
  const string texts = TextNode("CompanyName", "somebody") +
                       TextNode("FileVersion", file.file_version, file.marked_as_bytes) +
                       TextNode("SpecialBuild", file.special_build, file.marked_as_bytes);
  string children = NodeOf("StringFileInfo", true, "", 0, NodeOf("040904B0", true, "", 0, texts));
  Align(children, 4);
  const string language = Fields({{0x0409, 2}, {0x04B0, 2}});
  if (file.translation)
    children += NodeOf("VarFileInfo", true, "", 0, NodeOf("Translation", false, language, 4, ""));
  return NodeOf("VS_VERSION_INFO", false, string(52, '\1'), 52, children);
}

// Returns three levels of folders with one entry each, the position of the data, and the data.
string ResourceSection(const string& data) {
  constexpr std::uint64_t kFolder = 0x80000000;
  return Fields({{0, 12}, {0, 2}, {1, 2}, {16, 4}, {kFolder + 24, 4}}) +
         Fields({{0, 12}, {0, 2}, {1, 2}, {1, 4}, {kFolder + 48, 4}}) +
         Fields({{0, 12}, {0, 2}, {1, 2}, {0x409, 4}, {72, 4}}) +
         Fields({{kResourcesAddress + 88, 4}, {data.size(), 4}, {0, 8}}) + data;
}

}  // namespace

string ExecutableFile::Bytes() const {
  const string section = ResourceSection(VersionResource(*this));
  const std::size_t optional_size = (plus ? 112 : 96) + 16 * 8;
  string optional = Fields({{plus ? 0x20B : 0x10B, 2}});
  optional.resize(plus ? 108 : 92);
  optional += Fields({{16, 4}, {0, 16}, {kResourcesAddress, 4}, {section.size(), 4}});
  optional.resize(optional_size);
  string bytes = "MZ";
  bytes.resize(kHeadAt - 4);
  bytes += Fields({{kHeadAt, 4}}) + string("PE\0\0", 4);
  bytes += Fields({{plus ? 0x8664 : 0x14C, 2}, {1, 2}, {0, 12}, {optional_size, 2}, {2, 2}}) + optional;
  bytes +=
      string(".rsrc\0\0\0", 8) + Fields({{section.size(), 4}, {kResourcesAddress, 4}, {section.size(), 4}});
  bytes += Fields({{kResourcesAt, 4}, {0, 16}});
  bytes.resize(kResourcesAt);
  return bytes + section;
}
