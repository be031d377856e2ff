#include "cli/health_page.h"

#include <windows.h>
#include <winhttp.h>

#include <array>

#include "cli/windows/system.h"

namespace tvl::cli {
namespace {

constexpr std::size_t kLongestAnswer = 1000;
constexpr std::size_t kLongestHost = 256;

// A handle of the HTTP client.
class Internet {
 public:
  explicit Internet(HINTERNET handle) : handle_(handle) {}
  ~Internet() {
    if (handle_ != nullptr) WinHttpCloseHandle(handle_);
  }
  Internet(const Internet&) = delete;
  Internet& operator=(const Internet&) = delete;

  [[nodiscard]] HINTERNET Get() const { return handle_; }

 private:
  HINTERNET handle_;
};

int StatusOf(HINTERNET request) {
  DWORD status = 0;
  DWORD size = sizeof status;
  constexpr DWORD kWhat = WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER;
  const BOOL known = WinHttpQueryHeaders(request, kWhat, WINHTTP_HEADER_NAME_BY_INDEX, &status, &size,
                                         WINHTTP_NO_HEADER_INDEX);
  return known != 0 ? static_cast<int>(status) : 0;
}

std::string TextOf(HINTERNET request) {
  std::string text;
  std::array<char, kLongestAnswer> piece = {};
  DWORD count = 0;
  while (text.size() < kLongestAnswer &&
         WinHttpReadData(request, piece.data(), static_cast<DWORD>(kLongestAnswer - text.size()), &count) !=
             0 &&
         count > 0)
    text.append(piece.data(), count);
  return text;
}

HealthPage Fetch(const wchar_t* host, INTERNET_PORT port, const std::wstring& path, int milliseconds) {
  const Internet session(
      WinHttpOpen(L"tvl", WINHTTP_ACCESS_TYPE_NO_PROXY, WINHTTP_NO_PROXY_NAME, WINHTTP_NO_PROXY_BYPASS, 0));
  WinHttpSetTimeouts(session.Get(), milliseconds, milliseconds, milliseconds, milliseconds);
  const Internet connection(WinHttpConnect(session.Get(), host, port, 0));
  const Internet request(WinHttpOpenRequest(connection.Get(), L"GET", path.c_str(), nullptr,
                                            WINHTTP_NO_REFERER, WINHTTP_DEFAULT_ACCEPT_TYPES, 0));
  const bool answered = WinHttpSendRequest(request.Get(), WINHTTP_NO_ADDITIONAL_HEADERS, 0,
                                           WINHTTP_NO_REQUEST_DATA, 0, 0, 0) != 0 &&
                        WinHttpReceiveResponse(request.Get(), nullptr) != 0;
  if (!answered) return {};
  return {StatusOf(request.Get()), TextOf(request.Get())};
}

}  // namespace

HealthPage FetchHealthPage(const std::string& origin, const std::string& path,
                           std::chrono::milliseconds patience) {
  const std::wstring address = WideOf(origin);
  std::array<wchar_t, kLongestHost> host = {};
  URL_COMPONENTS parts = {};
  parts.dwStructSize = sizeof parts;
  parts.lpszHostName = host.data();
  parts.dwHostNameLength = kLongestHost;
  if (WinHttpCrackUrl(address.c_str(), 0, 0, &parts) == 0 || host[0] == 0) return {-1, {}};
  return Fetch(host.data(), parts.nPort, WideOf(path), static_cast<int>(patience.count()));
}

}  // namespace tvl::cli
