// Which service a target calls.
extern const char* const fuzzed_service;
const char* const fuzzed_service = KELD_FUZZED_SERVICE;
