find_package(CURL REQUIRED)

annal_sink(Otlp
  SOURCES
    client_files.cc
    sinks/curl_handle.cc
    sinks/otlp.cc
    sinks/otlp_request.cc
  LIBRARIES CURL::libcurl)
