# Which lines and branches of src/ the tests reach: scripts/coverage. Only src/ is compiled with counters;
# whoever links its objects needs their library.
set(KELD_COVERAGE_FLAGS --coverage)
if(KELD_COVERAGE)
  add_link_options(--coverage)
endif()
