# Test files of one program are compiled several at a time, since their includes take longer to
# compile than they do. write_unit.cmake writes such a unit when the program is built.

# Replace the test files of a list by units of at most eight; other sources stay, and so does a file
# with macros of its own.
function(keld_in_units name out)
  set(files "")
  foreach(source IN LISTS ARGN)
    if(source MATCHES "_test\\.cpp$")
      file(STRINGS ${source} macros REGEX "^#(define|undef)")
      if(NOT macros)
        list(APPEND files ${CMAKE_CURRENT_SOURCE_DIR}/${source})
        list(REMOVE_ITEM ARGN ${source})
      endif()
    endif()
  endforeach()
  list(LENGTH files count)
  if(count LESS_EQUAL 1)
    set(${out} ${ARGN} ${files} PARENT_SCOPE)
    return()
  endif()
  set(units "")
  math(EXPR last "(${count} + 7) / 8")
  foreach(number RANGE 1 ${last})
    math(EXPR first "${count} * (${number} - 1) / ${last}")
    math(EXPR size "${count} * ${number} / ${last} - ${first}")
    list(SUBLIST files ${first} ${size} some)
    set(unit ${CMAKE_CURRENT_BINARY_DIR}/${name}_unit_${number}.cpp)
    set(writer ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/write_unit.cmake)
    add_custom_command(OUTPUT ${unit}
      COMMAND ${CMAKE_COMMAND} -DOUT=${unit} -DROOT=${PROJECT_SOURCE_DIR} "-DSOURCES=${some}" -P ${writer}
      DEPENDS ${some} ${writer} VERBATIM)
    # A fixture in an anonymous namespace is fine in a file that only this unit includes.
    set_source_files_properties(${unit} PROPERTIES COMPILE_OPTIONS -Wno-subobject-linkage)
    list(APPEND units ${unit})
  endforeach()
  set(${out} ${ARGN} ${units} PARENT_SCOPE)
endfunction()
