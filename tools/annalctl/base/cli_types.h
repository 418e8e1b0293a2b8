// Names the command line's types, for headers that only pass them on: the library's own header takes seconds to
// compile.
#pragma once

namespace CLI {

class App;
class Option;

}  // namespace CLI
