#include <cstring>

#include "platform/last_error.h"

const char* tvl::SystemErrorText(int code) {
  const char* text = strerrordesc_np(code);
  return text != nullptr ? text : "unknown error";
}
