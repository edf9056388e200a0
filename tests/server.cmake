# Cases that run again on a store on a server: those of server.txt, whose first lines say what its words
# mean. They find the server by KELD_TEST_SERVER, as scripts/with-store-server sets it.
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS server.txt)

# The filters for the cases of a program, and for those that run with files in a directory; empty: it
# isn't named.
function(keld_read_server_list name out_filter out_files)
  set(only "")
  set(except "")
  set(files "")
  set(is_named FALSE)
  file(STRINGS ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/server.txt lines REGEX "^${name} ")
  foreach(line IN LISTS lines)
    string(REGEX REPLACE " +" ";" words "${line}")
    list(POP_FRONT words program word)
    set(is_named TRUE)
    if(word STREQUAL "only")
      list(APPEND only ${words})
    elseif(word STREQUAL "except")
      list(APPEND except ${words})
    elseif(word STREQUAL "files")
      list(APPEND files ${words})
    elseif(NOT word STREQUAL "all")
      message(FATAL_ERROR "server.txt has \"${line}\"")
    endif()
  endforeach()
  if(is_named)
    list(JOIN only ":" only)
    list(JOIN except ":" except)
    list(JOIN files ":" files)
    set(${out_filter} "${only}-${except}" PARENT_SCOPE)
  else()
    set(${out_filter} "" PARENT_SCOPE)
  endif()
  set(${out_files} "${files}" PARENT_SCOPE)
endfunction()

# Register the cases of a program that server.txt names, together as one case or each by itself.
function(keld_on_server name together timeout environment)
  if(NOT KELD_POSTGRES OR NOT EXISTS ${PROJECT_SOURCE_DIR}/workbench/store/postgres)
    return()
  endif()
  keld_read_server_list(${name} filter files)
  if(NOT filter)
    return()
  endif()
  set(on_server env KELD_TEST_STORE=postgres)
  if(files)
    add_test(NAME ServerFiles.${name}
             COMMAND ${on_server} KELD_TEST_VOLUME=directory $<TARGET_FILE:${name}> --gtest_brief=1
                     --gtest_filter=${files})
    set_tests_properties(ServerFiles.${name} PROPERTIES TIMEOUT ${timeout} ENVIRONMENT "${environment}")
  endif()
  if(together)
    add_test(NAME Server.${name}
             COMMAND ${on_server} $<TARGET_FILE:${name}> --gtest_brief=1 --gtest_filter=${filter})
    set_tests_properties(Server.${name} PROPERTIES TIMEOUT ${timeout} ENVIRONMENT "${environment}")
    return()
  endif()
  # Which cases there are depends on the kind of store, so the listing, too, is told which it is.
  set_target_properties(${name} PROPERTIES CROSSCOMPILING_EMULATOR "${on_server}")
  gtest_discover_tests(${name} TEST_PREFIX Server. TEST_FILTER "${filter}" TEST_LIST ${name}_on_server
                       DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
                       PROPERTIES TIMEOUT ${timeout} ENVIRONMENT "${environment}")
  set_target_properties(${name} PROPERTIES CROSSCOMPILING_EMULATOR "")
endfunction()
