#include "store/table_kind.h"

namespace tvl {
namespace {

// The bytes of the application id. The first bytes of a database are written last, so they don't decide.
constexpr std::string_view kDatabaseMark = "TVLT";
static_assert(kApplicationId == (('T' * 256 + 'V') * 256 + 'L') * 256 + 'T');
constexpr std::size_t kDatabaseMarkAt = 68;
static_assert(kDatabaseMarkAt + kDatabaseMark.size() == kTableStart);

}  // namespace

TableKind TableKindOf(std::string_view bytes) {
  if (bytes.starts_with(kPointerMark)) return TableKind::kElsewhere;
  if (bytes.size() < kTableStart) return TableKind::kNone;
  return bytes.substr(kDatabaseMarkAt).starts_with(kDatabaseMark) ? TableKind::kFile : TableKind::kNone;
}

}  // namespace tvl
