// Distinguishes the library's calls of an interposed function from all others.
#pragma once

namespace annal::test {

// True if a code address is in libCorix_annal.so.2.
bool in_library(const void* code);

// The function that an interposed one replaces.
void* next_function(const char* name);

}  // namespace annal::test

// Use it directly in an interposed function: true if the library called that.
#define CALLED_BY_LIBRARY() annal::test::in_library(__builtin_return_address(0))
