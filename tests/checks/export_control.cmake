# Runs the export check on a list that is wrong on purpose; the check must say so.
file(READ ${LIST} text)
if(MAKE_LIST STREQUAL "missing_unmarked")
  string(APPEND text "OBJ_no_such_name\n")
elseif(MAKE_LIST STREQUAL "marked_present")
  string(REPLACE "\nOBJ_load\n" "\nmissing OBJ_load\n" text "${text}")
else()
  string(REPLACE "\nOBJ_load\n" "\n" text "${text}")
endif()
file(WRITE ${OUT} "${text}")
execute_process(COMMAND ${CMAKE_COMMAND} -DLIBRARY=${LIBRARY} -DLIST=${OUT} -DNM=${NM}
                        -DOBJDUMP=${OBJDUMP} -DCXXFILT=${CXXFILT} -P ${CHECK})
