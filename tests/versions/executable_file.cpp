#include "versions/executable_file.h"

#include <cstdint>

namespace {

using std::string;

constexpr std::size_t kHeadAt = 0x40;
constexpr std::size_t kResourcesAt = 0x200;
constexpr std::uint32_t kResourcesAddress = 0x1000;

void Put(string& bytes, std::uint64_t value, int size) {
  for (; size > 0; --size, value >>= 8) bytes += static_cast<char>(value);
}

void Align(string& bytes, std::size_t to) {
  while (bytes.size() % to != 0) bytes += '\0';
}

string Wide(const string& text) {
  string wide;
  for (const char character : text + '\0') wide += {character, '\0'};
  return wide;
}

// A node of a version resource: `length` is in characters for texts, in bytes else.
string NodeOf(const string& key, bool text, const string& value, std::size_t length, const string& children) {
  string node;
  Put(node, length, 2);
  Put(node, text ? 1 : 0, 2);
  node += Wide(key);
  node.insert(0, 2, '\0');
  Align(node, 4);
  node += value;
  if (!children.empty()) Align(node, 4);
  node += children;
  string size;
  Put(size, node.size(), 2);
  return node.replace(0, 2, size);
}

string TextNode(const char* key, const std::optional<string>& text) {
  if (!text) return {};
  string node = NodeOf(key, true, Wide(*text), text->size() + 1, "");
  Align(node, 4);
  return node;
}

string VersionResource(const ExecutableFile& file) {
  const string texts = TextNode("CompanyName", "somebody") + TextNode("FileVersion", file.file_version) +
                       TextNode("SpecialBuild", file.special_build);
  string children = NodeOf("StringFileInfo", true, "", 0, NodeOf("040904B0", true, "", 0, texts));
  Align(children, 4);
  if (file.translation) {
    string pair;
    Put(pair, 0x0409, 2);
    Put(pair, 0x04B0, 2);
    children += NodeOf("VarFileInfo", true, "", 0, NodeOf("Translation", false, pair, 4, ""));
  }
  return NodeOf("VS_VERSION_INFO", false, string(52, '\1'), 52, children);
}

// Three levels of folders with one entry each, the place of the data, and the data.
string ResourceSection(const string& data) {
  string section;
  for (int level = 0; level < 3; ++level) {
    section += string(12, '\0');
    Put(section, 0, 2);
    Put(section, 1, 2);
    Put(section, level == 0 ? 16 : level == 1 ? 1 : 0x409, 4);
    Put(section, level < 2 ? 0x80000000U + 24 * static_cast<unsigned int>(level + 1) : 72, 4);
  }
  Put(section, kResourcesAddress + 88, 4);
  Put(section, data.size(), 4);
  Put(section, 0, 8);
  return section + data;
}

}  // namespace

string ExecutableFile::Bytes() const {
  const string section = ResourceSection(VersionResource(*this));
  string bytes = "MZ";
  bytes.resize(kHeadAt - 4, '\0');
  Put(bytes, kHeadAt, 4);
  bytes.append("PE\0\0", 4);
  Put(bytes, plus ? 0x8664 : 0x14C, 2);
  Put(bytes, 1, 2);
  Put(bytes, 0, 12);
  const int optional_size = (plus ? 112 : 96) + 16 * 8;
  Put(bytes, static_cast<std::uint64_t>(optional_size), 2);
  Put(bytes, 2, 2);
  string head;
  Put(head, plus ? 0x20B : 0x10B, 2);
  head.resize(plus ? 108 : 92, '\0');
  Put(head, 16, 4);
  head += string(16, '\0');
  Put(head, kResourcesAddress, 4);
  Put(head, section.size(), 4);
  head.resize(static_cast<std::size_t>(optional_size), '\0');
  bytes += head + ".rsrc" + string(3, '\0');
  Put(bytes, section.size(), 4);
  Put(bytes, kResourcesAddress, 4);
  Put(bytes, section.size(), 4);
  Put(bytes, kResourcesAt, 4);
  Put(bytes, 0, 16);
  bytes.resize(kResourcesAt, '\0');
  return bytes + section;
}
