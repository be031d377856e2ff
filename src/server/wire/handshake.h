#ifndef TVL_SERVER_WIRE_HANDSHAKE_H
#define TVL_SERVER_WIRE_HANDSHAKE_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tvl::server {

constexpr std::size_t kLongestUser = 64;

// The identity that a client claims.
struct Handshake {
  std::string client_class;
  std::string computer;
  std::string user;
  std::string tag;
  unsigned int window = 0;  // that the client announces (tcp/window.h)
};

// The texts of a handshake packet: four, and a fifth that may announce a window; anything else after them is
// ignored. Nothing if one of the four has no end.
[[nodiscard]] std::optional<Handshake> ParseHandshake(std::string_view packet);

// The same in a form that can appear in the names of markers, in lock rows and in lists, regardless of what
// was sent, without tag and window.
[[nodiscard]] Handshake CleanIdentity(const Handshake& sent);

// What the server answers to a client that it accepts.
struct Welcome {
  int instance;
  int zip_on_transfer;
  int file_compare;
  std::string short_name;
  std::string long_name;
  unsigned int window = 0;  // granted; 0 to a client that has announced none
};

// Return the payloads of the two answers.
[[nodiscard]] std::string AcceptText(const Welcome& welcome);
[[nodiscard]] std::string RefuseText(int code, std::string_view reason);

// Converts a text to a field of a reply: an empty field would vanish and shift the following ones, and one
// with a separator would become two.
[[nodiscard]] std::string Field(std::string_view text);

}  // namespace tvl::server

#endif
