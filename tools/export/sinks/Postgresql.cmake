# The migrations are part of the program, which applies or prints them.
find_library(PQ_LIBRARY pq REQUIRED)
find_path(PQ_INCLUDE libpq-fe.h PATH_SUFFIXES postgresql REQUIRED)
mark_as_advanced(PQ_LIBRARY PQ_INCLUDE)

file(GLOB migration_files CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/database/migrations/*.sql)
list(SORT migration_files)
set(migrations "")
foreach(file IN LISTS migration_files)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
  cmake_path(GET file STEM name)
  string(REGEX MATCH "^[0-9]+" number ${name})
  math(EXPR number "1${number} - 10000")  # without the zeros in front, which would make it octal
  file(READ ${file} sql)
  string(APPEND migrations "Migration{${number}, \"${name}\", R\"sql(${sql})sql\"},\n")
endforeach()
list(LENGTH migration_files count)
configure_file(database/migrations.cc.in migrations.cc @ONLY)

annal_sink(Postgresql
  SOURCES
    sinks/postgresql.cc
    client_files.cc
    database/connection.cc
    database/schema.cc
    database/store.cc
    database/tables.cc
    database/target.cc
    ${CMAKE_CURRENT_BINARY_DIR}/migrations.cc
  LIBRARIES ${PQ_LIBRARY}
  INCLUDE ${PQ_INCLUDE})
