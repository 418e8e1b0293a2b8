// Tells the library's own calls of an interposed function from everybody else's.
#pragma once

namespace annal::test {

// True when an address of code lies in libCorix_annal.so.2.
bool in_library(const void* code);

// The function that an interposed one stands in front of.
void* next_function(const char* name);

}  // namespace annal::test

// To be used directly in an interposed function: was it called by the library?
#define CALLED_BY_LIBRARY() annal::test::in_library(__builtin_return_address(0))
