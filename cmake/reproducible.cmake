# The same sources give the same bytes wherever they lie: what ships names no directory of the build.
# The build stamp is the compiler's __DATE__ and __TIME__, which follow SOURCE_DATE_EPOCH. A debug
# build keeps the real names, for the debugger.
if(NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
  # The last one that fits counts.
  add_compile_options(-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.
                      -ffile-prefix-map=${PROJECT_BINARY_DIR}=build)
endif()
if(WIN32)
  # No time of linking in the module's head.
  add_link_options(-Wl,--no-insert-timestamp)
endif()
