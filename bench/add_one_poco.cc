// Adds one entry through POCO's SQLChannel and exits.
#include "bench/poco_channel.h"

int main() {
  annal::bench::PocoChannel channel("/etc/logs/poco.log");
  channel.log("Share \"projects\" was mounted by a client.");
  return 0;
}
