# Warnings for our own code: errors everywhere, conversions too in what ships to a server.
add_library(keld_warnings INTERFACE)
target_compile_options(keld_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # With optimisation, this compiler version reports overlaps in std::string assignments and reads
  # of inactive alternatives of a variant, both of which can't happen.
  target_compile_options(keld_warnings INTERFACE -Wno-restrict -Wno-maybe-uninitialized)
endif()

add_library(keld_strict_warnings INTERFACE)
target_link_libraries(keld_strict_warnings INTERFACE keld_warnings)
target_compile_options(keld_strict_warnings INTERFACE -Wconversion)

if(KELD_SANITIZE)
  # Stop at the first report, so that no test passes in spite of one.
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all)
  add_link_options(-fsanitize=address,undefined)
  # Leave out checks that the address sanitizer makes too, or that can't fail here: they take a
  # third of the compile time.
  set(keld_few_checks -fno-sanitize=null,alignment,object-size,vptr)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # With calls in place of inline checks, compiling takes two thirds of the time.
    list(APPEND keld_few_checks --param=asan-instrumentation-with-call-threshold=0)
    # The checks refer to their places by a million addresses; a program at a fixed address needs no
    # relocation of them.
    add_link_options($<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:-no-pie>)
  endif()
endif()
if(KELD_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
