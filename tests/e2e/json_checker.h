#ifndef TVL_TESTS_E2E_JSON_CHECKER_H
#define TVL_TESTS_E2E_JSON_CHECKER_H

#include <string_view>

// True if `text` is one JSON value in valid UTF-8 and nothing else.
bool IsJson(std::string_view text);

// True if every line of `text` is one JSON value, and the last one is ended.
bool AreJsonLines(std::string_view text);

#endif
