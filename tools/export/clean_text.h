// Texts as every receiver can take them.
#pragma once

#include <string>
#include <string_view>

namespace exporter {

// Whether a text is valid UTF-8 without NUL.
[[nodiscard]] bool is_clean(std::string_view text);

// The text with U+FFFD in place of each byte that prevents this.
[[nodiscard]] std::string cleaned(std::string_view text);

}  // namespace exporter
