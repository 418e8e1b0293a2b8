# The sinks' tests: quick ones without any server, and the programs that the tests with servers use (tests/fleet/).
add_library(sample_records OBJECT sample_records.cc)
target_include_directories(sample_records PUBLIC ${PROJECT_SOURCE_DIR})
target_link_libraries(sample_records PUBLIC fmt::fmt)

find_package(tomlplusplus REQUIRED)
add_executable(deliver deliver.cc)
target_link_libraries(deliver PRIVATE sample_records annal_export_parts tomlplusplus::tomlplusplus)

annal_tests(sinks_tests
  database_test.cc
  jetstream_test.cc
  made_sink.cc
  otlp_test.cc
  relp_test.cc
  sink_settings_test.cc
  small_server.cc
  syslog_message_test.cc)
target_include_directories(sinks_tests PRIVATE ${PQ_INCLUDE})
target_link_libraries(sinks_tests PRIVATE
  sample_records annal_export_parts nlohmann_json::nlohmann_json tomlplusplus::tomlplusplus)
