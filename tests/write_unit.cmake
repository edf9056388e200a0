# Writes a source that compiles several test files as one: first the headers that they include, then each
# file in a namespace of its own, since their helpers have the same short names. A file that opens a
# namespace with a name has its helpers there, and stays as it is.
# cmake -DOUT=FILE -DROOT=DIRECTORY "-DSOURCES=FILE;FILE" -P write_unit.cmake
set(headers "")
set(bodies "")
set(number 0)
foreach(source IN LISTS SOURCES)
  # Keep conditions for the headers between them; those around code become empty.
  file(STRINGS ${source} macros REGEX "^#(define|undef)")
  if(macros)
    message(FATAL_ERROR "${source} has macros of its own; configure again, so that it stays alone")
  endif()
  file(STRINGS ${source} lines REGEX "^#(include|if|ifdef|ifndef|elif|else|endif)")
  list(JOIN lines "\n" lines)
  string(APPEND headers "${lines}\n")
  file(RELATIVE_PATH path ${ROOT} ${source})
  file(STRINGS ${source} opened REGEX "^namespace [a-z_:]+ {")
  if(opened)
    string(APPEND bodies "#include \"${path}\"\n")
  else()
    math(EXPR number "${number} + 1")
    string(APPEND bodies "namespace file_${number} {\n#include \"${path}\"\n}\n")
  endif()
endforeach()
file(WRITE ${OUT} "${headers}\n${bodies}")
