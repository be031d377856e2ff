#include "server/wire/handshake.h"

#include <tvlclient/errors.h>

#include "server/files/names.h"
#include "tcp/protocol.h"
#include "tcp/window.h"

namespace tvl::server {
namespace {

constexpr std::size_t kClassLength = 4;
constexpr std::size_t kLongestComputer = 32;
constexpr std::string_view kSpecial = "/\\|*?";
constexpr char kSubstitute = '_';

// Cuts the text and replaces characters with a meaning in a file name, a list or a search. Removes trailing
// blanks, which would be mistaken for the padding of a field.
std::string CleanText(std::string_view text, std::size_t longest) {
  std::string clean(text.substr(0, longest));
  for (char& character : clean) {
    if (IsControl(character) || kSpecial.find(character) != std::string_view::npos) character = kSubstitute;
  }
  for (auto last = clean.rbegin(); last != clean.rend() && *last == ' '; ++last) *last = kSubstitute;
  return clean;
}

std::string OrElse(std::string text, const char* otherwise) {
  return text.empty() ? std::string(otherwise) : text;
}

std::string ReplyBegin(int code) {
  return std::string(protocol::kServerName) + "/" TVL_VERSION "\t" + std::to_string(code);
}

}  // namespace

std::optional<Handshake> ParseHandshake(std::string_view packet) {
  Handshake handshake;
  std::string_view rest = packet.substr(protocol::kHeadSize + protocol::kHandshakeText.size());
  for (std::string* text : {&handshake.client_class, &handshake.computer, &handshake.user, &handshake.tag}) {
    const std::size_t end = rest.find('\0');
    if (end == std::string_view::npos) return std::nullopt;
    *text = rest.substr(0, end);
    rest.remove_prefix(end + 1);
  }
  const std::size_t end = rest.find('\0');
  if (end != std::string_view::npos) handshake.window = ParseWindow(rest.substr(0, end));
  return handshake;
}

Handshake CleanIdentity(const Handshake& sent) {
  std::string client_class = CleanText(sent.client_class, kClassLength);
  client_class.resize(kClassLength, 'x');
  return {client_class,
          OrElse(CleanText(sent.computer, kLongestComputer), "unknown"),
          OrElse(CleanText(sent.user, kLongestUser), "Unknown"),
          {},
          0};
}

std::string AcceptText(const Welcome& welcome) {
  std::string text = ReplyBegin(TVL_OK) + "\t" + std::to_string(welcome.instance) + "\t" +
                     std::to_string(welcome.zip_on_transfer) + "\t" + std::to_string(welcome.file_compare) +
                     "\t" + Field(welcome.short_name) + "\t" + Field(welcome.long_name);
  if (welcome.window > 0) text += protocol::kFieldSeparator + WindowText(welcome.window);
  return text;
}

std::string RefuseText(int code, std::string_view reason) {
  return ReplyBegin(code) + "\t" + std::string(reason);
}

std::string Field(std::string_view text) {
  std::string field(text.empty() ? " " : text);
  for (char& character : field) {
    if (character == protocol::kFieldSeparator[0]) character = ' ';
  }
  return field;
}

}  // namespace tvl::server
