// Which target the driver runs in this program.
#include "tests/fuzz/fuzz.h"

const char* const fuzz_target = KELD_FUZZ_TARGET;
const char* const fuzz_corpus = KELD_FUZZ_CORPUS;
