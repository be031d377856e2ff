#include "engine/sqlite/journal_seal.h"

#include <array>
#include <cstdint>

namespace tvl::engine {
namespace {

using std::string_view;

// Of SQLite's header. Its numbers are big-endian.
constexpr string_view kMagic("\xd9\xd5\x05\xf9\x20\xa1\x63\xd7", 8);
constexpr std::size_t kSectorSize = 20;

// The seal: a mark, the length of what is sealed, and the checksum, big-endian as well.
constexpr string_view kMark("TVLSEAL1", 8);
constexpr std::size_t kMarkAt = kJournalHeader - 24;
constexpr std::size_t kLengthAt = kJournalHeader - 16;
constexpr std::size_t kChecksumAt = kJournalHeader - 8;

template <typename Number>
Number NumberAt(const char* bytes) {
  Number number = 0;
  for (std::size_t i = 0; i < sizeof number; ++i)
    number = static_cast<Number>(number << 8 | static_cast<unsigned char>(bytes[i]));
  return number;
}

void PutNumber(char* bytes, std::uint64_t number) {
  for (int shift = 56; shift >= 0; shift -= 8) *bytes++ = static_cast<char>(number >> shift);
}

// CRC-64 of ECMA-182, as in XZ files.
constexpr std::array<std::uint64_t, 256> MakeTable() {
  std::array<std::uint64_t, 256> table = {};
  for (std::size_t byte = 0; byte < table.size(); ++byte) {
    std::uint64_t rest = byte;
    for (int bit = 0; bit < 8; ++bit) rest = (rest & 1) != 0 ? rest >> 1 ^ 0xC96C5795D7870F42 : rest >> 1;
    table[byte] = rest;
  }
  return table;
}
constexpr std::array<std::uint64_t, 256> kTable = MakeTable();

std::uint64_t Continue(std::uint64_t checksum, string_view bytes) {
  for (const char byte : bytes)
    checksum = kTable[(checksum ^ static_cast<unsigned char>(byte)) & 0xFF] ^ checksum >> 8;
  return checksum;
}

// Of all bytes but those of the checksum itself.
std::uint64_t ChecksumOf(string_view journal) {
  const std::uint64_t start = Continue(~std::uint64_t{0}, journal.substr(0, kChecksumAt));
  return ~Continue(start, journal.substr(kJournalHeader));
}

}  // namespace

bool HasJournalHeader(string_view journal) {
  return journal.starts_with(kMagic);
}

bool CanSealJournal(string_view journal) {
  return journal.size() >= kJournalHeader &&
         NumberAt<std::uint32_t>(journal.data() + kSectorSize) == kJournalHeader;
}

void SealJournal(char* journal, std::size_t length) {
  kMark.copy(journal + kMarkAt, kMark.size());
  PutNumber(journal + kLengthAt, length);
  PutNumber(journal + kChecksumAt, ChecksumOf({journal, length}));
}

bool IsJournalTorn(string_view journal) {
  if (!HasJournalHeader(journal) || !CanSealJournal(journal)) return false;
  if (journal.substr(kMarkAt, kMark.size()) != kMark) return false;
  const auto length = NumberAt<std::uint64_t>(journal.data() + kLengthAt);
  if (length < kJournalHeader || length > journal.size()) return true;
  const auto checksum = NumberAt<std::uint64_t>(journal.data() + kChecksumAt);
  return checksum != ChecksumOf(journal.substr(0, static_cast<std::size_t>(length)));
}

}  // namespace tvl::engine
