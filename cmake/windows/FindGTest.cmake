# GoogleTest for Windows, built from the sources of the package libgtest-dev.
if(NOT TARGET GTest::gtest)
  set(sources /usr/src/googletest)
  if(NOT EXISTS ${sources}/googlemock/src/gmock-all.cc)
    message(FATAL_ERROR "The sources of GoogleTest (package libgtest-dev) are not in ${sources}")
  endif()
  add_library(gmock_static STATIC ${sources}/googletest/src/gtest-all.cc
              ${sources}/googlemock/src/gmock-all.cc)
  target_include_directories(gmock_static SYSTEM PUBLIC ${sources}/googletest/include
                             ${sources}/googlemock/include
                             PRIVATE ${sources}/googletest ${sources}/googlemock)
  target_compile_options(gmock_static PRIVATE -w)
  add_library(gtest_main_static STATIC ${sources}/googletest/src/gtest_main.cc)
  target_link_libraries(gtest_main_static PUBLIC gmock_static)
  add_library(GTest::gtest ALIAS gmock_static)
  add_library(GTest::gmock ALIAS gmock_static)
  add_library(GTest::gtest_main ALIAS gtest_main_static)
endif()
set(GTest_FOUND TRUE)
