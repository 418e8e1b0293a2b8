// Texts on their way into a page. What a log holds comes from strangers: nothing in it becomes markup, an address or a
// direction of writing.
#pragma once

#include <string>
#include <string_view>

namespace annal_web {

// For text and for attribute values. Control characters, marks that change the writing direction, invisible characters
// and bytes that are not UTF-8 become visible escapes.
[[nodiscard]] std::string escaped(std::string_view raw);

// The same for text alone, with the escapes marked, so that they differ from a text that looks like one.
[[nodiscard]] std::string marked(std::string_view raw);

// At most so many characters, "…" in place of the rest.
[[nodiscard]] std::string shortened(std::string_view raw, std::size_t most);

// For a part of an address: all but letters, digits and "-._~" is encoded.
[[nodiscard]] std::string encoded(std::string_view raw);

// "12,345"
[[nodiscard]] std::string grouped(unsigned long long number);

}  // namespace annal_web
