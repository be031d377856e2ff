#include "transfer/zlib_file.h"

#include "base/low_file.h"
#include "base/pump.h"
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

bool WriteExpanded(tvl::Inflater& inflater, tvl::TargetFile& target) {
  unsigned char output[kPiece];
  while (const unsigned int produced = inflater.Take(output, kPiece)) {
    PumpMessages();
    const bool whole = target.Write(output, produced);
    PumpMessages();
    if (!whole) return false;
  }
  return !inflater.IsBroken();
}

}  // namespace

int CZlib::CompressFile(const char* source, CCore& destination) {
  const tvl::LowFile file(source, 0);
  if (!file.IsOpen()) return 0;
  tvl::Deflater deflater;
  if (!deflater.IsReady()) return 0;
  unsigned int count = 0;
  do {
    unsigned char input[kPiece];
    PumpMessages();
    count = LowRead(file.Handle(), input, kPiece);
    PumpMessages();
    if (count == kLowFailed) return 0;
    deflater.Put(input, count);
    if (!AppendPacked(deflater, destination)) return 0;
  } while (count > 0);
  return 1;
}

int CZlib::DecompressFile(CCore& source, const char* destination) {
  tvl::TargetFile target(destination, {}, nullptr);
  return target.IsOpen() && DecompressFile(source, target) != 0 && target.Finish() ? 1 : 0;
}

int CZlib::DecompressFile(CCore& source, tvl::TargetFile& target) {
  tvl::Inflater inflater;
  if (!inflater.IsReady() || !target.Empty()) return 0;
  while (!inflater.IsAtEnd()) {
    std::uint32_t count = 0;
    const void* piece = source.Take(kPiece, &count);
    PumpMessages();
    if (count == 0) break;
    inflater.Put(piece, count);
    if (!WriteExpanded(inflater, target)) return 0;
  }
  return inflater.IsAtEnd() ? 1 : 0;
}
