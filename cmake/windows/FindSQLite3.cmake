# SQLite for Windows, from the amalgamation that scripts/fetch-sqlite put into the build directory.
if(NOT TARGET SQLite::SQLite3)
  set(amalgamation ${PROJECT_BINARY_DIR}/fetched/sqlite)
  if(NOT EXISTS ${amalgamation}/sqlite3.c)
    message(FATAL_ERROR "Run scripts/fetch-sqlite ${amalgamation} first (scripts/windows does)")
  endif()
  add_library(sqlite3_static STATIC ${amalgamation}/sqlite3.c)
  target_include_directories(sqlite3_static SYSTEM PUBLIC ${amalgamation})
  target_compile_definitions(sqlite3_static PRIVATE SQLITE_OMIT_LOAD_EXTENSION SQLITE_DQS=0
                             SQLITE_ENABLE_FTS5)
  target_compile_options(sqlite3_static PRIVATE -w -O2)
  add_library(SQLite::SQLite3 ALIAS sqlite3_static)
endif()
set(SQLite3_FOUND TRUE)
