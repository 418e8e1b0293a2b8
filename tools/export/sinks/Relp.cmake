find_package(CURL REQUIRED)

annal_sink(Relp
  SOURCES
    client_files.cc
    sinks/byte_stream.cc
    sinks/curl_handle.cc
    sinks/relp.cc
    sinks/relp_frame.cc
    sinks/syslog_message.cc
  LIBRARIES CURL::libcurl)
