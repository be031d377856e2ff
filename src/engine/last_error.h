#ifndef TVL_ENGINE_LAST_ERROR_H
#define TVL_ENGINE_LAST_ERROR_H

namespace tvl::engine {

// Keeps why the calling thread's call fails, cut to 255 bytes.
void NoteError(const char* reason) noexcept;

// The same with what errno says behind it.
void NoteSystemError(const char* action) noexcept;

const char* LastErrorText() noexcept;

}  // namespace tvl::engine

#endif
