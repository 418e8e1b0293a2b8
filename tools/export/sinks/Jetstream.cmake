find_library(NATS_LIBRARY nats REQUIRED)
find_path(NATS_INCLUDE nats/nats.h REQUIRED)
mark_as_advanced(NATS_LIBRARY NATS_INCLUDE)

annal_sink(Jetstream
  SOURCES
    client_files.cc
    jetstream/connection.cc
    sinks/jetstream.cc
  LIBRARIES ${NATS_LIBRARY}
  INCLUDE ${NATS_INCLUDE})
