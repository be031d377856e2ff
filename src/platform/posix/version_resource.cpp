#include "platform/version_resource.h"

#include <fcntl.h>
#include <strings.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <string_view>

#include "host/system_calls.h"
#include "platform/posix/open_file.h"

namespace {

using std::string_view;
using std::uint16_t;
using std::uint32_t;
using std::uint64_t;

// --- The file: head, sections, tree of resources ---

constexpr uint64_t kNewHeadAt = 0x3C;
constexpr uint32_t kFileHeadSize = 24;  // "PE\0\0" and the COFF head
constexpr uint16_t kPe32 = 0x10B;
constexpr uint16_t kPe32Plus = 0x20B;
constexpr uint32_t kDirectoriesPe32 = 96;  // offset of the data directories in the optional header
constexpr uint32_t kDirectoriesPe32Plus = 112;
constexpr uint32_t kResourceDirectory = 2;
constexpr uint32_t kSectionSize = 40;
constexpr uint32_t kVersionType = 16;
constexpr uint32_t kSubfolderBit = 0x80000000;
constexpr uint32_t kLargestResource = 1U << 20U;

template <typename Number>
Number LittleEndian(const unsigned char* bytes) {
  Number value = 0;
  for (std::size_t i = sizeof(Number); i > 0; --i) value = static_cast<Number>(value << 8U | bytes[i - 1]);
  return value;
}

struct Extent {
  uint64_t at;
  uint32_t size;
};

class ImageFile {
 public:
  explicit ImageFile(const char* path) : file_(path, O_RDONLY) {}

  [[nodiscard]] bool Read(uint64_t at, void* buffer, std::size_t size) const {
    if (!file_.IsOpen() || at > static_cast<uint64_t>(std::numeric_limits<off_t>::max())) return false;
    if (tvl::System().lseek(file_.Descriptor(), static_cast<off_t>(at), SEEK_SET) < 0) return false;
    auto* bytes = static_cast<unsigned char*>(buffer);
    while (size > 0) {
      const ssize_t count = tvl::System().read(file_.Descriptor(), bytes, size);
      if (count < 0 && errno == EINTR) continue;
      if (count <= 0) return false;
      bytes += count;
      size -= static_cast<std::size_t>(count);
    }
    return true;
  }

  template <typename Number>
  [[nodiscard]] bool ReadNumber(uint64_t at, Number& value) const {
    unsigned char bytes[sizeof(Number)];
    if (!Read(at, bytes, sizeof bytes)) return false;
    value = LittleEndian<Number>(bytes);
    return true;
  }

 private:
  tvl::OpenFile file_;
};

// The layout of an executable file.
class Image {
 public:
  explicit Image(const char* path) : file_(path) {}

  // Finds the data of the version resource. Returns false if there is none.
  [[nodiscard]] bool FindVersion(Extent& data) const {
    uint64_t head = 0;
    uint32_t address = 0;
    uint64_t root = 0;
    if (!FindHead(head) || !FindResources(head, address) || !ToFile(head, address, root)) return false;
    uint32_t entry = 0;
    if (!FindEntry(root, 0, true, entry) || !FindEntry(root, entry, false, entry)) return false;
    if (!FindEntry(root, entry, false, entry) || (entry & kSubfolderBit) != 0) return false;
    uint32_t data_address = 0;
    if (!file_.ReadNumber(root + entry, data_address) || !file_.ReadNumber(root + entry + 4, data.size))
      return false;
    return data.size > 0 && data.size <= kLargestResource && ToFile(head, data_address, data.at);
  }

  [[nodiscard]] bool Read(const Extent& data, void* buffer) const {
    return file_.Read(data.at, buffer, data.size);
  }

 private:
  [[nodiscard]] bool FindHead(uint64_t& head) const {
    uint16_t mark = 0;
    uint32_t at = 0;
    uint32_t signature = 0;
    if (!file_.ReadNumber(0, mark) || mark != 0x5A4D || !file_.ReadNumber(kNewHeadAt, at)) return false;
    head = at;
    return file_.ReadNumber(head, signature) && signature == 0x00004550;
  }

  [[nodiscard]] bool FindResources(uint64_t head, uint32_t& address) const {
    uint16_t magic = 0;
    if (!file_.ReadNumber(head + kFileHeadSize, magic) || (magic != kPe32 && magic != kPe32Plus))
      return false;
    const uint64_t directories =
        head + kFileHeadSize + (magic == kPe32 ? kDirectoriesPe32 : kDirectoriesPe32Plus);
    uint32_t count = 0;
    if (!file_.ReadNumber(directories - 4, count) || count <= kResourceDirectory) return false;
    return file_.ReadNumber(directories + 8 * kResourceDirectory, address) && address != 0;
  }

  // Converts an address in memory to a position in the file, using the section that contains it.
  [[nodiscard]] bool ToFile(uint64_t head, uint32_t address, uint64_t& at) const {
    uint16_t sections = 0;
    uint16_t optional_size = 0;
    if (!file_.ReadNumber(head + 6, sections) || !file_.ReadNumber(head + 20, optional_size)) return false;
    uint64_t section = head + kFileHeadSize + optional_size;
    for (uint16_t i = 0; i < sections; ++i, section += kSectionSize) {
      uint32_t begin = 0;
      uint32_t size = 0;
      uint32_t raw = 0;
      if (!file_.ReadNumber(section + 12, begin) || !file_.ReadNumber(section + 16, size) ||
          !file_.ReadNumber(section + 20, raw)) {
        return false;
      }
      if (address < begin || address - begin >= size) continue;
      at = uint64_t{raw} + (address - begin);
      return true;
    }
    return false;
  }

  // Finds an entry in a folder of the resource tree: that of versions, or the first one. `folder` is 0 or has
  // the bit that marks a folder.
  [[nodiscard]] bool FindEntry(uint64_t root, uint32_t folder, bool of_versions, uint32_t& entry) const {
    if (folder != 0 && (folder & kSubfolderBit) == 0) return false;
    const uint64_t at = root + (folder & ~kSubfolderBit);
    uint16_t named = 0;
    uint16_t numbered = 0;
    if (!file_.ReadNumber(at + 12, named) || !file_.ReadNumber(at + 14, numbered)) return false;
    const uint32_t count = uint32_t{named} + numbered;
    for (uint32_t i = of_versions ? named : 0; i < count; ++i) {
      uint32_t id = 0;
      const uint64_t place = at + 16 + uint64_t{8} * i;
      if (!file_.ReadNumber(place, id) || !file_.ReadNumber(place + 4, entry)) return false;
      if (!of_versions || id == kVersionType) return true;
    }
    return false;
  }

  ImageFile file_;
};

// --- The block: its size, the bytes of the resource, and space for texts with one byte per character ---

constexpr std::size_t kSizeField = sizeof(uint32_t);

// A node of the resource: its length, the length of the value, whether the value is a text, the key, the
// value, and child nodes; all but the first three are aligned to four bytes.
class Node {
 public:
  // Parses the node at `at`, as far as it is before `end`. Returns false if it is incomplete.
  [[nodiscard]] bool Parse(const unsigned char* bytes, uint32_t at, uint32_t end) {
    if (end < at || end - at < kHead) return false;
    const uint32_t length = LittleEndian<uint16_t>(bytes + at);
    if (length < kHead || length > end - at) return false;
    value_length_ = LittleEndian<uint16_t>(bytes + at + 2);
    is_text_ = LittleEndian<uint16_t>(bytes + at + 4) == 1;
    end_ = at + length;
    bytes_ = bytes;
    key_ = at + kHead;
    uint32_t key_end = key_;
    while (key_end + 2 <= end_ && Character(key_end) != 0) key_end += 2;
    if (key_end + 2 > end_) return false;
    key_length_ = (key_end - key_) / 2;
    value_ = std::min(Aligned(key_end + 2), end_);
    return true;
  }

  [[nodiscard]] bool HasKey(string_view key) const {
    if (key.size() != key_length_) return false;
    for (std::size_t i = 0; i < key.size(); ++i) {
      const char character = AnsiAt(key_ + 2 * static_cast<uint32_t>(i));
      if (strncasecmp(&key[i], &character, 1) != 0) return false;
    }
    return true;
  }

  [[nodiscard]] bool IsText() const { return is_text_; }
  [[nodiscard]] uint32_t Value() const { return value_; }
  [[nodiscard]] uint32_t End() const { return end_; }

  // Returns the length of the value in bytes as declared, limited to the node. The length of a text is
  // declared in characters.
  [[nodiscard]] uint32_t ValueBytes() const {
    return std::min(is_text_ ? uint32_t{2} * value_length_ : value_length_, end_ - value_);
  }

  // Returns the maximum length of a text in bytes. Some tools mark texts as bytes and declare their length in
  // either unit, so such a text extends to its terminator.
  [[nodiscard]] uint32_t TextBytes() const {
    return is_text_ || value_length_ == 0 ? ValueBytes() : end_ - value_;
  }

  [[nodiscard]] uint32_t Children() const { return std::min(Aligned(value_ + ValueBytes()), end_); }

  // Finds the child with a key. Returns false if there is none.
  [[nodiscard]] bool FindChild(string_view key, Node& child) const {
    for (uint32_t at = Children(); child.Parse(bytes_, at, end_); at = Aligned(child.End())) {
      if (child.HasKey(key)) return true;
    }
    return false;
  }

  // Returns a character as a byte.
  [[nodiscard]] char AnsiAt(uint32_t at) const {
    const uint16_t character = Character(at);
    return character < 0x100 ? static_cast<char>(character) : '?';
  }

  static uint32_t Aligned(uint32_t at) { return (at + 3) & ~3U; }

 private:
  static constexpr uint32_t kHead = 6;

  [[nodiscard]] uint16_t Character(uint32_t at) const { return LittleEndian<uint16_t>(bytes_ + at); }

  const unsigned char* bytes_ = nullptr;
  uint32_t key_ = 0;
  uint32_t key_length_ = 0;
  uint32_t value_ = 0;
  uint32_t value_length_ = 0;
  uint32_t end_ = 0;
  bool is_text_ = false;
};

// Removes the next component from the path of a value and returns it.
string_view TakePart(string_view& path) {
  path.remove_prefix(std::min(path.find_first_not_of('\\'), path.size()));
  const string_view part = path.substr(0, path.find('\\'));
  path.remove_prefix(part.size());
  return part;
}

// Returns true for the path of a value that is a text, however it is marked.
bool IsPathOfText(string_view path) {
  constexpr string_view strings = "StringFileInfo";
  const string_view first = TakePart(path);
  return first.size() == strings.size() && strncasecmp(first.data(), strings.data(), strings.size()) == 0;
}

bool FindNode(const unsigned char* bytes, uint32_t size, string_view path, Node& node) {
  if (!node.Parse(bytes, 0, size)) return false;
  for (string_view part = TakePart(path); !part.empty(); part = TakePart(path)) {
    Node child;
    if (!node.FindChild(part, child)) return false;
    node = child;
  }
  return true;
}

}  // namespace

DWORD GetFileVersionInfoSizeA(const char* path, DWORD* handle) {
  if (handle != nullptr) *handle = 0;
  Extent data = {};
  if (!Image(path).FindVersion(data)) return 0;
  return static_cast<DWORD>(kSizeField) + data.size + data.size / 2 + 1;
}

BOOL GetFileVersionInfoA(const char* path, DWORD /*handle*/, DWORD size, void* block) {
  std::memset(block, 0, size);
  const Image image(path);
  Extent data = {};
  if (!image.FindVersion(data) || size < kSizeField + data.size + data.size / 2 + 1) return 0;
  auto* bytes = static_cast<unsigned char*>(block);
  if (!image.Read(data, bytes + kSizeField)) return 0;
  std::memcpy(bytes, &data.size, kSizeField);
  return 1;
}

BOOL VerQueryValueA(void* block, const char* path, void** value, UINT* length) {
  auto* bytes = static_cast<unsigned char*>(block);
  uint32_t size = 0;
  std::memcpy(&size, bytes, kSizeField);
  bytes += kSizeField;
  Node node;
  if (!FindNode(bytes, size, path, node)) return 0;
  *value = bytes + node.Value();
  *length = node.ValueBytes();
  if (!node.IsText() && !IsPathOfText(path)) return 1;
  // Stores the text at half of its position in the resource, so that no two texts overlap.
  char* text = reinterpret_cast<char*>(bytes) + size + node.Value() / 2;
  UINT count = 0;
  for (uint32_t at = node.Value(); at + 2 <= node.Value() + node.TextBytes(); at += 2) {
    text[count] = node.AnsiAt(at);
    if (text[count++] == 0) break;
  }
  if (count == 0 || text[count - 1] != 0) text[count++] = 0;
  *value = text;
  *length = count;
  return 1;
}
