#include "transfer/zlib_file.h"

#include "base/low_file.h"
#include "base/pump.h"
#include "platform/held_file.h"
#include "transfer/zlib_stream.h"

namespace {

constexpr unsigned int kPiece = 16384;

bool AppendPacked(tvl::Deflater& deflater, CCore& destination) {
  unsigned char output[kPiece];
  while (const unsigned int produced = deflater.Take(output, kPiece)) {
    const std::uint32_t before = destination.length;
    if (destination.Append(output, static_cast<std::int32_t>(produced)) != before + produced) return false;
  }
  return true;
}

bool WriteExpanded(tvl::Inflater& inflater, HANDLE file) {
  unsigned char output[kPiece];
  while (const unsigned int produced = inflater.Take(output, kPiece)) {
    PumpMessages();
    const bool whole = LowWrite(file, output, produced) == produced;
    PumpMessages();
    if (!whole) return false;
  }
  return !inflater.IsBroken();
}

}  // namespace

int CZlib::CompressFile(const char* source, CCore& destination, bool* cutShort) {
  const tvl::LowFile file(source, 0);
  if (!file.IsOpen()) return 0;
  tvl::Deflater deflater;
  if (!deflater.IsReady()) return 0;
  if (cutShort != nullptr) *cutShort = false;
  unsigned int count = 0;
  do {
    unsigned char input[kPiece];
    PumpMessages();
    count = LowRead(file.Handle(), input, kPiece);
    PumpMessages();
    if (count == kLowFailed) {
      if (cutShort != nullptr) *cutShort = true;
      count = 0;
    }
    deflater.Give(input, count);
    if (!AppendPacked(deflater, destination)) return 0;
  } while (count > 0);
  return 1;
}

int CZlib::DecompressFile(CCore& source, const char* destination) {
  tvl::LowFile file(destination, kLowRewrite);
  if (!file.IsOpen() || tvl::IsHeld(static_cast<int>(file.Handle()))) return 0;
  tvl::Inflater inflater;
  if (!inflater.IsReady()) return 0;
  while (!inflater.IsAtEnd()) {
    std::uint32_t count = 0;
    const void* piece = source.Take(kPiece, &count);
    PumpMessages();
    if (count == 0) break;
    inflater.Give(piece, count);
    if (!WriteExpanded(inflater, file.Handle())) return 0;
  }
  return file.Close() && inflater.IsAtEnd() ? 1 : 0;
}
