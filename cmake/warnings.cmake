# Warnings for our own code: errors everywhere, conversions too in what ships to a server.
add_library(keld_warnings INTERFACE)
target_compile_options(keld_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # Optimising, this version sees overlaps in assignments of std::string that can't be, and reads of
  # a variant's string while another alternative is active.
  target_compile_options(keld_warnings INTERFACE -Wno-restrict -Wno-maybe-uninitialized)
endif()

add_library(keld_strict_warnings INTERFACE)
target_link_libraries(keld_strict_warnings INTERFACE keld_warnings)
target_compile_options(keld_strict_warnings INTERFACE -Wconversion)

if(KELD_SANITIZE)
  # A report ends the program, so that no test passes over one.
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all)
  add_link_options(-fsanitize=address,undefined)
  # What the address sanitizer reports, too, or what can't happen here, for a third of the time to compile.
  set(keld_few_checks -fno-sanitize=null,alignment,object-size,vptr)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # A call for each check compiles in two thirds of the time of a check on the spot.
    list(APPEND keld_few_checks --param=asan-instrumentation-with-call-threshold=0)
    # The checks name their places by a million addresses, which a program of a fixed place has ready.
    add_link_options($<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:-no-pie>)
  endif()
endif()
if(KELD_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
